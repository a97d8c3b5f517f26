"""Tokens of the signer that a development build makes."""

import json
import time
import unittest
from pathlib import Path

from peers import openssl, pem
from tool import TOOL, ToolTest, data, run, scratch

SIGNERS = Path(TOOL).resolve().parents[1] / "development-trust"
SIGNER = ["--key", SIGNERS / "signer.key", "--certificate", SIGNERS / "signer.pem"]
EXTRA = ["--extra", SIGNERS / "intermediate.pem"]
TIME = time.strftime("%Y-%m-%dT12:00:00Z", time.gmtime(time.time() + 2 * 86400))  # the signer is valid then
NOT_ITS_SIGNATURE = "the signature is not that of the token and this data"


def need_signers():
    """The tests that need tokens of a build's own signer are skipped without it."""
    if not (SIGNERS / "signer.key").is_file():
        raise unittest.SkipTest(f"{SIGNERS} has no signer: the build has a root of a product, or the program is an installed one")


def stranger():
    """A key and a certificate that lead nowhere."""
    key, certificate = scratch / "stranger.key", scratch / "stranger.pem"
    if not key.exists():
        (scratch / "config").write_text("[req]\ndistinguished_name=dn\n[dn]\n")
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", key)
        key.chmod(0o600)
        openssl("req", "-x509", "-new", "-config", "config", "-key", key, "-subj", "/CN=stranger", "-out", certificate)
    return ["--key", key, "--certificate", certificate]


def undecodable():
    """The signer's certificate with a kind of key that nobody knows, as lines of PEM."""
    der = openssl("x509", "-in", SIGNERS / "signer.pem", "-outform", "DER")
    return pem(der.replace(bytes.fromhex("06092a864886f70d010101"), bytes.fromhex("06092a864886f70d01017f"))).splitlines()


class TokenTest(ToolTest):
    def sign(self, *more, signer=(*SIGNER, *EXTRA), file=data, name="a.token", **keywords):
        path = self.folder() / name
        self.assertDone(run("token", "sign", *signer, *more, "--out", path, file, **keywords))
        return path

    def edited(self, token, **parts):
        """A token with other parts; None takes one away."""
        store = json.loads(token.read_bytes())
        for name, part in parts.items():
            store["store"].pop(name, None)
            if part is not None:
                store["store"][name] = part
        return self.write("edited.token", json.dumps(store))

    def assertGood(self, result):
        self.assertEqual((result.code, result.message), (0, ""), result.text)
        self.assertIn("good: ", result.text)

    def assertBad(self, result, reason, warning=""):
        self.assertEqual((result.code, result.text), (1, f"bad: {reason}\n"), result.message)
        self.assertEqual(result.message.count("\n"), 1 if warning else 0)
        self.assertIn(warning, result.message)
