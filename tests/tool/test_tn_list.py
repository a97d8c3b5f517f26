#!/usr/bin/env python3
"""`cry tn-list`. CRY_TOOL names the program."""

import base64
import json
import lzma
import os
import unittest
from pathlib import Path

import item_fixture
from identity_fixture import file, text_of
from item_fixture import ItemTest
from peers import der_of, element, integer, pem
from tool import instrumented, run

OID = "1.3.6.1.5.5.7.1.26"
TYPE = "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_"
NONE = "the certificate has no telephone number authorization list"


def setUpModule():
    item_fixture.make()


def text(value, tag=0x16):
    return element(tag, value if isinstance(value, bytes) else value.encode())


def code(value, tag=0x16):
    return element(0xA0, text(value, tag))


def numbers(start, count):
    return element(0xA1, element(0x30, text(start) + integer(count)))


def single(value):
    return element(0xA2, text(value))


class Lists(ItemTest):
    def certificate(self, *entries, der=None):
        """A certificate whose extension has these entries."""
        value = element(0x30, b"".join(entries)) if der is None else der
        return self.with_extensions(f"{OID}=DER:{value.hex()}")

    def assertList(self, path, expected, lines, **more):
        for arguments in ([path], ["--json", path]):
            result = self.assertDone(run("tn-list", *arguments, **more))
            if "--json" not in arguments:
                self.assertEqual(result.text.splitlines(), lines)
                self.assertHarmless(result.out)
                continue
            answer = result.json()
            self.assertEqual((answer["file"], answer["verdict"]), (str(path), "good"))
            self.assertEqual(answer["tnAuthList"], expected)

    def assertRefused(self, path, *parts):
        """In PEM, with the line; in DER; and as JSON."""
        der = self.write("refused.der", der_of(path.read_text()))
        longer = self.write("longer.pem", "text\n" + path.read_text())
        for given, place in ((path, ":1"), (der, ""), (longer, ":2")):
            for more in ([], ["--json"]):
                self.assertInputError(run("tn-list", given, *more), f"{given}{place}: {parts[0]}", *parts[1:])

    def test_EntriesOfAllKinds(self):
        path = self.certificate(code("1234"), numbers("12025550100", 100), single("12025550199"), code("AB-1"))
        expected = [
            {"type": TYPE + "SERVICE_PROVIDER_CODE", "serviceProviderCode": "1234"},
            {"type": TYPE + "TELEPHONE_NUMBER_RANGE", "telephoneNumber": "12025550100", "count": 100},
            {"type": TYPE + "TELEPHONE_NUMBER", "telephoneNumber": "12025550199"},
            {"type": TYPE + "SERVICE_PROVIDER_CODE", "serviceProviderCode": "AB-1"},
        ]
        lines = ["service provider code 1234", "range 12025550100, 100 numbers", "number 12025550199", "service provider code AB-1"]
        self.assertList(path, expected, lines)
        self.assertList(self.write("list.der", der_of(path.read_text())), expected, lines)
        self.assertList("-", expected, lines, stdin=path.read_bytes())

    def test_CountsOfTheWholeRange(self):
        for count, said in ((0, "0 numbers"), (1, "1 number"), (2, "2 numbers"), (2**31 - 1, "2147483647 numbers")):
            expected = [{"type": TYPE + "TELEPHONE_NUMBER_RANGE", "telephoneNumber": "1", "count": count}]
            self.assertList(self.certificate(numbers("1", count)), expected, [f"range 1, {said}"])

    def test_OtherCountsAreRefused(self):
        for count in (-1, -(2**31) + 5, 2**31, 2**63 - 1, 2**63, -(2**63) - 1, 2**200, -(2**200)):
            path = self.certificate(code("1"), numbers("1", 5), numbers("2", count))
            place = "entry 3 of the telephone number authorization list"
            self.assertRefused(path, f"{place}: the count of the range is not a number from 0 to 2147483647")

    def test_AnEmptyListIsOne(self):
        self.assertList(self.certificate(), [], [])

    def test_WithoutAListTheAnswerIsNo(self):
        for given in (file("rsa.crt"), self.write("none.der", der_of(text_of("rsa")))):
            self.assertEqual(self.assertDone(run("tn-list", given), 1).text, f"none: {NONE}\n")
            answer = self.assertDone(run("tn-list", given, "--json"), 1).json()
            self.assertEqual(answer, {"format": 1, "file": str(given), "verdict": "bad", "reason": NONE})

    def test_ListsThatDoNotDecodeAreRefused(self):
        problem = "the telephone number authorization list cannot be read"
        for der in (b"\x05\x00", element(0x30, text("1")), element(0x30, element(0xA3, text("1"))), element(0x30, element(0xA0, integer(1))),
                    element(0x30, element(0xA1, element(0x30, text("1")))), element(0x30, element(0xA1, element(0x30, integer(1) + text("1")))),
                    bytes.fromhex("3008a00616043132"), bytes.fromhex("30")):  # fmt: skip
            with self.subTest(der.hex()):
                self.assertRefused(self.certificate(der=der), problem)

    def test_HostileTextIsEscaped(self):
        path = self.certificate(code("\x1b[2J,a b\\"), single("\u202e1"), code(b"\xff\x00"))
        lines = [r"service provider code \u{1B}[2J\u{2C}a\u{20}b\\", r"number \u{202E}1", r"service provider code \u{FFFD}\u{0}"]
        self.assertEqual(self.assertDone(run("tn-list", path)).text.splitlines(), lines)
        self.assertTrue(run("tn-list", path, "--json").out.isascii())

    def test_TheFirstCertificateCounts(self):
        listed, other = self.certificate(code("1")).read_text(), text_of("rsa")
        key = file("ec.key").read_text()
        self.assertEqual(run("tn-list", self.private("first", key + listed + other)).text, "service provider code 1\n")
        self.assertEqual(run("tn-list", self.private("first", key + other + listed)).code, 1)

    def test_WhatIsNoCertificateIsRefused(self):
        self.assertInputError(run("tn-list", file("ec.key")), f"{file('ec.key')}: holds no certificate, only 'PRIVATE KEY'\n")
        crl = self.in_der(self.crl("01"), ["crl"])
        self.assertInputError(run("tn-list", crl), f"{crl}: holds no certificate, only 'X509 CRL'\n")
        bad = self.write("bad.pem", text_of("rsa") + pem(b"x"))
        self.assertInputError(run("tn-list", bad), f"{bad}:{text_of('rsa').count(chr(10)) + 1}: the certificate does not parse")
        self.assertInputError(run("tn-list", "/nowhere"), "/nowhere: No such file or directory\n")
        self.assertInputError(run("tn-list", self.write("empty", "")), "", ": is empty\n")

    def test_NothingLeaks(self):
        good, bad = self.certificate(code("1")).read_text(), self.certificate(numbers("1", -1)).read_text()
        self.assertNothingLeaks((0, ["tn-list", self.write("good.crt", good)]), (2, ["tn-list", self.write("bad.crt", bad)]),
                                (1, ["tn-list", file("rsa.crt")]))  # fmt: skip


class Samples(ItemTest):
    """Real certificates of the public vectors."""

    @classmethod
    def setUpClass(cls):
        vectors = os.environ.get("CRY_VECTORS") or Path(__file__).resolve().parents[3] / "shared" / "vectors"
        path = Path(vectors, "tnauthlist", "cases.json.xz")
        if not path.is_file():
            raise unittest.SkipTest("the public test vectors are not on this machine (see README, CRY_VECTORS)")
        cls.cases = [case for case in json.loads(lzma.open(path).read()) if case["form"] == "certificate"]
        if instrumented():
            # All that are refused, and some of the many good ones.
            good = [case for case in cls.cases if (case["pyasn1_rfc8226"] or {}).get("ok")]
            cls.cases = [case for case in cls.cases if case not in good] + good[::8]

    def entry(self, each):
        values = {"spc": ("serviceProviderCode",), "one": ("telephoneNumber",), "range": ("telephoneNumber", "count")}[each[0]]
        return dict(zip(values, each[1:]))

    def test_EntriesAreThoseOfAnotherDecoder(self):
        seen = {0: 0, 1: 0, 2: 0}
        for case in self.cases:
            with self.subTest(case["id"]):
                path = self.write("sample.der", base64.b64decode(case["der_b64"]))
                result, other = run("tn-list", path, "--json"), case["pyasn1_rfc8226"]
                expected = 1 if other is None else 0 if other["ok"] else 2
                self.assertEqual(result.code, expected, result.message)
                seen[expected] += 1
                if expected == 0:
                    found = [{name: value for name, value in each.items() if name != "type"} for each in result.json()["tnAuthList"]]
                    self.assertEqual(found, [self.entry(each) for each in other["entries"]])
                elif expected == 2:
                    self.assertInputError(result, f"{path}: the telephone number authorization list cannot be read")
        self.assertTrue(all(count > 1 for count in seen.values()), seen)


if __name__ == "__main__":
    unittest.main(verbosity=2)
