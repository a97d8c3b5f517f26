#!/usr/bin/env python3
"""The files that --out makes, for all commands that have it. CRY_TOOL names the program."""

import contextlib
import itertools
import os
import random
import resource
import stat
import signal
import subprocess
import sys
import threading
import time
import unittest
from pathlib import Path

import identity_fixture
import key_fixture
from identity_fixture import EXTRAS, IdentityTest, file, text_of
from key_fixture import KeysTest, keys
from peers import elements, joined, openssl, signature_of
from tool import IN_THE_WAY, MIB, TOOL, data, mode_of, paired, run, secret


def setUpModule():
    identity_fixture.make()
    key_fixture.make()


class Output(KeysTest):
    """Files that --out makes."""

    def makers(self):
        """Arguments that make a result, and whether it is secret."""
        return [
            (["random", "100"], True),
            (["random", "100", "--base64"], True),
            (["uuid", "--count", "3"], False),
            (["uuid", "--json"], False),
            (["hmac", "--key-hex", "00", data], False),
            (["hmac", "--key-hex", "00", data, "--json"], False),
            (["key", "generate", "ec", "P-256"], True),
            (["key", "generate", "ec", "P-256", "--json"], True),
            (["key", "public", keys / "rsa"], False),
            (["convert", "--to", "pem", keys / "P-256"], True),
            (["convert", "--to", "der", keys / "P-256.crt"], False),
            (["signature", "make", "--key", keys / "P-256", data], False),
            (["signature", "convert", "--curve", "P-256", "--to", "raw", self.write("a.der", signature_of(5, 7))], False),
        ]

    def test_ModesAreThoseOfTheUmaskOrTheOwnersOnly(self):
        existing = [None, 0o644, 0o666, 0o600, 0o400, *([] if os.geteuid() else [0o000])]
        states = [(mask, None) for mask in (0o000, 0o027, 0o077, 0o177)] + [(0o022, each) for each in existing]
        # All commands write in the same way, so a secret and an open result go through all of it.
        for (mask, existing), (arguments, isSecret) in paired(states, self.makers()) + list(itertools.product(states, self.makers()[1:3])):
            folder = self.folder()
            path = folder / "out"
            if existing is not None:
                path.write_text("old")
                path.chmod(existing)
            with self.subTest(arguments=arguments, mask=oct(mask), existing=existing):
                result = run(*arguments, "--out", path, *(["--force"] if existing is not None else []), umask=mask)
                self.assertEqual((result.code, result.message), (0, ""))
                self.assertEqual(oct(mode_of(path)), oct(0o600 if isSecret else 0o666 & ~mask))
                self.assertNotEqual(path.read_bytes(), b"old")
                self.assertEqual(self.taken(folder), ["out"])

    def test_ResultIsThatOfStandardOutput(self):
        for arguments, isSecret in self.makers():
            if not isSecret and arguments[0] != "uuid" and arguments[:2] != ["signature", "make"]:
                path = self.folder() / "out"
                self.assertEqual(self.assertDone(run(*arguments, "--out", path)).out, b"")
                self.assertEqual(path.read_bytes(), run(*arguments).out)
                self.assertEqual(run(*arguments, "--out", "-").out, path.read_bytes())

    def assertRefused(self, path, folder, *more):
        before = {name: os.lstat(folder / name) for name in self.taken(folder)}
        for arguments, _ in self.makers():
            result = run(*arguments, "--out", path, *more)
            self.assertInputError(result, f"{path}: {IN_THE_WAY}")
        after = {name: os.lstat(folder / name) for name in self.taken(folder)}
        # Only the time at which a link was read may differ.
        self.assertEqual({name: each[:7] + each[8:] for name, each in before.items()}, {name: each[:7] + each[8:] for name, each in after.items()})

    def test_WhatIsThereIsKeptWithoutForce(self):
        for content in (b"", b"old\n", os.urandom(10000)):
            folder = self.folder()
            path = folder / "out"
            path.write_bytes(content)
            path.chmod(0o640)
            self.assertRefused(path, folder)
            self.assertEqual(path.read_bytes(), content)

    def test_LinksAreKeptWithoutForce(self):
        folder = self.folder()
        (folder / "target").write_text("old")
        (folder / "good").symlink_to("target")
        (folder / "dangling").symlink_to("nowhere")
        (folder / "loop").symlink_to("loop")
        for name in ("good", "dangling", "loop"):
            self.assertRefused(folder / name, folder)
        self.assertEqual((folder / "target").read_text(), "old")

    def test_NothingIsReadOrMadeWhenAFileIsInTheWay(self):
        folder = self.folder()
        path = self.write("in-the-way", "old")
        began = time.monotonic()
        self.assertInputError(run("key", "generate", "rsa", "16384", "--out", path), f"{path}: exists already")
        self.assertLess(time.monotonic() - began, 10)
        self.assertInputError(run("key", "public", "/nowhere", "--out", path), f"{path}: exists already")
        self.assertEqual(self.taken(folder), [])

    def test_ForceReplacesTheWhole(self):
        for arguments, _ in self.makers():
            for content in (b"", b"x" * 100000):
                folder = self.folder()
                path = folder / "out"
                path.write_bytes(content)
                number = path.stat().st_ino
                other = folder / "other"
                os.link(path, other)
                result = run(*arguments, "--out", path, "--force")
                self.assertEqual((result.code, result.message), (0, ""))
                self.assertNotIn(b"xxx", path.read_bytes())
                self.assertLess(path.stat().st_size, 1000)
                # Another name of the old file still has the old content: it was never written into.
                self.assertEqual((other.stat().st_ino, other.read_bytes()), (number, content))
                self.assertEqual(self.taken(folder), ["other", "out"])
            path = self.folder() / "new"
            self.assertEqual(run(*arguments, "--out", path, "--force").code, 0)
            self.assertGreater(path.stat().st_size, 10)

    def test_InputsAreNeverReplaced(self):
        folder = self.folder()
        contents = {"key": (keys / "P-256").read_bytes(), "secret": secret.read_bytes(), "data": b"data"}
        for name, content in contents.items():
            (folder / name).write_bytes(content)
            (folder / name).chmod(0o600)
            (folder / f"link-to-{name}").symlink_to(name)
            (folder / f"second-link-to-{name}").symlink_to(f"link-to-{name}")
            os.link(folder / name, folder / f"other-name-of-{name}")
        before = {name: (os.lstat(folder / name).st_ino, (folder / name).read_bytes()) for name in self.taken(folder)}
        descriptor = os.open(folder / "secret", os.O_RDONLY)
        number = str(descriptor)
        for arguments, name, shown in [
            (["key", "public", "key"], "key", "key"),
            (["key", "public", "key", "--password-file", "secret"], "secret", "secret"),
            (["key", "public", "key", "--password-file", "./link-to-secret"], "secret", "./link-to-secret"),
            (["key", "public", "key", "--password-fd", number], "secret", f"descriptor {number}"),
            (["key", "public", "-"], "key", "standard input"),
            (["signature", "make", "--key", "key", "data"], "key", "key"),
            (["signature", "make", "--key", "key", "data"], "data", "data"),
            (["signature", "make", "--key", "other-name-of-key"], "key", "other-name-of-key"),
            (["signature", "convert", "--curve", "P-256", "--to", "raw", "data"], "data", "data"),
            (["hmac", "--key-file", "secret", "data"], "secret", "secret"),
            (["hmac", "--key-file", "secret", "key", "data"], "data", "data"),
            (["hmac", "--key-hex", "00"], "key", "standard input"),
            (["request", "generate", "--key", "key"], "key", "key"),
            (["certificate", "generate", "--key", "key"], "key", "key"),
            (["pkcs12", "write", "--key", "key", "--certificate", "data", "--no-password"], "data", "data"),
            (["pkcs12", "write", "--key", "key", "--certificate", "data", "--extra", "key", "--extra", "secret", "--no-password"],
             "secret", "secret"),
            (["pkcs12", "write", "--key", "key", "--certificate", "data", "--key-password-file", "secret"],
             "secret", "secret"),
        ]:  # fmt: skip
            for out in (name, f"./{name}", folder / name, f"link-to-{name}", f"second-link-to-{name}", f"other-name-of-{name}"):
                with self.subTest(arguments=arguments, out=out), open(folder / "key") as stdin:
                    result = run(*arguments, "--out", out, "--force", cwd=folder, stdin=stdin, pass_fds=[descriptor])
                    self.assertInputError(result, f"{out}: is the same file as {shown}, which is an input; it was not changed")
        for output in ("--out-key", "--out-certificate", "--out-certificates"):
            result = run("pkcs12", "read", "data", "--password-file", "secret", output, "link-to-data", "--force", cwd=folder)
            self.assertInputError(result, "link-to-data: is the same file as data, which is an input; it was not changed")
        self.assertEqual({name: (os.lstat(folder / name).st_ino, (folder / name).read_bytes()) for name in self.taken(folder)}, before)
        os.close(descriptor)
        # A file with the same content, and standard input that is not read, are no inputs.
        (folder / "copy").write_bytes(contents["key"])
        self.assertDone(run("key", "public", "key", "--out", "copy", "--force", cwd=folder))
        with open(folder / "data") as stdin:
            self.assertDone(run("random", "3", "--out", "data", "--force", cwd=folder, stdin=stdin))

    def test_LinksStayLinksWithForce(self):
        for arguments, isSecret in self.makers():
            folder = self.folder()
            (folder / "below").mkdir()
            target = folder / "below" / "target"
            target.write_text("old")
            target.chmod(0o666)
            (folder / "first").symlink_to("second")
            (folder / "second").symlink_to(Path("below") / "target")
            self.assertEqual(run(*arguments, "--out", folder / "first", "--force", umask=0o022).code, 0)
            self.assertEqual((os.readlink(folder / "first"), os.readlink(folder / "second")), ("second", "below/target"))
            self.assertNotEqual(target.read_bytes(), b"old")
            self.assertEqual(mode_of(target), 0o600 if isSecret else 0o644)
            self.assertEqual((self.taken(folder), self.taken(folder / "below")), (["below", "first", "second"], ["target"]))

    def test_LinkThatLeadsNowhereStaysALinkWithForce(self):
        folder = self.folder()
        (folder / "dangling").symlink_to("target")
        run("random", "100", "--out", folder / "dangling", "--force")
        self.assertTrue((folder / "dangling").is_symlink())

    def test_EmptyNameIsNotStandardOutput(self):
        # An unset variable of a shell must not put a private key on the screen.
        result = run("key", "generate", "ec", "P-256", "--out", "")
        self.assertNotIn(b"PRIVATE KEY", result.out)
        self.assertEqual(result.code, 2)

    def test_DirectoriesAreRefused(self):
        for force in ([], ["--force"]):
            folder = self.folder()
            (folder / "link").symlink_to(".")
            refused = [
                (folder, f"{folder}: Is a directory"),
                (folder / "link", f"{folder / 'link'}: Is a directory"),
                (f"{folder}/", f"{folder}/: Is a directory"),
                (f"{folder}/missing/", f"{folder}/missing/: "),
                (folder / "missing" / "out", f"{folder}/missing/out: No such file or directory"),
                (data / "out", f"{data}/out: Not a directory"),
                (folder / ("n" * 256), f"{folder}/{'n' * 256}: File name too long"),
            ]
            for (path, said), (arguments, _) in paired(refused, self.makers()):
                self.assertInputError(run(*arguments, "--out", path, *force), said)
            self.assertEqual(self.taken(folder), ["link"])

    def test_LongNamesStillWork(self):
        # The name has the greatest length, so a temporary name cannot be made by adding characters
        # to it.
        for arguments, _ in self.makers()[:3]:
            folder = self.folder()
            path = folder / ("n" * 255)
            self.assertEqual(run(*arguments, "--out", path).code, 0)
            result = run(*arguments, "--out", path, "--force")
            self.assertIn(result.code, (0, 2))
            self.assertEqual(self.taken(folder), [path.name])

    def test_NamesAreTakenAsTheyAre(self):
        folder = self.folder()
        for name in (b"with blank", b"\x1b[31m", b"line\nend", b"\xff\xfe", b"%s%n", b"[a,b]", b"XXXXXX", "ü".encode(), b"--", b"-x"):
            path = os.fsdecode(bytes(folder) + b"/" + name)
            self.assertDone(run("key", "public", keys / "rsa", "--out", path))
            self.assertTrue(os.path.exists(path), name)
            refused = run("key", "public", keys / "rsa", "--out", path)
            self.assertEqual(refused.code, 2)
            self.assertHarmless(refused.err)
        self.assertDone(run("key", "public", keys / "rsa", "--out=relative", cwd=folder))
        self.assertTrue((folder / "relative").exists())

    def test_DevicesStayDevices(self):
        null = self.folder() / "null"
        if os.geteuid() == 0:
            try:
                os.mknod(null, 0o666 | stat.S_IFCHR, os.makedev(1, 3))
                null.write_bytes(b"")
            except OSError:
                self.skipTest("no devices here")
        else:
            null = Path("/dev/null")
        before = os.lstat(null)
        for arguments, _ in self.makers():
            for force in ([], ["--force"]):
                result = run(*arguments, "--out", null, *force)
                self.assertEqual((result.code, result.message), (0, ""))
                after = os.lstat(null)
                self.assertEqual((after.st_mode, after.st_ino, after.st_rdev), (before.st_mode, before.st_ino, before.st_rdev))

    def test_PipesAreWrittenTo(self):
        path = self.folder() / "pipe"
        os.mkfifo(path, 0o600)
        for force in ([], ["--force"]):
            received = []
            reader = threading.Thread(target=lambda: received.append(path.read_bytes()))
            reader.start()
            self.assertDone(run("key", "public", keys / "rsa", "--out", path, *force))
            reader.join()
            self.assertEqual(received, [(keys / "rsa.pub").read_bytes()])
            self.assertTrue(stat.S_ISFIFO(path.stat().st_mode))

    def test_OnlyOneOfManyMakesTheFile(self):
        path = self.folder() / "out"
        for _ in range(3):
            racing = [subprocess.Popen([TOOL, "random", "100000", "--out", path], stderr=subprocess.PIPE) for _ in range(6)]
            said = [process.communicate()[1] for process in racing]
            self.assertEqual(sorted(process.returncode for process in racing), [0, 2, 2, 2, 2, 2])
            for line in filter(None, said):
                self.assertEqual(line.decode(), f"cry: {path}: {IN_THE_WAY}\n")
            self.assertEqual((path.stat().st_size, self.taken(path.parent)), (100000, ["out"]))
            path.unlink()

    def test_FolderWithoutPermissionIsSaid(self):
        if os.geteuid() == 0:
            self.skipTest("root may write everywhere")
        folder = self.folder()
        (folder / "old").write_text("old")
        folder.chmod(0o500)
        for name, force in (("new", []), ("new", ["--force"]), ("old", ["--force"])):
            self.assertInputError(run("random", "10", "--out", folder / name, *force), f"{folder / name}: Permission denied")
        self.assertEqual((folder / "old").read_text(), "old")
        folder.chmod(0o700)

    def assertNothingChanges(self, folder, problem, **how):
        """With no room in a folder, old files stay and new ones do not come."""
        (folder / "old").write_bytes(b"old content")
        for name, force in (("new", []), ("new", ["--force"]), ("old", ["--force"])):
            path = folder / name
            for form in ([], ["--hex"]):
                self.assertInputError(run("random", "5000000", *form, "--out", path, *force, **how), f"{path}: {problem}")
        self.assertEqual((self.taken(folder), (folder / "old").read_bytes()), (["old"], b"old content"))

    def test_FullDiskChangesNothing(self):
        folder = self.folder()
        if os.geteuid() or subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "none", folder], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("a small file system cannot be mounted")
        try:
            self.assertNothingChanges(folder, "No space left on device")
            with contextlib.suppress(OSError), open(folder / "filler", "wb") as filler:
                while filler.write(bytes(4096)):
                    filler.flush()
            (folder / "filled").write_bytes(b"")
            before = self.taken(folder)
            for (name, force), (arguments, _) in paired(
                (("new", []), ("new", ["--force"]), ("old", ["--force"]), ("filled", ["--force"])), self.makers()
            ):
                self.assertInputError(run(*arguments, "--out", folder / name, *force), f"{folder / name}: No space left on device")
            self.assertEqual((self.taken(folder), (folder / "old").read_bytes()), (before, b"old content"))
        finally:
            subprocess.run(["umount", folder], check=True)

    def test_LimitedFilesChangeNothing(self):
        # Python ignores the signal already, and so does the tool then.
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (MIB, MIB))  # noqa: E731
        self.assertNothingChanges(self.folder(), "File too large", preexec_fn=limit, restore_signals=False)

    def test_FullDeviceIsNoticed(self):
        for arguments, _ in self.makers():
            self.assertInputError(run(*arguments, "--out", "/dev/full"), "/dev/full: No space left on device")

    def test_KilledAtAnyMoment(self):
        """A file is the old one or the new one, whole; without --force nothing else is left."""
        folder = self.folder()
        path, size, source = folder / "out", 20000000, random.Random(3)
        old = b"old content\n" * 100
        try:
            os.close(os.open(folder, os.O_TMPFILE | os.O_WRONLY))
            nameless = True
        except OSError:
            nameless = False
        usual = 60
        for _ in range(3):
            began = time.monotonic()
            run("random", str(size), "--out", path, "--force")
            usual = min(usual, time.monotonic() - began)
        seen = {"killed": 0, "old": 0, "none": 0, "new": 0, "left": 0}
        for round in range(24):
            force = round % 2 == 0
            path.unlink(missing_ok=True)
            if force:
                path.write_bytes(old)
            process = subprocess.Popen([TOOL, "random", str(size), "--out", path, *(["--force"] if force else [])], stderr=subprocess.DEVNULL)
            time.sleep(source.uniform(0, usual))
            process.kill()
            seen["killed"] += process.wait() == -signal.SIGKILL
            others = [name for name in self.taken(folder) if name != "out"]
            for name in others:
                self.assertTrue(force or not nameless, name)
                self.assertRegex(name, r"\A\.new-[0-9a-f]{16}\Z")
                self.assertEqual(mode_of(folder / name), 0o600)
                self.assertLessEqual((folder / name).stat().st_size, size)
                (folder / name).unlink()
            self.assertLessEqual(len(others), 1)
            seen["left"] += len(others)
            if not path.exists():
                self.assertFalse(force)
                seen["none"] += 1
            elif path.stat().st_size == len(old):
                self.assertTrue(force)
                self.assertEqual(path.read_bytes(), old)
                seen["old"] += 1
            else:
                self.assertEqual((path.stat().st_size, mode_of(path)), (size, 0o600))
                seen["new"] += 1
        print(f"killed {seen['killed']} of 24: {seen} (one took {usual:.2f} s)", file=sys.stderr)
        self.assertGreater(seen["killed"], 1)
        self.assertGreater(seen["old"] + seen["none"], 1)


class OutputOfIdentities(IdentityTest):
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
        # The certificate would replace the key, and the key would be lost.
        for more in ([], ["--force"]):
            folder, path = self.folder(), self.export()
            (folder / "link").symlink_to("both")
            for other in (folder / "both", f"{folder}/./both", folder / "link"):
                result = run("pkcs12", "read", path, "--password-file", secret, "--out-key", folder / "both", "--out-certificate", other, *more)
                self.assertEqual((result.code, self.taken(folder)), (2, ["link"]))

    def test_EmptyNamesAreNoFiles(self):
        # An unset variable of a shell must not put a private key on the screen, nor be taken for
        # success.
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
        # Each of several outputs is either complete or the old file.
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
                    # A new file that was not renamed yet, or the old one after that; its name is
                    # not that of a result.
                    self.assertRegex(name, r"\A\.new-[0-9a-f]+\Z")
                    content = (folder / name).read_bytes()
                    if content != b"old" and not content.startswith(b"-----BEGIN CERTIFICATE"):
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
