#!/usr/bin/env python3
"""`cry hash`. CRY_TOOL names the program."""

import hashlib
import os
import shutil
import subprocess
import unittest

from terminal import run_on_terminal
from tool import MIB, ToolTest, run, scratch


class Hash(ToolTest):
    ALGORITHMS = {"md5": "md5", "sha1": "sha1", "sha224": "sha224", "sha256": "sha256", "sha384": "sha384", "sha512": "sha512",
                  "sha3-224": "sha3_224", "sha3-256": "sha3_256", "sha3-384": "sha3_384", "sha3-512": "sha3_512"}  # fmt: skip
    NAMES = [b"plain", b"with blank", b"back\\slash", b"line\nend", b"carriage\rreturn", b"all\\\n\r", b"no utf8 \xff\xfe\x80", b"-dash", b"--",
             b"--check", b"*star", b"[a]", b"[plain,b]", b"{a}", b"%%", b"++", b"hash", b"#comment", b"\\", b" leading", b"trailing ", b"\x1b[31m",
             "ümläut".encode()]  # fmt: skip

    @classmethod
    def setUpClass(cls):
        cls.folder = scratch / "hash"
        cls.folder.mkdir()
        for index, name in enumerate(cls.NAMES):
            (cls.folder / os.fsdecode(name)).write_bytes(bytes([index]) * index * 1000)

    def test_DigestsAreRight(self):
        for data in (b"", b"abc", bytes(range(256)) * 5000):
            for name, reference in self.ALGORITHMS.items():
                self.assertEqual(run("hash", "--algorithm", name, stdin=data).text, hashlib.new(reference, data).hexdigest() + "  -\n")

    def test_AlgorithmNamesAreTakenInAnyCaseAndByTheModulesName(self):
        for name in ("SHA512", "Sha512", "CRY_HASH_ALGORITHM_SHA2_512"):
            self.assertEqual(run("hash", "--algorithm", name, stdin=b"abc").text, hashlib.sha512(b"abc").hexdigest() + "  -\n")

    def test_AlgorithmNamesAreTakenInAllUsualSpellings(self):
        for names, reference in [
            (("md5", "MD5", "Md-5"), "md5"),
            (("sha1", "SHA-1", "sha_1", "CRY_HASH_ALGORITHM_SHA1"), "sha1"),
            (("SHA-256", "sha2-256", "SHA2_256", "SHA-2-256", "SHA 256", "cry_hash_algorithm_sha2_256"), "sha256"),
            (("SHA-224", "SHA2-224"), "sha224"),
            (("SHA-384", "SHA2-384"), "sha384"),
            (("SHA-512", "SHA2-512"), "sha512"),
            (("SHA3-256", "sha3_256", "SHA-3-256", "CRY_HASH_ALGORITHM_SHA3_256"), "sha3_256"),
            (("SHA3-224",), "sha3_224"),
        ]:
            for name in names:
                self.assertEqual(run("hash", "--algorithm", name, stdin=b"abc").text, hashlib.new(reference, b"abc").hexdigest() + "  -\n", name)

    def test_LinesAreThoseOfTheCoreUtilities(self):
        for algorithm in ("md5", "sha1", "sha224", "sha256", "sha384", "sha512"):
            program = shutil.which(algorithm + "sum")
            if not program:
                self.skipTest(f"{algorithm}sum is not installed")
            for names in ([[name] for name in self.NAMES], [self.NAMES])[algorithm != "sha256"]:
                expected = subprocess.run([program, "--", *names], cwd=self.folder, stdout=subprocess.PIPE, check=True).stdout
                result = run("hash", "--algorithm", algorithm, "--", *names, cwd=self.folder)
                self.assertEqual((result.code, result.out, result.err), (0, expected, b""))

    def test_NamesNeedTheDashesOnlyForADash(self):
        for name in self.NAMES:
            if not name.startswith(b"-"):
                content = (self.folder / os.fsdecode(name)).read_bytes()
                self.assertIn(hashlib.sha256(content).hexdigest().encode(), run("hash", name, cwd=self.folder).out, name)
        self.assertIn(hashlib.sha256(b"").hexdigest(), run("hash", "plain", "--", "-dash", cwd=self.folder).text)

    def test_ListsOfTheCoreUtilitiesAreRead(self):
        for algorithm in ("md5", "sha256", "sha512"):
            program = shutil.which(algorithm + "sum")
            if not program:
                self.skipTest(f"{algorithm}sum is not installed")
            for mode in ("--binary", "--text"):
                listed = subprocess.run([program, mode, "--", *self.NAMES], cwd=self.folder, stdout=subprocess.PIPE, check=True).stdout
                for text in (listed, listed.rstrip(b"\n"), b"\n".join(line[:16].upper() + line[16:] for line in listed.split(b"\n"))):
                    result = run("hash", "--algorithm", algorithm, "--check", "-", stdin=text, cwd=self.folder)
                    self.assertEqual((result.code, result.err), (0, b""))
                    self.assertEqual(result.out.count(b": OK\n"), len(self.NAMES))

    def test_TaggedLinesAreThoseOfTheCoreUtilities(self):
        for algorithm in ("md5", "sha1", "sha224", "sha256", "sha384", "sha512"):
            program = shutil.which(algorithm + "sum")
            if not program:
                self.skipTest(f"{algorithm}sum is not installed")
            expected = subprocess.run([program, "--tag", "--", *self.NAMES], cwd=self.folder, stdout=subprocess.PIPE, check=True).stdout
            result = run("hash", "--tag", "--algorithm", algorithm, "--", *self.NAMES, cwd=self.folder)
            self.assertEqual((result.code, result.out, result.err), (0, expected, b""))
            # The line names the algorithm, so the option does not matter.
            for more in ([], ["--algorithm", "md5"], ["--algorithm", "sha3-512"]):
                checked = self.assertDone(run("hash", "--check", *more, stdin=expected, cwd=self.folder))
                self.assertEqual(checked.out.count(b": OK\n"), len(self.NAMES))
        self.assertEqual(run("hash", "--tag", "--algorithm", "SHA3-256", stdin=b"").text, f"SHA3-256 (-) = {hashlib.sha3_256(b'').hexdigest()}\n")
        for more in ("--check", "--json"):
            self.assertInputError(run("hash", "--tag", more, "plain", cwd=self.folder), "", "--tag", more, " excludes ")

    def test_EachTaggedLineHasItsOwnAlgorithm(self):
        (self.folder / "a) = (b").write_bytes(b"abc")
        digests = {name: hashlib.new(reference, b"abc").hexdigest() for name, reference in self.ALGORITHMS.items()}
        lines = [f"{name.upper()} (a) = (b) = {digest}" for name, digest in digests.items()]
        lines += [f"{digests['sha256']}  a) = (b", f"SHA2-256(a) = (b)= {digests['sha256']}", f"SHA256 (a) = (b) = {digests['sha256'].upper()}",
                  f"\\SHA256 (a) = (b) = {digests['sha256']}", f"SHA256 (a) = (b) = {'0' * 64}"]  # fmt: skip
        result = run("hash", "--check", stdin="\n".join(lines).encode(), cwd=self.folder)
        self.assertEqual((result.code, result.message), (1, "cry: 1 digest did not match\n"))
        self.assertEqual(result.text, "a) = (b: OK\n" * (len(lines) - 1) + "a) = (b: FAILED\n")
        answer = run("hash", "--check", "--json", stdin=f"{lines[0]}\n{lines[10]}\n".encode(), cwd=self.folder).json()
        self.assertEqual([each.get("algorithm") for each in answer["files"]], ["md5", None])
        good = digests["sha256"]
        for line in (f"SHA256 (plain) = {good[1:]}", f"SHA256 (plain) = {good}0", f"SHA512 (plain) = {good}", f"SHA257 (plain) = {good}",
                     f"SHA256 () = {good}", f"SHA256 plain = {good}", f"SHA256 (plain) {good}", f"(plain) = {good}", f"HMAC-SHA256(plain)= {good}",
                     f"SHA256 (plain) = {good} ", f"\\SHA256 (pl\\ain) = {good}", f"SHA256 )plain( = {good}", f"SHA256 (plain\0x) = {good}",
                     f"SHA256  (plain) = {good}"):  # fmt: skip
            result = run("hash", "--check", stdin=line.encode(), cwd=self.folder)
            self.assertEqual((result.code, result.out), (2, b""), line)
            self.assertTrue(result.message.startswith("cry: standard input:1: is neither a line of 64 "), line)

    def test_NamesAreHarmlessOnATerminalOnly(self):
        name, shown = b"\x1b[31m", b"\\u{1B}[31m"
        for command, end in ((["hash"], b"  "), (["hash", "--tag"], b"SHA256 ("), (["hmac", "--key-hex", "00"], b"  ")):
            self.assertIn(end + name, run(*command, name, cwd=self.folder).out)
            self.assertIn(end + name, run_on_terminal(*command, name, on={"err"}, cwd=self.folder).out)
            seen = run_on_terminal(*command, name, on={"out"}, cwd=self.folder)
            self.assertIn(end + shown, seen.out)
            self.assertHarmless(seen.out)
            many = run_on_terminal(*command, "--", *self.NAMES, on={"out"}, cwd=self.folder)
            self.assertEqual((many.code, many.out.count(b"\n")), (0, len(self.NAMES)))
            self.assertHarmless(many.out)
        # Nothing changes for names that are harmless.
        self.assertEqual(run_on_terminal("hash", "back\\slash", "ümläut", on={"out"}, cwd=self.folder).out,
                         run("hash", "back\\slash", "ümläut", cwd=self.folder).out)  # fmt: skip

    def test_CheckTellsGoodBadMissingAndMalformed(self):
        good, nothing = hashlib.sha256(b"").hexdigest(), "0" * 64
        lines = [f"{good}  plain", f"{nothing}  plain", f"{good}  missing", "no line", "", "# comment", f"{good}\tplain", f"{good} plain",
                 f"{good[:-1]}  plain", f"{good[:-1]}x  plain", f"{good}  ", f"\\{good}  bad\\escape", f"{good}  plain\0x",
                 f"{good} *plain"]  # fmt: skip
        listed = self.write("mixed.sums", "\n".join(lines) + "\n")
        result = run("hash", "--check", listed, cwd=self.folder)
        self.assertEqual((result.code, result.text), (1, "plain: OK\nplain: FAILED\nmissing: UNREADABLE\nplain: OK\n"))
        malformed = "is neither a line of 64 hexadecimal digits, two blanks and a file name nor one as --tag writes it"
        expected = ["cry: missing: No such file or directory"] + [f"cry: {listed}:{number}: {malformed}" for number in (4, 7, 8, 9, 10, 11, 12, 13)]
        self.assertEqual(result.message.splitlines(), expected + ["cry: 1 digest did not match"])
        answer = run("hash", "--check", "--json", listed, cwd=self.folder)
        self.assertEqual((answer.code, answer.json()["verdict"]), (1, "bad"))
        self.assertEqual([each["verdict"] for each in answer.json()["files"]], ["good", "bad", "unknown", "good"])

    def test_CheckEndsWithTwoWhenNothingIsWrongButSomethingUnread(self):
        good = hashlib.sha256(b"").hexdigest()
        for lines in (f"{good}  plain\n{good}  missing\n", f"{good}  plain\nno line\n"):
            self.assertEqual(run("hash", "--check", stdin=lines.encode(), cwd=self.folder).code, 2)
            self.assertEqual(run("hash", "--check", "--json", stdin=lines.encode(), cwd=self.folder).json()["verdict"], "unknown")
        self.assertEqual(run("hash", "--check", "--json", stdin=f"{good}  plain\r\n".encode(), cwd=self.folder).json()["verdict"], "good")

    def test_ListsThatAreNoneAreRefused(self):
        for content in (b"", b"\n\n# nothing\n"):
            path = self.write("nothing.sums", content)
            self.assertInputError(run("hash", "--check", path), f"{path}: holds no line of a digest of 64 digits (see --algorithm) and a file name")
        other = run("hash", "--algorithm", "md5", "--check", "-", stdin=b"0" * 64 + b"  plain\n", cwd=self.folder)
        self.assertEqual((other.code, other.out), (2, b""))
        self.assertIn("standard input:1: is neither a line of 32 hexadecimal digits", other.message)
        self.assertInputError(run("hash", "--check", self.folder), f"{self.folder}: Is a directory")
        zeroed = (hashlib.sha256(b"").hexdigest() + "  plain\0").encode()
        self.assertEqual(run("hash", "--check", stdin=zeroed * 2, cwd=self.folder).code, 2)

    def test_OneUnreadableFileDoesNotHideTheOthers(self):
        result = run("hash", "missing", ".", "plain", cwd=self.folder)
        self.assertEqual((result.code, result.text), (2, hashlib.sha256(b"").hexdigest() + "  plain\n"))
        self.assertEqual(result.message, "cry: missing: No such file or directory\ncry: .: Is a directory\n")
        answer = run("hash", "--json", "missing", "plain", cwd=self.folder)
        self.assertEqual((answer.code, [each["file"] for each in answer.json()["files"]]), (2, ["plain"]))

    def test_JsonHoldsWhatCannotBeRead(self):
        answer = run("hash", "--json", "missing", ".", "plain", cwd=self.folder).json()
        problems = [{"message": "missing: No such file or directory", "file": "missing"}, {"message": ".: Is a directory", "file": "."}]
        self.assertEqual((len(answer["files"]), answer["problems"]), (1, problems))
        self.assertEqual(run("hmac", "--key-hex", "00", "--json", "missing", ".", "plain", cwd=self.folder).json()["problems"], problems)
        digest = hashlib.sha256(b"").hexdigest()
        listed = self.write("mixed.sums", f"{digest}  plain\nno line\n{digest}  missing\n" + "x\n" * 20)
        result = run("hash", "--check", "--json", listed, cwd=self.folder)
        problems = result.json()["problems"]
        self.assertEqual((result.code, len(problems)), (2, 12))
        self.assertEqual([each.get("line") for each in problems], [2, None, *range(4, 13), None])
        self.assertEqual([each["file"] for each in problems], [str(listed), "missing", *[str(listed)] * 10])
        self.assertEqual(problems[-1]["message"], f"{listed}: and 11 further lines")
        self.assertEqual([f"cry: {each['message']}" for each in problems], result.message.splitlines())

    def test_StandardInputIsEmptyTheSecondTime(self):
        result = run("hash", "-", "-", stdin=b"abc")
        self.assertEqual(result.text, f"{hashlib.sha256(b'abc').hexdigest()}  -\n{hashlib.sha256(b'').hexdigest()}  -\n")

    def test_JsonHoldsFilesAndDigests(self):
        answer = run("hash", "--json", "--algorithm", "sha1", "plain", b"back\\slash", cwd=self.folder).json()
        self.assertEqual(answer["algorithm"], "sha1")
        self.assertEqual(answer["files"][0], {"file": "plain", "digest": hashlib.sha1(b"").hexdigest()})
        self.assertEqual(answer["files"][1]["file"], "back\\slash")

    def test_UnknownAlgorithmNamesTheKnownOnes(self):
        for name in ("", "sha257", "sha256 ", "-sha256", "sha--256", "sha3256", "sha2256", "sha25-6", "sha512-256", "sha512/256", "sha", "sha2"):
            self.assertInputError(run("hash", "--algorithm", name), f"--algorithm: '{name}' is unknown; known are md5, sha1, ", "sha3-512")
        self.assertInputError(run("hash", "--algorithm=", "x"), "--algorithm: '' is unknown")

    def test_ProgressIsShownForMuchInputOnATerminalOnly(self):
        big, small = scratch / "big", scratch / "small"
        for path, size in ((big, 100 * MIB), (small, 64 * MIB)):
            with open(path, "wb") as file:
                file.truncate(size)
        digest = hashlib.sha256(bytes(100 * MIB)).hexdigest()
        seen = run_on_terminal("hash", big, on={"err"})
        self.assertEqual((seen.code, seen.out.decode()), (0, f"{digest}  {big}\n"))
        self.assertRegex(seen.err, rb"\r\x1b\[K\[#* *\] +\d+% ")
        self.assertIn(b"100%", seen.err)
        self.assertTrue(seen.err.endswith(b"\r\x1b[K"), seen.err[-100:])
        self.assertEqual(run("hash", big).err, b"")
        self.assertEqual(run_on_terminal("hash", big, on={"out"}).err, b"")
        self.assertEqual(run_on_terminal("hash", small, on={"err"}).err, b"")
        listed = self.write("big.sums", f"{digest}  {big}\n")
        self.assertIn(b"100%", run_on_terminal("hash", "--check", listed, on={"err"}).err)
        for path in (big, small):
            path.unlink()

    def test_ListsThatAreNoneMakeFewMessages(self):
        path = self.write("no-list", b"x\n" * 500000)
        result = self.timed("500000 bad lines", lambda: run("hash", "--check", path))
        self.assertEqual((result.code, result.out), (2, b""))
        self.assertLess(result.err.count(b"\n"), 20)
        self.assertIn(f"{path}:1: ", result.message)
        self.assertIn("and 499990 further lines", result.message)


if __name__ == "__main__":
    unittest.main(verbosity=2)
