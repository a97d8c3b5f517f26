#!/usr/bin/env python3
"""cmake/trust_root.sh: which roots it refuses, and that the root for development is made once and
never in part."""
import os
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "cmake" / "trust_root.sh"
OPENSSL = shutil.which("openssl")

CA = ["-addext", "basicConstraints=critical,CA:TRUE"]

# Stands before the real openssl: it makes short keys, which are quick to make, and at the call
# number AT it does what DO says.
SHIM = """#!/bin/bash
count=$(( $( cat "$COUNT" ) + 1 ))
echo $count >"$COUNT"
if [ "$count" = "$AT" ]; then eval "$DO"; fi
exec %s "${@//rsa_keygen_bits:*/rsa_keygen_bits:1024}"
"""


class Folder(unittest.TestCase):
    def setUp(self):
        self.root = Path(tempfile.mkdtemp(prefix="cry-trust-")).resolve()
        self.addCleanup(shutil.rmtree, self.root)

    def script(self, *arguments, **environment):
        return subprocess.run([SCRIPT, *map(str, arguments)], capture_output=True, text=True, env={**os.environ, **environment}, timeout=120)


class Embed(Folder):
    @classmethod
    def setUpClass(cls):
        cls.made = Path(tempfile.mkdtemp(prefix="cry-trust-"))
        cls.addClassCleanup(shutil.rmtree, cls.made)
        cls.openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", "rsa.key")
        cls.openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", "rsa2.key")
        cls.openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", "ec.key")
        cls.good = cls.certificate("good", "rsa", *CA)

    @classmethod
    def openssl(cls, *arguments):
        subprocess.run(["openssl", *arguments], cwd=cls.made, check=True, capture_output=True, stdin=subprocess.DEVNULL)

    @classmethod
    def certificate(cls, name, key, *options, subject="/CN=Root"):
        cls.openssl("req", "-new", "-x509", "-key", f"{key}.key", "-subj", subject, "-days", "30", "-config", "/dev/null", *options,
                    "-out", f"{name}.pem")
        return cls.made / f"{name}.pem"

    def embed(self, file):
        return self.script("embed", file, self.root / "out.inc")

    def refused(self, file, reason):
        done = self.embed(file)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(done.stdout, "")
        self.assertIn(str(file), done.stderr)
        self.assertIn(reason, done.stderr)
        self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
        self.assertEqual(os.listdir(self.root), [])

    def test_takes_a_self_signed_ca_with_an_rsa_key(self):
        done = self.embed(self.good)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        comment, define = (self.root / "out.inc").read_text().splitlines()
        self.assertTrue(comment.startswith("//"))
        text = re.fullmatch(r'#define CRY_TRUST_ROOT_TEXT "(.*)"', define)[1]
        self.assertEqual(text.split("|"), self.good.read_text().splitlines())
        self.assertEqual(os.listdir(self.root), ["out.inc"])

    def test_takes_text_around_the_block_and_other_line_ends(self):
        self.embed(self.good)
        wanted = (self.root / "out.inc").read_text()
        for text in ("Subject: Root\n" + self.good.read_text() + "\nend\n", self.good.read_text().replace("\n", "\r\n")):
            file = self.made / "around.pem"
            file.write_bytes(text.encode())
            self.assertEqual(self.embed(file).stderr, "")
            self.assertEqual((self.root / "out.inc").read_text(), wanted)

    def test_does_not_write_again_what_did_not_change(self):
        self.embed(self.good)
        out = self.root / "out.inc"
        os.utime(out, (1, 1))
        self.embed(self.good)
        self.assertEqual(out.stat().st_mtime, 1)
        self.embed(self.certificate("other", "rsa", *CA, subject="/CN=Other"))
        self.assertGreater(out.stat().st_mtime, 1)

    def test_refuses_what_cannot_be_read(self):
        self.refused(self.made / "nothing.pem", "cannot be read")

    def test_refuses_a_folder(self):
        done = self.embed(self.made)
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("must be one PEM block", done.stderr)

    def test_refuses_other_files(self):
        for name, content in (("empty", b""), ("text", b"no root\n"), ("zeros", bytes(100))):
            file = self.made / name
            file.write_bytes(content)
            self.refused(file, "must be one PEM block")
        self.openssl("x509", "-in", "good.pem", "-outform", "DER", "-out", "good.der")
        self.refused(self.made / "good.der", "must be one PEM block")

    def test_refuses_several_blocks(self):
        for other in ("good.pem", "rsa.key"):
            file = self.made / "several.pem"
            file.write_text(self.good.read_text() + (self.made / other).read_text())
            self.refused(file, "must be one PEM block")

    def test_refuses_a_block_that_is_not_a_certificate(self):
        self.refused(self.made / "rsa.key", "is not a certificate in PEM")
        file = self.made / "damaged.pem"
        lines = self.good.read_text().splitlines(keepends=True)
        file.write_text("".join(lines[:3] + lines[4:]))
        self.refused(file, "is not a certificate in PEM")

    def test_refuses_other_keys(self):
        self.refused(self.certificate("ec", "ec", *CA), "must have an RSA key")

    def test_refuses_what_is_not_a_ca(self):
        self.refused(self.certificate("leaf", "rsa", "-addext", "basicConstraints=critical,CA:FALSE"), "is not the certificate of a CA")
        self.openssl("req", "-new", "-key", "rsa.key", "-subj", "/CN=Root", "-config", "/dev/null", "-out", "plain.csr")
        self.openssl("x509", "-req", "-in", "plain.csr", "-signkey", "rsa.key", "-out", "plain.pem")
        self.refused(self.made / "plain.pem", "is not the certificate of a CA")

    def signed_by_other(self, name, subject):
        self.certificate("issuer", "rsa2", *CA)
        self.openssl("req", "-new", "-key", "rsa.key", "-subj", subject, "-config", "/dev/null", "-out", "request")
        (self.made / "extensions").write_text("basicConstraints=critical,CA:TRUE\n")
        self.openssl("x509", "-req", "-in", "request", "-CA", "issuer.pem", "-CAkey", "rsa2.key", "-CAcreateserial", "-extfile", "extensions",
                     "-out", f"{name}.pem")
        return self.made / f"{name}.pem"

    def test_refuses_what_is_not_self_signed(self):
        self.refused(self.signed_by_other("issued", "/CN=Intermediate"), "is not self-signed")
        # With the issuer's name, the signature shows it.
        self.refused(self.signed_by_other("disguised", "/CN=Root"), "does not verify")

    def test_refuses_what_is_not_valid_now(self):
        def dated(name, begin, end):
            (self.made / "index").write_text("")
            (self.made / "ca.conf").write_text(
                "[ca]\ndefault_ca=d\n[d]\ndatabase=index\nnew_certs_dir=.\nrand_serial=yes\ndefault_md=sha256\npolicy=p\nx509_extensions=e\n"
                "[p]\ncommonName=supplied\n[e]\nbasicConstraints=critical,CA:TRUE\n[req]\n")
            self.openssl("req", "-new", "-key", "rsa.key", "-subj", "/CN=Root", "-config", "/dev/null", "-out", "request")
            self.openssl("ca", "-batch", "-selfsign", "-config", "ca.conf", "-keyfile", "rsa.key", "-in", "request", "-startdate", begin,
                         "-enddate", end, "-notext", "-out", f"{name}.pem")
            return self.made / f"{name}.pem"

        self.refused(dated("expired", "20200101000000Z", "20210101000000Z"), "has expired")
        self.refused(dated("early", "20980101000000Z", "20990101000000Z"), "does not verify")


class Make(Folder):
    FILES = ["intermediate.pem", "root.pem", "signer.key", "signer.pem"]

    def setUp(self):
        super().setUp()
        shim = self.root / "bin" / "openssl"
        shim.parent.mkdir()
        shim.write_text(SHIM % OPENSSL)
        shim.chmod(0o755)
        self.dir = self.root / "a" / "development trust"

    def make(self, at=0, do=""):
        (self.root / "count").write_text("0")
        done = self.script("make", self.dir, PATH=f"{self.root}/bin:{os.environ['PATH']}", COUNT=str(self.root / "count"), AT=str(at), DO=do)
        self.calls = int((self.root / "count").read_text())
        return done

    def files(self):
        return sorted(os.listdir(self.dir)) if self.dir.exists() else []

    def content(self):
        return {name: (self.dir / name).read_bytes() for name in self.FILES}

    def expect_good(self):
        subprocess.run(["openssl", "verify", "-x509_strict", "-CAfile", "root.pem", "-untrusted", "intermediate.pem", "signer.pem"], cwd=self.dir,
                       check=True, capture_output=True)
        keys = {subprocess.run(["openssl", *command], cwd=self.dir, check=True, capture_output=True).stdout
                for command in (["pkey", "-in", "signer.key", "-pubout"], ["x509", "-in", "signer.pem", "-noout", "-pubkey"])}
        self.assertEqual(len(keys), 1)

    def test_makes_a_chain_once(self):
        done = self.make()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.files(), self.FILES)
        self.assertEqual([stat.S_IMODE((self.dir / name).stat().st_mode) for name in self.FILES], [0o644, 0o644, 0o600, 0o644])
        self.expect_good()
        self.assertEqual(self.script("embed", self.dir / "root.pem", self.root / "out.inc").stderr, "")
        before = self.content()
        self.assertEqual(self.make().returncode, 0)
        self.assertEqual(self.calls, 0)
        self.assertEqual(self.content(), before)

    def test_the_keys_are_as_long_as_they_should_be(self):
        bits = re.findall(r"rsa_keygen_bits:(\d+) -out (\w+)\.key", SCRIPT.read_text())
        self.assertEqual(dict(map(reversed, bits)), {"root": "4096", "intermediate": "3072", "signer": "3072"})

    def test_leaves_nothing_if_a_step_fails(self):
        self.make()
        calls = self.calls
        shutil.rmtree(self.dir)
        self.assertGreaterEqual(calls, 8)
        for at in range(1, calls + 1):
            for do in ("exit 3", "kill -TERM $PPID; sleep 0.1; exit 3"):
                self.assertNotEqual(self.make(at, do).returncode, 0, (at, do))
                self.assertEqual(self.files(), [], (at, do))

    def test_begins_again_after_it_was_killed(self):
        for at in (1, 5, 8):
            self.assertEqual(self.make(at, "kill -KILL $PPID; exit 3").returncode, -signal.SIGKILL, at)
            self.assertEqual([name for name in self.files() if name in self.FILES], [], at)
        self.assertEqual(self.make().returncode, 0)
        self.assertLessEqual(set(self.FILES), set(self.files()))
        self.expect_good()

    def test_makes_all_again_if_the_last_file_is_missing(self):
        self.make()
        before = self.content()
        (self.dir / "signer.pem").unlink()
        self.assertEqual(self.make().returncode, 0)
        self.expect_good()
        self.assertNotEqual(self.content()["root.pem"], before["root.pem"])

    def test_says_that_openssl_is_missing(self):
        empty = self.root / "empty"
        empty.mkdir()
        for name in ("bash", "env", "mkdir", "mktemp", "rm", "grep"):
            (empty / name).symlink_to(shutil.which(name))
        done = self.script("make", self.dir, PATH=str(empty))
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("openssl", done.stderr)
        self.assertEqual(self.files(), [])


class Usage(Folder):
    def test_says_how_it_is_called(self):
        for arguments in ([], ["other"]):
            done = self.script(*arguments)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("usage", done.stderr)


if __name__ == "__main__":
    if not OPENSSL:
        print("trust_root: SKIPPED: the command openssl is not here")
        sys.exit(77)
    unittest.main()
