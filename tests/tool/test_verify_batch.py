#!/usr/bin/env python3
"""`cry verify --batch`: one verdict for each line, in order, also for hostile lines. CRY_TOOL names
the program."""

import base64
import functools
import json
import os
import random
import re
import select
import signal
import subprocess
import unittest
from pathlib import Path

from peers import pem
from pki_fixture import NOW, VerifyTest, fingerprint, pki
from tool import Draft202012Validator, MIB, TOOL, instrumented, run, scratch

LONGEST = 16 * MIB
SCHEMA = json.loads((Path(__file__).resolve().parents[2] / "docs" / "cry.batch.schema.json").read_text())


@functools.cache
def schema(definition):
    return Draft202012Validator(SCHEMA | {"anyOf": [{"$ref": f"#/$defs/{definition}"}]})


def setUpModule():
    pki.make()


def b64(name):
    return base64.b64encode(pki.der[name]).decode()


def line(leaf="leaf", **more):
    return {"certificate": b64(leaf), "extraCertificates": b64("intermediate"), **more}


def raw(value):
    return value if isinstance(value, bytes) else json.dumps(value).encode()


class BatchTest(VerifyTest):
    def batch(self, lines, *more, trust=("root",), at=NOW, end=b"\n", file=None):
        """The result and the answers; each answer is as the schema says."""
        content = b"\n".join(map(raw, lines)) + (end if lines else b"")
        arguments = [part for name in trust for part in ("--trust", pki.file(name))]
        times = ["--time", at] if at else []
        if file:
            file.write_bytes(content)
        result = run("verify", "--no-system", *arguments, *times, *more, "--batch", *([file] if file else []), stdin=content)
        answers = [json.loads(each) for each in result.text.splitlines()]
        self.assertTrue(not result.out or result.out.endswith(b"\n"))
        self.assertTrue(result.out.isascii())
        for answer in answers[:50]:
            wrong = next((each.message[:500] for each in schema("answer").iter_errors(answer)), None)
            self.assertIsNone(wrong, str(answer)[:500])
        return result, answers

    def assertBad(self, lines, parts):
        """Each line is bad, for the reason of its part, and the lines around them are judged."""
        wanted = [line(id="before"), *lines, line(id="after")]
        result, answers = self.batch(wanted)
        self.assertEqual(result.code, 2, result.message)
        self.assertEqual(len(answers), len(wanted))
        self.assertEqual([(each["id"], each["valid"]) for each in (answers[0], answers[-1])], [("before", True), ("after", True)])
        for number, (answer, part) in enumerate(zip(answers[1:-1], parts, strict=True), 2):
            with self.subTest(part):
                self.assertEqual((answer["valid"], answer["name"], answer["chain"]), (False, "unchecked", []))
                self.assertEqual((answer["error"]["code"], answer["error"]["depth"], answer["error"]["line"]), (None, None, number))
                self.assertIn(part, answer["error"]["text"])
        count = f"{len(lines)} bad line" + ("s" if len(lines) > 1 else "")
        self.assertEqual(result.message, f"cry: standard input: {count}, the first one is line 2\n")
        return answers[1:-1]


class Verdicts(BatchTest):
    def test_ChainsAreJudgedInOrder(self):
        lines = [line(id=1), line("expired", id="two"), line("broken", id=3), {"certificate": b64("leaf")}, line(id=5)]
        result, answers = self.batch(lines)
        self.assertEqual((result.code, result.message), (1, ""))
        chain = [fingerprint(pki.der[name]) for name in ("leaf", "intermediate", "root")]
        good = {"valid": True, "error": None, "name": "unchecked", "chain": chain}
        bad = {"valid": False, "name": "unchecked", "chain": []}
        self.assertEqual(answers, [
            {"id": 1, **good},
            {"id": "two", **bad, "error": {"code": 10, "depth": 0, "text": "certificate has expired"}},
            {"id": 3, **bad, "error": {"code": 7, "depth": 0, "text": "certificate signature failure"}},
            {"id": None, **bad, "error": {"code": 20, "depth": 0, "text": "unable to get local issuer certificate"}},
            {"id": 5, **good},
        ])  # fmt: skip
        self.assertEqual(list(answers[0]), ["id", "valid", "error", "name", "chain"])

    def test_AllValidLinesGiveZero(self):
        for lines in ([], [line()], [line()] * 300):
            result, answers = self.batch(lines)
            self.assertEqual((result.code, result.message, len(answers)), (0, "", len(lines)))

    def test_LinesComeFromAFileToo(self):
        result, answers = self.batch([line(id=1), b"{", line("expired", id=3)], file=scratch / "lines.jsonl")
        self.assertEqual([each["id"] for each in answers], [1, None, 3])
        self.assertEqual((result.code, result.message), (2, f"cry: {scratch / 'lines.jsonl'}: 1 bad line, the first one is line 2\n"))
        self.assertInputError(run("verify", "--batch", "/nowhere"), "/nowhere: No such file")

    def test_WrongUse(self):
        for arguments, part in ((["--host", "a.example"], "--host"), (["--intermediates", "x"], "--intermediates"), (["a", "b"], "one file")):
            result = run("verify", "--batch", *arguments)
            self.assertEqual((result.code, result.out), (2, b""))
            self.assertIn(part, result.message)
        self.assertInputError(run("verify", "--trust", "-", "--batch"), "only one of the inputs can be standard input")
        self.assertInputError(run("verify"), "")

    def test_CertificatesAreTakenInEachForm(self):
        text = pki.text
        both = text["intermediate"] + text["root"]
        forms = [
            {"certificate": text["leaf"], "extraCertificates": text["intermediate"]},
            {"certificate": text["leaf"].replace("\n", "\r\n"), "extraCertificates": [b64("intermediate")]},
            {"certificate": "subject=leaf\n" + text["leaf"], "extraCertificates": both},
            {"certificate": b64("leaf"), "extraCertificates": [b64("alone"), both]},
            {"certificate": b64("leaf"), "extraCertificates": [text["intermediate"], b64("expired")], "trustedCertificates": text["root"]},
            {"certificate": b64("leaf"), "trustedCertificates": [b64("alone"), b64("intermediate")]},
            {"certificate": b64("leaf"), "extraCertificates": [], "trustedCertificates": b64("leaf")},
            # Bytes behind a certificate are dropped, as in files.
            {"certificate": base64.b64encode(pki.der["leaf"] + b"more").decode(), "extraCertificates": b64("intermediate")},
        ]
        result, answers = self.batch(forms)
        self.assertEqual([len(each["chain"]) for each in answers], [3, 3, 3, 3, 3, 2, 1, 3], result.text)

    def test_TrustOfALineTakesThePlaceOfTheOther(self):
        lines = [line(trustedCertificates=b64("alone")), line(trustedCertificates=[]), line(), line(trustedCertificates=b64("root"))]
        for trust, verdicts in ((["root"], [False, False, True, True]), ([], [False, False, False, True])):
            result, answers = self.batch(lines, trust=trust)
            self.assertEqual(([each["valid"] for each in answers], result.code), (verdicts, 1))

    def test_ALineHasATimeOfItsOwn(self):
        lines = [line("expired", time="2024-06-01T00:00:00Z"), line("expired"), line("future", time="2035-01-01T00:00:00Z")]
        result, answers = self.batch(lines)
        self.assertEqual([each["valid"] for each in answers], [True, False, True])
        # Without --time it is now.
        self.assertEqual([each["valid"] for each in self.batch(lines, at=None)[1]], [True, False, True])

    def test_NamesAreCompared(self):
        cases = [
            (["www.example.org"], "match"), ("WWW.Example.Org.", "match"), (["a.example", "www.example.org"], "match"),
            (["a.example"], "mismatch"), ("192.0.2.1", "mismatch"), (["2001:db8::1", "b.example"], "mismatch"),
        ]  # fmt: skip
        lines = [line(names=names) for names, _ in cases]
        # A certificate without names, and one that is not valid.
        lines += [line("deeper", names="a.example"), line("expired", names="www.example.org"), line(names="a.example", time="2050-01-01T00:00:00Z")]
        wanted = [name for _, name in cases] + ["none", "unchecked", "unchecked"]
        result, answers = self.batch(lines)
        self.assertEqual([each["name"] for each in answers], wanted)
        self.assertEqual([each["valid"] for each in answers], [name == "match" for name in wanted])
        error = answers[3]["error"]
        self.assertEqual((error["code"], error["depth"]), (None, None))
        for part in ("CN=leaf", "www.example.org", "a.example"):
            self.assertIn(part, error["text"])
        self.assertIn("no name", answers[6]["error"]["text"])
        self.assertEqual(answers[7]["error"]["code"], 10)

    def test_PolicyFlagsRelaxALine(self):
        lines = [
            line(names="a.example", policyFlags=["disable-subject-checks"]),
            line(names="a.example", policyFlags="CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS"),
            line("broken", policyFlags=["disable-validation"]),
            line("broken", policyFlags=["disable-subject-checks"]),
            line(names="a.example", policyFlags=[]),
        ]
        answers = self.batch(lines)[1]
        self.assertEqual([(each["valid"], each["name"]) for each in answers],
                         [(True, "unchecked"), (True, "unchecked"), (True, "unchecked"), (False, "unchecked"), (False, "mismatch")])  # fmt: skip

    def test_OptionsHoldForAllLines(self):
        lines = [line(), line(names="a.example"), line(trustedCertificates=b64("root"), names="www.example.org")]
        for options, wanted in ((["--trusted-san", "www.example.org"], [(True, "unchecked"), (False, "mismatch"), (True, "match")]),
                                (["--trusted-san", "b.example"], [(False, "unchecked")] * 3),
                                (["--policy", "disable-subject-checks"], [(True, "unchecked")] * 3)):  # fmt: skip
            answers = self.batch(lines, *options)[1]
            self.assertEqual([(each["valid"], each["name"]) for each in answers], wanted)

    def test_IdsAreGivenBack(self):
        ids = [b"0", b"-1", b"18446744073709551615", b"123456789012345678901234567890", b"1.50", b"1E+2", b"-0.0", b'""',
               b'"\\u0000\\n\\"\\\\"', '"Käse \u202e"'.encode(), b'"' + b"x" * 100000 + b'"']  # fmt: skip
        lines = [b'{"id": %b, "certificate": "%b"}' % (each, b64("root").encode()) for each in ids]
        result, answers = self.batch(lines)
        self.assertEqual((result.code, [each["id"] for each in answers]), (0, [json.loads(each) for each in ids]))
        for text, given in list(zip(result.out.splitlines(), ids))[:7]:
            self.assertTrue(text.startswith(b'{"id":' + given + b","), text[:60])

    def test_UsualLinesHaveTheAnswersOfAllOthers(self):
        """Usual lines have a reader of their own. A line with the number of a character goes to the
        parser of all other lines."""
        ids = [b"0", b"10", b"9" * 18, b"9" * 19, b"-0", b"01", b"1.5", b"1 2", b'"\x7f"', b'"\x1f"', b'"\xc3\xa9"', b'"\\x"', b"[]", b"nul", b"",
               b'"\\"\\\\\\/\\b\\f\\n\\r\\t"']  # fmt: skip
        ids += [b'"' + b"x" * place + each + b"x" * (17 - place) + b'"' for place in range(18) for each in (b'\\"', b"\\\\", b"\x00", b"\x80", b'"')]
        lines = [b'{"certificate":"%b","id":%b}' % (b64("root").encode(), each) for each in ids]
        both = b64("leaf").encode(), b64("intermediate").encode()
        lines += [b' { "certificate" :\t"%b" , "extraCertificates" : [ "%b" ] , "names":[]} \r' % both]
        lines += [raw(line(id="x", names=["a.example"], trustedCertificates=[])), raw({"certificate": pki.text["leaf"]})]
        lines += [raw(line()).replace(b"}", each) for each in (b",}", b"},", b"]", b"", b',"a":[1]}', b',"names":["a",]}', b',"names":["a" "b"]}')]

        def withoutPlace(out):
            return re.sub(rb"byte \d+", b"", out)

        usual = self.batch(lines)[0]
        parsed = self.batch([each.replace(b'"cert', b'"\\u0063ert', 1) for each in lines])[0]
        self.assertEqual(withoutPlace(usual.out).splitlines(), withoutPlace(parsed.out).splitlines())
        self.assertEqual([usual.out.count(each) for each in (b'"line":', b'"valid":true')], [69, 45])

    def test_ManyLinesWithFewChainsAndTrustSets(self):
        """Each verdict belongs to its line, whatever is remembered."""
        chance = random.Random(1)
        leaves = {"leaf": True, "expired": False, "broken": False, "deeper": True, "future": False}
        lines, wanted = [], []
        for number in range(1000):
            leaf, trust = chance.choice(list(leaves)), chance.choice([None, "root", "intermediate", "alone", "impostor"])
            lines.append(line(leaf, id=number, **({"trustedCertificates": chance.choice([b64, pki.text.get])(trust)} if trust else {})))
            wanted.append((number, leaves[leaf] and trust not in ("alone", "impostor")))
        answers = self.batch(lines)[1]
        self.assertEqual([(each["id"], each["valid"]) for each in answers], wanted)


class BadLines(BatchTest):
    def test_LinesThatAreNotJson(self):
        good = raw(line())
        self.assertBad([
            b"", b" \t", b"hello", b"{", good[:-1], good + b"x", good + good, b"[" * 100000, b'{"a":' * 100000,
            good.replace(b":", b":\xff", 1), good.replace(b'"c', b'"\xc3\x28c', 1), b"\xff\xfe{\x00", good[:20] + b"\x00" + good[20:],
            good + b"\x00",
            b"{'certificate': 1}", b'{"id": 1e999}', b'{"id": "\\ud800"}', b'{"id": 01}', b"\x1b[31m", b"NaN",
        ], ["is empty"] * 2 + ["not JSON"] * 7 + ["not UTF-8"] * 2 + ["is 0"] * 3 + ["not JSON", "too large"] + ["not JSON"] * 4)  # fmt: skip

    def test_LinesThatAreNoObjects(self):
        self.assertBad([b"1", b'"x"', b"null", b"[]", [line()], b"[" * 1000 + b"]" * 1000], ["it is not an object"] * 6)

    def test_MembersOfAWrongKind(self):
        deep = b"[" * 50000 + b"]" * 50000
        neither = "is neither a text nor a list of texts"
        cases = [(line(id=each), "'id' is neither a text nor a number") for each in (None, True, [1], {"a": 1})]
        cases += [({"id": 7, "certificate": 1}, "'certificate' is not a text"), ({"certificate": [b64("leaf")], "id": 7}, "'certificate' is not")]
        cases += [(line(id=7, extraCertificates=each), "'extraCertificates' " + neither) for each in (1, [b64("leaf"), [b64("leaf")]], {"a": []})]
        cases += [(line(id=7, trustedCertificates=None), "'trustedCertificates' " + neither), (line(id=7, names=[1]), "'names' " + neither)]
        cases += [(line(id=7, time=1), "'time' is not a text"), (line(id=7, policyFlags=False), "'policyFlags' " + neither)]
        cases += [(b'{"' + name + b'": ' + deep + b', "id": 7}', f"'{name.decode()}' is") for name in (b"certificate", b"names")]
        answers = self.assertBad(*zip(*cases))
        self.assertEqual([each["id"] for each in answers], [None] * 4 + [7] * 11)

    def test_MembersThatAreMissingDoubleOrUnknown(self):
        answers = self.assertBad([
            b"{}", {"id": "x"}, line(id=7, certificates=""), {"": {"id": 8, "certificate": [{}]}, **line(id=7)},
            line(**{"\x1b[31m" + "x" * 10000: 1}),
            b'{"id": 1, "id": 2, "certificate": ""}', b'{"certificate": "x", "id": 7, "certificate": "y"}',
        ], ["there is no 'certificate'"] * 2 + ["no member 'certificates'", "no member ''", "no member '\\u{1B}[31mx", "'id' is there twice",
            "'certificate' is there twice"])  # fmt: skip
        self.assertEqual([each["id"] for each in answers], [None, "x", 7, 7, None, 1, 7])

    def test_CertificatesThatAreNone(self):
        text, whole = pki.text["leaf"], b64("leaf")
        cases = {
            "": "certificate: it is empty", "x": "neither PEM text nor base 64", whole[:-1]: "neither PEM", whole[:-5]: "neither PEM",
            whole[:-4]: "not a certificate in DER", whole[:100]: "not a certificate in DER", "AAAA": "not a certificate in DER",
            whole[:40] + "\n" + whole[40:]: "neither PEM",
            text[:-20]: "line ", text.replace("A", "!", 1): "line ", text.replace("CERTIFICATE", "PRIVATE KEY"): "PRIVATE KEY is not",
            "x -----BEGIN CERTIFICATE-----": "no line of its text begins", text + pki.text["intermediate"]: "the text has several certificates",
        }  # fmt: skip
        self.assertBad([{"certificate": each} for each in cases], cases.values())
        self.assertBad([line(extraCertificates=[whole, "AAAA"]), line(trustedCertificates="AAAA"), line(trustedCertificates=[""])],
                       ["extraCertificates: ", "trustedCertificates: ", "trustedCertificates: it is empty"])  # fmt: skip

    def test_TimesNamesAndFlagsThatAreNone(self):
        self.assertBad([line(time="now"), line(time="2026-02-30T00:00:00Z"), line(time=""), line(names=[]), line(names=["a.example", "a b"]),
                        line(names=""), line(names="\x00"), line(names="*." * 200), line(policyFlags="x"),
                        line(policyFlags=["disable-validation", ""])],
                       ["time: 'now' is not a time", "time: '2026-02-30T00:00:00Z' is a day", "time: ''", "names: the list is empty"] +
                       ["names: "] * 4 + ["policyFlags: 'x' is unknown", "policyFlags: '' is unknown"])  # fmt: skip

    def test_LongLinesAreReadOver(self):
        """A line at the limit is read, longer ones are not, also the last one."""
        good = raw(line(id=7))
        answers = self.assertBad([b" " * (LONGEST - len(good)) + good + b"x", b"x" * (3 * LONGEST)], ["longer than 16 MiB"] * 2)
        self.assertEqual([each["id"] for each in answers], [None, None])
        result, answers = self.batch([b" " * (LONGEST - len(good)) + good, good, b"x" * (LONGEST + 1)], end=b"")
        self.assertEqual([(each["id"], each["valid"]) for each in answers], [(7, True), (7, True), (None, False)])

    def test_LineEnds(self):
        good = raw(line())
        for content, count in ((good, 1), (good + b"\r\n" + good + b"\r\n", 2), (good + b"\r\n" + good, 2)):
            result, answers = self.batch([content], end=b"")
            self.assertEqual((result.code, [each["valid"] for each in answers]), (0, [True] * count))
        result, answers = self.batch([good, b"", b""], end=b"")
        self.assertEqual((result.code, [each["valid"] for each in answers]), (2, [True, False]))

    def test_KeysThatDoNotDecode(self):
        der = pki.der["leaf"]
        key = pki.openssl("x509", "-in", "leaf.pem", "-noout", "-pubkey")
        point = base64.b64decode(b"".join(key.split(b"\n")[1:-2]))[-65:]
        self.assertEqual(der.count(point), 1)
        damaged = base64.b64encode(der.replace(point, b"\x05" + point[1:])).decode()
        result, answers = self.batch([{"id": 1, "certificate": damaged}, line(extraCertificates=damaged, id=2),
                                      line(trustedCertificates=damaged), line(id=4)])  # fmt: skip
        self.assertEqual([each["valid"] for each in answers], [False, False, False, True])
        self.assertTrue(all(each["error"] is None or isinstance(each["error"]["text"], str) for each in answers))

    def test_TextOfAFileIsHarmless(self):
        certificate = pem(pki.patched(b"\x1b[31m\xe2\x80\xae"))
        result, answers = self.batch([{"certificate": certificate, "names": "a.example", "trustedCertificates": certificate}])
        self.assertEqual(answers[0]["name"], "none")
        self.assertHarmless(answers[0]["error"]["text"].encode())


class Streams(BatchTest):
    def start(self, *more, **streams):
        process = subprocess.Popen([TOOL, "verify", "--no-system", "--trust", pki.file("root"), "--time", NOW, *more, "--batch"],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **streams)  # fmt: skip
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        return process

    def test_EachLineIsAnsweredBeforeTheNextOneComes(self):
        process = self.start()
        for number in range(5):
            process.stdin.write(raw(line(id=number)) + b"\n{")
            process.stdin.flush()
            self.assertTrue(select.select([process.stdout], [], [], 60)[0])
            self.assertEqual(json.loads(process.stdout.readline())["id"], number)
            process.stdin.write(b"}\n")
            process.stdin.flush()
            self.assertFalse(json.loads(process.stdout.readline())["valid"])
        process.stdin.close()
        self.assertEqual((process.wait(timeout=60), process.stdout.read()), (2, b""))

    def test_AClosedPipeEndsItQuietly(self):
        process = self.start()
        process.stdin.write(raw(line()) + b"\n")
        process.stdin.flush()
        process.stdout.readline()
        process.stdout.close()
        # The input stays open.
        process.stdin.write(raw(line()) + b"\n")
        process.stdin.flush()
        self.assertEqual((process.wait(timeout=60), process.stderr.read()), (-signal.SIGPIPE, b""))
        process.stdin.close()

    def test_AClosedPipeIsAnErrorIfItsSignalIsIgnored(self):
        process = self.start(preexec_fn=lambda: signal.signal(signal.SIGPIPE, signal.SIG_IGN), restore_signals=False)
        process.stdout.close()
        process.stdin.write(raw(line()) + b"\n")
        process.stdin.flush()
        self.assertEqual((process.wait(timeout=60), process.stderr.read()), (2, b"cry: standard output: Broken pipe\n"))
        process.stdin.close()

    def test_MemoryIsBounded(self):
        """A long stream takes a few MB more than none: good lines, bad lines and trust sets."""
        if instrumented():
            self.skipTest("instrumented programs keep memory that was freed")

        def peak(count):
            with open(scratch / "answers", "wb") as answers:
                process = subprocess.Popen([TOOL, "verify", "--no-system", "--trust", pki.file("root"), "--time", NOW, "--batch"],
                                           stdin=subprocess.PIPE, stdout=answers, stderr=subprocess.DEVNULL)  # fmt: skip
            kinds = [raw(line(id=1)), raw(line("expired", names=["a.example"])), raw(line(trustedCertificates=pki.text["root"])), b"{" * 3000]
            for number in range(count):
                process.stdin.write(kinds[number % 4] + b"\n")
            process.stdin.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            return usage.ru_maxrss

        none, many = peak(0), peak(12000)
        self.assertLess(many - none, 12 << 10, "KiB")


if __name__ == "__main__":
    unittest.main()
