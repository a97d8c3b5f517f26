#!/usr/bin/env python3
"""`cry crl check`: revocation lists that openssl made, and hostile ones. CRY_TOOL names the
program."""

import calendar
import re
import subprocess
import time
import unittest

from peers import element, elements, integer, joined, pem
from pki_fixture import NOW, VerifyTest, make_crl, pki
from tool import MIB, limited, run, scratch

START, END = "2026-01-01T00:00:00Z", "2026-03-01T00:00:00Z"
REVOKED = "251224183000Z"
SERIALS = {}


def setUpModule():
    ca = "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign"
    pki.issue("ca", None, ca)
    pki.issue("other", None, ca)
    pki.issue("impostor", None, ca, subject="/O=Test/CN=ca")
    pki.issue("no-crls", None, pki.CA)
    for name, issuer in (("one", "ca"), ("two", "ca"), ("three", "ca"), ("foreign", "other"), ("unlisted", "no-crls")):
        pki.issue(name, issuer, pki.LEAF)
    for name in pki.der:
        SERIALS[name] = pki.openssl("x509", "-in", f"{name}.pem", "-noout", "-serial").decode().strip().partition("=")[2]
    crl("list", "two", "three,keyCompromise")
    crl("empty")


def crl(name, *revoked, issuer="ca", when=REVOKED, **more):
    """A list that names these certificates, each maybe with a reason after a comma."""
    entries = [(SERIALS[each.partition(",")[0]], when + "," * ("," in each) + each.partition(",")[2]) for each in revoked]
    return make_crl(pki.folder / f"{issuer}.pem", pki.folder / f"{issuer}.key", scratch / f"{name}.crl", entries, **more)


def der_of_list(path):
    return pki.openssl("crl", "-in", path, "-outform", "DER")


def changed(path, change):
    """The DER of a list whose fields a function changed. Its signature is not good any more."""
    tbs, *rest = elements(elements(der_of_list(path))[0][1])
    return element(0x30, joined([(tbs[0], joined(change(elements(tbs[1])))), *rest]))


def openssl_error(name, lists, seconds=1769860800):
    """The error of the openssl command for a certificate itself; 0 is none. The time is NOW."""
    done = subprocess.run(["openssl", "verify", "-crl_check", "-attime", str(seconds), "-no-CApath", "-no-CAstore", "-CRLfile", lists,
                           "-CAfile", pki.file("ca", "other"), pki.file(name)], stdout=subprocess.PIPE, stderr=subprocess.PIPE)  # fmt: skip
    said = re.search(rb"^error (\d+) at 0 depth", done.stderr, re.MULTILINE)
    assert bool(said) == (done.returncode != 0), done.stderr
    return int(said[1]) if said else 0


class CrlTest(VerifyTest):
    def check(self, *names, lists=("list",), code=0, at=NOW, more=(), said=""):
        """The answers for certificates, which the text output must tell, too."""
        paths = [each if "/" in str(each) else scratch / f"{each}.crl" for each in lists]
        arguments = [*(part for path in paths for part in ("--crl", path)), "--time", at, *more, "--", *map(pki.file, names)]
        result = run("crl", "check", "--json", *arguments)
        self.assertEqual((result.code, result.message), (code, said), result.text)
        answer = result.json()
        self.assertEqual(answer["verdict"], ["good", "bad", "unknown"][code])
        result = run("crl", "check", *arguments)
        self.assertEqual((result.code, result.message), (code, said))
        self.assertHarmless(result.out)
        lines = result.text.splitlines()
        self.assertEqual(len(lines), len(answer["files"]) + len(answer["crls"]) + 1)
        for line, each in zip(lines, answer["files"]):
            end = {
                "good": " is not revoked, says ",
                "bad": f" is revoked since {each.get('revocationTime')}" + (f" ({each['revocationReason']})" if "revocationReason" in each else ""),
                "unknown": f": {each.get('reason')}",
            }[each["verdict"]]
            self.assertTrue(line.startswith(f"{each['verdict']}: {each['file']}: {each['certificate']['subject']}{end}"), line)
        checked = "good" if answer["signaturesChecked"] else "not checked (see --issuer)"
        self.assertEqual(lines[-1], f"The signatures of the lists are {checked}.")
        return answer

    def unknown(self, name, reason):
        return f"cry: {pki.file(name)}: nothing is known of CN={name}, O=Test: {reason}\n"


class Answers(CrlTest):
    def test_RevokedOrNot(self):
        answer = self.check("one")
        one = answer["files"][0]
        self.assertEqual(one, {"file": str(pki.file("one")), "verdict": "good", "certificate": one["certificate"], "crl": f"{scratch}/list.crl"})
        self.assertEqual(one["certificate"]["subject"], "CN=one, O=Test")
        expected = {"file": f"{scratch}/list.crl", "issuer": "CN=ca, O=Test", "thisUpdate": START, "nextUpdate": END, "count": 2, "current": True}
        self.assertEqual(answer["crls"], [expected])
        self.assertEqual((answer["time"], answer["signaturesChecked"]), (NOW, False))
        two = self.check("two", code=1)["files"][0]
        self.assertEqual((two["verdict"], two["revocationTime"], "revocationReason" in two), ("bad", "2025-12-24T18:30:00Z", False))
        three = self.check("three", code=1)["files"][0]
        self.assertEqual((three["verdict"], three["revocationReason"], three["crl"]), ("bad", "keyCompromise", f"{scratch}/list.crl"))

    def test_OneRevokedCertificateIsEnough(self):
        answer = self.check("one", "two", "three", code=1)
        self.assertEqual([each["verdict"] for each in answer["files"]], ["good", "bad", "bad"])
        # Several in one file are told apart.
        path = pki.file("two", "one")
        answer = run("crl", "check", "--crl", scratch / "list.crl", "--time", NOW, "--json", path).json()
        self.assertEqual([(each["file"], each["verdict"]) for each in answer["files"]], [(str(path), "bad"), (str(path), "good")])

    def test_EveryReasonHasItsIdentifier(self):
        for reason in ("unspecified", "keyCompromise", "CACompromise", "affiliationChanged", "superseded", "cessationOfOperation", "certificateHold"):
            crl("reason", f"two,{reason}")
            expected = None if reason == "unspecified" else reason.replace("CAC", "cAC")
            self.assertIn(self.check("two", lists=["reason"], code=1)["files"][0].get("revocationReason"), (expected, "unspecified"))
        for number, name in ((9, "privilegeWithdrawn"), (10, "aACompromise"), (7, "(unknown)"), (99, "(unknown)"), (2**70, "(unknown)")):
            value = element(0x0A, elements(integer(number))[0][1])
            extension = element(0x30, joined([(6, bytes.fromhex("551d15")), (4, value)]))

            def change(fields):
                entry = elements(fields[5][1])[0][1]
                fields[5] = (0x30, element(0x30, entry + element(0x30, extension)))
                return fields

            crl("plain", "two")
            path = self.write("number.crl", changed(scratch / "plain.crl", change))
            self.assertEqual(self.check("two", lists=[path], code=1)["files"][0]["revocationReason"], name)

    def test_PemDerAndStandardInputAreTheSame(self):
        path, text = scratch / "list.crl", (scratch / "list.crl").read_text()
        der = self.write("list.der", der_of_list(path))
        for lists in ([der], [self.write("around.crl", f"text\n{pki.text['ca']}{text}more\n".replace("\n", "\r\n"))]):
            self.assertEqual(self.check("two", lists=lists, code=1)["files"][0]["revocationTime"], "2025-12-24T18:30:00Z")
            self.check("one", lists=lists)
        for stdin in (text.encode(), der.read_bytes()):
            result = run("crl", "check", "--crl", "-", "--time", NOW, pki.file("two"), stdin=stdin)
            self.assertEqual((result.code, result.err), (1, b""))
        self.assertEqual(run("crl", "check", "--crl", path, "--time", NOW, "-", stdin=pki.der["two"]).code, 1)
        result = run("crl", "check", "--crl", "-", "-")
        self.assertInputError(result, "only one of the inputs can be standard input")

    def test_SeveralListsAreAskedTogether(self):
        crl("of-other", "foreign", issuer="other")
        self.check("one", "foreign", lists=["list", "of-other"], code=1)
        both = self.write("both.crl", (scratch / "empty.crl").read_text() + (scratch / "of-other.crl").read_text())
        answer = self.check("one", "foreign", lists=[both], code=1)
        self.assertEqual([each["verdict"] for each in answer["files"]], ["good", "bad"])
        self.assertEqual([each["issuer"] for each in answer["crls"]], ["CN=ca, O=Test", "CN=other, O=Test"])
        # Of two lists of one issuer, one with the certificate is enough.
        for lists in (["empty", "list"], ["list", "empty"]):
            self.assertEqual(self.check("two", lists=lists, code=1)["files"][0]["crl"], f"{scratch}/list.crl")

    def test_OpensslAgrees(self):
        crl("old", "two", end="20260115000000Z")
        crl("new", "two", start="20260201000000Z")
        crl("of-other", issuer="other")
        for name, lists, at, error, code in [
            ("one", ["list"], NOW, 0, 0),
            ("two", ["list"], NOW, 23, 1),
            ("one", ["empty"], NOW, 0, 0),
            ("one", ["old"], NOW, 12, 2),
            ("one", ["old"], "2026-01-14T23:59:59Z", 0, 0),
            ("one", ["old"], "2026-01-15T00:00:00Z", 12, 2),
            ("one", ["new"], NOW, 11, 2),
            ("one", ["new"], "2026-02-01T00:00:00Z", 0, 0),
            ("one", ["old", "list"], NOW, 0, 0),
            ("one", ["of-other"], NOW, 3, 2),
            ("foreign", ["list"], NOW, 3, 2),
        ]:
            with self.subTest(name=name, lists=lists, at=at):
                seconds = calendar.timegm(time.strptime(at, "%Y-%m-%dT%H:%M:%SZ"))
                every = self.write("every.crl", "".join((scratch / f"{each}.crl").read_text() for each in lists))
                self.assertEqual(openssl_error(name, every, seconds), error)
                arguments = [part for each in lists for part in ("--crl", scratch / f"{each}.crl")]
                self.assertEqual(run("crl", "check", *arguments, "--time", at, "--json", pki.file(name)).code, code)

    def test_LongSerialNumbersAreFound(self):
        for serial in ("00", "01", "7F", "80", "FF" * 20, "01" + "00" * 40):
            pki.openssl("x509", "-req", "-in", "one.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-set_serial", f"0x{serial}", "-out", "serial.pem")
            make_crl(pki.folder / "ca.pem", pki.folder / "ca.key", scratch / "serial.crl", [(SERIALS["two"], REVOKED), (serial, REVOKED)])
            path = pki.folder / "serial.pem"
            self.assertEqual(run("crl", "check", "--crl", scratch / "serial.crl", "--time", NOW, path).code, 1, serial)
            self.assertEqual(run("crl", "check", "--crl", scratch / "list.crl", "--time", NOW, path).code, 0, serial)


class Silence(CrlTest):
    """Lists that tell nothing about a certificate."""

    def test_ForeignIssuersAreNotGood(self):
        reason = "none of the lists is of its issuer, CN=other, O=Test"
        answer = self.check("foreign", code=2, said=self.unknown("foreign", reason))
        self.assertEqual((answer["files"][0]["reason"], "crl" in answer["files"][0]), (reason, False))
        self.assertEqual(answer["problems"], [{"message": self.unknown("foreign", reason)[5:-1], "file": str(pki.file("foreign"))}])
        # The serial number alone does not count.
        crl("same-number", "foreign")
        self.check("foreign", lists=["same-number"], code=2, said=self.unknown("foreign", reason))
        # One that is revoked decides; one that is not does not.
        self.check("one", "foreign", code=2, said=self.unknown("foreign", reason))
        self.check("foreign", "two", code=1, said=self.unknown("foreign", reason))

    def test_ListsOutOfTheirTimeAreWarnedOf(self):
        crl("old", "two", end="20260115000000Z")
        crl("new", "two", start="20260201000000Z")
        for name, untimely in (("old", "is out of date, the next one was due at 2026-01-15T00:00:00Z"),
                               ("new", "is of the future, 2026-02-01T00:00:00Z")):  # fmt: skip
            warning = f"{scratch}/{name}.crl: the list of CN=ca, O=Test {untimely}"
            said = f"cry: warning: {warning}\n"
            answer = self.check("two", lists=[name], code=1, said=said)
            self.assertEqual(answer["warnings"], [{"message": warning, "file": f"{scratch}/{name}.crl"}])
            self.assertEqual((answer["crls"][0]["current"], answer["files"][0]["verdict"]), (False, "bad"))
            reason = f"it is not in {scratch}/{name}.crl, but that list {untimely}"
            answer = self.check("one", lists=[name], code=2, said=said + self.unknown("one", reason))
            self.assertEqual((answer["files"][0]["verdict"], answer["files"][0]["reason"]), ("unknown", reason))
            # A current list beside it is enough.
            self.assertEqual(self.check("one", lists=[name, "empty"], said=said)["files"][0]["crl"], f"{scratch}/empty.crl")
            self.check("two", lists=[name, "empty"], code=1, said=said)

    def test_TheTimeIsNowIfLeftOut(self):
        crl("always", start="20200101000000Z", end="20990101000000Z")
        self.assertEqual(run("crl", "check", "--crl", scratch / "always.crl", pki.file("one")).code, 0)
        crl("past", start="20200101000000Z", end="20200201000000Z")
        self.assertEqual(run("crl", "check", "--crl", scratch / "past.crl", pki.file("one")).code, 2)
        for bad in ("now", "2026-02-30T00:00:00Z"):
            self.assertInputError(run("crl", "check", "--crl", scratch / "past.crl", "--time", bad, pki.file("one")), f"--time: '{bad}' is ")

    def test_TimesThatAreMissingOrUnreadable(self):
        def without(fields):
            return [each for at, each in enumerate(fields) if at != 4]

        path = self.write("endless.crl", changed(scratch / "list.crl", without))
        answer = self.check("one", lists=[path], at="2099-01-01T00:00:00Z")
        self.assertEqual(("nextUpdate" in answer["crls"][0], answer["crls"][0]["current"]), (False, True))
        for at, member in ((3, "thisUpdate"), (4, "nextUpdate")):
            for bad in (b"260101000000+0100", b"XXXXXXXXXXXXZ", b"260101000000", b""):

                def broken(fields):
                    fields[at] = (0x17, bad)
                    return fields

                path = self.write("times.crl", changed(scratch / "list.crl", broken))
                result = run("crl", "check", "--crl", path, "--time", NOW, "--json", pki.file("one"))
                self.assertEqual(result.code, 2)
                if "error" not in result.json():  # OpenSSL refuses some of them
                    self.assertEqual((result.json()["crls"][0][member], result.json()["verdict"]), ("(unreadable)", "unknown"))
                    self.assertIn("has a time that cannot be read", result.message)
                    self.assertEqual(run("crl", "check", "--crl", path, "--time", NOW, pki.file("two")).code, 1)

    def test_CriticalExtensionsThatAreNotFollowed(self):
        for extensions, name in [
            ("deltaCRL=critical,ASN1:INTEGER:1\n", "X509v3 Delta CRL Indicator"),
            ("issuingDistributionPoint=critical,@point\n1.2.3.4=critical,ASN1:NULL\n[point]\nonlyuser=TRUE", "1.2.3.4"),
        ]:
            with self.subTest(extensions):
                crl("strange", "two", extensions=extensions)
                reason = f"it is not in {scratch}/strange.crl, but that list has the critical extension '{name}', which this command does not follow"
                self.check("one", lists=["strange"], code=2, said=self.unknown("one", reason))
                self.check("two", lists=["strange"], code=1)
                self.check("one", lists=["strange", "empty"])
        crl("numbered", extensions="authorityKeyIdentifier=keyid:always\n2.5.29.20=ASN1:INTEGER:7\n1.2.3.4=ASN1:NULL")
        self.check("one", lists=["numbered"])

    def test_ListsForSomeCertificatesOnly(self):
        points = "\ncrlDistributionPoints=URI:http://a.example/1.crl,URI:http://a.example/2.crl"
        others = "other certificates of its issuer (X509v3 Issuing Distribution Point)"
        pki.issue("pointed", "ca", pki.LEAF + points)
        pki.issue("below", "ca", pki.CA + points)
        for point, names in [
            ("onlyuser=TRUE", ["one", "pointed"]),
            ("onlyCA=TRUE", ["below"]),
            ("fullname=URI:http://a.example/2.crl", ["pointed", "below"]),
            ("fullname=URI:http://a.example/0.crl,URI:http://a.example/1.crl\nonlyuser=TRUE", ["pointed"]),
            ("fullname=URI:http://a.example/3.crl", []),
            ("relativename=relative\n[relative]\nCN=x", []),
            ("onlysomereasons=keyCompromise", []),
            ("onlyAA=TRUE", []),
            ("indirectCRL=TRUE", []),
        ]:
            for critical in ("critical,", ""):
                crl("partial", "two", extensions=f"issuingDistributionPoint={critical}@point\n[point]\n{point}")
                for name in ("one", "pointed", "below"):
                    with self.subTest(point=point, name=name):
                        said = self.unknown(name, f"it is not in {scratch}/partial.crl, but that list is for {others}")
                        self.check(name, lists=["partial"], code=0 if name in names else 2, said="" if name in names else said)
                        self.assertEqual(openssl_error(name, scratch / "partial.crl") == 0, name in names)
                # One that is in it is revoked in every case.
                self.check("two", lists=["partial"], code=1)

    def test_AScopeThatCannotBeReadIsNone(self):
        crl("unreadable", "two", extensions="2.5.29.28=DER:04:01:00")
        result = run("crl", "check", "--crl", scratch / "unreadable.crl", "--time", NOW, pki.file("one"))
        self.assertEqual(result.code, 2)

    def test_EntriesThatDoNotRevoke(self):
        crl("held", "two,removeFromCRL", extensions="deltaCRL=critical,ASN1:INTEGER:1")
        reason = f"its serial number is in {scratch}/held.crl, but for another issuer or to take an entry back"
        self.check("two", lists=["held"], code=2, said=self.unknown("two", reason))

        # An indirect list, whose entry is for another issuer.
        def change(fields):
            issuer = elements(elements(elements(pki.der["foreign"])[0][1])[0][1])[3]
            name = element(0x30, element(0xA4, element(*issuer)))
            extension = element(0x30, joined([(6, bytes.fromhex("551d1d")), (1, b"\xff"), (4, name)]))
            fields[5] = (0x30, element(0x30, elements(fields[5][1])[0][1] + element(0x30, extension)))
            return fields

        crl("indirect", "two", extensions="issuingDistributionPoint=critical,@point\n[point]\nindirectCRL=TRUE")
        path = self.write("foreign-entry.crl", changed(scratch / "indirect.crl", change))
        reason = f"its serial number is in {path}, but for another issuer or to take an entry back"
        self.check("two", lists=[path], code=2, said=self.unknown("two", reason))


class Signatures(CrlTest):
    def test_GoodSignaturesAreSaid(self):
        for issuers in (["ca"], ["other", "ca"], ["impostor", "ca"], ["ca", "impostor"]):
            more = [part for name in issuers for part in ("--issuer", pki.file(name))]
            self.assertIs(self.check("one", more=more)["signaturesChecked"], True)
            self.check("two", code=1, more=more)
        self.check("one", more=["--issuer", pki.file("other", "ca")])

    def test_OthersEndTheCommand(self):
        crl("forged", issuer="impostor")
        crl("unused", issuer="no-crls")
        broken = bytearray(der_of_list(scratch / "list.crl"))
        broken[-1] ^= 1
        for path, issuer, said in [
            (scratch / "forged.crl", "ca", "its signature is not good by the key of its issuer, CN=ca, O=Test"),
            (scratch / "list.crl", "impostor", "its signature is not good by the key of its issuer, CN=ca, O=Test"),
            (self.write("broken.crl", bytes(broken)), "ca", "its signature is not good by the key of its issuer, CN=ca, O=Test"),
            (scratch / "list.crl", "other", "none of the certificates of --issuer is its issuer's, CN=ca, O=Test"),
            (scratch / "unused.crl", "no-crls", "the key usage of its issuer, CN=no-crls, O=Test, is not for signing lists"),
        ]:
            for name in ("one", "two"):
                good = ["--crl", scratch / "list.crl"] if issuer == "ca" else []
                result = run("crl", "check", *good, "--crl", path, "--issuer", pki.file(issuer), "--time", NOW, "--json", pki.file(name))
                self.assertInputError(result, f"{path}: {said}")
        # Without --issuer the same lists are believed.
        self.check("one", lists=["forged"])


class Input(CrlTest):
    def refuses(self, name, content, *said, line=None):
        path = self.write(name, content)
        place = f":{line}: " if line else ": "
        self.assertInputError(run("crl", "check", "--json", "--crl", path, pki.file("one")), f"{path}{place}", *said)
        self.assertInputError(run("crl", "check", "--crl", scratch / "list.crl", "--crl", "-", pki.file("one"), stdin=path.read_bytes()),
                              f"standard input{place}", *said)  # fmt: skip

    def test_FilesThatHoldNoListAreRefused(self):
        neither = "is neither PEM text nor a revocation list in DER"
        der = der_of_list(scratch / "list.crl")
        self.refuses("none", b"", "is empty")
        self.refuses("text", "This is a text.\n", neither)
        self.refuses("nuls", bytes(4096), neither)
        self.refuses("cut.der", der[:100], neither, "(")
        self.refuses("nested.der", b"\x30\x80" * 50000, neither)
        self.refuses("certificate.der", pki.der["one"], neither)
        self.refuses("certificate", pki.text["one"], "holds no revocation list, only 'CERTIFICATE'")
        self.refuses("utf16", (scratch / "list.crl").read_text().encode("utf-16"), "is text in UTF-16")
        for path in ("/nowhere", "", scratch):
            self.assertEqual(run("crl", "check", "--crl", path, pki.file("one")).code, 2)
        path = scratch / "list.crl"
        self.assertInputError(run("crl", "check", "--crl", path, path), f"{path}: holds no certificate, only 'X509 CRL'")

    def test_DamagedBlocksAreRefusedWithTheirLine(self):
        text = (scratch / "list.crl").read_text()
        lines = text.splitlines()
        self.refuses("cut", text[:200], "the block that begins here has no END line", line=1)
        self.refuses("character", text.replace(lines[2], "!" + lines[2][1:]), "wrong character, '!'", line=3)
        self.refuses("second", text + "text\n" + text.replace(lines[1] + "\n", "AAAA\n"), "the revocation list does not parse: ", line=len(lines) + 2)
        self.refuses("not-der", pem(b"\0\0\0", "X509 CRL"), "the revocation list does not parse: ", line=1)
        self.refuses("a-certificate", pem(pki.der["one"], "X509 CRL"), "the revocation list does not parse: ", line=1)

    def test_FlippedBytesNeverAbort(self):
        der = der_of_list(scratch / "list.crl")
        for at in range(0, len(der), 5):
            flipped = bytearray(der)
            flipped[at] ^= 0xFF
            result = run("crl", "check", "--crl", "-", "--time", NOW, pki.file("two"), stdin=bytes(flipped))
            self.assertIn(result.code, (0, 1, 2))
            self.assertHarmless(result.out + result.err)

    def test_HostileNamesAreHarmless(self):
        pki.issue("template", None, pki.CA, subject="/O=Test/CN=" + "N" * 24)
        issuer = self.write("hostile.der", pki.patched(b"\x1b[2J\r\n\x07" + "\u202e".encode()))
        crl("of-template", issuer="template")
        path = self.write("hostile.crl", changed(scratch / "of-template.crl", lambda fields: [
            (tag, content.replace(b"N" * 24, b"\x1b[2J\r\n\x07\xe2\x80\xae".ljust(24, b"."))) for tag, content in fields]))  # fmt: skip
        for lists, code in ((path, 0), (scratch / "list.crl", 2)):
            for more in ([], ["--json"], ["--issuer", issuer]):
                result = run("crl", "check", "--crl", lists, "--time", NOW, *more, issuer)
                self.assertEqual(result.code, 2 if "--issuer" in more else code, result.message)
                self.assertHarmless(result.out + result.err)

    def test_LongListsAreQuick(self):
        def change(fields):
            fields[5] = (0x30, b"".join(element(0x30, integer(number) + element(0x17, b"260101000000Z")) for number in range(1, 400000)))
            return fields

        path = self.write("long.crl", changed(scratch / "list.crl", change))
        names = self.write("names", "".join(pki.text[name] for name in ("one", "two", "three")) * 300)
        arguments = ["crl", "check", "--crl", path, "--time", NOW, "--json", names]
        result = self.timed("399,999 entries, 900 certificates", lambda: limited(arguments, 600))
        self.assertEqual((result.code, len(result.json()["files"]), result.json()["crls"][0]["count"]), (0, 900, 399999))
        self.assertEqual(path.stat().st_size > 7 * MIB, True)

    def test_ArgumentsAreNeeded(self):
        self.assertInputError(run("crl", "check", pki.file("one")), "--crl is required")
        self.assertInputError(run("crl", "check", "--crl", scratch / "list.crl"), "CERT is required")

    def test_NothingLeaks(self):
        damaged = self.write("leak.crl", (scratch / "list.crl").read_text() + "-----BEGIN X509 CRL-----\nAAAA\n-----END X509 CRL-----\n")
        arguments = ["crl", "check", "--time", NOW, "--crl", scratch / "list.crl"]
        self.assertNothingLeaks(
            (1, [*arguments, "--issuer", pki.file("ca"), pki.file("three")]),
            (2, [*arguments, pki.file("foreign")]),
            (2, [*arguments, "--crl", damaged, pki.file("one")]),
        )


if __name__ == "__main__":
    unittest.main(verbosity=2)
