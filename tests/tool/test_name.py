#!/usr/bin/env python3
"""`cry name`. CRY_TOOL names the program."""

import re
import unittest

import identity_fixture
from domain_names import ADDRESSES, BAD
from identity_fixture import IdentityTest, file
from terminal import run_on_terminal
from tool import run


def setUpModule():
    identity_fixture.make()


class NameCheck(IdentityTest):
    # Published forms: RFC 3492, UTS #46, IDNA 2008.
    FORMS = [
        ("localhost", "localhost", "localhost"),
        ("www.example.org", "www.example.org", "www.example.org"),
        ("EXAMPLE.Org.", "EXAMPLE.Org", "EXAMPLE.Org"),
        ("*.example.org", "*.example.org", "*.example.org"),
        ("_dmarc.example.org", "_dmarc.example.org", "_dmarc.example.org"),
        ("bücher.example", "xn--bcher-kva.example", "bücher.example"),
        ("BÜCHER.example", "xn--bcher-kva.example", "bücher.example"),
        ("bu\u0308cher.example", "xn--bcher-kva.example", "bücher.example"),
        ("xn--bcher-kva.example", "xn--bcher-kva.example", "bücher.example"),
        ("faß.de", "xn--fa-hia.de", "faß.de"),
        ("βόλος.com", "xn--nxasmm1c.com", "βόλος.com"),
        ("日本語。ＪＰ", "xn--wgv71a119e.jp", "日本語.jp"),
        ("президент.рф", "xn--d1abbgf6aiiy.xn--p1ai", "президент.рф"),
        ("παράδειγμα.δοκιμή", "xn--hxajbheg2az3al.xn--jxalpdlp", "παράδειγμα.δοκιμή"),
        ("例え.テスト", "xn--r8jz45g.xn--zckzah", "例え.テスト"),
        ("إختبار", "xn--kgbechtv", "إختبار"),
        ("a" * 63 + ".b", "a" * 63 + ".b", "a" * 63 + ".b"),
    ]
    BAD = [*(name for name, _ in [*BAD, *ADDRESSES]), "a b", "a,b", "a:b", "a/b", "a\nb", "-a", "a-", "a" * 64, "xn--", "xn--\u00fc", "☃.net",
           "\u202ea", "a\u200bb\u202e", "\x1b[31m", "\x7f", "\u009b2J", "a\u2028b", "\ufeff,", "http://a.b/", "a@b",
           "ü" * 60, "a." * 127 + "a"]  # fmt: skip

    def test_FormsAreThoseThatAreKnown(self):
        for name, ascii, unicode in self.FORMS:
            with self.subTest(name):
                result = self.assertDone(run("name", "check", name))
                self.assertEqual(result.text, f"good: {name} is a domain name\nascii    {ascii}\nunicode  {unicode}\n")
                answer = self.assertDone(run("name", "check", "--json", name)).json()
                self.assertEqual(answer, {"format": 1, "given": name, "verdict": "good", "ascii": ascii, "unicode": unicode})

    def test_FormsAreThoseOfPython(self):
        # Names for which the older IDNA and this one agree.
        for name in ("münchen.de", "ångström.se", "中国.cn", "한국.kr", "москва.рф", "ελλάδα.gr", "žluťoučký.cz", "ñandú.cl", "xn--mnchen-3ya.de"):
            ascii = name.encode("idna").decode()
            answer = run("name", "check", name, "--json").json()
            self.assertEqual((answer["ascii"], answer["unicode"]), (ascii, ascii.encode().decode("idna")))

    def test_AsciiFormsAreTheirOwn(self):
        for _, ascii, unicode in self.FORMS:
            answer = run("name", "check", ascii, "--json").json()
            self.assertEqual((answer["verdict"], answer["ascii"], answer["unicode"]), ("good", ascii, unicode))

    def test_OthersAreBadWithAReason(self):
        for name in self.BAD:
            with self.subTest(name):
                result = self.assertDone(run("name", "check", "--", name), 1)
                reason = r"(label [0-9]+: [a-z].+|it is an IP address|it has more than 253 .*)"
                self.assertRegex(result.text, rf"\Abad: '.*' is not a domain name: {reason}\n\Z")
                answer = self.assertDone(run("name", "check", "--json", "--", name), 1).json()
                self.assertEqual(set(answer), {"format", "given", "verdict", "reason"})
                self.assertEqual((answer["format"], answer["given"], answer["verdict"]), (1, name, "bad"))
                self.assertTrue(result.text.endswith(f" is not a domain name: {answer['reason']}\n"))

    def test_ReasonsAreThoseThatTheOtherCommandsGive(self):
        for name, reason in [*BAD, *ADDRESSES]:
            given = self.assertDone(run("name", "check", "--json", "--", name), 1).json()["reason"]
            self.assertEqual(given[: len(reason)], reason, name)

    def test_DirectionsHaveAReasonInWords(self):
        reasons = [
            ("אב.1a", "label 2: does not begin with a letter, in a name with right-to-left characters"),
            ("a_.xn--4db", "label 1: does not end with a letter or digit, in a name with right-to-left characters"),
            ("xn--0-zhc74b", "label 1: mixes European and Arabic-Indic digits"),
        ]
        for name, reason in reasons:
            self.assertEqual(self.assertDone(run("name", "check", "--json", name), 1).json()["reason"], reason)

    def test_HostileNamesAreMadeHarmless(self):
        names = [*self.BAD, *(name for name, _, _ in self.FORMS), "a\u200d.b", "\u0661.a", "a\u00adb.c", "\U000e0041.a", "\u061ca"]
        for name in names:
            result = run("name", "check", "--json", "--", name)
            self.assertHarmless(result.out + result.err)
            self.assertIn(result.code, (0, 1))
            self.assertTrue(result.out.isascii())
        for name in (name for name in names if not name.isascii() or not name.isprintable()):
            shown = run_on_terminal("name", "check", "--", name, on={"out"}).out
            self.assertHarmless(re.sub(rb"\A\x1b\[3[12]m(good|bad)\x1b\[0m: ", b"", shown))

    def test_ColourIsForTerminalsOnly(self):
        self.assertTrue(run_on_terminal("name", "check", "a.b", on={"out"}).out.startswith(b"\x1b[32mgood\x1b[0m: "))
        self.assertTrue(run_on_terminal("name", "check", "a b", on={"out"}).out.startswith(b"\x1b[31mbad\x1b[0m: "))
        self.assertNotIn(b"\x1b", run_on_terminal("name", "check", "a b", "--json", on={"out"}).out)

    def test_TextThatIsNotUtf8IsRefused(self):
        for name in (b"\xff", b"a\xc3", b"\xed\xa0\x80", b"b\xfccher.example"):
            result = run("name", "check", name)
            self.assertInputError(result, "NAME: '", "is not text in UTF-8")
            self.assertHarmless(result.err)

    def test_WhatTheCheckTakesTheGeneratorsTakeToo(self):
        for name in [*self.BAD, *(name for name, _, _ in self.FORMS)]:
            good = run("name", "check", "--", name).code == 0
            result = run("request", "generate", "--key", file("ec.key"), f"--domain={name}", "--common-name", "x")
            self.assertEqual(result.code, 0 if good else 2, name)


if __name__ == "__main__":
    unittest.main(verbosity=2)
