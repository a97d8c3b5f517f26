#!/usr/bin/env python3
"""`cry uuid`. CRY_TOOL names the program."""

import re
import uuid
import unittest

from tool import ToolTest, run


class Uuid(ToolTest):
    FLAGS = {
        "--uppercase": str.upper,
        "--low-line": lambda text: text.replace("-", "_"),
        "--curly-brackets": lambda text: "{" + text + "}",
        "--apostrophes": lambda text: "'" + text + "'",
        "--quotation-marks": lambda text: '"' + text + '"',
    }
    SPACES = {"dns": uuid.NAMESPACE_DNS, "url": uuid.NAMESPACE_URL, "oid": uuid.NAMESPACE_OID, "x500": uuid.NAMESPACE_X500}
    TEXT = "6ba7b810-9dad-11d1-80b4-00c04fd430c8"

    def test_RandomOnesAreRandom(self):
        seen = set()
        for _ in range(10):
            text = self.assertDone(run("uuid")).text
            self.assertRegex(text, r"\A[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\n\Z")
            self.assertEqual((uuid.UUID(text.strip()).version, uuid.UUID(text.strip()).variant), (4, uuid.RFC_4122))
            seen.add(text)
        self.assertEqual(len(seen), 10)

    def test_NameBasedOnesAreThoseOfPython(self):
        for space, reference in [*self.SPACES.items(), ("DNS", uuid.NAMESPACE_DNS), (str(uuid.NAMESPACE_URL), uuid.NAMESPACE_URL),
                                 ("{" + self.TEXT.upper() + "}", uuid.UUID(self.TEXT)), (str(uuid.UUID(int=0)), uuid.UUID(int=0))]:  # fmt: skip
            for name in ("", "www.example.org", "-x", "--", "http://example.org/?a=[b,c]", "Größe 日本 🙂", "a\nb", "n" * 5000):
                expected = str(uuid.uuid5(reference, name))
                arguments = [[f"--name={name}", f"--namespace={space}"], ["--namespace", space, f"--name={name}"]][len(name) % 2]
                self.assertEqual(self.assertDone(run("uuid", *arguments)).text, expected + "\n")

    def test_KnownNameBasedOne(self):
        result = run("uuid", "--namespace", "dns", "--name", "www.example.com")
        self.assertEqual(result.text, "2ed6657d-e927-568b-95e1-2665a8aea6a2\n")

    def test_FlagsChangeTheForm(self):
        base = str(uuid.uuid5(uuid.NAMESPACE_DNS, "x"))
        names = list(self.FLAGS)
        for choice in range(1 << len(names)):
            given = [name for index, name in enumerate(names) if choice >> index & 1]
            expected = base
            for name in given:
                expected = self.FLAGS[name](expected)
            self.assertEqual(self.assertDone(run("uuid", "--namespace", "dns", "--name", "x", *given)).text, expected + "\n", given)
            self.assertEqual(run("uuid", "--json", "--parse", expected).json()["uuid"], base)
        for name in names:
            text = run("uuid", name).text.strip()
            self.assertEqual(self.FLAGS[name](str(uuid.UUID(re.sub("[^0-9a-fA-F]", "", text)))), text)

    def test_CountGivesAsMany(self):
        for count in (1, 2, 1000):
            lines = self.assertDone(run("uuid", "--count", str(count))).text.splitlines()
            self.assertEqual((len(lines), len(set(lines))), (count, count))
        lines = self.assertDone(run("uuid", "--count", "100000")).text.splitlines()
        self.assertEqual((len(lines), len(set(lines))), (100000, 100000))
        for count in ("0", "-1", "1000001", "", "x", "1.5", "1e3", "99999999999999999999", "-99999999999999999999", "1 2"):
            self.assertInputError(run("uuid", f"--count={count}"), "--count: ", "1 to 1000000")
        self.assertInputError(run("uuid", "--count"), "--count: 1 required ", " missing; 'cry uuid --help'")
        self.assertInputError(run("uuid", "--count", "1", "--count", "2"), "--count: At Most 1 required but received 2")
        answer = self.assertDone(run("uuid", "--json", "--count", "3", "--uppercase")).json()
        self.assertEqual((answer["format"], len(answer["uuids"])), (1, 3))
        for text in answer["uuids"]:
            self.assertEqual(text, str(uuid.UUID(text)).upper())

    def test_CountsAreDecimal(self):
        # The counts of 'cry random' are decimal too.
        for count in ("0x10", "010"):
            self.assertInputError(run("uuid", f"--count={count}"), "--count: ")

    def test_ParseTellsTheKind(self):
        for text, variant, version in [
            (self.TEXT, "standard (RFC 4122)", "1 (time based)"),
            ("000003e8-cbb9-21ea-b201-00045a86c8a1", "standard (RFC 4122)", "2 (DCE security)"),
            (str(uuid.uuid3(uuid.NAMESPACE_DNS, "x")), "standard (RFC 4122)", "3 (name based, MD5)"),
            (str(uuid.uuid4()), "standard (RFC 4122)", "4 (random)"),
            (str(uuid.uuid5(uuid.NAMESPACE_DNS, "x")), "standard (RFC 4122)", "5 (name based, SHA-1)"),
            ("00000000-0000-0000-8000-000000000000", "standard (RFC 4122)", "0"),
            ("ffffffff-ffff-ffff-bfff-ffffffffffff", "standard (RFC 4122)", "15"),
            ("00000000-0000-0000-0000-000000000000", "reserved, NCS", None),
            ("00000000-0000-4000-7fff-000000000000", "reserved, NCS", None),
            ("00000000-0000-4000-c000-000000000000", "reserved, Microsoft", None),
            ("ffffffff-ffff-ffff-ffff-ffffffffffff", "reserved for the future", None),
        ]:
            expected = f"{text}\nvariant  {variant}\n" + (f"version  {version}\n" if version else "")
            self.assertEqual(self.assertDone(run("uuid", "--parse", text)).text, expected)
            answer = self.assertDone(run("uuid", "--json", "--parse", text)).json()
            self.assertEqual((answer["verdict"], answer["uuid"]), ("good", text))
            self.assertEqual(answer.get("uuidVersion"), int(version.split()[0]) if version else None)
            self.assertEqual(answer.get("uuidVersion"), uuid.UUID(text).version if version else None)
            self.assertIn(answer["variant"], variant.lower().replace("reserved for the", ""))

    def test_ParseTakesMarksAroundIt(self):
        for text in (self.TEXT.upper(), "{%s}", "'%s'", '"%s"', "\"'{%s}'\"", "{'\"%s\"'}", "'{%s}'"):
            given = text.replace("%s", self.TEXT)
            self.assertEqual(self.assertDone(run("uuid", "--parse", given)).text.splitlines()[0], self.TEXT)

    def test_ParseSaysWhatIsWrong(self):
        groups = "its digits are not in groups of 8, 4, 4, 4 and 12 with - or _ between them, in pairs of marks or none"
        for text, reason in [
            ("", "it has 0 hexadecimal digits, not 32"),
            (self.TEXT[:-1], "it has 31 hexadecimal digits, not 32"),
            (self.TEXT + "0", "it has 33 hexadecimal digits, not 32"),
            (self.TEXT[:-1] + "g", "it has characters that are not hexadecimal digits"),
            ("urn:uuid:" + self.TEXT, "it has characters that are not hexadecimal digits"),
            ("{" + self.TEXT, groups),
            (self.TEXT.replace("-", ""), groups),
            (self.TEXT.replace("-", " "), groups),
            ("6ba7b8109-dad-11d1-80b4-00c04fd430c8", groups),
            (self.TEXT.replace("-", "--"), groups),
        ]:
            result = run("uuid", f"--parse={text}")
            self.assertEqual((result.code, result.text, result.message), (1, "", f"cry: '{text}' is not a UUID: {reason}\n"))
            answer = run("uuid", "--json", f"--parse={text}")
            expected = {"format": 1, "given": text, "verdict": "bad", "reason": reason}
            self.assertEqual((answer.code, answer.message, answer.json()), (1, "", expected))
        for text in ("{" + self.TEXT, self.TEXT + "}", "{" + self.TEXT + "'", "(" + self.TEXT + ")", "}" + self.TEXT + "{", "'{" + self.TEXT + "'}",
                     "urn:uuid:" + self.TEXT, self.TEXT + "\n" + self.TEXT, "n" * 100000):  # fmt: skip
            self.assertEqual(run("uuid", "--parse", text).code, 1, text[:80])

    def test_HostileTextIsMadeHarmless(self):
        for text in (b"\x1b[31m", b"\xff\xfe", "\u202ea".encode(), b"a\nb", b"\x9b2J"):
            result = run("uuid", "--parse", text)
            self.assertEqual((result.code, result.out), (1, b""))
            self.assertHarmless(result.err)
            self.assertHarmless(run("uuid", "--json", "--parse", text).out)
            self.assertHarmless(run("uuid", "--namespace", text, "--name", "x").err)

    def test_OptionsThatDoNotFitAreRefused(self):
        self.assertInputError(run("uuid", "--namespace", "dns"), "--namespace requires --name")
        self.assertInputError(run("uuid", "--name", "x"), "--name requires --namespace")
        self.assertInputError(run("uuid", "--namespace", "dns", "--name", "x", "--count", "2"), "--", "excludes")
        self.assertInputError(run("uuid", "--parse", self.TEXT, "--count", "2"), "--", "excludes")
        self.assertInputError(run("uuid", "--parse", self.TEXT, "--namespace", "dns", "--name", "x"), "--", "excludes")
        for space in ("", "dns ", "bogus", self.TEXT[1:], "{dns}"):
            expected = f"--namespace: '{space}' is neither dns, url, oid or x500 nor a UUID"
            self.assertInputError(run("uuid", f"--namespace={space}", "--name", "x"), expected)
        self.assertInputError(run("uuid", "x"), "one argument too many, 'x'")


if __name__ == "__main__":
    unittest.main(verbosity=2)
