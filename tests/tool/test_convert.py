#!/usr/bin/env python3
"""`cry convert`, with openssl as its peer. CRY_TOOL names the program."""

import unittest

import item_fixture
from identity_fixture import file, text_of
from item_fixture import ItemTest
from peers import der_of, openssl, pem
from terminal import run_on_terminal
from tool import PASSWORD, mode_of, run, secret


def setUpModule():
    item_fixture.make()
    openssl("pkey", "-in", "ec.key", "-pubout", "-out", "ec.pub")


class Convert(ItemTest):
    def convert(self, to, path, **more):
        """The result, which is the same on standard output and in a file, and the file's mode."""
        folder = self.folder()
        out = folder / "out"
        answer = self.assertDone(run("convert", "--to", to, path, "--out", out, "--json", **more)).json()
        self.assertEqual((answer["file"], answer["to"], answer["length"], answer["out"]), (str(path), to, out.stat().st_size, str(out)))
        self.assertEqual(self.assertDone(run("convert", "--to", to, path, **more)).out, out.read_bytes())
        self.assertEqual(self.taken(folder), ["out"])
        return out.read_bytes(), mode_of(out), answer["kinds"]

    def assertBothWays(self, path, kind, isSecret=False):
        """PEM becomes DER, and DER the same PEM again."""
        mode = 0o600 if isSecret else 0o644
        der = self.convert("der", path)
        self.assertEqual(der, (der_of(path.read_text()), mode, [kind]))
        there = self.private("there.der", der[0])
        self.assertEqual(self.convert("pem", there), (path.read_bytes(), mode, [kind]))
        self.assertEqual(self.convert("pem", path), (path.read_bytes(), mode, [kind]))
        self.assertEqual(self.convert("der", there), der)
        return der[0]

    def test_CertificatesRequestsCrlsAndPublicKeys(self):
        for path, kind, command in ((file("rsa.crt"), "certificate", ["x509"]), (self.request("--domain", "a.example"), "request", ["req"]),
                                    (self.crl("01", "02"), "crl", ["crl"]), (file("ec.pub"), "public key", ["pkey", "-pubin"])):  # fmt: skip
            der = self.assertBothWays(path, kind)
            self.assertEqual(der, openssl(*command, "-in", path, "-outform", "DER"))

    def test_PrivateKeysKeepTheirForm(self):
        for name in ("rsa.key", "rsa.old", "ec.key", "ec.old"):
            der = self.assertBothWays(file(name), "private key", isSecret=True)
            # openssl reads it as the same key.
            key = self.private("same.der", der)
            self.assertEqual(openssl("pkey", "-inform", "DER", "-in", key, "-outform", "DER"), openssl("pkey", "-in", name, "-outform", "DER"))

    def test_EncryptedKeysStayEncrypted(self):
        for name in ("guarded.key", "rsa.locked"):
            der = self.assertBothWays(file(name), "private key", isSecret=True)
            key = self.private("locked.der", der)
            self.assertNotEqual(openssl("pkey", "-inform", "DER", "-in", key, "-passin", "pass:wrong", check=False).returncode, 0)
            openssl("pkey", "-inform", "DER", "-in", key, "-passin", f"pass:{PASSWORD}")

    def test_OldEncryptedKeysAreOnlyPem(self):
        path = file("rsa.old.locked")
        message = f"{path}:1: the key is encrypted as only PEM can say it; 'openssl pkcs8 -topk8' makes PKCS#8 of it"
        self.assertInputError(run("convert", "--to", "der", path), message)
        around = self.private("around.pem", "text\n" + path.read_text().replace("\n", " \r\n") + "more\n")
        content, mode, kinds = self.convert("pem", around)
        self.assertEqual((content, mode, kinds), (path.read_bytes(), 0o600, ["private key"]))
        openssl("pkey", "-in", self.private("again.pem", content), "-passin", f"pass:{PASSWORD}")

    def test_Pkcs12(self):
        path = self.export()
        content, mode, kinds = self.convert("pem", path)
        self.assertEqual((content, mode, kinds), (pem(path.read_bytes(), "PKCS12").encode(), 0o600, ["pkcs12"]))
        back, mode, _ = self.convert("der", self.private("p12.pem", content))
        self.assertEqual((back, mode), (path.read_bytes(), 0o600))
        self.assertReads(self.private("back.p12", back), "--password-file", secret)

    def test_TextAroundBlocksIsLeftOut(self):
        path = self.write("around.pem", "before\r\n" + text_of("rsa").replace("\n", "\r\n") + "between\n" + text_of("ec") + "after")
        self.assertEqual(self.convert("pem", path), ((text_of("rsa") + text_of("ec")).encode(), 0o644, ["certificate"] * 2))
        old = text_of("rsa").replace("CERTIFICATE", "X509 CERTIFICATE")
        self.assertEqual(self.convert("pem", self.write("old.pem", old))[0].decode(), text_of("rsa"))

    def test_OneSecretMakesTheFileSecret(self):
        path = self.private("mixed.pem", text_of("rsa") + file("rsa.key").read_text())
        content, mode, kinds = self.convert("pem", path)
        self.assertEqual((content, mode, kinds), (path.read_bytes(), 0o600, ["certificate", "private key"]))

    def test_StandardInput(self):
        self.assertEqual(run("convert", "--to", "der", "-", stdin=text_of("ec").encode()).out, der_of(text_of("ec")))
        self.assertEqual(run("convert", "--to", "pem", "-", stdin=der_of(text_of("ec"))).text, text_of("ec"))

    def test_SeveralBlocksAreNotDer(self):
        path = self.write("two.pem", text_of("rsa") + text_of("ec"))
        line = text_of("rsa").count("\n") + 1
        for more in ([], ["--out", self.folder() / "out"]):
            self.assertInputError(run("convert", "--to", "der", path, *more), f"{path}:{line}: has 2 blocks, and DER is only one\n")

    def test_WhatCannotBeConvertedIsSaid(self):
        out = self.folder() / "out"
        good = text_of("rsa")
        line = good.count("\n") + 1
        for content, problem in ((good + pem(b"x"), f":{line}: the certificate does not parse"),
                                 (good + pem(b"x", "DH PARAMETERS"), f":{line}: a block of DH PARAMETERS is not converted"),
                                 (good + "-----BEGIN CERTIFICATE-----\n", f":{line}: the block that begins here has no END line"),
                                 ("", ": is empty"), ("text", ": is neither PEM text nor"),
                                 (pem(der_of(file("ec.key").read_text()), "PUBLIC KEY"), "by its bytes it is a private key")):  # fmt: skip
            path = self.write("bad.pem", content)
            for to in ("pem", "der"):
                self.assertInputError(run("convert", "--to", to, path, "--out", out), f"{path}:", problem)
        self.assertFalse(out.exists())
        self.assertInputError(run("convert", "--to", "txt", path), "--to: 'txt' is unknown; known are pem and der\n")
        self.assertInputError(run("convert", "--to", "pem", "/nowhere"), "/nowhere: No such file or directory\n")
        self.assertInputError(run("convert", "--to", "pem", file("rsa.crt"), "--json"), "--json and a result cannot both go to standard output")
        self.assertInputError(run("convert", "--to", "pem", file("rsa.crt"), "--json", "--out", "-"), "--json and a result cannot both")

    def test_DerIsNotWrittenToATerminal(self):
        for path in (file("rsa.crt"), file("rsa.key")):
            result = run_on_terminal("convert", "--to", "der", path, on={"out"})
            self.assertEqual((result.code, result.out, result.message), (2, b"", "cry: DER is not written to a terminal; use --out\n"))
        result = run_on_terminal("convert", "--to", "pem", file("rsa.crt"), on={"out"})
        self.assertEqual(result.out.replace(b"\r\n", b"\n").decode(), text_of("rsa"))

    def test_TheInputIsNotReplaced(self):
        path = self.private("same.pem", file("rsa.key").read_bytes())
        self.assertInputError(run("convert", "--to", "der", path, "--out", path, "--force"), f"{path}: is the same file as {path}")
        self.assertEqual(path.read_bytes(), file("rsa.key").read_bytes())

    def test_KeysThatOthersCanReadAreWarnedOf(self):
        path = self.write("open.key", file("ec.key").read_bytes())
        path.chmod(0o644)
        self.assertIn("'chmod 600' changes that", run("convert", "--to", "der", path).message)

    def test_BytesBehindDerAreLeftOut(self):
        path = self.write("longer", der_of(text_of("ec")) + b"more")
        result = run("convert", "--to", "pem", path)
        self.assertEqual((result.code, result.text), (0, text_of("ec")))
        self.assertEqual(result.message, f"cry: warning: {path}: 4 bytes behind the certificate are left out\n")

    def test_NothingLeaks(self):
        two = self.write("two.pem", text_of("rsa") + text_of("ec"))
        self.assertNothingLeaks((0, ["convert", "--to", "der", file("rsa.key")]), (2, ["convert", "--to", "der", two]),
                                (0, ["convert", "--to", "pem", self.export()]))  # fmt: skip


if __name__ == "__main__":
    unittest.main(verbosity=2)
