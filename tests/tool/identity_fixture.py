"""Keys and certificates that openssl made, and the checks of the tests with them."""

import re

from peers import blocks_of, openssl
from tool import PASSWORD, ToolTest, mode_of, run, scratch, secret, wrong

EXTRAS = ("one", "two", "three")
REVERSED = EXTRAS[::-1]  # how the tool gives the further certificates of a file
UUID = r"[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"


def make():
    """Makes NAME.key and NAME.crt. The names rsa, ec and other have a key; the EXTRAS are
    certificates of `other`."""
    (scratch / "config").write_text("[req]\ndistinguished_name=dn\n[dn]\n")
    openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", "rsa.key")
    for name in ("ec", "other"):
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", f"{name}.key")
    for name in ("rsa", "ec", "other", *EXTRAS):
        key = "other" if name in EXTRAS else name
        (scratch / f"{key}.key").chmod(0o600)
        openssl("req", "-x509", "-new", "-config", "config", "-key", f"{key}.key", "-subj", f"/O=Test/CN={name}", "-out", f"{name}.crt")
    (scratch / "extras.crt").write_text("".join(text_of(name) for name in EXTRAS))
    openssl("pkcs8", "-topk8", "-in", "ec.key", "-passout", f"pass:{PASSWORD}", "-out", "guarded.key")
    file("guarded.key").chmod(0o600)


def file(name):
    return scratch / name


def text_of(name):
    return file(f"{name}.crt").read_text()


class IdentityTest(ToolTest):
    def certificate(self, *arguments, key="ec", **keywords):
        """A new certificate, in a file."""
        made = self.assertDone(run("certificate", "generate", "--key", file(f"{key}.key"), *arguments, **keywords)).out
        self.assertEqual(blocks_of(made), [made.decode()])
        return self.write("made.crt", made)

    def request(self, *arguments, key="ec"):
        made = self.assertDone(run("request", "generate", "--key", file(f"{key}.key"), *arguments)).out
        self.assertEqual(blocks_of(made), [made.decode()])
        self.assertTrue(made.startswith(b"-----BEGIN CERTIFICATE REQUEST-----\n"))
        return self.write("made.csr", made)

    def names(self, path):
        """Subject entries and alternative names, as openssl reads them."""
        command = "req" if path.suffix == ".csr" else "x509"
        form = "multiline,utf8,-esc_msb,-esc_ctrl,show_type"
        text = openssl(command, "-in", path, "-noout", "-text", "-subject", "-nameopt", form).decode()
        said = text[text.rindex("\nsubject=") + 1 :]
        entries = re.findall(r"^ +(\w+) += (\w+):(.*?)(?=\n +\w+ += |\n\Z)", said, re.MULTILINE | re.DOTALL)
        found = re.search(r"Subject Alternative Name: *\n +(.*)\n", text)
        return [(name, value) for name, _, value in entries], found.group(1) if found else None

    def export(self, *arguments, key="rsa", certificate="rsa", extras=(), password=PASSWORD, name="a.p12"):
        """A PKCS#12 file that openssl made."""
        chain = self.write("chain.crt", "".join(text_of(each) for each in extras))
        more = ["-certfile", chain] if extras else []
        openssl("pkcs12", "-export", *arguments, "-inkey", f"{key}.key", "-in", f"{certificate}.crt", *more, "-passout", f"pass:{password}",
                "-out", name)  # fmt: skip
        return file(name)

    def assertReads(self, path, *more, key="rsa", certificate="rsa", extras=(), **keywords):
        """All that is in a file comes out."""
        folder = self.folder()
        outputs = [folder / name for name in ("key", "certificate", "certificates")]
        options = [part for name, out in zip(("key", "certificate", "certificates"), outputs) for part in (f"--out-{name}", out)]
        result = self.assertDone(run("pkcs12", "read", path, *options, *more, **keywords))
        self.assertEqual(outputs[0].read_bytes(), openssl("pkcs8", "-topk8", "-nocrypt", "-in", f"{key}.key"))
        self.assertEqual(outputs[1].read_text(), text_of(certificate))
        self.assertEqual(outputs[2].read_text(), "".join(text_of(each) for each in extras))
        self.assertEqual([oct(mode_of(out)) for out in outputs], ["0o600", "0o644", "0o644"])
        self.assertEqual(self.taken(folder), ["certificate", "certificates", "key"])
        lines = result.text.splitlines()
        self.assertEqual(lines[0], "private key  " + {"rsa": "RSA, 2048 bits"}.get(key, "EC prime256v1, 256 bits"))
        self.assertEqual(len(lines), 2 + len(extras))
        for line, what, name in zip(lines[1:], ["certificate"] + ["further"] * len(extras), [certificate, *extras]):
            self.assertRegex(line, f"^{what:11}  CN={name}, O=Test, by CN={name}, O=Test, until [0-9T:-]+Z$")
        return result

    def assertWrongPassword(self, path, *more, **keywords):
        result = run("pkcs12", "read", path, "--password-file", wrong, *more, **keywords)
        self.assertInputError(result, f"{path}: the password is wrong, or the file is damaged")

    def make(self, *arguments, key="rsa", certificate="rsa.crt", password=True, out=None):
        """A new PKCS#12 file."""
        out = out or self.folder() / "made.p12"
        protection = ["--password-file", secret] if password else ["--no-password"]
        result = run("pkcs12", "write", "--key", file(f"{key}.key"), "--certificate", file(certificate), "--out", out, *protection, *arguments)
        self.assertEqual(self.assertDone(result).out, b"")
        self.assertEqual(oct(mode_of(out)), "0o600")
        return out

    def assertPeerReads(self, path, *more, key="rsa", certificate="rsa", extras=(), password=PASSWORD):
        """openssl finds all of it in a file, certificates in this order."""
        said = openssl("pkcs12", "-in", path, "-passin", f"pass:{password}", "-nodes", *more)
        key_text = openssl("pkcs8", "-topk8", "-nocrypt", "-in", f"{key}.key").decode()
        self.assertEqual(blocks_of(said), [text_of(certificate), *(text_of(each) for each in extras), key_text])
