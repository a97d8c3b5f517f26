"""The names and the key of new certificates and requests: tests for both commands."""

import os

from domain_names import ADDRESSES, BAD, CHARACTER
from identity_fixture import file, text_of
from peers import openssl
from terminal import open_at_terminal
from tool import PASSWORD, run, secret, wrong


class Names:
    """The names that --domain and --common-name give. COMMAND makes a certificate or a request."""

    def issue(self, *arguments):
        return (self.certificate if self.COMMAND[0] == "certificate" else self.request)(*arguments)

    def test_DomainIsSubjectAndAlternativeName(self):
        for name, ascii in [
            ("localhost", "localhost"),
            ("WWW.Example.ORG", "WWW.Example.ORG"),
            ("*.example.org", "*.example.org"),
            ("_sip._tcp.example.org", "_sip._tcp.example.org"),
            ("example.org.", "example.org"),
            ("bücher.example", "xn--bcher-kva.example"),
            ("日本語。ＪＰ", "xn--wgv71a119e.jp"),
            ("a" * 63, "a" * 63),
        ]:
            self.assertEqual(self.names(self.issue("--domain", name)), ([("commonName", name)], f"DNS:{ascii}"))

    def test_CommonNameStandsBesideTheDomain(self):
        both = self.issue("--common-name", "A Server", "--domain", "a.example")
        self.assertEqual(self.names(both), ([("commonName", "A Server")], "DNS:a.example"))
        self.assertEqual(self.names(self.issue("--common-name", "A Server")), ([("commonName", "A Server")], None))

    def test_CommonNameIsOneNameWhateverItHolds(self):
        for name in ("a/CN=b", "a,CN=b", "a+CN=b", "a\nCN=b", "CN=a", "DNS:b", "#0c0161", "a\\", '"', " a ", "@section", "%s%n", "\x1b[31m",
                     "\u202ea", "ü" * 64, "😀" * 64, "x" * 64):  # fmt: skip
            with self.subTest(name=name):
                self.assertEqual(self.names(self.issue(f"--common-name={name}", "--domain", "a.b")), ([("commonName", name)], "DNS:a.b"))

    def refused(self, *arguments):
        """The result of bad names; nothing is written."""
        folder = self.folder()
        result = run(*self.COMMAND, "--key", file("ec.key"), *arguments, "--json", "--out", folder / "out")
        self.assertEqual(self.taken(folder), [])
        self.assertHarmless(result.err)
        return result

    def test_DomainsThatAreNoneAreRefusedWithLabelAndReason(self):
        for name, reason in [*BAD, *ADDRESSES]:
            with self.subTest(name):
                result = self.refused(f"--domain={name}")
                self.assertInputError(result, "--domain: '", f"' is not a domain name: {reason}")
        # It is also refused with another common name.
        result = self.refused("--domain=a.b,DNS:evil.example", "--common-name", "x")
        self.assertInputError(result, "--domain: '", f"' is not a domain name: label 2: {CHARACTER}")

    def test_LongNames(self):
        name = ".".join(["a" * 63] * 4)[:253]
        self.assertEqual(len(name), 253)
        self.assertEqual(self.names(self.issue("--domain", name, "--common-name", "x")), ([("commonName", "x")], f"DNS:{name}"))
        result = self.refused("--domain", name)
        self.assertInputError(result, "--domain: has 253 characters; a common name has at most 64; --common-name gives another one")
        result = self.refused("--common-name", "ü" * 65)
        self.assertInputError(result, "--common-name: has 65 characters; a common name has at most 64")

    def test_CommonNamesThatAreNoneAreRefused(self):
        for empty in (["--common-name", ""], ["--common-name="]):
            self.assertInputError(self.refused(*empty), "--common-name: is empty")
        for option in ("--common-name", "--domain"):
            for bad in (b"\xff", b"a\xc3", b"\xed\xa0\x80", b"\xc0\xaf"):
                result = self.refused(option, bad)
                self.assertInputError(result, f"{option}: '", "is not text in UTF-8")
            result = self.refused(option, "a", option, "b")
            self.assertInputError(result, f"{option}: ")


class Keys:
    """The key that --key gives. COMMAND makes a certificate or a request."""

    def publicKey(self, made):
        return openssl("x509" if self.COMMAND[0] == "certificate" else "req", "-noout", "-pubkey", stdin=made)

    def test_KeysThatCannotSignAreRefused(self):
        for algorithm in ("ED25519", "ED448", "X25519"):
            key = self.private("no.key", openssl("genpkey", "-algorithm", algorithm))
            self.assertInputError(run(*self.COMMAND, "--key", key), f"{key}: OpenSSL cannot sign with this key ({algorithm}, ")

    def test_ShortKeysWorkOrAreRefused(self):
        key = self.private("short.key", openssl("genrsa", "512"))
        result = run(*self.COMMAND, "--key", key)
        self.assertEqual(result.code, 0 if result.out else 2)
        self.assertEqual(result.out == b"", result.err != b"")

    def test_ProtectedKeysAreOpened(self):
        key = file("guarded.key")
        old = self.private("old.key", openssl("rsa", "-in", "rsa.key", "-aes128", "-traditional", "-passout", f"pass:{PASSWORD}"))
        descriptor, write = os.pipe()
        for path, plain in ((key, "ec.key"), (old, "rsa.key")):
            made = self.assertDone(run(*self.COMMAND, "--key", path, "--password-file", secret)).out
            self.assertEqual(self.publicKey(made), openssl("pkey", "-in", plain, "-pubout"))
        os.write(write, PASSWORD.encode() + b"\n")
        self.assertDone(run(*self.COMMAND, "--key", key, "--password-fd", str(descriptor), pass_fds=[descriptor]))
        self.assertInputError(run(*self.COMMAND, "--key", key, "--password-file", wrong), f"{key}:1: the password is wrong, or the key is damaged")
        self.assertInputError(run(*self.COMMAND, "--key", key, start_new_session=True), f"{key}: is protected by a password", "--password-file or")
        self.assertIn(b"-----END CERTIFICATE", open_at_terminal(self, key, *self.COMMAND, "--key", key))
        os.close(descriptor)
        os.close(write)

    def test_KeysAreFoundInOtherFormsAndPlaces(self):
        expected = openssl("pkey", "-in", "ec.key", "-pubout")
        text = file("ec.key").read_bytes()
        for content in (openssl("pkey", "-in", "ec.key", "-traditional"), openssl("pkey", "-in", "ec.key", "-outform", "DER"),
                        text_of("rsa").encode() + b"around\n" + text, text.replace(b"\n", b"\r\n")):  # fmt: skip
            key = self.private("form.key", content)
            self.assertEqual(self.publicKey(self.assertDone(run(*self.COMMAND, "--key", key)).out), expected)
            made = self.assertDone(run(*self.COMMAND, "--key", "-", stdin=content)).out
            self.assertEqual(self.publicKey(made), expected)

    def test_FilesWithoutAPrivateKeyAreRefused(self):
        for content, said in ((text_of("ec"), "holds no private key, only 'CERTIFICATE'"), (b"", "is empty"), (b"garbage", "holds no private key")):
            key = self.private("none.key", content)
            self.assertInputError(run(*self.COMMAND, "--key", key), f"{key}: {said}")
        self.assertInputError(run(*self.COMMAND, "--key", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run(*self.COMMAND), "--key is required")
