#!/usr/bin/env python3
"""`--trace` of all commands. CRY_TOOL names the program, CRY_TRACES the library that makes
traces."""

import json
import os
import unittest

from tool import ToolTest, data, instrumented, mode_of, run

COMMANDS = (["uuid"], ["hash", data], ["random", "--hex", "3"], ["roots", "--count"])


class Trace(ToolTest):
    def test_AFileIsMadeForItsOwnerOnly(self):
        for command in COMMANDS:
            for more in ([], ["--trace-format", "text"], ["--trace-format", "jsonl"], ["--json"]):
                path = self.folder() / "trace"
                self.assertDone(run(*command, "--trace", path, *more))
                self.assertEqual(mode_of(path), 0o600)

    def test_AFileThatIsThereKeepsItsContentAndMode(self):
        path = self.write("trace", "before\n")
        path.chmod(0o644)
        self.assertDone(run("uuid", "--trace", path))
        self.assertTrue(path.read_text().startswith("before\n"))
        self.assertEqual(mode_of(path), 0o644)

    def test_FilesThatCannotBeOpenedAreErrorsBeforeTheCommandBegins(self):
        folder = self.folder()
        for path, reason in ((folder, "Is a directory"), (folder / "none" / "trace", "No such file or directory")):
            for more in ([], ["--json"]):
                self.assertInputError(run("key", "generate", "ec", "P-256", "--out", folder / "out", "--trace", path, *more), f"{path}: {reason}\n")
        for name in ("", "-"):
            self.assertInputError(run("uuid", "--trace", name), f"--trace: '{name}' is not the name of a file; traces go to files only\n")
        self.assertEqual(self.taken(folder), [])

    def test_FormatsAreTextAndJsonLines(self):
        path = self.folder() / "trace"
        self.assertInputError(run("uuid", "--trace", path, "--trace-format", "x"), "--trace-format: 'x' is neither text nor jsonl\n")
        self.assertInputError(run("uuid", "--trace-format", "text"), "--trace-format requires --trace")
        self.assertFalse(path.exists())

    def test_AFileThatTheCommandReadsIsNotChanged(self):
        path = self.write("input", "abc")
        result = run("hash", path, "--trace", path)
        self.assertInputError(result, f"{path}: is the same file as {path}, which is an input; it was not changed\n")


class Content(ToolTest):
    """With traces that a library makes, since the commands make none."""

    def setUp(self):
        if instrumented() or not os.environ.get("CRY_TRACES"):
            self.skipTest("instrumented programs load no other library first")
        self.more = {"env": {**os.environ, "LD_PRELOAD": os.environ["CRY_TRACES"]}}

    def test_TextHasALineForEachTrace(self):
        path = self.folder() / "trace"
        for count in (1, 2):
            self.assertDone(run("uuid", "--trace", path, **self.more))
            lines = path.read_text().splitlines()
            said = ["one \\u{1B}[2J line", "notable", "colour = red", "open = true", "open has no value any more"] * count
            self.assertEqual(len(lines), len(said))
            for line, text in zip(lines, said):
                before, _, after = line.partition(": ")
                self.assertRegex(before, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z EXAMPLE \d+$")
                self.assertEqual(after, text)

    def test_JsonLinesAreObjects(self):
        path = self.folder() / "trace"
        self.assertDone(run("uuid", "--trace", path, "--trace-format", "jsonl", "--json", **self.more))
        events = [json.loads(line) for line in path.read_text().splitlines()]
        self.assertEqual([each["event"] for each in events], ["text", "notable", "property", "property", "propertyDeleted"])
        self.assertEqual((events[0]["text"], events[2]["value"], events[3]["value"]), ("one \x1b[2J line", "red", True))

    def test_AFullDiskIsAnErrorAfterTheResult(self):
        for more in (["text"], ["jsonl"]):
            result = run("uuid", "--trace", "/dev/full", "--trace-format", *more, **self.more)
            self.assertEqual((result.code, result.message), (2, "cry: /dev/full: No space left on device\n"))
            self.assertRegex(result.text, "^[0-9a-f-]{36}\n$")

    def test_AnErrorOfTheCommandStaysTheError(self):
        result = run("hash", "--algorithm", "x", data, "--trace", "/dev/full", **self.more)
        self.assertEqual(result.code, 2)
        self.assertRegex(result.message, "^cry: warning: /dev/full: No space left on device; traces are missing\ncry: --algorithm: ")
        path = self.folder() / "trace"
        self.assertInputError(run("hash", "--algorithm", "x", data, "--trace", path, **self.more), "--algorithm: ")
        self.assertEqual(len(path.read_text().splitlines()), 5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
