#!/usr/bin/env python3
"""`cry token`, with the signer of a development build. CRY_TOOL names the program."""

import json
import os
import unittest

import token_fixture
from peers import openssl
from terminal import run_on_terminal
from token_fixture import EXTRA, NOT_ITS_SIGNATURE, SIGNER, SIGNERS, TIME, TokenTest, stranger, undecodable
from tool import DATA, IN_THE_WAY, MIB, PASSWORD, data, mode_of, run, secret

NOT_TO_THE_ROOT = "its certificate does not lead to the built-in root at "


def setUpModule():
    token_fixture.need_signers()
    stranger()


class Signing(TokenTest):
    def test_TokensOfTheSignerAreGood(self):
        for more in ([], ["--no-time"], ["--algorithm", "sha3-256"]):
            with self.subTest(more):
                token = self.sign(*more, umask=0o022)
                self.assertGood(run("token", "verify", token, data))
                self.assertBad(run("token", "verify", token, stdin=DATA + b"x"), NOT_ITS_SIGNATURE)
        self.assertEqual(oct(mode_of(token)), oct(0o644))

    def test_StandardInputAndOutputWork(self):
        made = run("token", "sign", *SIGNER, *EXTRA, "--out", "-", stdin=b"")
        self.assertEqual((made.code, made.message), (0, ""))
        self.assertGood(run("token", "verify", "-", "/dev/null", stdin=made.out))
        token = self.write("made.token", made.out)
        self.assertGood(run("token", "verify", token, stdin=b""))
        self.assertGood(run("token", "verify", token, "-", stdin=b""))
        self.assertInputError(run("token", "verify", "-", "-"), "only one of the inputs can be standard input")
        self.assertInputError(run("token", "sign", *SIGNER, "--out", "-", "--json", data), "--json and a result cannot both go")
        self.assertInputError(run("token", "sign", *SIGNER, "--out", token, data), f"{token}: {IN_THE_WAY}")

    def test_TokenHasAllThatItWasGiven(self):
        metadata = self.write("metadata.json", '{"name": "a\\u202e", "list": [1, {"deep": null}, true], "empty": {}}')
        token = self.sign("--metadata", metadata, "--time", TIME, "--algorithm", "SHA-384", signer=[*SIGNER, *EXTRA])
        stored = json.loads(token.read_bytes())
        self.assertEqual((stored["header"]["type"], stored["store"]["time"]), ("CRY_TRUST_TOKEN", TIME))
        shown = run("token", "show", token, "--json").json()["token"]
        self.assertEqual((shown["time"], shown["algorithm"], shown["metadata"]), (TIME, "sha384", json.loads(metadata.read_text())))
        self.assertEqual(shown["certificate"]["subject"], "CN=Development trust signer")
        self.assertEqual([each["subject"] for each in shown["certificates"]], ["CN=Development trust intermediate"])
        self.assertEqual((shown["signature"]["length"], len(shown["signature"]["hex"])), (384, 768))
        text = self.assertDone(run("token", "show", token))
        for part in ("certificate  CN=Development trust signer\n", "further      CN=Dev", f"time         {TIME}\n", "digest       sha384\n",
                     "signature    384 bytes\n", '"deep": null', r"a\u202e"):  # fmt: skip
            self.assertIn(part, text.text)
        self.assertHarmless(text.out)
        plain = run("token", "show", self.sign("--no-time"))
        self.assertIn("time         no time\n", plain.text)
        self.assertIn("metadata     no metadata\n", plain.text)

    def test_ProgressIsShownAtATerminal(self):
        large, out = self.write("large", b""), self.folder() / "out"
        os.truncate(large, 65 * MIB)
        result = run_on_terminal("token", "sign", *SIGNER, *EXTRA, "--out", out, large, on={"err"})
        self.assertEqual(result.code, 0)
        self.assertIn(b"] 100% ", result.err)
        self.assertTrue(result.err.endswith(b"\r\x1b[K"))

    def test_FileOfTheCertificateMayHaveTheOthers(self):
        both = self.write("both.pem", b"".join((SIGNERS / f"{name}.pem").read_bytes() for name in ("signer", "intermediate")))
        self.assertGood(run("token", "verify", self.sign(signer=["--key", SIGNERS / "signer.key", "--certificate", both]), data))

    def test_ProtectedKeysSign(self):
        guarded = self.private("guarded.key", openssl("pkey", "-in", SIGNERS / "signer.key", "-aes128", "-passout", f"pass:{PASSWORD}"))
        token = self.sign("--password-file", secret, signer=["--key", guarded, *SIGNER[2:], *EXTRA])
        self.assertGood(run("token", "verify", token, data))

    def test_KeysOfOthersAreRefused(self):
        key, out = stranger()[1], self.folder() / "out"
        result = run("token", "sign", "--key", key, *SIGNER[2:], "--out", out, data)
        self.assertInputError(result, f"{key}: the private key does not belong to the certificate in {SIGNERS / 'signer.pem'}")
        for name, content in (("ed25519", openssl("genpkey", "-algorithm", "ED25519")),
                              ("dsa", openssl("pkey", stdin=openssl("dsaparam", "-genkey", "1024"))),
                              ("explicit", openssl("pkey", "-in", key, "-ec_param_enc", "explicit"))):  # fmt: skip
            path = self.private(f"{name}.key", content)
            result = run("token", "sign", "--key", path, *SIGNER[2:], "--out", out, data)
            if name == "explicit":
                self.assertEqual(result.code, 2)  # OpenSSL may still find the name of the curve
            else:
                self.assertInputError(result, f"{path}: tokens are signed with RSA keys and with EC keys on named curves only; this key is ")
        broken = self.write("broken.pem", "\n".join(undecodable()) + "\n")
        result = run("token", "sign", *SIGNER[:2], "--certificate", broken, "--out", out, data)
        self.assertInputError(result, f"{broken}: the key of the certificate cannot be read")
        self.assertFalse(out.exists())

    def test_WarnsOfTokensThatNobodyAccepts(self):
        for more, reason in ((stranger(), "self-signed certificate"), (SIGNER, "unable to get local issuer certificate"),
                             ([*SIGNER, *EXTRA, "--time", "2001-01-01T00:00:00Z"], "certificate is not yet valid")):  # fmt: skip
            token = self.folder() / "token"
            made = run("token", "sign", *more, "--out", token, data)
            self.assertEqual((made.code, made.out), (0, b""))
            self.assertIn(f"cry: warning: no module will accept the token: {NOT_TO_THE_ROOT}", made.message)
            self.assertIn(reason, made.message)
            result = run("token", "verify", token, data)
            self.assertEqual(result.code, 1)
            self.assertIn(f"bad: {NOT_TO_THE_ROOT}", result.text)
            self.assertIn(reason, result.text)

    def test_MetadataIsAnObjectThatAStoreCanHold(self):
        out = self.folder() / "out"
        for content, problem in (
            ('{"a": 1,\n "b": }', ":2: is not JSON: unexpected '}'; expected '[', '{', or a literal (column 7)"),
            ("", ": is empty"),
            ('{"a": "\xe9"}'.encode("latin-1"), ":1: is not JSON: invalid string: "),
            ("{} {}", ":1: is not JSON: unexpected '{'; expected end of input (column 4)"),
            ('{"a": [0, {"b": 1.5}]}', ":1: a number has a fraction or an exponent, or is too large (column 20)"),
            ('{"a": 9223372036854775808}', ":1: a number is too large (column 26)"),
            ('{"a": {"b": 1, "b": 2}}', ":1: a key occurs twice in one object (column "),
            ("[1]", ": is a list, not an object"),
            ("1", ": is JSON, but neither an object nor of a size that can be read"),
            ('{"a": ' + "[" * 200 + "]" * 200 + "}", ":1: there are too many objects and lists in one another (column "),
        ):
            path = self.write("metadata.json", content)
            self.assertInputError(run("token", "sign", *SIGNER, "--metadata", path, "--out", out, data), f"{path}{problem}")
        path = self.write("metadata.json", '{"a": ' + "[" * 126 + "]" * 126 + "}")
        result = run("token", "sign", *SIGNER, "--metadata", path, "--out", out, data)
        self.assertInputError(result, "the metadata is too large or nested too deep for a token")
        self.assertFalse(out.exists())

    def test_FailuresLeaveNoToken(self):
        folder = self.folder()
        for more in ([data / "not"], ["/"], ["--time", "x", data], ["--algorithm", "x", data], ["--time", TIME, "--no-time", data]):
            self.assertEqual(run("token", "sign", *SIGNER, "--out", folder / "out", *more).code, 2)
        self.assertEqual(self.taken(folder), [])


class Verifying(TokenTest):
    def test_EveryReasonIsSaid(self):
        token = self.sign("--time", TIME)
        root = (SIGNERS / "root.pem").read_text().splitlines()
        store = json.loads(token.read_bytes())["store"]
        for parts, reason in (
            ({"metaData": {"a": "b"}}, NOT_ITS_SIGNATURE),
            ({"hashAlgorithm": "CRY_HASH_ALGORITHM_SHA2_256"}, NOT_ITS_SIGNATURE),
            ({"signature": None}, "the token has no signature"),
            ({"certificate": None}, "the token has no certificate"),
            ({"certificate": undecodable()}, "OpenSSL cannot read the key of its certificate"),
            ({"certificate": root}, "its certificate is the root itself, whose own signature does not count"),
            ({"extraCertificates": None}, NOT_TO_THE_ROOT + f"{TIME}: unable to get local issuer certificate (error 20 at depth 0)"),
            ({"time": "2100-01-01T00:00:00Z"}, NOT_TO_THE_ROOT + "2100-01-01T00:00:00Z: certificate has expired (error 10 at depth 2)"),
        ):
            with self.subTest(parts):
                result = run("token", "verify", self.edited(token, **parts), data)
                if "time" in parts:
                    self.assertRegex(result.text, NOT_TO_THE_ROOT + r"2100-01-01T00:00:00Z: certificate has expired \(error 10 at depth [0-2]\)")
                else:
                    self.assertBad(result, reason)
        self.assertGood(run("token", "verify", self.write("bare.token", json.dumps(store)), data))
        answer = run("token", "verify", token, data, "--json").json()
        self.assertEqual([answer["chain"][at]["subject"] for at in (0, 2)],
                         ["CN=Development trust signer", "CN=Development trust root (not for products)"])  # fmt: skip

    def test_FilesThatAreNoTokensAreErrors(self):
        store = json.loads(self.sign().read_bytes())
        for content, problem in (
            ("", ": is empty"),
            ("[]", ": is a list, not an object"),
            ("{}", ": holds nothing that a trust token has"),
            (json.dumps({**store, "header": {"type": "CRY_VAULT\x1b[1m"}}), r": is of the type 'CRY_VAULT\u{1B}[1m', not a trust token"),
            ("{" * 100000, ":1: is not JSON: "),
        ):
            path = self.write("other.token", content)
            for command in (["verify", path, data], ["show", path]):
                self.assertInputError(run("token", *command), f"{path}{problem}")
        self.assertInputError(run("token", "show", "/nowhere"), "/nowhere: ")
        token = self.sign()
        self.assertInputError(run("token", "verify", token, "/nowhere"), "/nowhere: ")
        self.assertInputError(run("token", "verify", token, "/"), "/: Is a directory")

    def test_PartsOfWrongKindsCountAsMissing(self):
        token = self.sign()
        store = json.loads(token.read_bytes())["store"]
        # A list of certificates may be empty, and metadata may be anything.
        fine = [("extraCertificates", {}), ("metaData", {}), ("metaData", ["x"])]
        for changed in ({part: 7 for part in store}, *({part: value} for part in store for value in ({}, ["x"]))):
            lost = [part for part, value in changed.items() if (part, value) not in fine]
            path = self.edited(token, **changed)
            result = run("token", "verify", path, data)
            with self.subTest(changed):
                # The digest that is missing is SHA-512, as it was.
                same = changed == {"metaData": {}} or list(changed) == ["hashAlgorithm"]
                self.assertEqual(result.code, 0 if same else 1)
                warning = f"cry: warning: {path}: what cannot be read in the token counts as missing: {', '.join(lost)}\n"
                self.assertEqual(result.message, warning if lost else "")
                self.assertEqual(run("token", "show", path).message, result.message)


class Root(TokenTest):
    def test_RootIsThatOfTheBuild(self):
        text, answer = run("token", "root").text, run("token", "root", "--json").json()
        root = SIGNERS / "root.pem"
        fingerprint = openssl("x509", "-in", root, "-noout", "-fingerprint", "-sha256").decode().strip().partition("=")[2]
        self.assertIn("root         CN=Development trust root (not for products)\n", text)
        self.assertIn(fingerprint, text)
        self.assertIn("This is a development root.", text)
        self.assertEqual((answer["certificate"]["sha256"], answer["development"]), (fingerprint, True))
        for pem in (answer["pem"].encode(), run("token", "root", "--pem").out):
            self.assertEqual(pem, openssl("x509", "-in", root))


if __name__ == "__main__":
    unittest.main(verbosity=2)
