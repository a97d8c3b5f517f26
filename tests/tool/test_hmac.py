#!/usr/bin/env python3
"""`cry hmac`. CRY_TOOL names the program."""

import hashlib
import hmac
import os
import unittest

from peers import openssl
from tool import DATA, ToolTest, data, limited, run, scratch, secret

DIGESTS = ["md5", "sha1", "sha224", "sha256", "sha384", "sha512", "sha3-224", "sha3-256", "sha3-384", "sha3-512"]


class Hmac(ToolTest):
    def test_EveryAlgorithmGivesWhatOpensslGives(self):
        for name in DIGESTS:
            for key in (b"k", os.urandom(64), os.urandom(131), os.urandom(300)):
                path = self.private("hmac.key", key)
                expected = hmac.new(key, DATA, name.replace("sha3-", "sha3_")).hexdigest()
                result = self.assertDone(run("hmac", "--algorithm", name, "--key-file", path, data))
                self.assertEqual(result.text, f"{expected}  {data}\n")
            self.assertEqual(run("hmac", "--algorithm", name, "--key-hex", key.hex(), data).text, result.text)
            said = openssl("dgst", f"-{name}", "-mac", "HMAC", "-macopt", f"hexkey:{key.hex()}", data).decode()
            self.assertEqual(said.split("= ")[1].strip(), expected)
            said = openssl("dgst", f"-{name}", "-hmac", "Jefe", data).decode()
            self.assertEqual(said.split("= ")[1].strip(), run("hmac", "--algorithm", name, "--key-hex", "4a656665", data).text.split()[0])

    def test_KnownAnswer(self):
        # RFC 4231, case 2.
        expected = "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"
        result = self.assertDone(run("hmac", "--key-hex", "4a656665", stdin=b"what do ya want for nothing?"))
        self.assertEqual(result.text, f"{expected}  -\n")
        answer = run("hmac", "--json", "--key-hex", "4A656665", "-", stdin=b"what do ya want for nothing?").json()
        expected = {"format": 1, "algorithm": "sha256", "files": [{"file": "-", "mac": expected}]}
        self.assertEqual(answer, expected)

    def test_EmptyKeysAndDataAreTaken(self):
        expected = hmac.new(b"", b"", "sha256").hexdigest()
        for arguments in (["--key-hex", ""], ["--key-hex="], ["--key-file", self.private("empty.key", b"")], ["--key-file", "/dev/null"]):
            self.assertEqual(self.assertDone(run("hmac", *arguments)).text, f"{expected}  -\n")

    def test_EveryByteOfTheKeyFileCounts(self):
        for key in (b"secret", b"secret\n", b"secret\r\n", b"\0secret\0", b"\xff" * 200):
            result = self.assertDone(run("hmac", "--key-file", self.private("bytes.key", key), stdin=DATA))
            self.assertEqual(result.text.split()[0], hmac.new(key, DATA, "sha256").hexdigest())
            self.assertEqual(run("hmac", "--key-file", "-", data, stdin=key).text.split()[0], result.text.split()[0])

    def test_BadKeysAreRefused(self):
        self.assertInputError(run("hmac", data), "the key is missing: --key-file or --key-hex gives it")
        self.assertInputError(run("hmac", "--key-hex", "00", "--key-file", secret, data), "--key-file excludes --key-hex")
        self.assertInputError(run("hmac", "--key-hex", "123", data), "--key-hex: an odd number of digits")
        for digits, place in (("0g", 2), ("g0", 1), ("00 0", 3), ("0x00", 2), ("0\x1b", 2), ("é", 1), ("0é0", 2)):
            result = run("hmac", "--key-hex", digits, data)
            self.assertInputError(result, f"--key-hex: a character that is not a hexadecimal digit at place {place}\n")
            self.assertHarmless(result.err)
        self.assertInputError(run("hmac", "--key-file", "/nowhere", data), "/nowhere: No such file or directory")
        self.assertInputError(run("hmac", "--key-file", scratch, data), f"{scratch}: Is a directory")
        self.assertInputError(run("hmac", "--key-file", "-"), "standard input: the key was read from it already")
        self.assertInputError(run("hmac", "--key-file", "-", "-"), "standard input: the key was read from it already")
        self.assertInputError(limited(["hmac", "--key-file", "/dev/zero", data], 512), "/dev/zero: is larger than 64 MiB")
        self.assertInputError(run("hmac", "--key-hex", "00", "--algorithm", "crc32", data), "--algorithm: 'crc32' is unknown; known are md5, ")

    def test_OneUnreadableFileDoesNotHideTheOthers(self):
        result = run("hmac", "--key-hex", "00", "/nowhere", data, scratch)
        expected = hmac.new(b"\0", DATA, "sha256").hexdigest()
        self.assertEqual((result.code, result.text), (2, f"{expected}  {data}\n"))
        self.assertEqual(result.message, f"cry: /nowhere: No such file or directory\ncry: {scratch}: Is a directory\n")

    def test_NamesAreWrittenAsHashDoes(self):
        for name in (b"line\nend", b"back\\slash", b"carriage\rreturn", b"with blank", b"\xff"):
            path = scratch / os.fsdecode(name)
            path.write_bytes(DATA)
            hashed, keyed = run("hash", name, cwd=scratch), self.assertDone(run("hmac", "--key-hex", "00", name, cwd=scratch))
            expected = hashed.out.replace(hashlib.sha256(DATA).hexdigest().encode(), hmac.new(b"\0", DATA, "sha256").hexdigest().encode())
            self.assertEqual(keyed.out, expected)


if __name__ == "__main__":
    unittest.main(verbosity=2)
