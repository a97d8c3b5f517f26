#!/usr/bin/env python3
"""`cry inspect`, with openssl as its peer. CRY_TOOL names the program."""

import base64
import math
import os
import re
import subprocess
import time
import unittest
from datetime import datetime, timezone
from pathlib import Path

import item_fixture
from identity_fixture import file, text_of
from item_fixture import ItemTest
from peers import der_of, element, integer, openssl, pem
from tool import PASSWORD, ToolTest, data, instrumented, run, scratch, secret, wrong

DAY = 24 * 60 * 60


def setUpModule():
    item_fixture.make()


def digits(path):
    """The private values of a key in PEM without a password, in all forms that could be printed."""
    text = openssl("pkey", "-in", path, "-noout", "-text").decode()
    found = [re.sub(r"[\s:]", "", part) for part in re.findall(r"(?:privateExponent|priv|prime1|prime2):\s*((?:[0-9a-f:\s])+)", text)]
    assert found and all(len(each) > 60 for each in found)
    return [each[8:40] for each in found]


def time_of(text):
    """A time as openssl prints it."""
    for form in ("%b %d %H:%M:%S %Y %Z", "%b  %d %H:%M:%S %Y %Z"):
        try:
            return datetime.strptime(text, form).strftime("%Y-%m-%dT%H:%M:%SZ").rjust(20, "0")
        except ValueError:
            pass
    return None


class InspectTest(ItemTest):
    def inspect(self, *arguments, code=0, **more):
        """The items of a call, and its text; both ways end in the same manner."""
        answer = run("inspect", "--json", *arguments, **more)
        said = run("inspect", *arguments, **more)
        self.assertEqual((answer.code, answer.message), (said.code, said.message))
        self.assertEqual(answer.code, code, answer.message)
        self.assertHarmless(said.out)
        return answer.json()["items"], said

    def one(self, *arguments, **more):
        (item,), said = self.inspect(*arguments, **more)
        return item, said

    def values(self, said, what):
        """The values of the lines under a name."""
        return [line[22:] for line in said.text.splitlines() if line.startswith(f"  {what:<20}")]


class Kinds(InspectTest):
    def test_Certificates(self):
        path = file("rsa.crt")
        for given, line in ((path, 1), (self.in_der(path, ["x509"]), None)):
            item, said = self.one(given)
            self.assertEqual((item["kind"], item["file"], item.get("line")), ("certificate", str(given), line))
            self.assertTrue(said.text.startswith(f"{given}{':1' if line else ''}: certificate\n"), said.text)
            facts = run("verify", "--no-system", "--trust", path, path, "--json").json()["chain"][0]
            self.assertEqual(item["certificate"], facts)
            serial = int(openssl("x509", "-in", path, "-noout", "-serial").decode().partition("=")[2], 16)
            self.assertEqual(item["info"]["serialNumber"], str(serial))
            self.assertRegex(self.values(said, "serial")[0], rf"^{serial} \(0x0*{serial:x}\)$")
            self.assertEqual(self.values(said, "subject"), ["CN=rsa, O=Test"])
            self.assertEqual(self.values(said, "issuer"), ["CN=rsa, O=Test"])
            self.assertEqual(self.values(said, "key"), ["RSA, 2048 bits"])
            self.assertEqual(self.values(said, "signature"), ["sha256WithRSAEncryption"])
            for name, digest, value in (("SHA-256", "sha256", facts["sha256"]), ("SHA-1", "sha1", item["sha1"])):
                self.assertEqual(self.values(said, name), [value])
                self.assertEqual(openssl("x509", "-in", path, "-noout", "-fingerprint", f"-{digest}").decode().strip().partition("=")[2], value)

    def test_Requests(self):
        path = self.request("--domain", "*.bücher.example", key="rsa")
        for given in (path, self.in_der(path, ["req"])):
            item, said = self.one(given)
            self.assertEqual((item["kind"], item["subject"], item["key"]["bits"]), ("request", "CN=*.bücher.example", 2048))
            checked = run("request", "check", path, "--json").json()
            for name in ("subject", "key", "extensions"):
                self.assertEqual(item[name], checked[name])
            self.assertEqual(self.values(said, "name"), ["dns *.xn--bcher-kva.example"])
            self.assertEqual(item["signatureAlgorithm"], "sha256WithRSAEncryption")

    def test_Crls(self):
        path = self.crl("01", "FF00", "7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF")
        for given in (path, self.in_der(path, ["crl"])):
            item, said = self.one(given)
            self.assertEqual((item["kind"], item["issuer"], item["count"]), ("crl", "CN=rsa, O=Test", 3))
            self.assertEqual((item["thisUpdate"], item["nextUpdate"]), ("2020-01-01T00:00:00Z", "2099-01-01T00:00:00Z"))
            when = "2020-01-02T03:04:05Z"
            serials = ["1", "65280", str(int("7F" + "F" * 38, 16))]
            self.assertEqual(item["entries"], [{"serialNumber": each, "revocationTime": when} for each in serials])
            self.assertEqual(self.values(said, "revoked"), [f"{when} 1 (0x01)", f"{when} 65280 (0xff00)", f"{when} {serials[2]} (0x7f{'f' * 38})"])
            self.assertEqual([each["name"] for each in item["extensions"]], ["X509v3 CRL Number"])

    def test_OldCrlsAreWarnedOf(self):
        path = self.crl("01", name="old", due="20200201000000Z")
        _, said = self.one(path)
        self.assertEqual(said.message, f"cry: warning: {path}:1: the CRL is out of date; the next one was due at 2020-02-01T00:00:00Z\n")
        self.assertEqual(self.values(said, "next update"), ["2020-02-01T00:00:00Z (out of date)"])

    def test_OfManyEntriesTheFirstAreGiven(self):
        path = self.crl(*(f"{number:04X}" for number in range(1, 2001)))
        item, said = self.one(path)
        self.assertEqual((item["count"], len(item["entries"])), (2000, 1000))
        self.assertEqual(self.values(said, "entries"), ["2000"])
        self.assertEqual((len(self.values(said, "revoked")), self.values(said, "revoked")[-1]), (21, "... and 1980 more"))
        item, said = self.one(self.crl())
        self.assertEqual((item["count"], item["entries"], self.values(said, "entries")), (0, [], ["0"]))

    def test_PrivateKeys(self):
        public = {name: run("key", "public", file(f"{name}.key"), "--json").json()["key"] for name in ("rsa", "ec")}
        for name, key, form, command in (("rsa.key", "rsa", "PKCS#8", None), ("rsa.old", "rsa", "traditional", ["rsa", "-traditional"]),
                                         ("ec.old", "ec", "SEC 1", ["ec"]), ("ec.key", "ec", "PKCS#8", None)):  # fmt: skip
            command = command or ["pkcs8", "-topk8", "-nocrypt"]
            for given, more in ((file(name), ""), (self.in_der(file(name), command), " in DER")):
                item, said = self.one(given)
                self.assertEqual((item["kind"], item["form"], item["key"]), ("private key", form + more, public[key]))
                self.assertIn(f": private key ({form}{more})\n", said.text)
                self.assertEqual(said.message, "")
                self.assertNoSecrets(key, said)

    def assertNoSecrets(self, key, said):
        answer = run("inspect", "--json", *([] if said is None else said)) if isinstance(said, list) else said
        for each in digits(f"{key}.key"):
            self.assertNotIn(each, answer.text.lower())
        body = base64.b64encode(der_of(file(f"{key}.key").read_text())).decode()
        for at in range(60, len(body) - 20, 20):
            self.assertNotIn(body[at : at + 20], answer.text)

    def test_LockedKeysAreNamedAsSuch(self):
        for name, form, protection in (("guarded.key", "PKCS#8, protected by a password", "PBES2, PBKDF2, AES-256-CBC, 2048 rounds"),
                                       ("rsa.locked", "PKCS#8, protected by a password", "PBES2, PBKDF2, AES-128-CBC, 4096 rounds"),
                                       ("rsa.old.locked", "traditional, protected by a password", "AES-256-CBC")):  # fmt: skip
            item, said = self.one(file(name))
            self.assertEqual((item["kind"], item["form"], item["protection"], "key" in item), ("private key", form, protection, False))
            self.assertEqual(self.values(said, "key"), ["not known without the password"])
        der = openssl("pkcs8", "-topk8", "-in", "rsa.key", "-passout", f"pass:{PASSWORD}", "-outform", "DER")
        item, _ = self.one(self.private("locked.der", der))
        self.assertEqual((item["form"], item["protection"]), ("PKCS#8 in DER, protected by a password", "PBES2, PBKDF2, AES-256-CBC, 2048 rounds"))

    def test_PasswordsOpenLockedKeys(self):
        for name, key in (("guarded.key", "ec"), ("rsa.locked", "rsa"), ("rsa.old.locked", "rsa")):
            path = file(name)
            item, said = self.one(path, "--password-file", secret)
            self.assertEqual(item["key"], run("key", "info", file(f"{key}.key"), "--json").json()["key"])
            self.assertNoSecrets(key, said)
            (item,), said = self.inspect(path, "--password-file", wrong, code=2)
            self.assertNotIn("key", item)
            self.assertIn(f"cry: {path}:1: the password is wrong, or the key is damaged", said.message)
        _, said = self.inspect(file("guarded.key"), "--password-file", secret, file("rsa.key"))
        self.assertNoSecrets("rsa", said)
        self.assertInputError(run("inspect", file("guarded.key"), "--password-file", "/nowhere"), "/nowhere: No such file")

    def test_PublicKeys(self):
        path = file("ec.pub")
        openssl("pkey", "-in", "ec.key", "-pubout", "-out", path)
        for given, form in ((path, "SubjectPublicKeyInfo"), (self.in_der(path, ["pkey", "-pubin"]), "SubjectPublicKeyInfo in DER")):
            item, said = self.one(given)
            self.assertEqual((item["kind"], item["form"]), ("public key", form))
            self.assertEqual(item["key"], run("key", "info", path, "--json").json()["key"])
            self.assertEqual(self.values(said, "key"), ["EC prime256v1, 256 bits"])

    def test_Pkcs12(self):
        path = self.export(extras=("one", "two"))
        for given in (path, self.write("p12.pem", pem(path.read_bytes(), "PKCS12"))):
            item, said = self.one(given)
            self.assertEqual((item["kind"], item["protection"]), ("pkcs12", "SHA256, 2048 rounds"))
            self.assertEqual(item["contents"], ["an encrypted part (PBES2, PBKDF2, AES-256-CBC, 2048 rounds)",
                                                "1 protected private key (PBES2, PBKDF2, AES-256-CBC, 2048 rounds)"])  # fmt: skip
            self.assertEqual(self.values(said, "key"), ["not known without the password"])
            item, said = self.one(given, "--password-file", secret)
            read = run("pkcs12", "read", path, "--password-file", secret, "--json").json()
            for name in ("key", "certificate", "certificates"):
                self.assertEqual(item[name], read[name])
            self.assertEqual(len(item["certificates"]), 2)
            self.assertNoSecrets("rsa", said)
            _, said = self.inspect(given, "--password-file", wrong, code=2)
            self.assertIn("the password is wrong, or the file is damaged", said.message)

    def test_Pkcs12WithoutPasswordIsOpened(self):
        item, said = self.one(self.make(password=False))
        self.assertEqual((item["certificate"]["subject"], item["key"]["bits"]), ("CN=rsa, O=Test", 2048))
        self.assertNoSecrets("rsa", said)

    def test_Pkcs12OfCertificatesOnlyIsNoError(self):
        openssl("pkcs12", "-export", "-nokeys", "-in", "rsa.crt", "-passout", "pass:", "-out", "trust.p12")
        item, said = self.one(file("trust.p12"))
        self.assertIn("no private key", item["problem"])
        self.assertEqual(self.values(said, "not read"), [item["problem"]])

    def test_OtherBlocksAreNamed(self):
        parameters = openssl("ecparam", "-name", "prime256v1")
        item, said = self.one(self.write("parameters", parameters))
        self.assertEqual((item["kind"], item["label"]), ("other", "EC PARAMETERS"))
        self.assertTrue(said.text.endswith("parameters:1: a block of EC PARAMETERS, which is not read\n"))
        for label in ("OPENSSH PRIVATE KEY", "TRUSTED CERTIFICATE", "PKCS7", "A-B C"):
            self.assertEqual(self.one("-", stdin=pem(b"x", label).encode())[0]["label"], label)


class Extensions(InspectTest):
    def test_UsagesAndNames(self):
        path = self.with_extensions(
            "basicConstraints=critical,CA:TRUE,pathlen:3", "keyUsage=critical,keyCertSign,cRLSign", "extendedKeyUsage=serverAuth,1.2.3.4",
            "nsCertType=server,objCA",
            "subjectAltName=DNS:a.example,DNS:*.b.example,IP:192.0.2.1,IP:2001:db8::1,email:a@b.example,URI:http://c/,RID:1.2.3",
            "crlDistributionPoints=URI:http://crl.example/a.crl,URI:ldap://x/y")  # fmt: skip
        item, said = self.one(path)
        self.assertEqual(self.values(said, "basic constraints"), ["CA:TRUE, pathlen:3 (critical)"])
        self.assertEqual(self.values(said, "key usage"), ["Certificate Sign, CRL Sign (critical)"])
        self.assertEqual(self.values(said, "extended key usage"), ["TLS Web Server Authentication, 1.2.3.4"])
        self.assertEqual(self.values(said, "Netscape type"), ["SSL Server, Object Signing CA"])
        self.assertEqual(self.values(said, "name"), ["dns a.example", "dns *.b.example", "ip 192.0.2.1", "ip 2001:db8::1", "email a@b.example",
                                                     "uri http://c/", "rid 1.2.3"])  # fmt: skip
        self.assertEqual(self.values(said, "CRL"), ["http://crl.example/a.crl", "ldap://x/y"])
        info = item["info"]
        self.assertEqual(info["basicConstraints"], {"ca": True, "pathlen": 3})
        self.assertEqual(info["keyUsage"], "CRY_X509_KEY_USAGE_KEY_CERT_SIGN|CRY_X509_KEY_USAGE_CRL_SIGN")
        self.assertEqual(info["extendedKeyUsage"], "CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER")
        self.assertEqual(info["netscapeCertType"], "CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER|CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA")
        self.assertEqual([each.get("dnsName", each.get("ipAddress")) for each in info["sans"]],
                         ["*.b.example", "a.example", "192.0.2.1", "2001:db8::1"])  # fmt: skip
        self.assertEqual(list(info), ["subject", "issuer", "serialNumber", "validFrom", "validUntil", "basicConstraints", "keyUsage",
                                      "extendedKeyUsage", "sans", "netscapeCertType"])  # fmt: skip
        self.assertEqual(item["crlDistribution"], [{"uris": ["http://crl.example/a.crl"]}, {"uris": ["ldap://x/y"]}])
        self.assertEqual(len([each for each in item["extensions"] if "names" in each][0]["names"]), 7)

    def test_TelephoneNumbers(self):
        path = self.with_extensions("1.3.6.1.5.5.7.1.26=DER:" + bytes.fromhex("3008a006160431323334").hex())
        item, said = self.one(path)
        self.assertEqual(self.values(said, "telephone"), ["service provider code 1234"])
        self.assertEqual(item["tnAuthList"], [{"type": "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE", "serviceProviderCode": "1234"}])
        # A count that the library aborts at.
        ranges = element(0x30, element(0xA1, element(0x30, element(0x16, b"1") + integer(2**31))))
        item, said = self.one(self.with_extensions("1.3.6.1.5.5.7.1.26=DER:" + ranges.hex()))
        self.assertNotIn("tnAuthList", item)
        self.assertIn("entry 1 of the telephone number authorization list: the count of the range is not a number from 0 to 2147483647", said.message)

    def test_HostileNamesAreEscaped(self):
        names = element(0x30, element(0x82, b"a,b\\c\x1b[2J\xff") + element(0x86, "x\u202ey".encode()))
        path = self.with_extensions("subjectAltName=DER:" + names.hex(), "crlDistributionPoints=URI:http://x/\x1b[31m",
                                    subject="/O=a\u202eb\x1b[2J/CN=x\\\\y")  # fmt: skip
        item, said = self.one(path)
        self.assertEqual(self.values(said, "name"), [r"dns a\u{2C}b\\c\u{1B}[2J\x{FF}", r"uri x\u{202E}y"])
        self.assertEqual(self.values(said, "CRL"), [r"http://x/\u{1B}[31m"])
        self.assertEqual(item["crlDistribution"], [{"uris": ["http://x/\x1b[31m"]}])
        self.assertIn("\\u{202E}", self.values(said, "subject")[0])
        self.assertTrue(run("inspect", "--json", path).out.isascii())
        folder = self.folder()
        odd = os.fsencode(folder) + b"/\x1b[2J\xff.pem"
        Path(os.fsdecode(odd)).write_bytes(path.read_bytes())
        item, said = self.one(odd)
        self.assertEqual(bytes.fromhex(item["fileHex"]), odd)
        self.assertTrue(said.text.startswith(f"{folder}/\\u{{1B}}[2J\\x{{FF}}.pem:1: certificate\n"))

    def test_SerialNumbersOfAllSizes(self):
        for number in (0, 1, 127, 128, 255, 2**63, 2**159 - 1, 2**400, -1, -128, -129, -(2**70)):
            more = ["-set_serial", str(number)]
            item, said = self.one(self.with_extensions(more=more))
            self.assertEqual(item["info"]["serialNumber"], str(number))
            self.assertRegex(self.values(said, "serial")[0], rf"^{number} \({'-' if number < 0 else ''}0x0*{abs(number):x}\)$")
        # Decimal digits of a very long one would take too long.
        long = bytearray(der_of(self.with_extensions(more=["-set_serial", str(2**8000)]).read_text()))
        item, _ = self.one(self.write("long", pem(bytes(long))))
        self.assertEqual(item["info"]["serialNumber"], str(2**8000))
        item, said = self.one(self.with_extensions(more=["-set_serial", f"0x1{'0' * 4000}"]))
        self.assertNotIn("serialNumber", item["info"])
        self.assertEqual(self.values(said, "serial"), ["0x01" + "0" * 4000])


class Validity(InspectTest):
    def test_DaysLeftAreCounted(self):
        path = self.with_extensions(more=["-days", "30"])
        item, said = self.one(path)
        self.assertIn(item["daysLeft"], (29, 30))
        self.assertEqual(said.message, "")
        self.assertRegex(self.values(said, "valid")[0], r"Z to .*Z \((29|30) days left\)$")

    def dated(self, start, end):
        self.write("dated.cnf", "[ca]\ndefault_ca=it\n[it]\ndatabase=dated.index\nnew_certs_dir=.\nrand_serial=yes\ndefault_md=sha256\npolicy=any\n"
                   "[any]\ncommonName=optional\n[req]\ndistinguished_name=dn\n[dn]\n")  # fmt: skip
        self.write("dated.index", "")
        openssl("req", "-new", "-config", "dated.cnf", "-key", "ec.key", "-subj", "/CN=dated", "-out", "dated.csr")
        openssl("ca", "-batch", "-notext", "-config", "dated.cnf", "-selfsign", "-keyfile", "ec.key", "-in", "dated.csr", "-startdate", start,
                "-enddate", end, "-out", "dated.crt")  # fmt: skip
        return file("dated.crt")

    def test_ExpiredOnesAreWarnedOf(self):
        path = self.dated("20200101000000Z", "20210101000000Z")
        item, said = self.one(path)
        self.assertEqual(said.message, f"cry: warning: {path}:1: the certificate expired at 2021-01-01T00:00:00Z\n")
        self.assertEqual(self.values(said, "valid"), ["2020-01-01T00:00:00Z to 2021-01-01T00:00:00Z (expired)"])
        expected = math.floor((datetime(2021, 1, 1, tzinfo=timezone.utc).timestamp() - time.time()) / DAY)
        self.assertIn(item["daysLeft"], (expected, expected + 1))

    def test_OneThatHasJustExpiredHasLessThanNoDaysLeft(self):
        end = datetime.fromtimestamp(time.time() - 60, timezone.utc)
        item, said = self.one(self.dated("20200101000000Z", end.strftime("%Y%m%d%H%M%SZ")))
        self.assertEqual(item["daysLeft"], -1)
        self.assertIn("the certificate expired at ", said.message)

    def test_FutureOnesAreWarnedOf(self):
        path = self.dated("20900101000000Z", "20910101000000Z")
        item, said = self.one(path)
        self.assertEqual(said.message, f"cry: warning: {path}:1: the certificate is not valid before 2090-01-01T00:00:00Z\n")
        self.assertEqual(self.values(said, "valid"), ["2090-01-01T00:00:00Z to 2091-01-01T00:00:00Z (not yet valid)"])
        self.assertGreater(item["daysLeft"], 0)


class Files(InspectTest):
    def test_MixturesAreReadInOrder(self):
        parts = ["some text\n", text_of("rsa"), "# more\n", file("rsa.key").read_text(), self.crl("01").read_text(),
                 openssl("ecparam", "-name", "prime256v1").decode(), self.request().read_text(), file("guarded.key").read_text(),
                 openssl("pkey", "-in", "rsa.key", "-pubout").decode(), text_of("ec")]  # fmt: skip
        content = "".join(parts)
        items, said = self.inspect("-", stdin=content.encode())
        self.assertEqual([item["kind"] for item in items],
                         ["certificate", "private key", "crl", "other", "request", "private key", "public key", "certificate"])  # fmt: skip
        lines = content.splitlines()
        for item in items:
            self.assertTrue(lines[item["line"] - 1].startswith("-----BEGIN "))
        self.assertEqual(re.findall(r"(?m)^standard input:(\d+): ", said.text), [str(item["line"]) for item in items])
        self.assertEqual({item["file"] for item in items}, {"-"})
        crlf, _ = self.inspect("-", stdin=("\ufeff" + content.replace("\n", "\r\n")).encode())
        self.assertEqual(crlf, items)

    def test_NoFileIsStandardInput(self):
        self.assertEqual(self.one(stdin=file("ec.crt").read_bytes())[0]["file"], "-")
        self.assertEqual(self.one(stdin=der_of(text_of("ec")))[0]["kind"], "certificate")
        self.assertInputError(run("inspect", "-", "-"), "only one of the inputs can be standard input")

    def test_GarbageBetweenGoodBlocksIsSaid(self):
        good = text_of("ec")
        damaged = {
            "base 64 with a wrong character": good.replace("\nMII", "\n!MII"),
            "base 64 is cut off": "-----BEGIN CERTIFICATE-----\nAAAAA\n-----END CERTIFICATE-----\n",
            "BEGIN says": good.replace("END CERTIFICATE", "END X509 CRL"),
            "the certificate does not parse": pem(der_of(good)[:-20]),
            "by its bytes it is a certificate": pem(der_of(good), "X509 CRL"),
            "by its bytes it is a private key": pem(der_of(file("ec.key").read_text()), "CERTIFICATE"),
            "the request does not parse": pem(b"\x30\x00", "CERTIFICATE REQUEST"),
            "the CRL does not parse": pem(b"x", "X509 CRL"),
            "the public key does not parse": pem(b"\x30\x00", "PUBLIC KEY"),
            "the private key does not parse": pem(b"\x30\x00", "ENCRYPTED PRIVATE KEY"),
            "the PKCS#12 file does not parse": pem(b"\x30\x00", "PKCS12"),
            "header lines": good.replace("\nMII", "\nA: b\n\nMII"),
        }
        for problem, text in damaged.items():
            with self.subTest(problem):
                path = self.write("damaged.pem", good + text + good)
                items, said = self.inspect(path, file("ec.crt"), code=2)
                self.assertEqual([item["file"] for item in items], [str(path), str(path), str(file("ec.crt"))])
                self.assertRegex(said.message, rf"^cry: {re.escape(str(path))}:\d+: .*{re.escape(problem)}")
                self.assertEqual(said.message.count("\n"), 1)
                (noted,) = run("inspect", "--json", path).json()["problems"]
                first = good.count("\n") + 1
                self.assertTrue(first <= noted["line"] <= first + text.count("\n"), noted)
                self.assertEqual(noted["file"], str(path))

    def test_UnreadableFilesDoNotStopTheOthers(self):
        items, said = self.inspect("/nowhere", file("ec.crt"), self.scratch, file("rsa.crt"), code=2)
        self.assertEqual([item["file"] for item in items], [str(file("ec.crt")), str(file("rsa.crt"))])
        self.assertEqual(said.message, f"cry: /nowhere: No such file or directory\ncry: {self.scratch}: Is a directory\n")

    def test_WhatIsNothingIsSaid(self):
        der = der_of(text_of("ec"))
        neither = "is neither PEM text nor a certificate, request, CRL, key or PKCS#12 file in DER"
        for content, problem in ((b"", "is empty"), (b"hello\n", neither), (b"\x30\x03\x02\x01\x00", neither), (b"\x30", neither),
                                 (bytes(1000), neither),
                                 (der[:-1], "is cut off: it ends before the DER in it does"), (b"\xff\xfeM\0", "is text in UTF-16"),
                                 (text_of("ec")[:300].encode(), "the block that begins here has no END line")):  # fmt: skip
            path = self.write("nothing", content)
            items, said = self.inspect(path, code=2)
            self.assertEqual(items, [])
            self.assertRegex(said.message, rf"^cry: {path}(:1)?: {re.escape(problem)}")

    def test_BytesBehindDerAreSaid(self):
        path = self.write("longer", der_of(text_of("ec")) + b"\n\n")
        item, said = self.one(path)
        self.assertEqual(item["kind"], "certificate")
        self.assertEqual(said.message, f"cry: warning: {path}: 2 bytes behind the certificate are left out\n")

    def test_KeysThatOthersCanReadAreWarnedOf(self):
        path = self.write("open.pem", file("ec.key").read_text() * 2 + text_of("ec"))
        path.chmod(0o644)
        _, said = self.inspect(path)
        warning = f"{path}: users other than its owner can use the private key in it (its mode is 0644); 'chmod 600' changes that"
        self.assertEqual(said.message, f"cry: warning: {warning}\n")
        self.assertEqual(self.inspect(file("ec.crt"))[1].message, "")

    def test_DamagedBytesNeverCrash(self):
        sources = [der_of(self.with_extensions("basicConstraints=CA:TRUE", "subjectAltName=DNS:a,IP:1.2.3.4", "crlDistributionPoints=URI:http://x",
                                               "1.3.6.1.5.5.7.1.26=DER:3008a006160431323334").read_text()),
                   der_of(self.crl("01").read_text()), der_of(file("guarded.key").read_text()), self.export().read_bytes()]  # fmt: skip
        folder = self.folder()
        paths = []
        for number, source in enumerate(sources):
            for at in range(0, min(len(source), 600), 3):
                changed = bytearray(source)
                changed[at] ^= 1 << (at % 8)
                paths.append(folder / f"{number}-{at}")
                paths[-1].write_bytes(changed)
                paths[-1].chmod(0o600)
        for at in range(0, len(paths), 100):
            self.assertIn(run("inspect", *paths[at : at + 100]).code, (0, 2))
            self.assertIn(run("inspect", "--json", *paths[at : at + 100]).code, (0, 2))

    def test_NothingLeaks(self):
        mixed = self.private("mixed.pem", text_of("rsa") + file("rsa.key").read_text() + pem(b"x") + file("guarded.key").read_text())
        self.assertNothingLeaks((2, ["inspect", mixed]), (0, ["inspect", self.crl("01"), self.request(), "--json"]),
                                (0, ["inspect", self.export(), file("guarded.key"), "--password-file", secret]))  # fmt: skip


class Corpus(ToolTest):
    """All certificates, CRLs, requests and keys of Debian's python3-cryptography-vectors."""

    @classmethod
    def setUpClass(cls):
        done = subprocess.run(["dpkg", "-L", "python3-cryptography-vectors"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        if done.returncode:
            raise unittest.SkipTest("the Debian package python3-cryptography-vectors is not installed")
        paths = [Path(line) for line in done.stdout.decode().splitlines()]
        cls.files = [path for path in paths if path.suffix in (".pem", ".der", ".crt", ".crl", ".cer", ".p12", ".csr", ".key") and path.is_file()]
        assert len(cls.files) > 500

    def test_AllAreReadOrRefused(self):
        kinds = set()
        for at in range(0, len(self.files), 200):
            part = self.files[at : at + 200]
            self.assertIn(run("inspect", *part).code, (0, 2))
            result = run("inspect", "--json", *part)
            self.assertIn(result.code, (0, 2))
            answer = result.json()
            told = {each["file"] for each in answer["items"] + answer.get("problems", [])}
            self.assertEqual({str(path) for path in part} - told, set())
            kinds |= {item["kind"] for item in answer["items"]}
        self.assertEqual(kinds, {"certificate", "request", "crl", "private key", "public key", "pkcs12", "other"})

    def test_OpensslSaysTheSameOfCertificates(self):
        if instrumented():
            self.skipTest("the other build compares; this one has read all files in the test above")
        # One certificate in each file, so that openssl shows the same one.
        items = {}
        for at in range(0, len(self.files), 200):
            for item in run("inspect", "--json", *self.files[at : at + 200]).json()["items"]:
                items.setdefault(item["file"], []).append(item)
        compared = 0
        form = "esc_2253,esc_ctrl,use_quote,utf8,dump_nostr,dump_unknown,dump_der,sep_comma_plus_space,dn_rev,sname"
        for path, found in items.items():
            if [item["kind"] for item in found] != ["certificate"]:
                continue
            info, facts = found[0]["info"], found[0]["certificate"]
            said = openssl("x509", "-in", path, "-noout", "-serial", "-dates", "-subject", "-issuer", "-nameopt", form, "-ext", "subjectAltName",
                           check=False)  # fmt: skip
            if said.returncode:
                continue
            with self.subTest(path):
                text = said.stdout.decode(errors="replace")
                value = lambda name: re.search(rf"(?m)^{name}=(.*)$", text).group(1)
                self.assertEqual(info.get("serialNumber"), str(int(value("serial"), 16)))
                self.assertEqual((info.get("validFrom"), info.get("validUntil")), (time_of(value("notBefore")), time_of(value("notAfter"))))
                self.assertEqual((facts["subject"], facts["issuer"]), (value("subject"), value("issuer")))
                kinds = r"(?:^|, )\s*(DNS|email|URI|IP Address|DirName|Registered ID|othername|X400Name|EdiPartyName):"
                names = text.partition("X509v3 Subject Alternative Name:")[2].partition("\n")[2].partition("\n")[0]
                ours = [each for each in found[0]["extensions"] if each["oid"] == "2.5.29.17"]
                self.assertEqual(len(ours[0].get("names", [])) if ours else 0, len(re.findall(kinds, names)))
                compared += 1
        self.assertGreater(compared, 400)


if __name__ == "__main__":
    unittest.main(verbosity=2)
