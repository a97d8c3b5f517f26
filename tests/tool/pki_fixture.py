"""Chains of certificates, and the checks of the tests with them."""

import hashlib
import subprocess
from pathlib import Path

from peers import der_of, pem
from tool import ToolTest, run, scratch

EXAMPLES = Path(__file__).resolve().parents[2] / "examples" / "chain"
NOW = "2026-01-31T12:00:00Z"


def fingerprint(der):
    digest = hashlib.sha256(der).hexdigest().upper()
    return ":".join(digest[at : at + 2] for at in range(0, 64, 2))


class Pki:
    """Certificates made with the openssl command."""

    CA = "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign"

    LEAF = "basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature"

    def __init__(self, folder):
        self.folder = Path(folder)
        self.folder.mkdir()
        (self.folder / "index").touch()
        (self.folder / "config").write_text(
            "[ca]\ndefault_ca=it\n[it]\ndatabase=index\nnew_certs_dir=.\nunique_subject=no\nrand_serial=yes\ndefault_md=sha256\npolicy=any\n"
            "[any]\norganizationName=optional\ncommonName=optional\n[req]\ndistinguished_name=dn\n[dn]\n"
        )
        self.text, self.der = {}, {}

    def openssl(self, *arguments):
        return subprocess.run(["openssl", *arguments], cwd=self.folder, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout

    def issue(self, name, issuer, extensions, subject=None, start="20200101000000Z", end="20400101000000Z"):
        self.openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", f"{name}.key")
        self.openssl("req", "-new", "-config", "config", "-key", f"{name}.key", "-subj", subject or f"/O=Test/CN={name}", "-out", f"{name}.csr")
        (self.folder / f"{name}.ext").write_text(extensions + "\n")
        signer = ["-selfsign", "-keyfile", f"{name}.key"] if issuer is None else ["-cert", f"{issuer}.pem", "-keyfile", f"{issuer}.key"]
        self.openssl("ca", "-batch", "-notext", "-config", "config", "-in", f"{name}.csr", "-out", f"{name}.pem", "-extfile", f"{name}.ext",
                     "-startdate", start, "-enddate", end, *signer)  # fmt: skip
        self.add(name, (self.folder / f"{name}.pem").read_text())

    def add(self, name, text):
        self.text[name], self.der[name] = text, der_of(text)
        (self.folder / f"{name}.pem").write_text(text)

    def file(self, *names):
        """A file with these certificates."""
        path = self.folder / ("+".join(names) + ".pem")
        path.write_text("".join(self.text[name] for name in names))
        return path

    def make(self):
        self.issue("root", None, self.CA)
        self.issue("impostor", None, self.CA, subject="/O=Test/CN=root")
        self.issue("intermediate", "root", "basicConstraints=critical,CA:TRUE,pathlen:0\nkeyUsage=critical,keyCertSign")
        self.issue("leaf", "intermediate", self.LEAF + "\nsubjectAltName=DNS:www.example.org")
        self.issue("expired", "intermediate", self.LEAF, end="20250101000000Z")
        self.issue("future", "intermediate", self.LEAF, start="20300101000000Z")
        self.issue("deeper", "intermediate", self.CA)
        self.issue("too-deep", "deeper", self.LEAF)
        self.issue("under-leaf", "leaf", self.LEAF)
        self.issue("no-signing", "root", "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,digitalSignature")
        self.issue("under-no-signing", "no-signing", self.LEAF)
        self.issue("bound", "root", self.CA + "\nnameConstraints=critical,permitted;DNS:good.test")
        self.issue("inside", "bound", self.LEAF + "\nsubjectAltName=DNS:www.good.test")
        self.issue("outside", "bound", self.LEAF + "\nsubjectAltName=DNS:www.bad.test")
        self.issue("strange", "root", self.LEAF + "\n1.2.3.4=critical,ASN1:NULL")
        self.issue("without-ids", "root", self.LEAF + "\nsubjectKeyIdentifier=none\nauthorityKeyIdentifier=none")
        self.issue("alone", None, self.LEAF)
        self.issue("old-ca", "root", self.CA, end="20250101000000Z")
        self.issue("under-old-ca", "old-ca", self.LEAF)
        self.issue("template", None, self.CA, subject="/O=Test/CN=" + "N" * 24)
        broken = bytearray(self.der["leaf"])
        broken[-1] ^= 1
        self.add("broken", pem(bytes(broken)))

    def patched(self, common_name, tag=None):
        """A self-signed certificate with these bytes as its common name. Its signature does not
        matter if it is trusted."""
        assert len(common_name) <= 24
        der, old = self.der["template"], b"\x0c\x18" + b"N" * 24
        assert der.count(old) == 2
        return der.replace(old, bytes([tag or 0x0C, 0x18]) + common_name.ljust(24, b"." if tag is None else b"\0"))


pki = Pki(scratch / "pki")


def make_crl(certificate, key, out, revoked=(), start="20260101000000Z", end="20260301000000Z", extensions=""):
    """A revocation list, made with the openssl command. `revoked` has pairs: a serial number in
    hexadecimal digits, and a time with maybe a reason after a comma."""
    folder = Path(out).parent
    (folder / "crl-index").write_text("".join(f"R\t400101000000Z\t{when}\t{serial}\tunknown\t/CN=x\n" for serial, when in revoked))
    (folder / "crl-index.attr").write_text("unique_subject=no\n")
    config = folder / "crl-config"
    config.write_text(f"[ca]\ndefault_ca=it\n[it]\ndatabase=crl-index\ndefault_md=sha256\ncrl_extensions=more\n[more]\n{extensions}\n")
    done = subprocess.run(["openssl", "ca", "-gencrl", "-config", config, "-cert", certificate, "-keyfile", key, "-crl_lastupdate", start,
                    "-crl_nextupdate", end, "-out", out], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)  # fmt: skip
    if done.returncode:
        raise AssertionError(done.stderr.decode())
    return Path(out)


class VerifyTest(ToolTest):
    def verify(self, chain, *more, trust=("root",), at=NOW, **keywords):
        arguments = [part for name in trust for part in ("--trust", name if isinstance(name, Path) else pki.file(name))]
        return run("verify", "--no-system", *arguments, "--time", at, *more, chain, **keywords)
