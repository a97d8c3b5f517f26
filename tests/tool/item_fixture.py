"""Certificates, requests, CRLs, keys and PKCS#12 in all forms that files have."""

import identity_fixture
from identity_fixture import IdentityTest, file
from peers import openssl
from tool import PASSWORD


def make():
    """Those of identity_fixture, and keys in other forms."""
    identity_fixture.make()
    openssl("pkcs8", "-topk8", "-v2", "aes-128-cbc", "-iter", "4096", "-in", "rsa.key", "-passout", f"pass:{PASSWORD}", "-out", "rsa.locked")
    openssl("rsa", "-in", "rsa.key", "-traditional", "-out", "rsa.old")
    openssl("rsa", "-in", "rsa.key", "-traditional", "-aes256", "-passout", f"pass:{PASSWORD}", "-out", "rsa.old.locked")
    openssl("ec", "-in", "ec.key", "-out", "ec.old")
    for name in ("rsa.locked", "rsa.old", "rsa.old.locked", "ec.old"):
        file(name).chmod(0o600)


class ItemTest(IdentityTest):
    def in_der(self, path, command):
        return self.private("item.der", openssl(*command, "-in", path, "-outform", "DER"))

    def with_extensions(self, *extensions, subject="/CN=a", more=(), key="ec", name="extended.crt"):
        config = "[req]\ndistinguished_name=dn\nx509_extensions=ext\n[dn]\n[ext]\n" + "\n".join(extensions) + "\n"
        self.write("extended.cnf", config)
        openssl("req", "-x509", "-new", "-utf8", "-config", "extended.cnf", "-key", f"{key}.key", "-subj", subject, "-days", "30", *more,
                "-out", name)  # fmt: skip
        return file(name)

    def crl(self, *serials, name="list", due="20990101000000Z", extension=""):
        """A CRL with entries for these serial numbers, in hexadecimal digits."""
        entries = "".join(f"R\t400101000000Z\t200102030405Z\t{serial}\tunknown\t/CN={serial}\n" for serial in serials)
        self.write("crl.index", entries)
        self.write("crl.index.attr", "unique_subject = no\n")
        self.write("crl.number", "1000\n")
        self.write("crl.cnf", "[ca]\ndefault_ca=it\n[it]\ndatabase=crl.index\ncrlnumber=crl.number\ndefault_md=sha256\n")
        openssl("ca", "-gencrl", "-config", "crl.cnf", "-cert", "rsa.crt", "-keyfile", "rsa.key", "-crl_lastupdate", "20200101000000Z",
                "-crl_nextupdate", due, "-out", f"{name}.crl")  # fmt: skip
        return file(f"{name}.crl")
