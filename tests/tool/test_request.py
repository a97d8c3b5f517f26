#!/usr/bin/env python3
"""`cry request`, with openssl and certtool as its peers. CRY_TOOL names the program."""

import random
import unittest

import identity_fixture
from identity_fixture import IdentityTest, UUID, file, text_of
from peers import certtool, elements, joined, openssl, pem
from terminal import open_at_terminal
from tool import PASSWORD, run, secret, wrong
import subject


def setUpModule():
    identity_fixture.make()


class Requests(IdentityTest):
    def peer(self, *arguments, key="rsa", subject="/O=Test/CN=a", form="PEM"):
        """A request that openssl made."""
        made = openssl("req", "-new", "-config", "config", "-key", f"{key}.key", "-subj", subject, "-outform", form, *arguments)
        return self.write("peer.csr", made)

    def assertGood(self, path, *more, key="rsa", alsoWithoutKey=False, **keywords):
        for option in [[]] * alsoWithoutKey + [["--key", file(f"{key}.key")]]:
            answer = self.assertDone(run("request", "check", path, "--json", *option, *more, **keywords)).json()
            self.assertEqual((answer["format"], answer["verdict"], answer["signatureVerdict"]), (1, "good", "good"))
            self.assertEqual(answer.get("keyVerdict"), "good" if option else None)
            self.assertEqual(answer["file"], str(path))
            said = self.assertDone(run("request", "check", path, *option, *more, **keywords)).text
            self.assertIn("\nsignature  good\n", said)
            self.assertEqual(said.endswith("\nkey match  yes, the private key is the request's\n"), bool(option))
        return answer

    def assertBad(self, path, *more, signature="bad", matches=None):
        answer = self.assertDone(run("request", "check", path, "--json", *more), 1).json()
        self.assertEqual((answer["verdict"], answer["signatureVerdict"]), ("bad", signature))
        self.assertEqual(answer.get("keyVerdict"), {None: None, True: "good", False: "bad"}[matches])
        said = self.assertDone(run("request", "check", path, *more), 1).text
        self.assertIn(f"\nsignature  {signature}", said)
        if matches is not None:
            self.assertIn("\nkey match  " + ("yes, the private key is the request's" if matches else "no, the private key is another one"), said)
        return answer

    def assertNames(self, extension, *expected):
        self.assertEqual((extension["oid"], extension["name"]), ("2.5.29.17", "X509v3 Subject Alternative Name"))
        self.assertEqual([(each["type"], each["value"]) for each in extension["names"]], list(expected))

    def test_OpensslVerifiesWhatIsMade(self):
        for key, name in (("rsa", "sha256WithRSAEncryption"), ("ec", "ecdsa-with-SHA256")):
            path = self.request("--domain", "bücher.example", key=key)
            done = openssl("req", "-in", path, "-noout", "-verify", "-text", check=False)
            self.assertEqual((done.returncode, b"self-signature verify OK" in done.stdout + done.stderr), (0, True), done.stderr)
            self.assertIn(f"Signature Algorithm: {name}\n", done.stdout.decode())
            self.assertIn("Version: 1 (0x0)", done.stdout.decode())
            self.assertEqual(openssl("req", "-in", path, "-noout", "-pubkey"), openssl("pkey", "-in", f"{key}.key", "-pubout"))
            self.assertEqual(path.read_bytes(), openssl("req", "-in", path))
            answer = self.assertGood(path, key=key)
            self.assertEqual((answer["subject"], len(answer["extensions"])), ("CN=bücher.example", 1))
            self.assertNames(answer["extensions"][0], ("dns", "xn--bcher-kva.example"))

    def test_CerttoolReadsWhatIsMade(self):
        said = certtool("--crq-info", "--infile", self.request("--domain", "a.example", key="rsa"))
        self.assertIn("DNSname: a.example", said)
        self.assertIn("Self signature: verified", said)

    def test_SubjectIsANewUuidWithoutNames(self):
        entries = [self.names(self.request()) for _ in range(3)]
        for (name,), alternative in entries:
            self.assertRegex(name[1], f"^{UUID}$")
            self.assertIsNone(alternative)
        self.assertEqual(len({name[1] for (name,), _ in entries}), 3)
        self.assertEqual(self.assertGood(self.request(), key="ec")["extensions"], [])

    def test_JsonHoldsTheRequest(self):
        path = self.folder() / "out"
        for more in ([], ["--out", "-"], ["--out", path]):
            answer = self.assertDone(run("request", "generate", "--key", file("rsa.key"), "--domain", "a", "--json", *more)).json()
            self.assertEqual(set(answer), {"format", "key", "pem"} | ({"out"} if path in more else set()))
            made = answer["pem"].encode()
            self.assertEqual(openssl("req", stdin=made), made)
        self.assertEqual(path.read_bytes(), made)

    def test_RequestsOfOpensslAreRead(self):
        for key, facts in (("rsa", ["RSA", 2048, None]), ("ec", ["EC", 256, "prime256v1"])):
            for form in ("PEM", "DER"):
                answer = self.assertGood(self.peer(key=key, form=form), key=key, alsoWithoutKey=True)
                self.assertEqual((answer["subject"], answer["extensions"]), ("CN=a, O=Test", []))
                self.assertEqual([answer["key"].get(name) for name in ("type", "bits", "curve")], facts)

    def test_DigestsAndSchemesOfOpensslAreRead(self):
        for more in (["-sha1"], ["-sha384"], ["-sha512"], ["-sha3-256"], ["-sigopt", "rsa_padding_mode:pss"]):
            self.assertGood(self.peer(*more))
        key = self.private("ed.key", openssl("genpkey", "-algorithm", "ED25519"))
        self.assertEqual(self.assertGood(self.peer(key="ed"), key="ed")["key"]["type"], "ED25519")
        self.assertInputError(run("request", "generate", "--key", key), f"{key}: OpenSSL cannot sign with this key (ED25519, ")

    def test_ExtensionsAreToldAsOpensslPrintsThem(self):
        path = self.peer(
            *("-addext", "subjectAltName=critical,DNS:a.example,DNS:*.b.example,IP:192.0.2.1,email:x@y.example,URI:http://z/"),
            *("-addext", "basicConstraints=critical,CA:TRUE,pathlen:1", "-addext", "keyUsage=digitalSignature,keyCertSign"),
            *("-addext", "extendedKeyUsage=serverAuth,1.2.3.4"),
        )
        names = [("dns", "a.example"), ("dns", "*.b.example"), ("ip", "192.0.2.1"), ("email", "x@y.example"), ("uri", "http://z/")]
        alternative, *others = self.assertGood(path)["extensions"]
        self.assertNames(alternative, *names)
        self.assertTrue(alternative["critical"])
        self.assertEqual(
            [(each["name"], each["critical"], each["text"]) for each in others],
            [
                ("X509v3 Basic Constraints", True, "CA:TRUE, pathlen:1"),
                ("X509v3 Key Usage", False, "Digital Signature, Certificate Sign"),
                ("X509v3 Extended Key Usage", False, "TLS Web Server Authentication, 1.2.3.4"),
            ],
        )
        said = run("request", "check", path).text
        for name in names:
            self.assertIn(f"\nasks for   X509v3 Subject Alternative Name (critical): {' '.join(name)}\n", said)
        self.assertIn("\nasks for   X509v3 Key Usage: Digital Signature, Certificate Sign\n", said)

    def test_UnknownExtensionsAreNamedByTheirNumber(self):
        answer = self.assertGood(self.peer("-addext", "1.2.3.4.5=critical,ASN1:UTF8String:hello"))
        self.assertEqual([(each["name"], each["critical"]) for each in answer["extensions"]], [("1.2.3.4.5", True)])
        self.assertIn("0c 05 68 65 6c 6c 6f", answer["extensions"][0]["text"])
        self.assertEqual(answer["extensions"][0]["hex"], "0c0568656c6c6f")

    def test_NamesThatLookLikeTwoAreToldApart(self):
        config = "[req]\ndistinguished_name=dn\nreq_extensions=ext\nprompt=no\n[dn]\nCN=a\n[ext]\nsubjectAltName=@names\n"
        self.write("two", config + "[names]\notherName=1.2.3;UTF8:a, DNS:evil.example\n")
        path = self.write("peer.csr", openssl("req", "-new", "-config", "two", "-key", "rsa.key"))
        self.assertNames(self.assertGood(path)["extensions"][0], ("other", "1.2.3:#" + (b"\x0c\x13a, DNS:evil.example").hex()))
        self.assertEqual(run("request", "check", path).text.count("asks for"), 1)

    def alternative(self, *names):
        """A request for alternative names, which are pairs of a tag and DER."""
        return self.peer("-addext", "subjectAltName=DER:" + joined([(0x30, joined(names))]).hex())

    def test_NamesLoseNothing(self):
        dns, email, uri, ip, rid, directory, other, x400, ediparty = 0x82, 0x81, 0x86, 0x87, 0x88, 0xA4, 0xA0, 0xA3, 0xA5

        def name(text):
            return joined([(0x30, joined([(0x31, joined([(0x30, joined([(6, bytes.fromhex("550403")), (12, text)]))]))]))])

        for tag, content, kind, value in [
            (dns, b"a.example", "dns", "a.example"),
            (dns, b"", "dns", ""),
            (dns, b"a, DNS:b", "dns", r"a\u{2C}\u{20}DNS:b"),
            (dns, b"a dns b", "dns", r"a\u{20}dns\u{20}b"),
            (dns, b"a\nDNS:b", "dns", r"a\u{A}DNS:b"),
            (dns, b"a\0b\x1b[2J", "dns", r"a\u{0}b\u{1B}[2J"),
            (dns, rb"a\u{A}b", "dns", r"a\\u{A}b"),
            (dns, "\u0430.example".encode(), "dns", r"\u{430}.example"),
            (dns, b"\xff\xc3", "dns", r"\x{FF}\x{C3}"),
            (email, "ü@b".encode(), "email", r"\u{FC}@b"),
            (email, b"\xfc@b", "email", r"\x{FC}@b"),
            (uri, b"ldap://x/a,b", "uri", r"ldap://x/a\u{2C}b"),
            (uri, "http://\ufffd/".encode(), "uri", r"http://\u{FFFD}/"),
            (ip, bytes([192, 0, 2, 1]), "ip", "192.0.2.1"),
            (ip, bytes([0x20, 1, 0xD, 0xB8] + [0] * 11 + [1]), "ip", "2001:db8::1"),
            (ip, bytes(3), "ip", "#000000"),
            (rid, bytes.fromhex("2a0304"), "rid", "1.2.3.4"),
            (directory, name(b"a, DNS:b"), "dirname", 'CN="a, DNS:b"'),
            (directory, name(b"a\nb\\"), "dirname", r"CN=a\\0Ab\\\\"),
            (directory, name("a\u202eb".encode()), "dirname", r"CN=a\u{202E}b"),
            (other, joined([(6, bytes.fromhex("2a03")), (0xA0, joined([(12, b"DNS:b")]))]), "other", "1.2.3:#0c05444e533a62"),
            (x400, joined([(12, b"a")]), "x400", "#a3030c0161"),
            (ediparty, joined([(0xA1, joined([(12, b"a")]))]), "ediparty", "#a505a1030c0161"),
        ]:
            with self.subTest(content, kind=kind):
                path = self.alternative((tag, content), (dns, b"end"))
                self.assertNames(self.assertGood(path)["extensions"][0], (kind, value), ("dns", "end"))
                lines = [line for line in run("request", "check", path).text.splitlines() if line.startswith("asks for")]
                start = "asks for   X509v3 Subject Alternative Name: "
                self.assertEqual(lines, [f"{start}{kind} {value}", f"{start}dns end"])
        self.assertIn("(no names)", run("request", "check", self.alternative()).text)

    def test_UnreadableNamesAreSaid(self):
        for content in (b"\x30\x03\x82\x01", b"\x30\x03\x82\x01a\0", b"\x04\x01a"):
            path = self.peer("-addext", "subjectAltName=DER:" + content.hex())
            extension = self.assertGood(path)["extensions"][0]
            self.assertEqual((extension["problem"], extension["hex"]), ("OpenSSL cannot read it", content.hex()))
            self.assertIn(f": (unreadable) {content.hex()}\n", run("request", "check", path).text)

    def test_UnreadableExtensionsAreSaid(self):
        good = self.peer("-addext", "subjectAltName=DNS:a.example", form="DER").read_bytes()
        place = good.index(bytes.fromhex("2a864886f70d01090e31")) + 11
        self.assertEqual(good[place], 0x30)
        # No sequence, and a sequence of something else.
        for at, byte in ((place, 0x31), (place + 2, 0x31)):
            path = self.write("damaged.csr", good[:at] + bytes([byte]) + good[at + 1 :])
            result = run("request", "check", path, "--json")
            message = f"{path}: extensions that it asks for cannot be read"
            self.assertEqual((result.code, result.json()["extensions"], result.json()["problems"][0]["file"]), (1, [], str(path)))
            self.assertTrue(result.message.startswith(f"cry: {message}"), result.message)
            self.assertTrue(result.json()["problems"][0]["message"].startswith(message))

    def test_SubjectsLoseNothing(self):
        texts = {}
        for value in ("a, O=b", "a\\, O=b", "a + O=b", 'a" O=b', "a\nb", r"a\u{A}b", r"a\0Ab", "a\u202eb", r"a\u{202E}b", "#0c0161", " a", "a", "a "):
            made = run("request", "generate", "--key", file("rsa.key"), f"--common-name={value}").out
            path = self.write("subject.csr", made)
            said = run("request", "check", path).text.splitlines()[0]
            subject = run("request", "check", path, "--json").json()["subject"]
            for text in (said, subject):
                self.assertEqual(texts.setdefault(text, value), value)
        self.assertEqual(len(texts), 26)

    def test_UnknownExtensionsAreReadable(self):
        path = self.peer("-addext", "1.2.3.4.5=ASN1:UTF8String:hello")
        self.assertIn("hello", self.assertGood(path)["extensions"][0]["text"])
        self.assertNotIn("\\u{A}", run("request", "check", path).text)

    def test_OtherAttributesDoNoHarm(self):
        config = "[req]\ndistinguished_name=dn\nattributes=more\nprompt=no\nreq_extensions=ext\n[dn]\nO=Test\nCN=a\n[more]\n"
        config += "challengePassword=a challenge\nunstructuredName=no structure\n[ext]\nsubjectAltName=DNS:a.example\n"
        self.write("attributes", config)
        path = self.write("peer.csr", openssl("req", "-new", "-config", "attributes", "-key", "rsa.key"))
        self.assertIn(b"a challenge", openssl("req", "-in", path, "-noout", "-text"))
        answer = self.assertGood(path)
        self.assertEqual(len(answer["extensions"]), 1)
        self.assertNames(answer["extensions"][0], ("dns", "a.example"))

    def test_NamesOfAllSortsAreRead(self):
        long = "/C=DE/ST=Somewhere/L=Town/O=One, Inc/O=Two/OU=Ünits/CN=first/CN=second/emailAddress=a@b.example"
        subject = self.assertGood(self.peer("-utf8", subject=long))["subject"]
        for part in ("C=DE", 'O="One, Inc"', "O=Two", "OU=Ünits", "CN=first", "CN=second", "a@b.example"):
            self.assertIn(part, subject)
        path = self.peer(subject="/")
        self.assertEqual(self.assertGood(path)["subject"], "")
        self.assertTrue(run("request", "check", path).text.startswith("subject    (no name)\n"))

    def test_RequestsOfCerttoolAreRead(self):
        template = 'cn = "a.example"\norganization = "Test"\ndns_name = "a.example"\ndns_name = "b.example"\nip_address = "192.0.2.1"\n'
        self.write("template", template + "challenge_password = 123456\ntls_www_server\n")
        for more in ([], ["--outder"]):
            certtool("--generate-request", "--load-privkey", "rsa.key", "--template", "template", "--outfile", "certtool.csr", *more)
            answer = self.assertGood(file("certtool.csr"))
            self.assertEqual(answer["subject"], "CN=a.example, O=Test")
            self.assertNames(answer["extensions"][0], ("dns", "a.example"), ("dns", "b.example"), ("ip", "192.0.2.1"))

    def test_FormsAndPlacesOfTheText(self):
        text = self.peer().read_text()
        for changed in (text.replace("CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST"), text.replace("\n", "\r\n"), "\ufeff" + text,
                        text_of("rsa") + text, file("rsa.key").read_text() + text, "words\n" + text + "words\n", text + text):  # fmt: skip
            path = self.write("changed.csr", changed)
            self.assertGood(path)
            self.assertGood("-", stdin=path.read_bytes())

    def test_AProtectedKeyOfTheOldFormDoesNotHideTheRequest(self):
        old = openssl("rsa", "-in", "rsa.key", "-aes128", "-traditional", "-passout", f"pass:{PASSWORD}")
        self.assertGood(self.write("both.csr", old + self.peer().read_bytes()))

    def test_DamagedSignaturesAreBad(self):
        for key in ("rsa", "ec"):
            good = self.peer("-addext", "subjectAltName=DNS:a.example", key=key, form="DER").read_bytes()
            info, algorithm, signature = elements(elements(good)[0][1])
            for damaged in (
                good[:-1] + bytes([good[-1] ^ 1]),
                good.replace(b"a.example", b"b.example"),
                joined([(0x30, joined([info, algorithm, (3, b"\0")]))]),
                joined([(0x30, joined([info, algorithm, (3, b"\0" + bytes(len(signature[1]) - 1))]))]),
                joined([(0x30, joined([info, (0x30, bytes.fromhex("06032a0304")), signature]))]),
            ):
                self.assertNotEqual(damaged, good)
                for content in (damaged, pem(damaged, "CERTIFICATE REQUEST"))[: 2 if damaged == good[:-1] + bytes([good[-1] ^ 1]) else 1]:
                    path = self.write("damaged.csr", content)
                    self.assertBad(path)
                    self.assertBad(path, "--key", file(f"{key}.key"), matches=True)
                    self.assertBad(path, "--key", file("other.key"), matches=False)

    def test_SignaturesOfOtherKeysAreBad(self):
        one, two = (elements(elements(self.peer(key=key, form="DER").read_bytes())[0][1]) for key in ("ec", "other"))
        path = self.write("mixed.csr", joined([(0x30, joined([one[0], one[1], two[2]]))]))
        self.assertBad(path, "--key", file("ec.key"), matches=True)

    def test_OtherPrivateKeysAreTold(self):
        for key in ("rsa", "ec"):
            path = self.peer(key=key)
            for other in {"rsa", "ec", "other"} - {key}:
                self.assertBad(path, "--key", file(f"{other}.key"), signature="good", matches=False)

    def test_AnEmptyNameOfTheKeyIsNotTakenForNone(self):
        # An unset variable of a shell must not turn the check off.
        for arguments in (["--key", ""], ["--key="]):
            self.assertInputError(run("request", "check", self.peer(), *arguments), "'': No such file or directory")

    def test_KeysThatOpensslCannotDecodeAreBad(self):
        good = self.peer(key="ec", form="DER").read_bytes()
        number = bytes.fromhex("2a8648ce3d0201")
        self.assertEqual(good.count(number), 1)
        path = self.write("strange.csr", good.replace(number, number[:-1] + b"\x09"))
        self.assertEqual(list(self.assertBad(path)["key"]), ["problem"])
        self.assertIn("\nkey        (unreadable)\n", run("request", "check", path).text)
        self.assertBad(path, "--key", file("ec.key"), matches=False)

    def test_ProtectedKeysAreOpened(self):
        path, key = self.peer(key="ec"), file("guarded.key")
        self.assertDone(run("request", "check", path, "--key", key, "--password-file", secret))
        self.assertInputError(run("request", "check", path, "--key", key, "--password-file", wrong), f"{key}:1: the password is wrong")
        self.assertInputError(run("request", "check", path, "--key", key, start_new_session=True), f"{key}: is protected by a password")
        self.assertIn(b"yes, the private key is the request's", open_at_terminal(self, key, "request", "check", path, "--key", key))

    def test_OtherFilesAreRefused(self):
        der = self.peer(form="DER").read_bytes()
        text = self.peer().read_text()
        body = text.splitlines()
        for content, said in [
            (text_of("rsa"), ": holds no CERTIFICATE REQUEST, only 'CERTIFICATE'"),
            (file("rsa.key").read_bytes(), ": holds no CERTIFICATE REQUEST, only 'PRIVATE KEY'"),
            (b"", ": is "),
            (b"garbage", ": is neither PEM text nor a request in DER"),
            (b"\x30", ": is neither PEM text nor a request in DER"),
            (b"\x30\x80" * 100000, ": is neither PEM text nor a request in DER"),
            (bytes(1000), ": is neither PEM text nor a request in DER"),
            (der[:-1], ": is neither PEM text nor a request in DER"),
            (openssl("x509", "-in", "rsa.crt", "-outform", "DER"), ": is neither PEM text nor a request in DER"),
            (pem(der[:-1], "CERTIFICATE REQUEST"), ":1: the request does not parse"),
            ("a\n" + pem(b"garbage", "CERTIFICATE REQUEST"), ":2: the request does not parse"),
            ("\n".join(body[:-1]), ":1: the block that begins here has no END line"),
            ("\n".join([*body[:3], "*", *body[3:]]), ":4: base 64 with a wrong character, '*'"),
        ]:
            path = self.write("other.csr", content)
            for more in ([], ["--json"], ["--key", file("rsa.key")]):
                self.assertInputError(run("request", "check", path, *more), f"{path}{said}")
            self.assertInputError(run("request", "check", "-", stdin=path.read_bytes()), f"standard input{said}")
        self.assertInputError(run("request", "check", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("request", "check", "/"), "/: Is a directory")
        self.assertInputError(run("request", "check", self.peer(), "--key", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("request", "check", self.peer(), "--key", file("rsa.crt")), f"{file('rsa.crt')}: holds no private key")

    def test_MessagesDoNotGrowWithTheFile(self):
        path = self.write("many.csr", "".join(f"-----BEGIN X{n}-----\n-----END X{n}-----\n" for n in range(10000)))
        self.assertLess(len(run("request", "check", path).err), 1000)

    def test_FlippedBytesNeverAbort(self):
        source = random.Random(11)
        good = self.peer("-addext", "subjectAltName=DNS:a.example,IP:192.0.2.1", key="ec", form="DER").read_bytes()
        seen = set()
        for _ in range(60):
            changed = bytearray(good)
            changed[source.randrange(len(good))] ^= 1 << source.randrange(8)
            result = run("request", "check", self.write("flipped.csr", bytes(changed)), "--key", file("ec.key"))
            self.assertIn(result.code, (1, 2), changed.hex())
            self.assertHarmless(result.out)
            seen.add(result.code)
        self.assertEqual(seen, {1, 2})

    def test_HostileNamesAreMadeHarmless(self):
        good = self.peer("-addext", "subjectAltName=DNS:" + "d" * 24, subject="/CN=" + "N" * 24, form="DER").read_bytes()
        self.assertEqual((good.count(b"N" * 24), good.count(b"d" * 24)), (1, 1))
        for hostile in (b"\x1b[2J\x1b[31m\r\n\x07\x08", "\u202e\u2066\u200b\ufeff\u009b".encode(), b"\xff\xfe\xc0\x80", b"\0signature  good\n"):
            hostile = hostile.ljust(24, b".")[:24]
            for name in (b"N" * 24, b"d" * 24):
                path = self.write("hostile.csr", good.replace(name, hostile))
                result = run("request", "check", path)
                self.assertHarmless(result.out + result.err)
                if hostile.startswith(b"\xff") and name[:1] == b"N":
                    self.assertInputError(result, f"{path}: ")  # OpenSSL does not take such a name
                    continue
                self.assertEqual(result.code, 1)
                self.assertEqual(sum(line.startswith("signature") for line in result.text.splitlines()), 1)
                answer = run("request", "check", path, "--json")
                self.assertEqual((answer.code, answer.json()["verdict"]), (1, "bad"))
                self.assertTrue(answer.out.isascii())
                self.assertHarmless(answer.out)


class Names(subject.Names, IdentityTest):
    COMMAND = ("request", "generate")


class Keys(subject.Keys, IdentityTest):
    COMMAND = ("request", "generate")


if __name__ == "__main__":
    unittest.main(verbosity=2)
