#!/usr/bin/env python3
"""Certificates, requests, PKCS#12 files and domain names, with openssl and certtool as the tool's peers. CRY_TOOL names the program."""

import itertools
import json
import os
import random
import re
import resource
import shutil
import signal
import ssl
import stat
import subprocess
import time
import unittest
from pathlib import Path

import tool
from tool import MIB, TOOL, AtTerminal, limited, pem, run, run_on_terminal

PASSWORD = "correct horse"
DAY = 24 * 60 * 60
EXTRAS = ("one", "two", "three")
REVERSED = EXTRAS[::-1]  # how the tool gives the further certificates of a file
UUID = r"[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"
IN_THE_WAY = "is there already and was not changed; --force puts the new one in its place"


def openssl(*arguments, stdin=b"", check=True):
    done = subprocess.run(["openssl", *map(os.fsencode, arguments)], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=scratch)
    if check and done.returncode:
        raise AssertionError(f"openssl {arguments}: {done.stderr.decode()}")
    return done.stdout if check else done


def certtool(*arguments, stdin=b""):
    if not shutil.which("certtool"):
        raise unittest.SkipTest("certtool is not installed")
    done = subprocess.run(["certtool", *map(os.fsencode, arguments)], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=scratch)
    if done.returncode:
        raise AssertionError(f"certtool {arguments}: {done.stderr.decode()}")
    return done.stdout.decode(errors="replace")


def blocks_of(text):
    """The PEM blocks of a text, without what stands around them."""
    text = text if isinstance(text, str) else text.decode()
    return [found.group(0) for found in re.finditer(r"-----BEGIN ([A-Z0-9 ]+)-----.*?-----END \1-----\n", text, re.DOTALL)]


def elements(der):
    """The elements of some DER, one behind the other: tag and content."""
    found = []
    while der:
        tag, length, at = der[0], der[1], 2
        if length & 0x80:
            at += length & 0x7F
            length = int.from_bytes(der[2:at], "big")
        found.append((tag, der[at : at + length]))
        der = der[at + length :]
    return found


def element(tag, content):
    length = len(content)
    if length < 0x80:
        return bytes([tag, length]) + content
    count = (length.bit_length() + 7) // 8
    return bytes([tag, 0x80 | count]) + length.to_bytes(count, "big") + content


def joined(found):
    return b"".join(element(*each) for each in found)


def mode_of(path):
    return stat.S_IMODE(os.lstat(path).st_mode)


def setUpModule():
    """Keys and certificates that openssl made: NAME.key, NAME.crt; rsa, ec and other have a key, the EXTRAS are certificates of `other`."""
    global scratch, secret, wrong
    scratch = tool.prepare()
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
    secret, wrong = scratch / "secret", scratch / "wrong"
    secret.write_text(PASSWORD + "\n")
    wrong.write_text("wrong\n")
    for path in (secret, wrong, scratch / "guarded.key"):
        path.chmod(0o600)


def file(name):
    return scratch / name


def text_of(name):
    return file(f"{name}.crt").read_text()


class IdentityTest(tool.ToolTest):
    # ---- what is made here

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
        """Subject entries, and alternative names, of a certificate or request as openssl reads them."""
        command = "req" if path.suffix == ".csr" else "x509"
        said = openssl(command, "-in", path, "-noout", "-subject", "-nameopt", "multiline,utf8,-esc_msb,-esc_ctrl,show_type").decode()
        entries = re.findall(r"^ +(\w+) += (\w+):(.*?)(?=\n +\w+ += |\n\Z)", said, re.MULTILINE | re.DOTALL)
        text = openssl(command, "-in", path, "-noout", "-text").decode()
        found = re.search(r"Subject Alternative Name: *\n +(.*)\n", text)
        return [(name, value) for name, _, value in entries], found.group(1) if found else None

    # ---- PKCS#12

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


class Certificates(IdentityTest):
    def test_OpensslReadsAndVerifiesThem(self):
        for key, name in (("rsa", "sha256WithRSAEncryption"), ("ec", "ecdsa-with-SHA256")):
            path = self.certificate("--domain", "www.example.org", key=key)
            said = openssl("x509", "-in", path, "-noout", "-text").decode()
            for part in ("Version: 3 (0x2)", "Serial Number: 1 (0x1)", f"Signature Algorithm: {name}"):
                self.assertIn(part, said)
            self.assertEqual(openssl("verify", "-CAfile", path, path), f"{path}: OK\n".encode())
            self.assertEqual(openssl("x509", "-in", path, "-noout", "-pubkey"), openssl("pkey", "-in", f"{key}.key", "-pubout"))
            self.assertEqual(path.read_bytes(), openssl("x509", "-in", path))
            self.assertEqual(self.names(path), ([("commonName", "www.example.org")], "DNS:www.example.org"))
            self.assertIn("Issuer: CN = www.example.org\n", said)
            extensions = re.findall(r"X509v3 ([\w ]+):", said)
            self.assertEqual([each for each in extensions if each != "extensions"], ["Subject Alternative Name"])
            self.assertEqual(self.assertDone(run("verify", "--no-system", "--trust", path, path)).text[:4], "good")

    def test_ValidityRunsFromYesterdayToTheDaysFromNow(self):
        for days in (None, 0, 1, 365, 20000, 2900000):
            before = int(time.time())
            path = self.certificate(*([] if days is None else ["--days", str(days)]))
            after = time.time()
            said = openssl("x509", "-in", path, "-noout", "-startdate", "-enddate").decode()
            begin, end = (re.search(f"{name}=(.*)", said).group(1) for name in ("notBefore", "notAfter"))
            self.assertTrue(before - DAY <= ssl.cert_time_to_seconds(begin) <= after - DAY, begin)
            self.assertEqual(ssl.cert_time_to_seconds(end) - ssl.cert_time_to_seconds(begin), DAY * (1 + (365 if days is None else days)))

    def test_EndsBehindTheYear9999AreRefused(self):
        path = self.folder() / "out"
        for days in ("2920000", "3650000"):
            result = run("certificate", "generate", "--key", file("ec.key"), "--days", days, "--out", path)
            self.assertInputError(result, "no certificate can be made of this", "the validity must end before the year 10000")
        self.assertFalse(path.exists())

    def test_DaysThatAreNoneAreRefused(self):
        for days in ("-1", "3650001", "9223372036854775807", "9223372036854775808", "99999999999999999999", "", "x", "1.5", "1e3", "5 ", " 5", "+5",
                     "010", "0x10", "１"):  # fmt: skip
            for arguments in ([f"--days={days}"], ["--days", days]):
                self.assertInputError(run("certificate", "generate", "--key", file("ec.key"), *arguments), "--days: ")

    def test_UsageIsForClientsServersOrBoth(self):
        for options, said, good in [
            ([], None, {"sslserver", "sslclient"}),
            (["--client-auth"], "TLS Web Client Authentication", {"sslclient"}),
            (["--server-auth"], "TLS Web Server Authentication", {"sslserver"}),
            (["--server-auth", "--client-auth"], "TLS Web Client Authentication, TLS Web Server Authentication", {"sslserver", "sslclient"}),
        ]:
            path = self.certificate("--domain", "a.example", *options)
            found = re.search(r"Extended Key Usage: *\n +(.*)\n", openssl("x509", "-in", path, "-noout", "-text").decode())
            self.assertEqual(found.group(1) if found else None, said)
            for purpose in ("sslserver", "sslclient"):
                done = openssl("verify", "-purpose", purpose, "-CAfile", path, path, check=False)
                self.assertEqual(done.returncode == 0, purpose in good, (options, purpose, done.stderr))

    def test_SubjectIsANewUuidWithoutNames(self):
        seen = set()
        for _ in range(5):
            (name,), alternative = self.names(self.certificate())
            self.assertRegex(name[1], f"^{UUID}$")
            self.assertEqual((name[0], alternative), ("commonName", None))
            seen.add(name[1])
        self.assertEqual(len(seen), 5)

    def test_JsonSaysWhatItIs(self):
        path = self.folder() / "out"
        for more in ([], ["--out", "-"], ["--out", path]):
            answer = self.assertDone(run("certificate", "generate", "--key", file("rsa.key"), "--common-name", "Ä", "--json", *more)).json()
            self.assertEqual((answer["format"], answer["subject"], answer["issuer"]), (1, "CN=Ä", "CN=Ä"))
            self.assertEqual((answer["key"], answer["signatureAlgorithm"]), ("RSA, 2048 bits", "sha256WithRSAEncryption"))
            made = answer["certificate"].encode()
            said = openssl("x509", "-noout", "-fingerprint", "-sha256", stdin=made).decode().strip()
            self.assertEqual(said.partition("=")[2], answer["sha256"])
        self.assertEqual(path.read_bytes(), made)


class Names(IdentityTest):
    """The names in certificates and requests."""

    def makers(self):
        return (self.certificate, self.request)

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
            for make in self.makers():
                self.assertEqual(self.names(make("--domain", name)), ([("commonName", name)], f"DNS:{ascii}"))

    def test_HostsMatch(self):
        path = self.certificate("--domain", "*.bücher.example", "--common-name", "x")
        for host, matches in (("www.xn--bcher-kva.example", True), ("xn--bcher-kva.example", False), ("a.b.xn--bcher-kva.example", False)):
            said = openssl("x509", "-in", path, "-noout", "-checkhost", host).decode()
            self.assertEqual("does match certificate" in said, matches, said)

    def test_CommonNameStandsBesideTheDomain(self):
        for make in self.makers():
            self.assertEqual(self.names(make("--common-name", "A Server", "--domain", "a.example")), ([("commonName", "A Server")], "DNS:a.example"))
            self.assertEqual(self.names(make("--common-name", "A Server")), ([("commonName", "A Server")], None))

    def test_CommonNameIsOneNameWhateverItHolds(self):
        for name in ("a/CN=b", "a,CN=b", "a+CN=b", "a\nCN=b", "CN=a", "DNS:b", "#0c0161", "a\\", '"', " a ", "@section", "%s%n", "\x1b[31m",
                     "\u202ea", "ü" * 64, "😀" * 64, "x" * 64):  # fmt: skip
            for make in self.makers():
                with self.subTest(name=name, make=make.__name__):
                    self.assertEqual(self.names(make(f"--common-name={name}", "--domain", "a.b")), ([("commonName", name)], "DNS:a.b"))

    def refused(self, *arguments):
        """What is said of bad names; nothing is written."""
        for group in ("certificate", "request"):
            folder = self.folder()
            results = [run(group, "generate", "--key", file("ec.key"), *arguments, *more) for more in (["--json"], ["--out", folder / "out"])]
            self.assertEqual(self.taken(folder), [])
            self.assertEqual(len({(each.code, each.out, each.err) for each in results}), 1)
            self.assertHarmless(results[0].err)
            yield results[0]

    def test_DomainsThatAreNoneAreRefusedWithLabelAndReason(self):
        character = "has a character that is no letter, digit, hyphen, low line or asterisk"
        for name, reason in [
            ("a.b,DNS:evil.example", f"label 2: {character}"),
            ("a.b, DNS:evil.example", f"label 2: {character}"),
            ("a b.c", f"label 1: {character}"),
            (" a.b", f"label 1: {character}"),
            ("a.b ", f"label 2: {character}"),
            ("DNS:a.b", f"label 1: {character}"),
            ("a.b/CN=c", f"label 2: {character}"),
            ("a.b\nDNS:c", f"label 2: {character}"),
            ("a.b\n", f"label 2: {character}"),
            ("a\r.b", f"label 1: {character}"),
            ("@section", f"label 1: {character}"),
            ("a@b.c", f"label 1: {character}"),
            ("$ENV::HOME", f"label 1: {character}"),
            ("email:copy", f"label 1: {character}"),
            ("a;b.c", f"label 1: {character}"),
            ("a\\,b.c", f"label 1: {character}"),
            ('"a.b"', f"label 1: {character}"),
            ("[::1]", f"label 1: {character}"),
            ("::1", f"label 1: {character}"),
            ("\x1b[2J.b", f"label 1: {character}"),
            ("192.0.2.1", "it is an IP address"),
            ("192.0.2.1.", "it is an IP address"),
            ("１９２.0.2.1", "it is an IP address"),
            ("", "label 1: is empty"),
            (".", "label 1: is empty"),
            ("a..b", "label 2: is empty"),
            (".a", "label 1: is empty"),
            ("a..", "label 2: is empty"),
            ("a." + "b" * 64, "label 2: has more than 63 characters in ASCII form"),
            ("a.-b", "label 2: begins or ends with a hyphen"),
            ("a.b-", "label 2: begins or ends with a hyphen"),
            ("a." * 126 + "bc", "it has more than 253 characters in ASCII form"),
            ("a.xn--", "label 2: "),
            ("a.xn--\u00fc", "label 2: "),
            ("a.\u202eb", "label 2: "),
            ("a.\u0301b", "label 2: "),
            # These become a comma, a colon, a slash and full stops where IDNA maps them.
            ("a\uff0cDNS\uff1ab.c", "label 1: "),
            ("a\uff1ab", "label 1: "),
            ("a.\u2100", "label 2: "),
            ("a\u2024b.c", "label 1: "),
            ("a\ufe52b", "label 1: "),
        ]:
            with self.subTest(name):
                for result in self.refused(f"--domain={name}"):
                    self.assertInputError(result, "--domain: '", f"' is no domain name: {reason}")
        # Another common name does not help.
        for result in self.refused("--domain=a.b,DNS:evil.example", "--common-name", "x"):
            self.assertInputError(result, "--domain: '", f"' is no domain name: label 2: {character}")

    def test_LongNames(self):
        name = ".".join(["a" * 63] * 4)[:253]
        self.assertEqual(len(name), 253)
        for make in self.makers():
            self.assertEqual(self.names(make("--domain", name, "--common-name", "x")), ([("commonName", "x")], f"DNS:{name}"))
        for result in self.refused("--domain", name):
            self.assertInputError(result, "--domain: has 253 characters; a common name has at most 64; --common-name gives another one")
        for result in self.refused("--common-name", "ü" * 65):
            self.assertInputError(result, "--common-name: has 65 characters; a common name has at most 64")

    def test_CommonNamesThatAreNoneAreRefused(self):
        for result in itertools.chain(self.refused("--common-name", ""), self.refused("--common-name=")):
            self.assertInputError(result, "--common-name: is empty")
        for option in ("--common-name", "--domain"):
            for bad in (b"\xff", b"a\xc3", b"\xed\xa0\x80", b"\xc0\xaf"):
                for result in self.refused(option, bad):
                    self.assertInputError(result, f"{option}: '", "is not text in UTF-8")
            for result in self.refused(option, "a", option, "b"):
                self.assertInputError(result, f"{option}: ")


class Keys(IdentityTest):
    """The keys of new certificates and requests."""

    COMMANDS = (("certificate", "generate"), ("request", "generate"))

    def test_KeysThatCannotSignAreRefused(self):
        for algorithm in ("ED25519", "ED448", "X25519"):
            key = self.private("no.key", openssl("genpkey", "-algorithm", algorithm))
            for command in self.COMMANDS:
                self.assertInputError(run(*command, "--key", key), f"{key}: OpenSSL cannot sign with this key ({algorithm}, ")

    def test_ShortKeysWorkOrAreRefused(self):
        key = self.private("short.key", openssl("genrsa", "512"))
        for command in self.COMMANDS:
            result = run(*command, "--key", key)
            self.assertEqual(result.code, 0 if result.out else 2)
            self.assertEqual(result.out == b"", result.err != b"")

    def test_ProtectedKeysAreOpened(self):
        key = file("guarded.key")
        old = self.private("old.key", openssl("rsa", "-in", "rsa.key", "-aes128", "-traditional", "-passout", f"pass:{PASSWORD}"))
        descriptor, write = os.pipe()
        for command in self.COMMANDS:
            kind = "x509" if command[0] == "certificate" else "req"
            for path, plain in ((key, "ec.key"), (old, "rsa.key")):
                made = self.assertDone(run(*command, "--key", path, "--password-file", secret)).out
                self.assertEqual(openssl(kind, "-noout", "-pubkey", stdin=made), openssl("pkey", "-in", plain, "-pubout"))
            os.write(write, PASSWORD.encode() + b"\n")
            self.assertDone(run(*command, "--key", key, "--password-fd", str(descriptor), pass_fds=[descriptor]))
            self.assertInputError(run(*command, "--key", key, "--password-file", wrong), f"{key}:1: the password is wrong, or the key is damaged")
            self.assertInputError(run(*command, "--key", key, start_new_session=True), f"{key}: is protected by a password", "--password-file or")
            with AtTerminal(*command, "--key", key) as terminal:
                self.assertTrue(terminal.read(b"Password for " + bytes(key) + b": "))
                self.assertFalse(terminal.echoes())
                terminal.type(PASSWORD.encode() + b"\n")
                self.assertEqual(terminal.end(), 0, terminal.shown)
                self.assertNotIn(PASSWORD.encode(), terminal.shown)
                self.assertIn(b"-----END CERTIFICATE", terminal.shown)
        os.close(descriptor)
        os.close(write)

    def test_KeysThatOthersCanReadAreWarnedOf(self):
        key = self.write("open.key", file("ec.key").read_bytes())
        key.chmod(0o644)
        warning = f"cry: warning: {key}: others than its owner can use the private key in it (its mode is 0644); 'chmod 600' ends that\n"
        request, out = self.request(), self.folder() / "out"
        for arguments in (["certificate", "generate"], ["request", "generate"], ["request", "check", request],
                          ["pkcs12", "write", "--certificate", file("ec.crt"), "--no-password", "--out", out]):  # fmt: skip
            result = run(*arguments, "--key", key)
            self.assertEqual((result.code, result.message), (0, warning))

    def test_KeysAreFoundInOtherFormsAndPlaces(self):
        expected = openssl("pkey", "-in", "ec.key", "-pubout")
        text = file("ec.key").read_bytes()
        for content in (openssl("pkey", "-in", "ec.key", "-traditional"), openssl("pkey", "-in", "ec.key", "-outform", "DER"),
                        text_of("rsa").encode() + b"around\n" + text, text.replace(b"\n", b"\r\n")):  # fmt: skip
            key = self.private("form.key", content)
            self.assertEqual(openssl("x509", "-noout", "-pubkey", stdin=self.assertDone(run(*self.COMMANDS[0], "--key", key)).out), expected)
            made = self.assertDone(run(*self.COMMANDS[0], "--key", "-", stdin=content)).out
            self.assertEqual(openssl("x509", "-noout", "-pubkey", stdin=made), expected)

    def test_FilesWithoutAPrivateKeyAreRefused(self):
        for command in self.COMMANDS:
            for content, said in ((text_of("ec"), "holds no private key, only 'CERTIFICATE'"), (b"", "is empty"), (b"garbage", "holds no private key")):
                key = self.private("none.key", content)
                self.assertInputError(run(*command, "--key", key), f"{key}: {said}")
            self.assertInputError(run(*command, "--key", "/nowhere"), "/nowhere: No such file or directory")
            self.assertInputError(run(*command), "--key is required")


class Requests(IdentityTest):
    def peer(self, *arguments, key="rsa", subject="/O=Test/CN=a", form="PEM"):
        """A request that openssl made."""
        made = openssl("req", "-new", "-config", "config", "-key", f"{key}.key", "-subj", subject, "-outform", form, *arguments)
        return self.write("peer.csr", made)

    def assertGood(self, path, *more, key="rsa", **keywords):
        for option in ([], ["--key", file(f"{key}.key")]):
            answer = self.assertDone(run("request", "check", path, "--json", *option, *more, **keywords)).json()
            self.assertEqual((answer["format"], answer["verdict"], answer["signature"]), (1, "good", "good"))
            self.assertEqual(answer.get("keyMatches"), True if option else None)
            self.assertEqual(answer["file"], str(path))
            said = self.assertDone(run("request", "check", path, *option, *more, **keywords)).text
            self.assertIn("\nsignature  good\n", said)
            self.assertEqual(said.endswith("\nkey match  yes, the private key is the request's\n"), bool(option))
        return answer

    def assertBad(self, path, *more, signature="bad", matches=None):
        answer = self.assertDone(run("request", "check", path, "--json", *more), 1).json()
        self.assertEqual((answer["verdict"], answer["signature"], answer.get("keyMatches")), ("bad", signature, matches))
        said = self.assertDone(run("request", "check", path, *more), 1).text
        self.assertIn(f"\nsignature  {signature}", said)
        if matches is not None:
            self.assertIn("\nkey match  " + ("yes, the private key is the request's" if matches else "no, the private key is another one"), said)
        return answer

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
            value = {"name": "X509v3 Subject Alternative Name", "critical": False, "value": "DNS:xn--bcher-kva.example", "names": ["DNS:xn--bcher-kva.example"]}
            self.assertEqual((answer["subject"], answer["extensions"]), ("CN=bücher.example", [value]))

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
            self.assertEqual(set(answer), {"format", "request"})
            made = answer["request"].encode()
            self.assertEqual(openssl("req", stdin=made), made)
        self.assertEqual(path.read_bytes(), made)

    def test_RequestsOfOpensslAreRead(self):
        for key, text in (("rsa", "RSA, 2048 bits"), ("ec", "EC prime256v1, 256 bits")):
            for form in ("PEM", "DER"):
                answer = self.assertGood(self.peer(key=key, form=form), key=key)
                self.assertEqual((answer["subject"], answer["key"], answer["extensions"]), ("CN=a, O=Test", text, []))

    def test_DigestsAndSchemesOfOpensslAreRead(self):
        for more in (["-sha1"], ["-sha384"], ["-sha512"], ["-sha3-256"], ["-sigopt", "rsa_padding_mode:pss"]):
            self.assertGood(self.peer(*more))
        key = self.private("ed.key", openssl("genpkey", "-algorithm", "ED25519"))
        self.assertEqual(self.assertGood(self.peer(key="ed"), key="ed")["key"], "ED25519, 256 bits")
        self.assertInputError(run("request", "generate", "--key", key), f"{key}: OpenSSL cannot sign with this key (ED25519, ")

    def test_ExtensionsAreToldAsOpensslPrintsThem(self):
        path = self.peer(
            *("-addext", "subjectAltName=critical,DNS:a.example,DNS:*.b.example,IP:192.0.2.1,email:x@y.example,URI:http://z/"),
            *("-addext", "basicConstraints=critical,CA:TRUE,pathlen:1", "-addext", "keyUsage=digitalSignature,keyCertSign"),
            *("-addext", "extendedKeyUsage=serverAuth,1.2.3.4"),
        )
        names = ["DNS:a.example", "DNS:*.b.example", "IP Address:192.0.2.1", "email:x@y.example", "URI:http://z/"]
        self.assertEqual(
            [tuple(each.values()) for each in self.assertGood(path)["extensions"]],
            [
                ("X509v3 Subject Alternative Name", True, ", ".join(names), names),
                ("X509v3 Basic Constraints", True, "CA:TRUE, pathlen:1"),
                ("X509v3 Key Usage", False, "Digital Signature, Certificate Sign"),
                ("X509v3 Extended Key Usage", False, "TLS Web Server Authentication, 1.2.3.4"),
            ],
        )
        said = run("request", "check", path).text
        for name in names:
            self.assertIn(f"\nasks for   X509v3 Subject Alternative Name (critical): {name}\n", said)
        self.assertIn("\nasks for   X509v3 Key Usage: Digital Signature, Certificate Sign\n", said)

    def test_UnknownExtensionsAreNamedByTheirNumber(self):
        answer = self.assertGood(self.peer("-addext", "1.2.3.4.5=critical,ASN1:UTF8String:hello"))
        self.assertEqual([(each["name"], each["critical"]) for each in answer["extensions"]], [("1.2.3.4.5", True)])
        self.assertIn("0c 05 68 65 6c 6c 6f", answer["extensions"][0]["value"])

    def test_NamesThatLookLikeTwoAreToldApart(self):
        config = "[req]\ndistinguished_name=dn\nreq_extensions=ext\nprompt=no\n[dn]\nCN=a\n[ext]\nsubjectAltName=@names\n"
        self.write("two", config + "[names]\notherName=1.2.3;UTF8:a, DNS:evil.example\n")
        path = self.write("peer.csr", openssl("req", "-new", "-config", "two", "-key", "rsa.key"))
        self.assertIn("DNS:evil.example", self.assertGood(path)["extensions"][0]["value"])
        self.assertEqual(len(self.assertGood(path)["extensions"][0]["names"]), 1)
        self.assertEqual(run("request", "check", path).text.count("asks for"), 1)

    def test_UnknownExtensionsAreReadable(self):
        path = self.peer("-addext", "1.2.3.4.5=ASN1:UTF8String:hello")
        self.assertNotIn("unreadable", self.assertGood(path)["extensions"][0]["value"])
        self.assertNotIn("\\u{A}", run("request", "check", path).text)

    def test_OtherAttributesDoNoHarm(self):
        config = "[req]\ndistinguished_name=dn\nattributes=more\nprompt=no\nreq_extensions=ext\n[dn]\nO=Test\nCN=a\n[more]\n"
        config += "challengePassword=a challenge\nunstructuredName=no structure\n[ext]\nsubjectAltName=DNS:a.example\n"
        self.write("attributes", config)
        path = self.write("peer.csr", openssl("req", "-new", "-config", "attributes", "-key", "rsa.key"))
        self.assertIn(b"a challenge", openssl("req", "-in", path, "-noout", "-text"))
        answer = self.assertGood(path)
        self.assertEqual(answer["extensions"], [{"name": "X509v3 Subject Alternative Name", "critical": False, "value": "DNS:a.example", "names": ["DNS:a.example"]}])

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
            self.assertEqual(answer["extensions"][0]["value"], "DNS:a.example, DNS:b.example, IP Address:192.0.2.1")

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
                for content in (damaged, pem(damaged, "CERTIFICATE REQUEST")):
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
        self.assertEqual(self.assertBad(path)["key"], "(unreadable)")
        self.assertBad(path, "--key", file("ec.key"), matches=False)

    def test_ProtectedKeysAreOpened(self):
        path, key = self.peer(key="ec"), file("guarded.key")
        self.assertDone(run("request", "check", path, "--key", key, "--password-file", secret))
        self.assertInputError(run("request", "check", path, "--key", key, "--password-file", wrong), f"{key}:1: the password is wrong")
        self.assertInputError(run("request", "check", path, "--key", key, start_new_session=True), f"{key}: is protected by a password")
        with AtTerminal("request", "check", path, "--key", key) as terminal:
            self.assertTrue(terminal.read(b"Password for "))
            terminal.type(PASSWORD.encode() + b"\n")
            self.assertEqual(terminal.end(), 0, terminal.shown)
            self.assertNotIn(PASSWORD.encode(), terminal.shown)

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
        for _ in range(100):
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


class ReadPkcs12(IdentityTest):
    """What openssl and certtool write is read."""

    def test_FilesOfOpenssl(self):
        for how in [
            [],
            ["-legacy"],
            ["-legacy", "-descert"],
            ["-certpbe", "NONE"],
            ["-keypbe", "NONE"],
            ["-keypbe", "NONE", "-certpbe", "NONE"],
            ["-iter", "1"],
            ["-iter", "100000"],
            ["-noiter", "-nomaciter"],
            ["-macalg", "sha512"],
            ["-macalg", "sha1"],
            ["-certpbe", "AES-128-CBC", "-keypbe", "AES-192-CBC"],
            ["-certpbe", "CAMELLIA-256-CBC", "-keypbe", "ARIA-256-CBC"],
            ["-certpbe", "DES-EDE3-CBC", "-keypbe", "DES-EDE3-CBC"],
            ["-legacy", "-certpbe", "PBE-SHA1-RC2-128", "-keypbe", "PBE-SHA1-RC4-128"],
            ["-legacy", "-certpbe", "PBE-SHA1-RC2-40", "-keypbe", "PBE-SHA1-3DES"],
            ["-name", "A Friendly Näme", "-caname", "another"],
        ]:
            with self.subTest(how):
                path = self.export(*how, extras=EXTRAS)
                self.assertReads(path, "--password-file", secret, extras=REVERSED)
                self.assertWrongPassword(path)
                expected = f"{path}: is protected by a password, and there is no terminal to ask for it; give --password-file or --password-fd"
                self.assertInputError(run("pkcs12", "read", path, start_new_session=True), expected)

    def test_KeysOfOtherKinds(self):
        self.assertReads(self.export(key="ec", certificate="ec"), "--password-file", secret, key="ec", certificate="ec")
        for algorithm in ("ED25519", "ED448"):
            key = self.private("ed.key", openssl("genpkey", "-algorithm", algorithm))
            openssl("req", "-x509", "-new", "-config", "config", "-key", key, "-subj", "/O=Test/CN=ed", "-out", "ed.crt")
            answer = self.assertDone(run("pkcs12", "read", self.export(key="ed", certificate="ed"), "--password-file", secret, "--json")).json()
            self.assertTrue(answer["privateKey"].startswith(f"{algorithm}, "))

    def test_CertificateIsTheOneOfTheKeyWhereverItStands(self):
        self.write("mixed.crt", text_of("one") + text_of("two") + text_of("rsa"))
        path = self.export(certificate="mixed")
        self.assertReads(path, "--password-file", secret, extras=["two", "one"])

    def test_JsonSaysWhatIsThere(self):
        path = self.export(extras=EXTRAS)
        answer = self.assertDone(run("pkcs12", "read", path, "--password-file", secret, "--json")).json()
        self.assertEqual(list(answer), ["format", "file", "privateKey", "certificate", "certificates"])
        self.assertEqual((answer["format"], answer["file"], answer["privateKey"]), (1, str(path), "RSA, 2048 bits"))
        for name, facts in zip(["rsa", *REVERSED], [answer["certificate"], *answer["certificates"]]):
            said = openssl("x509", "-in", f"{name}.crt", "-noout", "-fingerprint", "-sha256").decode().strip().partition("=")[2]
            self.assertEqual((facts["sha256"], facts["subject"]), (said, f"CN={name}, O=Test"))

    def test_NoPasswordIsNeededWhereThereIsNone(self):
        for how in ([], ["-legacy"], ["-keypbe", "NONE", "-certpbe", "NONE", "-nomac"]):
            path = self.export(*how, password="", extras=["one"])
            self.assertReads(path, extras=["one"], start_new_session=True)
        path = self.export("-keypbe", "NONE", "-certpbe", "NONE", "-nomac", extras=["one"])
        self.assertReads(path, extras=["one"], start_new_session=True)
        self.assertReads(path, "--password-file", self.private("empty", ""), extras=["one"])

    def test_FilesWithoutMacButWithEncryptionAreReadOrRefused(self):
        # Some releases of OpenSSL want a MAC where there is a password.
        path = self.export("-nomac")
        result = run("pkcs12", "read", path, "--password-file", secret)
        if result.code:
            self.assertInputError(result, f"{path}: ", "mac absent")
        else:
            self.assertReads(path, "--password-file", secret)
        for result in (run("pkcs12", "read", path, "--password-file", wrong), run("pkcs12", "read", path, start_new_session=True)):
            self.assertInputError(result, f"{path}: ")

    def test_StandardInputAndOutput(self):
        content = self.export(extras=EXTRAS).read_bytes()
        key = openssl("pkcs8", "-topk8", "-nocrypt", "-in", "rsa.key")
        parts = {"--out-key": key, "--out-certificate": text_of("rsa").encode(), "--out-certificates": "".join(map(text_of, REVERSED)).encode()}
        for option, expected in parts.items():
            self.assertEqual(self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, option, "-", stdin=content)).out, expected)
        options = [part for option in parts for part in (option, "-")]
        result = self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, *options, stdin=content))
        self.assertEqual(result.out, b"".join(parts.values()))
        result = self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, "--json", stdin=content))
        self.assertEqual(result.json()["file"], "-")

    def test_WithoutFurtherCertificatesTheirFileIsEmpty(self):
        self.assertReads(self.export(), "--password-file", secret, extras=())

    def test_FilesOfCerttool(self):
        for cipher in ("3des-pkcs12", "aes-256", "rc2-40", "arcfour"):
            certtool("--to-p12", "--load-privkey", "rsa.key", "--load-certificate", "rsa.crt", "--load-ca-certificate", "one.crt", "--p12-name",
                     "A Name", "--outder", "--pkcs-cipher", cipher, "--password", PASSWORD, "--outfile", "certtool.p12")  # fmt: skip
            path = file("certtool.p12")
            self.assertReads(path, "--password-file", secret, extras=["one"])
        self.assertWrongPassword(path)
        certtool("--to-p12", "--load-privkey", "ec.key", "--load-certificate", "ec.crt", "--p12-name", "n", "--outder", "--null-password",
                 "--outfile", "certtool.p12")  # fmt: skip
        self.assertReads(path, key="ec", certificate="ec", start_new_session=True)

    def refuses(self, content, *said, more=("--password-file",), name="strange.p12"):
        path = self.write(name, content)
        more = ["--password-file", secret] if more else []
        began = time.monotonic()
        folder = self.folder()
        self.assertInputError(limited(["pkcs12", "read", path, *more, "--out-key", folder / "key"], 500), f"{path}: {said[0]}", *said[1:])
        self.assertEqual(self.taken(folder), [])
        self.assertLess(time.monotonic() - began, 10)

    def test_OtherFilesAreRefused(self):
        good = self.export().read_bytes()
        for more in (True, False):
            self.refuses(b"", "is empty", more=more)
            self.refuses(text_of("rsa"), "is PEM text, not a PKCS#12 file", more=more)
            self.refuses(file("rsa.key").read_bytes(), "is PEM text, not a PKCS#12 file; 'cry key info' reads keys", more=more)
            self.refuses(pem(good, "PKCS12"), "is PEM text, not a PKCS#12 file", more=more)
            self.refuses(openssl("x509", "-in", "rsa.crt", "-outform", "DER"), "is no PKCS#12 file", more=more)
            self.refuses(openssl("pkey", "-in", "rsa.key", "-outform", "DER"), "is no PKCS#12 file", more=more)
            self.refuses(b"garbage", "is no PKCS#12 file", more=more)
            self.refuses(bytes(100000), "is no PKCS#12 file", more=more)
            for length in (1, 2, 3, 4, 20, len(good) // 2, len(good) - 1):
                self.refuses(good[:length], "is cut off: it ends before the PKCS#12 file in it does", more=more)
        self.refuses(b"\x30\x80" * 100000, "")
        self.refuses(b"\x30\x84\x7f\xff\xff\xff", "is cut off")
        self.refuses(b"\x30\x00", "is no PKCS#12 file")
        self.assertInputError(run("pkcs12", "read", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("pkcs12", "read", "/"), "/: Is a directory")
        self.assertInputError(run("pkcs12", "read", "-"), "standard input: is empty")
        big = self.write("big.p12", b"")
        os.truncate(big, 65 * MIB)
        self.assertInputError(run("pkcs12", "read", big), f"{big}: is larger than 64 MiB")

    def test_FilesWithoutKeyOrCertificateAreDescribed(self):
        path = self.export("-nokeys")
        self.assertInputError(run("pkcs12", "read", path, "--password-file", secret), f"{path}: holds no private key")
        openssl("pkcs12", "-export", "-nocerts", "-inkey", "rsa.key", "-passout", f"pass:{PASSWORD}", "-out", "nocerts.p12")
        path = file("nocerts.p12")
        self.assertInputError(run("pkcs12", "read", path, "--password-file", secret), f"{path}: holds no certificate that its private key belongs to")

    def test_HugeIterationCountsAreRefusedAtOnce(self):
        version, safes, mac = elements(elements(self.export().read_bytes())[0][1])
        digest, salt, rounds = elements(mac[1])
        self.assertEqual(rounds, (2, (2048).to_bytes(2, "big")))

        def with_rounds(count):
            number = (2, count.to_bytes(count.bit_length() // 8 + 1, "big", signed=True))
            return joined([(0x30, joined([version, safes, (0x30, joined([digest, salt, number]))]))])

        # OpenSSL keeps the lower 32 bits, so the negative one is a large number, too.
        for count in (10000001, 1 << 31, (1 << 32) + 1, (1 << 63) - 1, 1 << 63, 1 << 200, -(1 << 32) - (1 << 31)):
            for password in (True, False):
                self.refuses(with_rounds(count), "the file is refused: it asks for more than 10000000 rounds of key derivation", more=password)
        self.refuses(with_rounds(200000), "the password is wrong, or the file is damaged")
        for count in (0, -1, -(1 << 200)):
            self.refuses(with_rounds(count), "")
        self.assertReads(self.write("same.p12", with_rounds(2048)), "--password-file", secret)

    def test_CountsAreAddedUp(self):
        # In MAC, certificates and key; each of these would be allowed. Without a password the MAC counts twice.
        good = self.export("-iter", "65536").read_bytes()
        small, large = bytes.fromhex("0203010000"), bytes.fromhex("02037fffff")
        places = [found.start() for found in re.finditer(re.escape(small), good)]
        self.assertEqual(len(places), 3)
        changed = bytearray(good)
        for place in places:
            changed[place : place + 5] = large
        self.refuses(bytes(changed), "the file is refused: it asks for more than 10000000 rounds of key derivation", more=False)

    def test_FlippedBytesNeverAbort(self):
        source = random.Random(12)
        # Without encryption, and without a MAC, all of it is looked at.
        for how in (["-keypbe", "NONE", "-certpbe", "NONE", "-nomac"], ["-iter", "1"]):
            good = self.export(*how, key="ec", certificate="ec", extras=["one"]).read_bytes()
            seen = set()
            for _ in range(70):
                changed = bytearray(good)
                changed[source.randrange(len(good))] ^= 1 << source.randrange(8)
                path = self.write("flipped.p12", bytes(changed))
                result = run("pkcs12", "read", path, "--password-file", secret, timeout=30)
                self.assertEqual((result.code, result.out == b""), (2, True) if result.err else (0, False), changed.hex())
                self.assertHarmless(result.out + result.err)
                seen.add(result.code)
            self.assertIn(2, seen)

    def test_HostileNamesAreMadeHarmless(self):
        self.write("utf8", "[req]\ndistinguished_name=dn\nstring_mask=utf8only\n[dn]\n")
        openssl("req", "-x509", "-new", "-config", "utf8", "-utf8", "-key", "ec.key", "-subj",
                "/CN=\x1b[2J\x1b[31m\u202e\u009b\u200bname", "-out", "hostile.crt")  # fmt: skip
        path = self.export(key="ec", certificate="hostile")
        result = self.assertDone(run("pkcs12", "read", path, "--password-file", secret))
        self.assertHarmless(result.out)
        self.assertEqual(result.text.count("\n"), 2)
        self.assertIn("name", result.text)
        self.assertHarmless(run("pkcs12", "read", path, "--password-file", secret, "--json").out)

    def test_TrailingBytesDoNoHarm(self):
        path = self.write("trailing.p12", self.export().read_bytes() + b"trailing")
        self.assertIn(run("pkcs12", "read", path, "--password-file", secret).code, (0, 2))


class WritePkcs12(IdentityTest):
    """What is written here, openssl, certtool and the tool itself read."""

    def test_PeersReadIt(self):
        for key in ("rsa", "ec"):
            for extras in ((), ("one",), EXTRAS):
                options = [part for each in extras for part in ("--extra", file(f"{each}.crt"))]
                path = self.make(*options, key=key, certificate=f"{key}.crt")
                self.assertPeerReads(path, key=key, certificate=key, extras=extras)
                self.assertReads(path, "--password-file", secret, key=key, certificate=key, extras=extras[::-1])
                self.assertWrongPassword(path)
                self.assertNotEqual(openssl("pkcs12", "-in", path, "-passin", "pass:wrong", "-nodes", check=False).returncode, 0)

    def test_CerttoolReadsIt(self):
        path = self.make("--extra", file("one.crt"))
        said = certtool("--p12-info", "--infile", path, "--inder", "--password", PASSWORD)
        self.assertIn("Type: PKCS #8 Encrypted key", said)
        blocks = [each for each in blocks_of(said) if "CERTIFICATE" in each]
        self.assertEqual(blocks, [text_of("rsa"), text_of("one")])
        path = self.make(password=False, key="ec", certificate="ec.crt")
        self.assertIn(text_of("ec"), certtool("--p12-info", "--infile", path, "--inder", "--null-password"))

    def test_KeyIsEncrypted(self):
        der = openssl("pkcs8", "-topk8", "-nocrypt", "-in", "rsa.key", "-outform", "DER")
        secret_part = der[-200:]
        self.assertNotIn(secret_part, self.make().read_bytes())
        said = openssl("pkcs12", "-in", self.make(), "-passin", f"pass:{PASSWORD}", "-noout", "-info", check=False).stderr.decode()
        self.assertIn("Shrouded Keybag: PBES2, PBKDF2, AES-256-CBC", said)
        self.assertIn("MAC: sha256", said)

    def test_WithoutPasswordAnybodyReadsIt(self):
        path = self.make("--extra", file("one.crt"), password=False)
        self.assertPeerReads(path, extras=["one"], password="")
        self.assertReads(path, extras=["one"], start_new_session=True)
        self.assertReads(path, "--password-file", self.private("empty", ""), extras=["one"])
        self.assertWrongPassword(path)

    def test_FileOfAWholeChain(self):
        self.write("whole.crt", "leaf first\n" + text_of("rsa") + text_of("one") + "\n" + text_of("two"))
        self.assertPeerReads(self.make(certificate="whole.crt"), extras=["one", "two"])
        path = self.make("--extra", file("three.crt"), "--extra", file("extras.crt"), certificate="whole.crt")
        self.assertPeerReads(path, extras=["one", "two", "three", "one", "two", "three"])

    def test_OrderComesBackWhenTheFileIsWrittenTwice(self):
        path, folder = self.make("--extra", file("extras.crt")), self.folder()
        outputs = ["--out-key", folder / "rsa.key", "--out-certificate", folder / "crt", "--out-certificates", folder / "others"]
        self.assertDone(run("pkcs12", "read", path, "--password-file", secret, *outputs))
        again = folder / "again.p12"
        self.assertDone(run("pkcs12", "write", "--key", folder / "rsa.key", "--certificate", folder / "crt", "--extra", folder / "others",
                            "--no-password", "--out", again))  # fmt: skip
        self.assertReads(again, extras=list(EXTRAS))

    def test_DerIsTaken(self):
        for name in ("rsa", "one"):
            self.write(f"{name}.der", openssl("x509", "-in", f"{name}.crt", "-outform", "DER"))
        self.private("der.key", openssl("pkey", "-in", "rsa.key", "-outform", "DER"))
        self.assertPeerReads(self.make("--extra", file("one.der"), key="der", certificate="rsa.der"), extras=["one"])

    def test_StandardInputAndOutput(self):
        fixed = ["--no-password", "--out", "-"]
        for given, rest in (("--key", ["--certificate", file("rsa.crt")]), ("--certificate", ["--key", file("rsa.key")])):
            content = file("rsa.key" if given == "--key" else "rsa.crt").read_bytes()
            made = self.assertDone(run("pkcs12", "write", given, "-", *rest, *fixed, stdin=content)).out
            self.assertPeerReads(self.write("out.p12", made), password="")
        made = self.assertDone(run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--extra", "-", *fixed,
                                   stdin=text_of("one").encode())).out  # fmt: skip
        self.assertPeerReads(self.write("out.p12", made), extras=["one"], password="")

    def test_RawBytesDoNotGoToATerminal(self):
        result = run_on_terminal("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--no-password", "--out", "-",
                                 on={"out"})  # fmt: skip
        self.assertInputError(result, "a PKCS#12 file does not go to a terminal")

    def test_TheMessageOfTheTerminalNamesOptionsThatAreThere(self):
        result = run_on_terminal("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--no-password", "--out", "-",
                                 on={"out"})  # fmt: skip
        for option in set(re.findall(r"--[a-z0-9-]+", result.message)):
            self.assertIn(f"  {option} ", run("pkcs12", "write", "--help").text)

    def test_JsonSaysWhatWasWritten(self):
        path = self.folder() / "made.p12"
        result = self.assertDone(run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--extra", file("extras.crt"),
                                     "--no-password", "--out", path, "--json"))  # fmt: skip
        self.assertEqual(result.json(), {"format": 1, "file": str(path), "length": path.stat().st_size, "certificates": 3})

    def refused(self, *said, key="rsa.key", certificate="rsa.crt", extra=(), more=("--no-password",)):
        folder = self.folder()
        extra = [part for each in extra for part in ("--extra", each)]
        result = run("pkcs12", "write", "--key", file(key), "--certificate", file(certificate), *extra, *more, "--out", folder / "out",
                     start_new_session=True)  # fmt: skip
        self.assertInputError(result, *said)
        self.assertEqual(self.taken(folder), [])

    def test_KeyOfAnotherCertificateIsRefused(self):
        expected = "{}: the private key does not belong to the certificate in {}"
        for key, certificate in (("ec.key", "rsa.crt"), ("rsa.key", "ec.crt"), ("other.key", "ec.crt"), ("rsa.key", "extras.crt")):
            self.refused(expected.format(file(key), file(certificate)), key=key, certificate=certificate)
        # The first certificate is the one that counts.
        self.write("second.crt", text_of("one") + text_of("rsa"))
        self.refused(expected.format(file("rsa.key"), file("second.crt")), certificate="second.crt")

    def test_FilesThatCannotBeReadAreNamed(self):
        self.refused("/nowhere: No such file", key="/nowhere")
        self.refused("/nowhere: No such file", certificate="/nowhere")
        self.refused("/nowhere: No such file", extra=[file("one.crt"), "/nowhere"])
        self.refused("/nowhere: No such file", more=["--password-file", "/nowhere"])
        self.refused("descriptor 99: Bad file descriptor", more=["--password-fd", "99"])
        self.refused(f"{file('rsa.crt')}: holds no private key", key="rsa.crt")
        self.refused(f"{file('rsa.key')}: holds no certificate, only 'PRIVATE KEY'", certificate="rsa.key")
        self.refused(f"{file('rsa.key')}: holds no certificate, only 'PRIVATE KEY'", extra=[file("rsa.key")])
        damaged = self.write("damaged.crt", text_of("one").replace("\n", "\n*", 3))
        self.refused(f"{damaged}:2: base 64 with a wrong character, '*'", certificate="damaged.crt")
        self.refused(f"{damaged}:2: base 64 with a wrong character, '*'", extra=[damaged])
        empty = self.private("empty.file", b"")
        for where in ({"key": "empty.file"}, {"certificate": "empty.file"}, {"extra": [empty]}):
            self.refused(f"{empty}: is empty", **where)
        garbage = self.private("garbage.file", b"garbage")
        for where in ({"certificate": "garbage.file"}, {"extra": [garbage]}):
            self.refused(f"{garbage}: is neither PEM text nor a certificate in DER", **where)

    def test_ManyCertificates(self):
        many = self.write("many.crt", text_of("one") * 300)
        path = self.make("--extra", many)
        answer = self.assertDone(run("pkcs12", "read", path, "--password-file", secret, "--json")).json()
        self.assertEqual(len(answer["certificates"]), 300)
        self.assertEqual(len(blocks_of(openssl("pkcs12", "-in", path, "-passin", f"pass:{PASSWORD}", "-nokeys"))), 301)


class Passwords(IdentityTest):
    def test_AnyTextGoesBothWays(self):
        for password in ("x", "with blanks  inside ", "pässwörd", "密码", "😀 outside the plane", "é", "a" * 200, "'\"\\$`", "-", "pass:x"):
            with self.subTest(password):
                path = self.private("pw", password + "\n")
                self.assertReads(self.export(password=password), "--password-file", path)
                made = self.folder() / "made.p12"
                arguments = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", made, "--password-file", path]
                self.assertDone(run(*arguments))
                self.assertPeerReads(made, password=password)
                self.assertWrongPassword(made)

    def test_FirstLineOfTheFileCounts(self):
        path = self.export()
        for content in (PASSWORD, PASSWORD + "\n", PASSWORD + "\r\n", PASSWORD + "\nsecond line\n"):
            self.assertReads(path, "--password-file", self.private("pw", content))
        for content in ("\n" + PASSWORD, " " + PASSWORD, PASSWORD + " \n", PASSWORD.upper(), PASSWORD + PASSWORD, ""):
            result = run("pkcs12", "read", path, "--password-file", self.private("pw", content))
            self.assertInputError(result, f"{path}: the password is wrong, or the file is damaged")

    def test_DescriptorsGiveIt(self):
        path, made = self.export(), self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", made, "--force"]
        descriptor, write = os.pipe()
        number = str(descriptor)
        os.write(write, PASSWORD.encode() + b"\n")
        self.assertReads(path, "--password-fd", number, pass_fds=[descriptor])
        # The key's comes first, and nothing behind its line is taken away.
        os.write(write, PASSWORD.encode() + b"\nnew one\nrest\n")
        self.assertDone(run(*arguments, "--key-password-fd", number, "--password-fd", number, pass_fds=[descriptor]))
        self.assertPeerReads(made, key="ec", certificate="ec", password="new one")
        self.assertEqual(os.read(descriptor, 100), b"rest\n")
        os.close(write)
        os.close(descriptor)
        self.assertReads(path, "--password-fd", "0", stdin=PASSWORD.encode())
        for bad in ("-1", "x", "", "99999999999"):
            self.assertInputError(run("pkcs12", "read", path, f"--password-fd={bad}"), "", "--password-fd")
        self.assertInputError(run("pkcs12", "read", path, "--password-fd", "99"), "descriptor 99: Bad file descriptor")

    def test_KeyHasAPasswordOfItsOwn(self):
        made = self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", made]
        new = self.private("new", "another one\n")
        self.assertInputError(run(*arguments, "--password-file", new, start_new_session=True), f"{file('guarded.key')}: is protected by a password",
                            "--key-password-file or --key-password-fd")  # fmt: skip
        result = run(*arguments, "--password-file", new, "--key-password-file", wrong)
        self.assertInputError(result, f"{file('guarded.key')}:1: the password is wrong, or the key is damaged")
        self.assertFalse(made.exists())
        self.assertDone(run(*arguments, "--password-file", new, "--key-password-file", secret))
        self.assertPeerReads(made, key="ec", certificate="ec", password="another one")
        self.assertDone(run(*arguments, "--no-password", "--key-password-file", secret, "--force"))
        self.assertReads(made, key="ec", certificate="ec")

    def test_OptionsThatDoNotGoTogetherAreRefused(self):
        path, folder = self.export(), self.folder()
        both = ["--password-file", secret, "--password-fd", "0"]
        write = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", folder / "out"]
        for arguments in (
            ["pkcs12", "read", path, *both],
            [*write, *both],
            [*write, "--no-password", "--password-file", secret],
            [*write, "--password-fd", "0", "--no-password"],
            [*write, "--no-password", "--key-password-file", secret, "--key-password-fd", "0"],
            ["certificate", "generate", "--key", file("rsa.key"), *both],
            ["request", "generate", "--key", file("rsa.key"), *both],
            ["request", "check", path, *both],
        ):
            result = run(*arguments, stdin=PASSWORD.encode())
            self.assertInputError(result, "--", " excludes --", f"'cry {' '.join(arguments[:2])} --help' tells more")
        self.assertEqual(self.taken(folder), [])

    def tryToWrite(self, folder, password_file):
        files = ["--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", folder / "out"]
        return run("pkcs12", "write", *files, "--password-file", password_file)

    def test_TextThatIsNotUtf8IsRefused(self):
        path, folder = self.export(), self.folder()
        for bad in (b"\xff\n", b"p\xe4ssword\n", b"\xed\xa0\x80\n", b"\xc0\xaf\n"):
            pw = self.private("pw", bad)
            self.assertInputError(run("pkcs12", "read", path, "--password-file", pw), "the password is not text in UTF-8")
            self.assertInputError(self.tryToWrite(folder, pw), "the password is not text in UTF-8")
        self.assertEqual(self.taken(folder), [])

    def test_TooLongOnesAreRefused(self):
        pw = self.private("pw", "x" * 1025 + "\n")
        folder = self.folder()
        for result in (run("pkcs12", "read", self.export(), "--password-file", pw), self.tryToWrite(folder, pw)):
            self.assertInputError(result, f"{pw}: a password of more than 1024 bytes")
        self.assertEqual(self.taken(folder), [])

    def test_ZerosDoNotCutThePasswordOff(self):
        folder, pw = self.folder(), self.private("pw", b"a\0very long and secret\n")
        result = self.tryToWrite(folder, pw)
        self.assertEqual((result.code, self.taken(folder)), (2, []))

    def test_AnEmptyNewPasswordIsNotTakenForNone(self):
        for content in ("", "\n", "\nsecond line\n"):
            folder, pw = self.folder(), self.private("pw", content)
            result = self.tryToWrite(folder, pw)
            self.assertInputError(result, "")
            self.assertIn("--no-password", result.message)
            self.assertEqual(self.taken(folder), [])

    def test_PromptOfAFileDoesNotShowWhatIsTyped(self):
        path = self.export()
        with AtTerminal("pkcs12", "read", path) as terminal:
            self.assertTrue(terminal.read(b"Password for " + bytes(path) + b": "))
            self.assertFalse(terminal.echoes())
            terminal.type(PASSWORD.encode() + b"\n")
            self.assertEqual(terminal.end(), 0, terminal.shown)
            self.assertNotIn(PASSWORD.encode(), terminal.shown)
            self.assertIn(b"private key  RSA, 2048 bits", terminal.shown)
            self.assertEqual(terminal.shown.count(b"Password for"), 1)
            self.assertTrue(terminal.echoes() and terminal.signals())

    def test_WrongPasswordAtThePromptIsAskedOnce(self):
        for typed in (b"wrong\n", b"\n", b"\x04"):
            with AtTerminal("pkcs12", "read", self.export()) as terminal:
                self.assertTrue(terminal.read(b"Password for "))
                terminal.type(typed)
                self.assertEqual(terminal.end(), 2, terminal.shown)
                self.assertIn(b"the password is wrong, or the file is damaged", terminal.shown)
                self.assertEqual(terminal.shown.count(b"Password for"), 1)

    def test_NoPromptWhereThereIsNoPassword(self):
        with AtTerminal("pkcs12", "read", self.export(password="")) as terminal:
            self.assertEqual(terminal.end(), 0, terminal.shown)
            self.assertNotIn(b"assword", terminal.shown)

    def writeAtTerminal(self, *typed, key="rsa", more=(), out=None):
        """Writes a file with these answers, each at its prompt; the code, the prompts and the file."""
        path = out or self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file(f"{key}.key"), "--certificate", file("rsa.crt" if key == "rsa" else "ec.crt"), "--out", path]
        with AtTerminal(*arguments, *more) as terminal:
            prompts = []
            for each in typed:
                self.assertTrue(terminal.read(b": "), terminal.shown)
                self.assertFalse(terminal.echoes())
                prompts.append(terminal.shown.replace(b"\r\n", b"").decode())
                terminal.shown = b""
                terminal.type(each)
            code = terminal.end()
            self.assertIsNotNone(code, terminal.shown)
            self.assertTrue(terminal.echoes() and terminal.signals())
            return code, prompts, path, terminal.shown.replace(b"\r\n", b"\n").decode()

    def test_NewPasswordIsAskedForTwice(self):
        typed = "pässwörd".encode() + b"\n"
        code, prompts, path, shown = self.writeAtTerminal(typed, typed)
        self.assertEqual((code, prompts, shown), (0, [f"New password for {path}: ", "Once more: "], "\n"))
        self.assertPeerReads(path, password="pässwörd")
        self.assertEqual(oct(mode_of(path)), "0o600")

    def test_NewPasswordsThatDifferAreRefused(self):
        for second in (b"onf\n", b"\n", b"one \n", b"One\n", b"\x04"):
            code, _, path, shown = self.writeAtTerminal(b"one\n", second)
            self.assertEqual(code, 2)
            self.assertIn("cry: the two passwords differ; nothing was written (--no-password makes a file without one)\n", shown)
            self.assertFalse(path.exists())

    def test_InterruptsLeaveNothing(self):
        for typed in ([b"half\x03"], [b"one\n", b"half\x03"]):
            code, _, path, _ = self.writeAtTerminal(*typed)
            self.assertIn(code, (2, -signal.SIGINT))
            self.assertFalse(path.exists())

    def test_KeyAndNewPasswordAreBothAskedFor(self):
        code, prompts, path, _ = self.writeAtTerminal(PASSWORD.encode() + b"\n", b"new\n", b"new\n", key="guarded")
        self.assertEqual((code, prompts), (0, [f"Password for {file('guarded.key')}: ", f"New password for {path}: ", "Once more: "]))
        self.assertPeerReads(path, key="ec", certificate="ec", password="new")

    def test_NothingIsAskedWhenItCannotBeUsed(self):
        path = self.folder() / "out"
        path.write_text("old")
        self.assertIn(IN_THE_WAY, self.writeAtTerminal(out=path)[3])
        self.assertIn("No such file", self.writeAtTerminal(more=["--extra", "/nowhere"])[3])
        code, _, path, shown = self.writeAtTerminal(more=["--no-password"])
        self.assertEqual((code, shown), (0, ""))
        self.assertReads(path, start_new_session=True)

    def test_PromptCannotBePlayedWith(self):
        path = scratch / "\x1b[31mp12\n\u202e"
        path.write_bytes(self.export().read_bytes())
        with AtTerminal("pkcs12", "read", path) as terminal:
            self.assertTrue(terminal.read(b": "))
            self.assertHarmless(terminal.shown)
            terminal.type(b"wrong\n")
            self.assertEqual(terminal.end(), 2)
            self.assertHarmless(terminal.shown.replace(b"\r\n", b"\n"))

    def test_WithoutATerminalTheOptionsAreNamed(self):
        path = self.folder() / "out"
        result = run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", path, start_new_session=True)
        self.assertInputError(result, f"{path}: there is no terminal to ask for its new password; give --password-file or --password-fd")
        self.assertFalse(path.exists())

    def test_PasswordFilesThatOthersCanReadAreWarnedOf(self):
        pw = self.write("open", PASSWORD + "\n")
        pw.chmod(0o640)
        warning = f"cry: warning: {pw}: others than its owner can use the password in it (its mode is 0640); 'chmod 600' ends that\n"
        self.assertEqual(run("pkcs12", "read", self.export(), "--password-file", pw).message, warning)
        out = self.folder() / "out"
        result = run("pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", out, "--no-password",
                     "--key-password-file", pw)  # fmt: skip
        self.assertEqual((result.code, result.message), (0, warning))

    def test_NoOptionTakesThePasswordItself(self):
        for command in (("pkcs12", "read"), ("pkcs12", "write"), ("certificate", "generate"), ("request", "generate"), ("request", "check")):
            said = run(*command, "--help").text
            expected = {"--password-file", "--password-fd"}
            if command[1] == "write":
                expected |= {"--key-password-file", "--key-password-fd", "--no-password"}
            self.assertEqual(set(re.findall(r"--[\w-]*passw[\w-]*", said)), expected)
            for option in ("--password", "--pass", "-p", "--passin", "--key-password"):
                self.assertEqual(run(*command, option, PASSWORD).code, 2)


class Output(IdentityTest):
    def makers(self):
        """Arguments that write one file, without --out."""
        return [
            ["certificate", "generate", "--key", file("ec.key"), "--domain", "a.example"],
            ["request", "generate", "--key", file("ec.key"), "--domain", "a.example"],
            ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--extra", file("one.crt"), "--no-password"],
        ]

    def read(self, folder, *more, path=None, **keywords):
        path = path or self.export("-iter", "1", key="ec", certificate="ec", extras=EXTRAS)
        outputs = [part for name in ("key", "certificate", "certificates") for part in (f"--out-{name}", folder / name)]
        return run("pkcs12", "read", path, "--password-file", secret, *outputs, *more, **keywords)

    def test_ModesAreThoseOfTheUmaskOrTheOwnersOnly(self):
        for mask in (0o000, 0o022, 0o077):
            for existing in (None, 0o666):
                folder = self.folder()
                names = ("key", "certificate", "certificates", "0", "1", "2")
                for name in names if existing else ():
                    (folder / name).write_text("old")
                    (folder / name).chmod(existing)
                force = ["--force"] if existing else []
                self.assertDone(self.read(folder, *force, umask=mask))
                for number, arguments in enumerate(self.makers()):
                    self.assertDone(run(*arguments, "--out", folder / str(number), *force, umask=mask))
                expected = [0o600 if name in ("key", "2") else 0o666 & ~mask for name in names]
                self.assertEqual([oct(mode_of(folder / name)) for name in names], [oct(mode) for mode in expected])
                self.assertEqual(self.taken(folder), sorted(names))

    def test_WhatIsThereIsKeptWithoutForce(self):
        for arguments in self.makers():
            folder = self.folder()
            (folder / "out").write_text("old")
            (folder / "link").symlink_to("nowhere")
            for name in ("out", "link"):
                for more in ([], ["--json"]):
                    self.assertInputError(run(*arguments, *more, "--out", folder / name), f"{folder / name}: {IN_THE_WAY}")
            self.assertEqual(((folder / "out").read_text(), self.taken(folder)), ("old", ["link", "out"]))
            result = run(*arguments, "--out", folder / "out", "--force")
            self.assertEqual((result.code, result.message, result.out), (0, "", b""))
            self.assertNotIn(b"old", (folder / "out").read_bytes()[:10])

    def test_FileInTheWayIsSeenBeforeTheOthersAreRead(self):
        path = self.write("in-the-way", "old")
        for arguments in (["certificate", "generate", "--key", "/nowhere"], ["request", "generate", "--key", "/nowhere"],
                          ["pkcs12", "write", "--key", "/nowhere", "--certificate", "/nowhere"]):  # fmt: skip
            self.assertInputError(run(*arguments, "--out", path), f"{path}: {IN_THE_WAY}")
        for name in ("key", "certificate", "certificates"):
            self.assertInputError(run("pkcs12", "read", "/nowhere", f"--out-{name}", path), f"{path}: {IN_THE_WAY}")

    def test_OneFileInTheWayMeansThatNoneIsWritten(self):
        for name in ("key", "certificate", "certificates"):
            folder = self.folder()
            (folder / name).write_text("old")
            for more in ([], ["--json"]):
                self.assertInputError(self.read(folder, *more), f"{folder / name}: {IN_THE_WAY}")
            self.assertEqual((self.taken(folder), (folder / name).read_text()), ([name], "old"))
            self.assertDone(self.read(folder, "--force"))
            self.assertEqual(self.taken(folder), ["certificate", "certificates", "key"])
            self.assertNotEqual((folder / name).read_text(), "old")

    def test_NothingIsWrittenWithAWrongPassword(self):
        folder = self.folder()
        (folder / "key").write_text("old")
        path = self.export()
        outputs = ["--out-key", folder / "key", "--out-certificate", folder / "certificate", "--force"]
        self.assertWrongPassword(path, *outputs)
        self.assertEqual((self.taken(folder), (folder / "key").read_text()), (["key"], "old"))

    def test_FilesAndStandardOutputTogether(self):
        folder, path = self.folder(), self.export(extras=["one"])
        result = self.assertDone(run("pkcs12", "read", path, "--password-file", secret, "--out-key", folder / "key", "--out-certificate", "-"))
        self.assertEqual((result.text, self.taken(folder)), (text_of("rsa"), ["key"]))

    def test_TwoResultsDoNotGoIntoTheSameFile(self):
        # The certificate would take the place of the key, which then is nowhere.
        for more in ([], ["--force"]):
            folder, path = self.folder(), self.export()
            (folder / "link").symlink_to("both")
            for other in (folder / "both", f"{folder}/./both", folder / "link"):
                result = run("pkcs12", "read", path, "--password-file", secret, "--out-key", folder / "both", "--out-certificate", other, *more)
                self.assertEqual((result.code, self.taken(folder)), (2, ["link"]))

    def test_EmptyNamesAreNoFiles(self):
        # An unset variable of a shell must not put a private key on the screen, nor be taken for success.
        path = self.export()
        for option in ("--out-key", "--out-certificate", "--out-certificates"):
            self.assertInputError(run("pkcs12", "read", path, "--password-file", secret, option, ""), "the name of the file", " is empty")
        for arguments in self.makers():
            self.assertInputError(run(*arguments, "--out", ""), "the name of the file", " is empty")

    def test_PlacesThatCannotBeWrittenAreNamed(self):
        for force in ([], ["--force"]):
            folder = self.folder()
            for arguments in self.makers():
                self.assertInputError(run(*arguments, *force, "--out", folder), f"{folder}: Is a directory")
                self.assertInputError(run(*arguments, *force, "--out", folder / "no" / "out"), f"{folder}/no/out: No such file or directory")
                self.assertInputError(run(*arguments, *force, "--out", "/dev/full"), "/dev/full: No space left on device")
            for name in ("key", "certificate", "certificates"):
                path = self.export(extras=["one"])
                more = ["pkcs12", "read", path, "--password-file", secret, *force, f"--out-{name}"]
                self.assertInputError(run(*more, folder / "no" / "out"), f"{folder}/no/out: No such file or directory")
                self.assertInputError(run(*more, "/dev/full"), "/dev/full: No space left on device")
            self.assertEqual(self.taken(folder), [])

    def test_LimitedFilesChangeNothing(self):
        # Python ignores the signal already, and so does the tool then.
        def how(size):
            return {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)), "restore_signals": False}

        for arguments in self.makers():
            folder = self.folder()
            (folder / "old").write_text("old")
            for name, force in (("new", []), ("new", ["--force"]), ("old", ["--force"])):
                self.assertInputError(run(*arguments, "--out", folder / name, *force, **how(100)), f"{folder / name}: File too large")
            self.assertEqual((self.taken(folder), (folder / "old").read_text()), (["old"], "old"))
        # Of several outputs each is whole, or the old one.
        size = len(openssl("pkcs8", "-topk8", "-nocrypt", "-in", "ec.key"))
        for room in (size - 1, size):
            folder = self.folder()
            for name in ("key", "certificate"):
                (folder / name).write_text("old")
            result = self.read(folder, "--force", **how(room))
            first = folder / ("key" if room < size else "certificate")
            self.assertInputError(result, f"{first}: File too large")
            self.assertIn((folder / "key").read_bytes(), (b"old", openssl("pkcs8", "-topk8", "-nocrypt", "-in", "ec.key")))
            self.assertEqual((self.taken(folder), (folder / "certificate").read_text()), (["certificate", "key"], "old"))

    def test_FullDiskChangesNothing(self):
        folder = self.folder()
        if os.geteuid() or subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "none", folder], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("a small file system cannot be mounted")
        try:
            (folder / "old").write_text("old")
            with open(folder / "filler", "wb", buffering=0) as filler:
                try:
                    while True:
                        filler.write(bytes(4096))
                except OSError:
                    pass
            for arguments in self.makers():
                for name, force in (("new", []), ("old", ["--force"])):
                    self.assertInputError(run(*arguments, "--out", folder / name, *force), f"{folder / name}: No space left on device")
            self.assertInputError(self.read(folder), f"{folder / 'key'}: No space left on device")
            self.assertEqual((self.taken(folder), (folder / "old").read_text()), (["filler", "old"], "old"))
        finally:
            subprocess.run(["umount", folder], check=True)

    def test_KilledAtAnyMoment(self):
        """Each file is the old one or the new one, whole."""
        folder, source = self.folder(), random.Random(5)
        many = self.write("many.crt", text_of("one") * 200)
        path = self.make("--extra", many, password=False)
        expected = {
            "key": openssl("pkcs8", "-topk8", "-nocrypt", "-in", "rsa.key"),
            "certificate": text_of("rsa").encode(),
            "certificates": text_of("one").encode() * 200,
        }
        outputs = [part for name in expected for part in (f"--out-{name}", folder / name)]
        read = ["pkcs12", "read", path, *outputs, "--force"]
        write = [*self.makers()[2], "--extra", many, "--out", folder / "p12", "--force"]
        killed = 0
        for arguments in (read, write):
            began = time.monotonic()
            self.assertDone(run(*arguments))
            usual = time.monotonic() - began
            for name in self.taken(folder):
                self.assertTrue(name in expected or name == "p12", name)
            for _ in range(15):
                for name in (*expected, "p12"):
                    (folder / name).write_bytes(b"old")
                process = subprocess.Popen([TOOL, *map(os.fsencode, arguments)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                time.sleep(source.uniform(0, usual))
                process.kill()
                killed += process.wait() == -signal.SIGKILL
                for name, content in expected.items():
                    self.assertIn((folder / name).read_bytes(), (b"old", content))
                content = (folder / "p12").read_bytes()
                if content != b"old":
                    self.assertEqual(joined(elements(content)), content)
                    self.assertEqual(len(elements(content)), 1)
                for name in set(self.taken(folder)) - set(expected) - {"p12"}:
                    # What was not put in its place yet, under a name that is none of a result.
                    self.assertRegex(name, r"\A\.new-[0-9a-f]+\Z")
                    if not (folder / name).read_bytes().startswith(b"-----BEGIN CERTIFICATE"):
                        self.assertEqual(oct(mode_of(folder / name)), "0o600")
                    (folder / name).unlink()
        self.assertGreater(killed, 1)

    def test_ClosedOrFullStandardOutputIsNoticed(self):
        path, request = self.export(), self.request()
        commands = [
            *(arguments for arguments in self.makers()[:2]),
            [*self.makers()[2], "--out", "-"],
            ["pkcs12", "read", path, "--password-file", secret],
            ["pkcs12", "read", path, "--password-file", secret, "--out-key", "-"],
            ["request", "check", request],
            ["name", "check", "a.example"],
            ["name", "check", "a.example", "--json"],
        ]
        for arguments in commands:
            arguments = [str(each) for each in arguments]
            for closing, said in ((">&-", "Bad file descriptor"), (">/dev/full", "No space left on device")):
                done = subprocess.run(["sh", "-c", f'"$0" "$@" {closing}', TOOL, *arguments], stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr.decode()), (2, f"cry: standard output: {said}\n"), arguments)


class NameCheck(IdentityTest):
    # Known from others: RFC 3492, UTS #46, IDNA 2008.
    FORMS = [
        ("localhost", "localhost", "localhost"),
        ("www.example.org", "www.example.org", "www.example.org"),
        ("EXAMPLE.Org.", "EXAMPLE.Org", "EXAMPLE.Org"),
        ("*.example.org", "*.example.org", "*.example.org"),
        ("_dmarc.example.org", "_dmarc.example.org", "_dmarc.example.org"),
        ("bücher.example", "xn--bcher-kva.example", "bücher.example"),
        ("BÜCHER.example", "xn--bcher-kva.example", "bücher.example"),
        ("bu\u0308cher.example", "xn--bcher-kva.example", "bücher.example"),
        ("xn--bcher-kva.example", "xn--bcher-kva.example", "bücher.example"),
        ("faß.de", "xn--fa-hia.de", "faß.de"),
        ("βόλος.com", "xn--nxasmm1c.com", "βόλος.com"),
        ("日本語。ＪＰ", "xn--wgv71a119e.jp", "日本語.jp"),
        ("президент.рф", "xn--d1abbgf6aiiy.xn--p1ai", "президент.рф"),
        ("παράδειγμα.δοκιμή", "xn--hxajbheg2az3al.xn--jxalpdlp", "παράδειγμα.δοκιμή"),
        ("例え.テスト", "xn--r8jz45g.xn--zckzah", "例え.テスト"),
        ("إختبار", "xn--kgbechtv", "إختبار"),
        ("a" * 63 + ".b", "a" * 63 + ".b", "a" * 63 + ".b"),
    ]
    BAD = ["", ".", "a..b", "a b", "a,b", "a:b", "a/b", "a\nb", "-a", "a-", "a" * 64, "192.0.2.1", "::1", "xn--", "xn--\u00fc", "☃.net",
           "\u202ea", "a\u200bb\u202e", "\x1b[31m", "\x7f", "\u009b2J", "a\u2028b", "\ufeff,", "http://a.b/", "a@b",
           "ü" * 60, "a." * 127 + "a"]  # fmt: skip

    def test_FormsAreThoseThatAreKnown(self):
        for name, ascii, unicode in self.FORMS:
            with self.subTest(name):
                result = self.assertDone(run("name", "check", name))
                self.assertEqual(result.text, f"good: {name} is a domain name\nascii    {ascii}\nunicode  {unicode}\n")
                answer = self.assertDone(run("name", "check", "--json", name)).json()
                self.assertEqual(answer, {"format": 1, "name": name, "verdict": "good", "ascii": ascii, "unicode": unicode})

    def test_FormsAreThoseOfPython(self):
        # Where the older IDNA and this one agree.
        for name in ("münchen.de", "ångström.se", "中国.cn", "한국.kr", "москва.рф", "ελλάδα.gr", "žluťoučký.cz", "ñandú.cl", "xn--mnchen-3ya.de"):
            ascii = name.encode("idna").decode()
            answer = run("name", "check", name, "--json").json()
            self.assertEqual((answer["ascii"], answer["unicode"]), (ascii, ascii.encode().decode("idna")))

    def test_AsciiFormsAreTheirOwn(self):
        for _, ascii, unicode in self.FORMS:
            answer = run("name", "check", ascii, "--json").json()
            self.assertEqual((answer["verdict"], answer["ascii"], answer["unicode"]), ("good", ascii, unicode))

    def test_OthersAreBadWithAReason(self):
        for name in self.BAD:
            with self.subTest(name):
                result = self.assertDone(run("name", "check", "--", name), 1)
                self.assertRegex(result.text, r"\Abad: '.*' is no domain name: (label [0-9]+: [a-z].+|it is an IP address|it has more than 253 .*)\n\Z")
                answer = self.assertDone(run("name", "check", "--json", "--", name), 1).json()
                self.assertEqual(set(answer), {"format", "name", "verdict", "reason"})
                self.assertEqual((answer["format"], answer["name"], answer["verdict"]), (1, name, "bad"))
                self.assertTrue(result.text.endswith(f" is no domain name: {answer['reason']}\n"))

    def test_HostileNamesAreMadeHarmless(self):
        names = [*self.BAD, *(name for name, _, _ in self.FORMS), "a\u200d.b", "\u0661.a", "a\u00adb.c", "\U000e0041.a", "\u061ca"]
        for name in names:
            for more in ([], ["--json"]):
                result = run("name", "check", *more, "--", name)
                self.assertHarmless(result.out + result.err)
                self.assertIn(result.code, (0, 1))
                if more:
                    self.assertTrue(result.out.isascii())
            shown = run_on_terminal("name", "check", "--", name, on={"out"}).out
            self.assertHarmless(re.sub(rb"\A\x1b\[3[12]m(good|bad)\x1b\[0m: ", b"", shown))

    def test_ColourIsForTerminalsOnly(self):
        self.assertTrue(run_on_terminal("name", "check", "a.b", on={"out"}).out.startswith(b"\x1b[32mgood\x1b[0m: "))
        self.assertTrue(run_on_terminal("name", "check", "a b", on={"out"}).out.startswith(b"\x1b[31mbad\x1b[0m: "))
        self.assertNotIn(b"\x1b", run_on_terminal("name", "check", "a b", "--json", on={"out"}).out)

    def test_TextThatIsNotUtf8IsRefused(self):
        for name in (b"\xff", b"a\xc3", b"\xed\xa0\x80", b"b\xfccher.example"):
            result = run("name", "check", name)
            self.assertInputError(result, "NAME: '", "is not text in UTF-8")
            self.assertHarmless(result.err)

    def test_WhatTheCheckTakesTheGeneratorsTakeToo(self):
        for name in [*self.BAD, *(name for name, _, _ in self.FORMS)]:
            good = run("name", "check", "--", name).code == 0
            result = run("request", "generate", "--key", file("ec.key"), f"--domain={name}", "--common-name", "x")
            self.assertEqual(result.code, 0 if good else 2, name)


class Commands(IdentityTest):
    GROUPS = {"certificate": ["generate"], "request": ["generate", "check"], "pkcs12": ["read", "write"], "name": ["check"]}
    ALL = [(group, each) for group, members in GROUPS.items() for each in members]

    def test_HelpTellsTheExitCodes(self):
        for command in self.ALL:
            for option in ("--help", "-h"):
                result = self.assertDone(run(*command, option))
                self.assertIn(f"Usage: cry {' '.join(command)} [OPTIONS]", result.text)
                self.assertRegex(result.text, r"(?m)^Exit: 0 .*; 2 wrong use")
                self.assertEqual("; 1 " in result.text.partition("Exit: ")[2], command[1] == "check")
            for option in ("--json", "--password-file", "--out", "--force"):
                has = option == "--json" or (command[0] != "name" and (option.startswith("--pass") or command[1] != "check"))
                self.assertEqual(option in result.text, has, (command, option))
        for group, members in self.GROUPS.items():
            said = self.assertDone(run(group, "--help")).text
            for each in members:
                self.assertRegex(said, rf"(?m)^  {each} ")
            self.assertRegex(run("--help").text, rf"(?m)^  {group} ")

    def test_GroupsNameTheirCommands(self):
        for group, members in self.GROUPS.items():
            end = f"; 'cry {group}' has {', '.join(members)}; 'cry {group} --help' tells more\n"
            self.assertInputError(run(group), "a command is missing" + end)
            self.assertInputError(run(group, "nonsense"), "'nonsense' is not a command" + end)
            self.assertInputError(run(group, "--frob"), "unknown option '--frob'" + end)
            for more in (["--json"], [""], ["--"], ["-"], ["\x1b[31m"], [members[0].upper()]):
                result = run(group, *more)
                self.assertEqual((result.code, result.out), (2, b""), more)
                self.assertHarmless(result.err)

    def test_UnknownOptionsAreRefused(self):
        needed = {"generate": ["--key", file("rsa.key")], "check": ["x"], "read": [file("rsa.key")],
                  "write": ["--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", "-", "--no-password"]}  # fmt: skip
        for command in self.ALL:
            for option in ("--frob", "-x", "--frob=1", "--JSON", "--jso", "--outkey", "--certificates"):
                result = run(*command, *needed[command[1]], option)
                self.assertInputError(result, f"unknown option '{option}'", f"'cry {' '.join(command)} --help' tells more")
            result = run(*command, "--\x1b[2J")
            self.assertEqual(result.code, 2)
            self.assertHarmless(result.err)
            self.assertInputError(run(*command, *needed[command[1]], "surplus"), "one argument too many, 'surplus'")

    def test_MissingArgumentsAreNamed(self):
        for arguments, missing in [
            (["certificate", "generate"], "--key"),
            (["request", "generate", "--domain", "a"], "--key"),
            (["request", "check"], "FILE"),
            (["pkcs12", "read", "--json"], "FILE"),
            (["pkcs12", "write"], "--key"),
            (["pkcs12", "write", "--key", "x"], "--certificate"),
            (["pkcs12", "write", "--key", "x", "--certificate", "y"], "--out"),
            (["name", "check"], "NAME"),
        ]:
            end = f"'cry {' '.join(arguments[:2])} --help' tells more\n"
            self.assertInputError(run(*arguments), f"{missing} is required; {end}")
        for command, option in [("certificate generate", "--key"), ("certificate generate", "--days"), ("request generate", "--common-name"),
                                ("pkcs12 read", "--out-key"), ("pkcs12 write", "--extra"), ("request check", "--key")]:  # fmt: skip
            self.assertInputError(run(*command.split(), option), f"{option}: 1 required ", " missing")
        self.assertInputError(run("certificate", "generate", "--key", file("ec.key"), "--force"), "--force requires --out")
        arguments = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", "-", "--no-password"]
        self.assertInputError(run(*arguments, "--extra", file("one.crt"), file("two.crt")), "one argument too many, ")
        for option in ("--key", "--certificate", "--out"):
            self.assertInputError(run(*arguments, option, "x"), f"{option}: ")

    def test_EveryJsonBeginsWithItsFormat(self):
        request, path = self.request(), self.export()
        for arguments, code in [
            (["certificate", "generate", "--key", file("ec.key")], 0),
            (["request", "generate", "--key", file("ec.key")], 0),
            (["request", "check", request], 0),
            (["request", "check", request, "--key", file("rsa.key")], 1),
            (["pkcs12", "read", path, "--password-file", secret], 0),
            (["pkcs12", "read", path, "--password-file", secret, "--out-key", self.folder() / "key"], 0),
            (["pkcs12", "write", "--key", file("ec.key"), "--certificate", file("ec.crt"), "--no-password", "--out", "/dev/null"], 0),
            (["name", "check", "bücher.example"], 0),
            (["name", "check", "a b"], 1),
        ]:
            if "--out-key" in arguments:
                arguments.append("--force")
            for place in (2, len(arguments)):
                with self.subTest(arguments):
                    result = self.assertDone(run(*arguments[:place], "--json", *arguments[place:]), code)
                    self.assertEqual(json.loads(result.out, object_pairs_hook=list)[0], ("format", 1))
                    self.assertTrue(result.out.endswith(b"}\n"))
                    self.assertTrue(result.out.isascii())

    def test_JsonOfFileNamesThatAreNotUtf8IsValid(self):
        path = bytes(scratch) + b"/name\xff\x1b.csr"
        shutil.copy(self.request(), path)
        answer = self.assertDone(run("request", "check", path, "--json")).json()
        self.assertIn("name\ufffd", answer["file"])
        result = run("request", "check", path, "--key", path)
        self.assertEqual(result.code, 2)
        self.assertHarmless(result.err)

    def test_StandardInputIsReadOnce(self):
        for arguments, content in [
            (["request", "check", "-", "--key", "-"], self.request().read_bytes()),
            (["pkcs12", "write", "--key", "-", "--certificate", "-", "--out", "-", "--no-password"], file("rsa.key").read_bytes()),
            (["pkcs12", "read", "-", "--password-fd", "0"], self.export().read_bytes()),
        ]:
            result = run(*arguments, stdin=content)
            self.assertEqual((result.code, result.out), (2, b""))
            self.assertIn("standard input", result.message)

    def test_ClosedStandardInputIsSaid(self):
        for arguments in (["request", "check", "-"], ["pkcs12", "read", "-"], ["certificate", "generate", "--key", "-"]):
            done = subprocess.run(["sh", "-c", '"$0" "$@" <&-', TOOL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, b"", b"cry: standard input: Bad file descriptor\n"))

    def test_NothingLeaks(self):
        if tool.instrumented():
            self.skipTest("the program looks for leaks itself")
        if not shutil.which("valgrind"):
            self.skipTest("valgrind is not installed")
        path, out = self.export("-iter", "1", extras=EXTRAS), self.folder() / "out"
        write = ["pkcs12", "write", "--certificate", file("ec.crt"), "--extra", file("extras.crt"), "--password-file", secret, "--out", out]
        for expected, arguments in [
            (1, ["request", "check", self.request("--domain", "a.example"), "--key", file("rsa.key")]),
            (2, ["pkcs12", "read", path, "--password-file", wrong]),
            (0, [*write, "--key", file("guarded.key"), "--key-password-file", secret]),
        ]:
            with self.subTest(arguments):
                watched = ["valgrind", "-q", "--error-exitcode=99", "--leak-check=full", "--errors-for-leak-kinds=definite,indirect"]
                done = subprocess.run([*watched, TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertEqual(done.returncode, expected, done.stderr.decode()[-3000:])


if __name__ == "__main__":
    unittest.main(verbosity=2)
