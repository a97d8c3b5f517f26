#!/usr/bin/env python3
"""`cry random`. CRY_TOOL names the program."""

import base64
import re
import signal
import subprocess
import unittest
from pathlib import Path

from terminal import run_on_terminal
from tool import MIB, TOOL, ToolTest, instrumented, mode_of, run


class Random(ToolTest):
    def test_SizesAreRight(self):
        for count in (1, 2, 3, 16, 57, 1000, 65537, (3 << 18) - 1, 3 << 18, (3 << 18) + 1, 2000003):
            raw = self.assertDone(run("random", str(count))).out
            self.assertEqual(len(raw), count)
            digits = run("random", "--hex", str(count)).text
            self.assertEqual(len(digits), 2 * count + 1)
            self.assertRegex(digits, rf"\A[0-9a-f]{{{2 * count}}}\n\Z" if count < 65536 else r"\A[0-9a-f]+\n\Z")
            text = run("random", "--base64", str(count)).text
            self.assertTrue(text.endswith("\n") and text.count("\n") == 1)
            self.assertEqual(len(base64.b64decode(text.rstrip("\n"), validate=True)), count)

    def test_BytesDiffer(self):
        self.assertEqual(len({run("random", "16").out for _ in range(20)}), 20)
        much = run("random", "1000000").out
        for value in range(256):
            self.assertTrue(3500 < much.count(value) < 4320, value)
        self.assertEqual(len({much[at : at + 16] for at in range(0, len(much), 16)}), 62500)

    def test_JsonHoldsTheBytes(self):
        answer = self.assertDone(run("random", "--json", "5")).json()
        self.assertEqual((answer["format"], answer["count"], len(bytes.fromhex(answer["hex"]))), (1, 5, 5))
        self.assertEqual(sorted(answer), ["count", "format", "hex"])
        self.assertEqual(sorted(run("random", "--json", "--hex", "5").json()), ["count", "format", "hex"])
        answer = self.assertDone(run("random", "--json", "--base64", "5")).json()
        self.assertEqual(len(base64.b64decode(answer["base64"], validate=True)), 5)

    def test_FilesHoldTheForms(self):
        folder = self.folder()
        for form, size in (([], 1000), (["--hex"], 2001), (["--base64"], 1337)):
            path = folder / f"file{len(form) and form[0]}"
            result = self.assertDone(run("random", "1000", *form, "--out", path))
            self.assertEqual((result.out, path.stat().st_size, mode_of(path)), (b"", size, 0o600))
        self.assertEqual(len(base64.b64decode((folder / "file--base64").read_text().rstrip("\n"), validate=True)), 1000)
        self.assertEqual(len(bytes.fromhex((folder / "file--hex").read_text())), 1000)
        self.assertEqual(len(self.assertDone(run("random", "1000", "--out", "-")).out), 1000)

    def test_CountsThatAreNoneAreRefused(self):
        for count in ("", "0", "000", "x", "1k", " 1", "1 ", "+1", "1.0", "0x10", "1e3", "9" * 19, "9" * 100, "٣", "\x1b[2J"):
            result = run("random", count)
            self.assertInputError(result, "COUNT: '", "is not a number from 1 to ")
            self.assertHarmless(result.err)
        self.assertInputError(run("random", "-1"), "")
        self.assertInputError(run("random", "--", "-1"), "COUNT: '-1' is not a number")
        self.assertInputError(run("random"), "COUNT is required; 'cry random --help'")
        self.assertInputError(run("random", "1", "2"), "one argument too many, '2'")
        self.assertInputError(run("random", "1", "--hex", "--base64"), "")
        self.assertInputError(run("random", "1", "--json", "--out", "x"), "")
        self.assertInputError(run("random", "1", "--force"), "--force requires --out")
        path = self.folder() / "much"
        for more in (["--out", path], ["--json"]):
            self.assertInputError(run("random", str((1 << 30) + 1), *more), "more than 1 GiB is written to standard output only")
        self.assertFalse(path.exists())

    def test_RawBytesDoNotGoToATerminal(self):
        result = run_on_terminal("random", "16", on={"out"})
        self.assertEqual((result.code, result.out), (2, b""))
        self.assertEqual(result.message, "cry: raw bytes are not written to a terminal; use --hex, --base64 or --out\n")
        self.assertRegex(run_on_terminal("random", "16", "--hex", on={"out"}).out, rb"\A[0-9a-f]{32}\n\Z")
        self.assertEqual(run_on_terminal("random", "16", "--json", on={"out"}).code, 0)

    def test_MuchIsStreamed(self):
        process = subprocess.Popen([TOOL, "random", "9" * 15], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        length = 0
        while length < 100 * MIB:
            length += len(process.stdout.read(MIB))
        if not instrumented():
            resident = int(re.search(r"VmHWM:\s+(\d+) kB", Path(f"/proc/{process.pid}/status").read_text())[1])
            self.assertLess(resident, 64 << 10)
        process.stdout.close()
        message = process.stderr.read()
        process.stderr.close()
        self.assertEqual((process.wait(timeout=30), message), (-signal.SIGPIPE, b""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
