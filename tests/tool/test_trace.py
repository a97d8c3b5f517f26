#!/usr/bin/env python3
"""`--trace` of all commands. CRY_TOOL names the program."""

import unittest

from tool import ToolTest, data, mode_of, run

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
                self.assertInputError(run("random", "3", "--out", folder / "out", "--trace", path, *more), f"{path}: {reason}\n")
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
