#!/usr/bin/env python3
"""`cry certificate`. CRY_TOOL names the program."""

import re
import ssl
import time
import unittest

import identity_fixture
from identity_fixture import IdentityTest, UUID, file
from peers import openssl
from tool import run
import subject

DAY = 24 * 60 * 60


def setUpModule():
    identity_fixture.make()


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
            self.assertEqual((answer["format"], answer.get("out")), (1, str(path) if path in more else None))
            facts = answer["certificate"]
            self.assertEqual((facts["subject"], facts["issuer"]), ("CN=Ä", "CN=Ä"))
            self.assertEqual((facts["key"]["type"], facts["key"]["bits"], facts["signatureAlgorithm"]), ("RSA", 2048, "sha256WithRSAEncryption"))
            made = answer["pem"].encode()
            said = openssl("x509", "-noout", "-fingerprint", "-sha256", stdin=made).decode().strip()
            self.assertEqual(said.partition("=")[2], facts["sha256"])
        self.assertEqual(path.read_bytes(), made)

    def test_HostsMatch(self):
        path = self.certificate("--domain", "*.bücher.example", "--common-name", "x")
        for host, matches in (("www.xn--bcher-kva.example", True), ("xn--bcher-kva.example", False), ("a.b.xn--bcher-kva.example", False)):
            said = openssl("x509", "-in", path, "-noout", "-checkhost", host).decode()
            self.assertEqual("does match certificate" in said, matches, said)

    def test_KeysThatOthersCanReadAreWarnedOf(self):
        key = self.write("open.key", file("ec.key").read_bytes())
        key.chmod(0o644)
        warning = f"cry: warning: {key}: users other than its owner can use the private key in it (its mode is 0644); 'chmod 600' changes that\n"
        request, out = self.request(), self.folder() / "out"
        for arguments in (["certificate", "generate"], ["request", "generate"], ["request", "check", request],
                          ["pkcs12", "write", "--certificate", file("ec.crt"), "--no-password", "--out", out]):  # fmt: skip
            result = run(*arguments, "--key", key)
            self.assertEqual((result.code, result.message), (0, warning))


class Names(subject.Names, IdentityTest):
    COMMAND = ("certificate", "generate")


class Keys(subject.Keys, IdentityTest):
    COMMAND = ("certificate", "generate")


if __name__ == "__main__":
    unittest.main(verbosity=2)
