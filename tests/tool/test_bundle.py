#!/usr/bin/env python3
"""`cry bundle`, with the signer of a development build. CRY_TOOL names the program."""

import json
import os
import re
import signal
import struct
import subprocess
import time
import unittest
from pathlib import Path

import token_fixture
from token_fixture import NOT_ITS_SIGNATURE, TokenTest
from tool import DATA, IN_THE_WAY, MIB, TOOL, data, instrumented, mode_of, run

MARK = bytes.fromhex("8950424844310D0A")


def setUpModule():
    token_fixture.need_signers()


def header_of(bundle):
    """The header of a bundle, and the data."""
    (length,) = struct.unpack(">I", bundle[8:12])
    return json.loads(bundle[12 : 12 + length]), bundle[12 + length :]


def with_header(header, body=b""):
    text = header if isinstance(header, bytes) else json.dumps(header).encode()
    return MARK + struct.pack(">I", len(text)) + text + body


class Bundles(TokenTest):
    def pack(self, file=data, **keywords):
        path = self.folder() / "a.bundle"
        self.assertDone(run("bundle", "pack", "--token", self.sign(file=file), "--out", path, file, **keywords))
        return path

    def test_BundlesGoBothWays(self):
        large = self.write("large", os.urandom(3 * MIB + 5))
        for file in (data, "/dev/null", large):
            content = open(file, "rb").read()
            bundle, folder = self.pack(file), self.folder()
            self.assertEqual((header_of(bundle.read_bytes())[0]["type"], header_of(bundle.read_bytes())[1]), ("CRY_TRUST_BUNDLE", content))
            self.assertGood(run("bundle", "verify", bundle))
            self.assertGood(run("bundle", "verify", stdin=bundle.read_bytes()))
            for number, more in enumerate(([], ["--no-verify"])):
                self.assertDone(run("bundle", "unpack", *more, "--out", folder / f"out{number}", bundle, umask=0o027))
                self.assertEqual(((folder / f"out{number}").read_bytes(), oct(mode_of(folder / f"out{number}"))), (content, oct(0o640)))
                self.assertEqual(run("bundle", "unpack", *more, "--out", "-", stdin=bundle.read_bytes()).out, content)
            self.assertEqual(self.taken(folder), ["out0", "out1"])
        answer = run("bundle", "verify", bundle, "--json").json()
        self.assertEqual((answer["length"], len(answer["chain"])), (large.stat().st_size, 3))

    def test_PackWorksOverPipes(self):
        made = run("bundle", "pack", "--token", self.sign(), "--out", "-", stdin=DATA)
        self.assertEqual((made.code, made.message), (0, ""))
        self.assertGood(run("bundle", "verify", stdin=made.out))

    def test_NothingIsWrittenIfTheTokenIsBad(self):
        header, body = header_of(self.pack().read_bytes())
        header["store"]["token"]["metaData"] = {"a": 1}
        packed = self.pack().read_bytes()
        for name, content in (("data", packed + b"x"), ("short", packed[:-1]), ("token", with_header(header, body))):
            bundle, folder = self.write(f"{name}.bundle", content), self.folder()
            taken = folder / "taken"
            taken.write_bytes(b"old")
            result = run("bundle", "unpack", "--out", folder / "out", bundle)
            self.assertEqual((result.code, result.out, result.message), (1, b"", f"cry: {bundle}: {NOT_ITS_SIGNATURE}; nothing was written\n"))
            self.assertEqual(run("bundle", "unpack", "--out", taken, "--force", bundle).code, 1)
            self.assertEqual((self.taken(folder), taken.read_bytes()), (["taken"], b"old"))
            result = run("bundle", "unpack", "--out", "-", bundle)
            self.assertEqual((result.code, result.out), (1, b""))
            self.assertBad(run("bundle", "verify", bundle), NOT_ITS_SIGNATURE)
            self.assertEqual(run("bundle", "unpack", "--out", folder / "out", bundle, "--json").json()["verdict"], "bad")
            self.assertDone(run("bundle", "unpack", "--no-verify", "--out", taken, "--force", bundle))
            self.assertNotEqual(taken.read_bytes(), b"old")

    def test_FilesInTheWayStay(self):
        bundle, folder = self.pack(), self.folder()
        taken = folder / "taken"
        taken.write_bytes(b"old")
        self.assertInputError(run("bundle", "unpack", "--out", taken, bundle), f"{taken}: {IN_THE_WAY}")
        self.assertInputError(run("bundle", "pack", "--token", self.sign(), "--out", taken, data), f"{taken}: {IN_THE_WAY}")
        self.assertInputError(run("bundle", "unpack", "--out", folder, bundle), f"{folder}: Is a directory")
        self.assertInputError(run("bundle", "unpack", "--out", "/nowhere/out", bundle), "/nowhere/out: No such file or directory")
        self.assertInputError(run("bundle", "unpack", "--out", bundle, "--force", bundle), f"{bundle}: is the same file as {bundle}")
        self.assertEqual((self.taken(folder), taken.read_bytes()), (["taken"], b"old"))
        (folder / "link").symlink_to(taken)
        self.assertDone(run("bundle", "unpack", "--out", folder / "link", "--force", bundle))
        self.assertEqual((self.taken(folder), taken.read_bytes(), (folder / "link").is_symlink()), (["link", "taken"], DATA, True))
        self.assertDone(run("bundle", "unpack", "--out", "/dev/null", bundle))
        for arguments in (["unpack", bundle], ["unpack", "--no-verify", bundle], ["pack", "--token", self.sign(), data]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([TOOL, "bundle", *arguments, "--out", "-"], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE)
            self.assertEqual(done.returncode, 2)
            self.assertIn(b"No space left on device", done.stderr)

    def test_HostileBundlesAreErrors(self):
        header, body = header_of(self.pack().read_bytes())
        token = header["store"]["token"]
        folder = self.folder()
        for name, content in (
            ("empty", b""), ("mark", MARK), ("another", b"x" * 100), ("4 GB", MARK + b"\xff\xff\xff\xff" + b"{}" * 1000),
            ("cut", with_header(header)[:-1]), ("type", with_header({**header, "type": "CRY_OTHER"}, body)),
            ("no type", with_header({"store": header["store"]})), ("no token", with_header({**header, "store": {"info": {}}}, body)),
            ("token", with_header({**header, "store": {"token": "x"}}, body)), ("nothing", with_header({**header, "store": {"token": {}}}, body)),
            ("deep", with_header(b'{"type": "CRY_TRUST_BUNDLE", "store": ' + b"[" * 10000)),
        ):  # fmt: skip
            bundle = self.write("hostile.bundle", content)
            with self.subTest(name):
                self.assertInputError(run("bundle", "unpack", "--no-verify", "--out", folder / "out", bundle), f"{bundle}: ")
                self.assertEqual(self.taken(folder), [])
        for command in (["verify", bundle], ["unpack", "--out", folder / "out", bundle]):
            self.assertInputError(run("bundle", *command), f"{bundle}: is not a trust bundle")
        wrong = self.write("wrong.bundle", with_header({**header, "store": {"token": {each: 7 for each in token}}}, body))
        for command in (["verify", wrong], ["unpack", "--out", folder / "out", wrong]):
            result = run("bundle", *command)
            self.assertEqual(result.code, 1)
            self.assertIn("counts as missing: certificate, ", result.message)
        self.assertEqual(self.taken(folder), [])

    def test_KilledInTheMiddleLeavesNoFile(self):
        bundle, folder = self.pack().read_bytes(), self.folder()
        for end in (signal.SIGTERM, signal.SIGKILL):
            with subprocess.Popen([TOOL, "bundle", "unpack", "--out", folder / "out", "-"], stdin=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                process.stdin.write(bundle + bytes(MIB))  # more than a pipe holds, so that the tool has read some
                process.stdin.flush()
                process.send_signal(end)
                self.assertNotEqual(process.wait(), 0)
            # A file system without files that have no name keeps the one beside.
            self.assertNotIn("out", self.taken(folder))

    def test_MemoryDoesNotGrowWithTheData(self):
        if instrumented():
            self.skipTest("instrumented programs take memory of their own")

        def peak(content, *arguments):
            """KiB, after all of the content was read but for what a pipe holds."""
            with subprocess.Popen([TOOL, *map(str, arguments)], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as process:
                process.stdin.write(content)
                process.stdin.flush()
                time.sleep(0.2)  # until small content was read, too
                status = Path(f"/proc/{process.pid}/status").read_text()
                process.stdin.close()
                self.assertEqual(process.wait(), 0)
            return int(re.search(r"VmHWM:\s+(\d+) kB", status)[1])

        large, folder = self.write("large", bytes(64 * MIB)), self.folder()
        small_bundle, large_bundle = self.pack("/dev/null").read_bytes(), self.pack(large).read_bytes()
        sign = ["token", "sign", *token_fixture.SIGNER, *token_fixture.EXTRA, "--force", "--out", folder / "token"]
        for arguments, small, much in ((["bundle", "unpack", "--force", "--out", folder / "a"], small_bundle, large_bundle),
                                       (["bundle", "verify"], small_bundle, large_bundle), (sign, b"", large.read_bytes()),
                                       (["bundle", "pack", "--token", self.sign(), "--out", "-"], b"", large.read_bytes())):  # fmt: skip
            with self.subTest(arguments):
                self.assertLessEqual(peak(much, *arguments) - peak(small, *arguments), 4 * 1024)


if __name__ == "__main__":
    unittest.main(verbosity=2)
