#!/usr/bin/env python3
"""Files that ask for much work. CRY_TOOL names the program."""

import hashlib
import json
import os
import subprocess
import unittest

import key_fixture
from key_fixture import KeysTest, keys
from peers import element, elements, integer, joined, openssl, pem
from tool import MIB, PASSWORD, TOOL, data, run, secret

COSTLY = "the key's encryption asks for more work than is done for a password: 10,000,000 rounds, or 1 GiB of scrypt"
LARGE = "the key has a number of more than 16,384 bits, the limit"


def setUpModule():
    key_fixture.make()


def oid(text):
    """An OBJECT IDENTIFIER in DER."""
    first, second, *rest = map(int, text.split("."))
    out = b""
    for number in (40 * first + second, *rest):
        part = bytes([number & 0x7F])
        while number := number >> 7:
            part = bytes([0x80 | number & 0x7F]) + part
        out += part
    return element(6, out)


def sequence(*parts):
    return element(0x30, b"".join(parts))


def octets(content):
    return element(4, content)


SALT = octets(b"saltsalt")
AES = sequence(oid("2.16.840.1.101.3.4.1.42"), octets(bytes(16)))


def encrypted(function):
    """Encrypted PKCS#8 with a function that derives the key (PBES2)."""
    algorithm = sequence(oid("1.2.840.113549.1.5.13"), sequence(function, AES))
    return sequence(algorithm, octets(bytes(64)))


def pbkdf2(rounds):
    return encrypted(sequence(oid("1.2.840.113549.1.5.12"), sequence(SALT, integer(rounds))))


def scrypt(cost, size, parallel):
    return encrypted(sequence(oid("1.3.6.1.4.1.11591.4.11"), sequence(SALT, integer(cost), integer(size), integer(parallel))))


def discrete(algorithm, bits):
    """A DSA or DH key in PKCS#8."""
    numbers = [integer(1 << bits - 1 | 1), integer(3), integer(2)]
    return sequence(integer(0), sequence(oid(algorithm), sequence(*numbers)), octets(integer(5)))


class Bounds(KeysTest):
    def refuses(self, der, label, *said, password=True, **more):
        """In PEM and in DER, in a time that has nothing to do with what is asked for."""
        given = ["--password-file", secret] if password else []
        for path, place in ((self.private("costly.pem", pem(der, label)), ":1"), (self.private("costly.der", der), "")):
            for command in (["key", "info"], ["key", "public"], ["signature", "make", data, "--key"]):
                result = self.timed(f"{said[0][:40]}", lambda: run(*command, path, *given))
                self.assertInputError(result, f"{path}{place}: {said[0]}", *said[1:])

    def test_TooManyRoundsAreNotTried(self):
        for rounds in (10000001, 2**31 - 1, 2**63, 2**100):
            self.refuses(pbkdf2(rounds), "ENCRYPTED PRIVATE KEY", COSTLY)
        old = sequence(oid("1.2.840.113549.1.12.1.3"), sequence(SALT, integer(2**31 - 1)))
        self.refuses(sequence(old, octets(bytes(64))), "ENCRYPTED PRIVATE KEY", COSTLY)

    def test_TooMuchScryptIsNotTried(self):
        for numbers in ((2**21, 8, 1), (2**14, 8, 2**20), (2**40, 2**10, 1), (2**20, 8, 2)):
            self.refuses(scrypt(*numbers), "ENCRYPTED PRIVATE KEY", COSTLY)

    def test_ScryptThatOpensslRefusesIsNotAWrongPassword(self):
        # 128 MiB, which OpenSSL's own limit does not allow.
        path = self.private("scrypt.pem", pem(scrypt(2**17, 8, 1), "ENCRYPTED PRIVATE KEY"))
        result = run("key", "info", path, "--password-file", secret)
        self.assertInputError(result, f"{path}:1: the key is encrypted with scrypt, with more memory than OpenSSL gives it", "memory limit exceeded")

    def test_UnknownEncryptionIsNotAWrongPassword(self):
        path = self.private("unknown.pem", pem(encrypted(sequence(oid("1.2.3.4"))), "ENCRYPTED PRIVATE KEY"))
        result = run("key", "info", path, "--password-file", secret)
        self.assertInputError(result, f"{path}:1: the key is encrypted in a way that OpenSSL does not know")

    def test_UsualScryptAndRoundsAreRead(self):
        for more in (["-scrypt"], ["-iter", "1000000"]):
            text = openssl("pkcs8", "-topk8", "-in", keys / "P-256", *more, "-passout", f"pass:{PASSWORD}")
            path = self.private("usual.pem", text)
            self.assertEqual(self.assertDone(run("key", "public", path, "--password-file", secret)).out, (keys / "P-256.pub").read_bytes())

    def test_KeysWithLargeNumbersAreNotTried(self):
        for algorithm in ("1.2.840.10040.4.1", "1.2.840.113549.1.3.1"):
            self.refuses(discrete(algorithm, 4000000), "PRIVATE KEY", LARGE, password=False)
            self.refuses(discrete(algorithm, 16400), "PRIVATE KEY", LARGE, password=False)

    def test_KeysWithLargeNumbersBehindAPasswordAreNotTried(self):
        # OpenSSL would compute for hours, so the file is encrypted without it.
        plain = discrete("1.2.840.10040.4.1", 400000)
        iv = bytes(range(16))
        key = hashlib.pbkdf2_hmac("sha1", PASSWORD.encode(), b"saltsalt", 1, 32)
        body = openssl("enc", "-aes-256-cbc", "-K", key.hex(), "-iv", iv.hex(), stdin=plain)
        scheme = sequence(oid("2.16.840.1.101.3.4.1.42"), octets(iv))
        function = sequence(oid("1.2.840.113549.1.5.12"), sequence(SALT, integer(1)))
        algorithm = sequence(oid("1.2.840.113549.1.5.13"), sequence(function, scheme))
        self.refuses(sequence(algorithm, octets(body)), "ENCRYPTED PRIVATE KEY", LARGE)

    def test_PublicKeysWithLargeNumbersAreNotChecked(self):
        numbers = sequence(integer(1 << 99999 | 1), integer(1 << 99999 | 1), integer(2))
        bits = element(3, b"\0" + integer(5))
        der = sequence(sequence(oid("1.2.840.10040.4.1"), numbers), bits)
        for path in (self.write("large.pem", pem(der, "PUBLIC KEY")), self.write("large.der", der)):
            self.assertInputError(self.timed("public", lambda path=path: run("key", "info", path)), f"{path}: {LARGE}")

    def test_KeyFilesHaveAtMostAMebibyte(self):
        text = (keys / "rsa").read_bytes()
        path = self.private("most", text + b"\n" * (MIB - len(text)))
        self.assertDone(run("key", "public", path))
        path = self.private("more", text + b"\n" * (MIB + 1 - len(text)))
        for command in (["key", "public"], ["key", "info"], ["signature", "make", "--key"], ["request", "generate", "--key"]):
            self.assertInputError(run(*command, path), f"{path}: is larger than 1 MiB, the limit for a key")

    def test_NestedIndefiniteLengthsAreRefusedAtOnce(self):
        path = self.private("nested", b"\x30\x80" * (31 * MIB))
        small = self.private("small", b"\x30\x80" * (MIB // 2))
        for each in (path, small):
            for command in (["verify", "--no-system", "--trust", keys / "rsa.crt"], ["key", "info"], ["pkcs12", "read"], ["request", "check"]):
                result = self.timed(f"{command[0]} of nested lengths", lambda: run(*command, each))
                self.assertEqual(result.code, 2)
                self.assertIn(str(each), result.message)


class Contradictions(KeysTest):
    """Private keys that contradict themselves."""

    def test_WhatTheySignIsNotGivenOut(self):
        first, second = (elements(elements(self.traditional())[0][1]) for _ in range(2))
        # Modulus and public exponent of one key, all else of another one.
        mixed = element(0x30, joined([first[0], first[1], first[2], *second[3:]]))
        rsa = self.private("mixed.pem", pem(mixed, "RSA PRIVATE KEY"))
        der = openssl("pkcs8", "-topk8", "-nocrypt", "-in", keys / "P-256", "-outform", "DER")
        at = der.index(b"\x04\x20") + 2
        ec = self.private("ec.der", der[: at + 31] + bytes([der[at + 31] ^ 1]) + der[at + 32 :])
        for path in (rsa, ec):
            self.assertEqual(run("key", "info", path).code, 1)
            for command in (["signature", "make", data, "--key"], ["certificate", "generate", "--domain", "a.example", "--key"],
                            ["request", "generate", "--domain", "a.example", "--key"]):  # fmt: skip
                folder = self.folder()
                result = run(*command, path, "--out", folder / "made")
                self.assertInputError(result, f"{path}: the private key contradicts itself", "'cry key info'")
                self.assertEqual(self.taken(folder), [])

    def traditional(self):
        text = openssl("genrsa", "-traditional", "1024")
        return openssl("rsa", "-traditional", "-outform", "DER", stdin=text)


class Configuration(KeysTest):
    """OPENSSL_CONF and OPENSSL_MODULES take effect, as in every program that uses libcrypto."""

    def configured(self, text, *arguments, **more):
        path = self.write("openssl.cnf", "openssl_conf = init\n[init]\nproviders = list\n[list]\n" + text)
        environment = {**os.environ, "OPENSSL_CONF": str(path), **more}
        done = subprocess.run([TOOL, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=environment, check=False)  # fmt: skip
        return path, done.returncode, done.stdout, done.stderr.decode()

    NOTHING = "base = section\n[section]\nactivate = 1\n"
    USUAL = "default = section\n[section]\nactivate = 1\n"

    COMMANDS = (["verify", keys / "rsa.crt", "--no-system", "--trust", keys / "rsa.crt"], ["hash", data],
                ["key", "info", keys / "rsa"], ["key", "generate", "ec", "P-256"], ["random", "10"], ["roots", "--count"],
                ["signature", "make", "--key", keys / "rsa", data], ["request", "generate", "--key", keys / "rsa"])  # fmt: skip

    def test_WithoutProvidersThereAreNoVerdicts(self):
        for command in self.COMMANDS:
            path, code, out, err = self.configured(self.NOTHING, *command)
            self.assertEqual((code, out), (2, b""), command)
            said = "libcrypto has no provider with SHA-256 and RSA, so that nothing can be computed or checked; its configuration is "
            self.assertEqual(err, f"cry: {said}'{path}', which OPENSSL_CONF names\n")
            path, code, out, err = self.configured(self.NOTHING, *command, "--json")
            self.assertEqual((code, json.loads(out)["error"]["message"][: len(said)]), (2, said), command)

    def test_TheUsualProviderWorks(self):
        for command in self.COMMANDS:
            _, code, out, err = self.configured(self.USUAL, *command)
            self.assertEqual((code, err), (0, ""), command)

    def test_VersionAndHelpStayAvailable(self):
        for command in (["--version"], ["--help"], ["verify", "--help"]):
            _, code, out, _ = self.configured(self.NOTHING, *command)
            self.assertEqual(code, 0)
            self.assertTrue(out)

    def test_ModulesAreLookedForWhereTheVariableSays(self):
        # Files of older systems need OpenSSL's legacy provider, which is a module.
        path = self.scratch / "old.p12"
        made = openssl("pkcs12", "-export", "-legacy", "-inkey", keys / "rsa", "-in", keys / "rsa.crt", "-passout", f"pass:{PASSWORD}",
                       "-out", path, check=False)  # fmt: skip
        if made.returncode:
            self.skipTest("the legacy provider is not installed")
        command = ["pkcs12", "read", path, "--password-file", secret]
        self.assertEqual(self.configured(self.USUAL, *command)[1], 0)
        self.assertEqual(self.configured(self.USUAL, *command, OPENSSL_MODULES=str(self.folder()))[1], 2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
