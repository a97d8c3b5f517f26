"""Keys that openssl made, and the checks of the tests with them."""

from pathlib import Path

from peers import openssl
from tool import DATA, ToolTest, run, scratch

NEAR_CURVES = {"P-256": "prime256v1", "P-384": "secp384r1", "P-521": "secp521r1"}
keys = scratch / "keys"


def make():
    """Keys that openssl made: NAME (private), NAME.pub, NAME.crt."""
    keys.mkdir()
    (scratch / "config").write_text("[req]\ndistinguished_name=dn\n[dn]\n")
    openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", keys / "rsa")
    for name in NEAR_CURVES:
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", f"ec_paramgen_curve:{name}", "-out", keys / name)
    for name in ("rsa", *NEAR_CURVES):
        (keys / name).chmod(0o600)
        openssl("pkey", "-in", keys / name, "-pubout", "-out", keys / f"{name}.pub")
        openssl("req", "-x509", "-new", "-config", "config", "-key", keys / name, "-subj", f"/CN={name}", "-out", keys / f"{name}.crt")


class KeysTest(ToolTest):
    def sign(self, key, *more, digest="sha256", what=DATA):
        return self.assertDone(run("signature", "make", "--key", key, "--algorithm", digest, *more, stdin=what)).out

    def check(self, key, signature, *more, digest="sha256", what=DATA, name="a.sig", **keywords):
        path = signature if isinstance(signature, Path) else self.write(name, signature)
        return run("signature", "check", "--key", key, "--algorithm", digest, "--signature", path, *more, stdin=what, **keywords)

    def assertGood(self, result):
        self.assertEqual((result.code, result.err), (0, b""), result.text)
        self.assertTrue(result.text.startswith("good: "), result.text)

    def assertBad(self, result, hint=""):
        self.assertEqual((result.code, result.err), (1, b""), result.text)
        self.assertTrue(result.text.startswith("bad: the signature is not the key's for "), result.text)
        lines = result.text.splitlines()
        self.assertEqual(len(lines), 2 if hint else 1, result.text)
        self.assertIn(hint, lines[-1])
