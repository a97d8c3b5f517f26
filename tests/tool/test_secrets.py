#!/usr/bin/env python3
"""What is left of secrets: core files, other processes, freed memory; and the end of memory.
CRY_TOOL names the program, CRY_FREED_MEMORY the library that looks at freed memory."""

import json
import os
import re
import resource
import subprocess
import time
import unittest
from pathlib import Path

import key_fixture
from key_fixture import KeysTest, keys
from tool import MIB, TOOL, ToolTest, data, instrumented, scratch

NO_MEMORY = "cry: there is not enough memory\n"


def setUpModule():
    key_fixture.make()


class Process(ToolTest):
    """The tool while it waits for the rest of a file."""

    def waiting(self, **more):
        folder = self.folder()
        for path in (scratch, folder):
            path.chmod(0o755)
        pipe = folder / "pipe"
        os.mkfifo(pipe)
        pipe.chmod(0o666)
        writer = os.open(pipe, os.O_RDWR)  # does not wait for a reader
        process = subprocess.Popen([TOOL, "hash", pipe], stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)
        self.addCleanup(process.communicate, timeout=60)
        self.addCleanup(os.close, writer)
        # It runs when it has opened the file.
        opened = lambda: any(os.path.realpath(each) == str(pipe) for each in Path(f"/proc/{process.pid}/fd").iterdir())
        deadline = time.monotonic() + 30
        while not opened():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        return process.pid

    def test_NoCoreFileIsWritten(self):
        most = (resource.RLIM_INFINITY, resource.RLIM_INFINITY)
        pid = self.waiting(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, most))
        self.assertRegex(Path(f"/proc/{pid}/limits").read_text(), r"Max core file size +0 +0 ")

    def test_OtherProcessesCannotReadItsMemory(self):
        def dropRights():
            os.setgid(65534)
            os.setuid(65534)

        if os.getuid() == 0:
            readable = subprocess.run([TOOL, "--version"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=dropRights, check=False)
            if readable.returncode:
                self.skipTest("the program cannot be run by another user here")
        pid = self.waiting(preexec_fn=dropRights) if os.getuid() == 0 else self.waiting()
        # The files of a process that cannot be dumped belong to root.
        self.assertEqual(os.stat(f"/proc/{pid}/mem").st_uid, 0)


class FreedMemory(KeysTest):
    def freed(self, *arguments, code=0):
        """The runs of digits in memory that a command freed."""
        report = self.folder() / "report"
        environment = {**os.environ, "LD_PRELOAD": os.environ["CRY_FREED_MEMORY"], "FREED_REPORT": str(report)}
        done = subprocess.run([TOOL, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=environment, check=False)  # fmt: skip
        self.assertEqual(done.returncode, code, done.stderr)
        found = report.read_text().splitlines()
        self.assertEqual(found[0], "S" * 60)  # the library's own, so it was at work
        return done.stdout, found[1:]

    def setUp(self):
        if instrumented() or not os.environ.get("CRY_FREED_MEMORY"):
            self.skipTest("instrumented programs have memory functions of their own")

    def test_TheLibraryFindsSecretsInOtherPrograms(self):
        report = self.folder() / "report"
        environment = {**os.environ, "LD_PRELOAD": os.environ["CRY_FREED_MEMORY"], "FREED_REPORT": str(report)}
        subprocess.run(["openssl", "rsa", "-in", keys / "rsa", "-text"], env=environment, check=True, capture_output=True)
        body = "".join((keys / "rsa").read_text().splitlines()[1:-1])
        self.assertTrue([line for line in report.read_text().splitlines()[1:] if line in body])

    def test_RandomBytesAreNotLeft(self):
        for arguments in (["--hex"], ["--base64"], ["--hex", "--json"], ["--base64", "--json"], ["--json"]):
            for count in (60, 3000, 100000):
                out, found = self.freed("random", *arguments, count)
                self.assertTrue(re.search(rb"[0-9A-Za-z+/]{60}", out))
                self.assertEqual(found, [], (arguments, count))

    def test_NewKeysAreNotLeft(self):
        for kind in (["ec", "P-256"], ["ec", "P-521"], ["rsa", "1024"]):
            for more in ([], ["--json"]):
                out, found = self.freed("key", "generate", *kind, *more)
                self.assertIn(b"BEGIN PRIVATE KEY", out)
                self.assertEqual(found, [], (kind, more))

    def test_KeysThatAreReadAreNotLeft(self):
        for name in ("rsa", "P-256"):
            for arguments in (["key", "info"], ["key", "public"], ["signature", "make", "--hex", data, "--key"]):
                _, found = self.freed(*arguments, keys / name)
                # The public key may be there.
                public = (keys / f"{name}.pub").read_text()
                self.assertEqual([line for line in found if line not in public], [], (name, arguments))

    def test_KeysThatAreInspectedOrConvertedAreNotLeft(self):
        for name in ("rsa", "P-256"):
            public, out = (keys / f"{name}.pub").read_text(), self.folder() / "out"
            for arguments in (["inspect"], ["inspect", "--json"], ["convert", "--to", "pem"], ["convert", "--to", "der", "--out", out]):
                _, found = self.freed(*arguments, keys / name)
                self.assertEqual([line for line in found if line not in public], [], (name, arguments))

    def test_KeysInTheVaultAreNotLeft(self):
        for name in ("rsa", "P-256"):
            more = ["--state-dir", self.folder()]
            public = "".join((keys / f"{name}{end}").read_text().replace("\n", "") for end in (".pub", ".crt"))
            body = "".join((keys / name).read_text().splitlines()[1:-1])
            for arguments in (["set", "a", "--key", keys / name, "--certificate", keys / f"{name}.crt"], ["list"], ["list", "--json"], ["show", "a"],
                              ["show", "a", "--json"], ["set", "a", "--key", keys / name, "--certificate", keys / f"{name}.crt", "--json"],
                              ["delete", "a"]):  # fmt: skip
                out, found = self.freed("vault", *arguments, *more)
                self.assertEqual([line for line in found if line not in public], [], (name, arguments))
                self.assertNotIn(body[100:160].encode(), out)


    def test_KeysInConfigurationsAreNotLeft(self):
        config, out, key = self.folder() / "stack.json", self.folder() / "out", (keys / "rsa").read_text()
        public = "".join((keys / f"rsa{end}").read_text().replace("\n", "") for end in (".pub", ".crt"))
        pair = ["--key", keys / "rsa", "--certificate", keys / "rsa.crt"]
        steps = [["options", *pair, "--out", config], ["options", *pair, "--json"], ["normalize", "--config", config],
                 ["normalize", "--config", config, "--with-private-key", "--out", out], ["run", "--once", "--config", config],
                 ["run", "--once", "--json", "--config", config]]  # fmt: skip
        for arguments in steps:
            printed, found = self.freed("stack", *arguments)
            self.assertEqual([line for line in found if line not in public], [], arguments)
            self.assertEqual(key.splitlines()[5].encode() in printed, arguments[-1] == "--json", arguments)
        # A key in a file that cannot be read.
        self.assertIn(key.splitlines()[5], config.read_text())
        config.write_text(config.read_text().rstrip()[:-1] + ",}")
        printed, found = self.freed("stack", "normalize", "--config", config, code=2)
        self.assertEqual([line for line in found if line not in public], [])


class EndOfMemory(KeysTest):
    def ends(self, arguments, mebibytes):
        """The result with so much memory, or nothing if the program cannot even be loaded."""
        limit = (mebibytes * MIB, mebibytes * MIB)
        done = subprocess.run([TOOL, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, limit), check=False)  # fmt: skip
        return None if done.returncode == 127 else done

    def test_TheEndOfMemoryIsNeverCalledBadInput(self):
        if instrumented():
            self.skipTest("instrumented programs need more memory")
        large = self.write("large", b"-----BEGIN CERTIFICATE-----\n" + b"A" * 20 * MIB + b"\n-----END CERTIFICATE-----\n")
        for arguments in (["verify", large], ["verify", large, "--json"], ["uuid", "--count", "100000"], ["random", "--json", str(6 * MIB)]):
            ends = 0
            for mebibytes in range(24, 124, 20):
                done = self.ends(arguments, mebibytes)
                if not done or done.returncode == 0 or b"does not parse" in done.stderr:
                    continue
                if b"cannot allocate memory" in done.stderr.lower() or b"map segment" in done.stderr:
                    continue  # a library was not loaded
                if done.stderr.startswith(b"cry: the workers cannot be started: "):
                    self.assertEqual(done.returncode, 2)
                    continue  # there is no room for the stack of a thread
                self.assertEqual((done.returncode, done.stderr.decode()), (2, NO_MEMORY), (arguments, mebibytes))
                if "--json" in arguments:
                    self.assertEqual(json.loads(done.stdout)["error"]["message"], "there is not enough memory")
                else:
                    self.assertEqual(done.stdout, b"")
                ends += 1
            self.assertGreater(ends, 0, arguments)


if __name__ == "__main__":
    unittest.main(verbosity=2)
