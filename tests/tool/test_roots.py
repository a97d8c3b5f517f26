#!/usr/bin/env python3
"""`cry roots`. CRY_TOOL names the program."""

import json
import os
import re
import shutil
import signal
import subprocess
import time
import unittest
from pathlib import Path

import identity_fixture
from peers import blocks_of, der_of
from pki_fixture import fingerprint
from tool import TOOL, ToolTest, run, validator


def setUpModule():
    identity_fixture.make()


class Roots(ToolTest):
    def test_CountIsThatOfTheList(self):
        answer = run("roots", "--json").json()
        self.assertEqual(answer["count"], len(answer["roots"]))
        self.assertEqual(run("roots", "--count").text, f"{answer['count']}\n")
        self.assertEqual(run("roots", "--count", "--json").json()["count"], answer["count"])
        self.assertNotIn("roots", run("roots", "--count", "--json").json())

    def test_ListIsWhatThePlaceHolds(self):
        answer = run("roots", "--json").json()
        place = Path(answer["source"])
        if not answer["source"] or not place.is_file():
            self.skipTest("the roots are in no single file")
        held = {fingerprint(der_of(block)) for block in blocks_of(place.read_text(errors="replace"))}
        self.assertEqual({each["sha256"] for each in answer["roots"]}, held)
        self.assertEqual(answer["changed"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(place.stat().st_mtime)))

    def test_TextEndsWithTheSource(self):
        answer, result = run("roots", "--json").json(), run("roots")
        self.assertEqual((result.code, result.err), (0, b""))
        self.assertHarmless(result.out)
        if answer["source"]:
            self.assertRegex(result.text, rf"\n{answer['count']} roots? from {re.escape(answer['source'])}, last changed {answer['changed']}, ")
        self.assertEqual(result.text.count("   SHA-256  "), answer["count"])

    def test_WrongUseOfWatchIsRefused(self):
        self.assertInputError(run("roots", "--interval", "5"), "--interval requires --watch")
        self.assertInputError(run("roots", "--watch", "--count"), "--count excludes --watch")
        for value in ("0", "86401", "-1", "x", "1.5", ""):
            self.assertInputError(run("roots", "--watch", f"--interval={value}"), "--interval: ")


class Watch(ToolTest):
    """The roots in a mount namespace of its own, in which their place is a folder of the test."""

    PLACE = "/etc/ssl/certs/ca-certificates.crt"  # the first one

    @classmethod
    def setUpClass(cls):
        # A user without rights is root in a user namespace, if the system permits one.
        for options in (["-m"], ["-rm"]):
            cls.inside = ["unshare", *options, "sh", "-c", 'mount --bind "$1" "$2" && shift 2 && exec "$@"', "sh"]
            folder = os.path.dirname(cls.PLACE)
            if shutil.which("unshare") and subprocess.run([*cls.inside, "/tmp", folder, "true"], capture_output=True).returncode == 0:
                return
        raise unittest.SkipTest("no mount namespace can be made here")

    def begin(self, *more, roots=("ec",)):
        self.place = self.folder()
        self.replace(*roots)
        command = [*self.inside, self.place, os.path.dirname(self.PLACE), TOOL, "roots", "--watch", *more]
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def replace(self, *names):
        """Puts the file of the roots in its place, whole, as a system does."""
        new = self.place / "new"
        new.write_text("".join(identity_fixture.text_of(name) for name in names))
        os.replace(new, self.place / os.path.basename(self.PLACE))

    def ends(self, process, number=signal.SIGTERM):
        process.send_signal(number)
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, out, err), (0, b"", b""))

    def test_ChangesAreLines(self):
        process = self.begin("--interval", "1", roots=("ec", "one"))
        self.assertEqual(process.stdout.readline().decode(), f"2 roots from {self.PLACE} now; they are read again every 1 second\n")
        self.replace("ec", "one", "rsa")
        line = "{} [0-9T:-]+Z CN={}, O=Test, until [0-9T:-]+Z, SHA-256 {}\n"
        expected = lambda sign, name: line.format(sign, name, fingerprint(der_of(identity_fixture.text_of(name))))
        self.assertRegex(process.stdout.readline().decode(), "^" + expected(r"\+", "rsa") + "$")
        self.replace("two", "rsa")
        lines = [process.stdout.readline().decode() for _ in range(3)]
        for each, (sign, name) in zip(lines, ((r"\+", "two"), ("-", "ec"), ("-", "one"))):
            self.assertRegex(each, "^" + expected(sign, name) + "$")
        # The same roots in another order are no change.
        self.replace("rsa", "two")
        time.sleep(2.5)
        self.ends(process, signal.SIGINT)

    def test_ChangesAreObjects(self):
        process = self.begin("--interval", "1", "--json")
        first = json.loads(process.stdout.readline())
        self.replace("rsa")
        second = json.loads(process.stdout.readline())
        for each in (first, second):
            self.assertEqual([], list(validator("command-roots").iter_errors(each)))
            self.assertEqual((next(iter(each)), each["count"]), ("format", 1))
        self.assertEqual((first["added"], first["removed"]), ([], []))
        self.assertEqual([[each["subject"] for each in second[name]] for name in ("added", "removed")], [["CN=rsa, O=Test"], ["CN=ec, O=Test"]])
        self.ends(process)

    def test_SignalsEndItAtOnce(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.begin()
            process.stdout.readline()
            began = time.monotonic()
            self.ends(process, number)
            self.assertLess(time.monotonic() - began, 20)  # the interval is 60

    def test_AReaderThatIsGoneEndsIt(self):
        process = self.begin("--interval", "1")
        process.stdout.readline()
        process.stdout.close()
        self.replace("rsa")
        self.assertIn(process.wait(timeout=60), (-signal.SIGPIPE, 2))
        process.stdout = open(os.devnull, "rb")

    def test_AFullDiskIsAnError(self):
        self.place = self.folder()
        self.replace("ec")
        with open("/dev/full", "wb") as full:
            command = [*self.inside, self.place, os.path.dirname(self.PLACE), TOOL, "roots", "--watch"]
            done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard output: No space left on device\n"))

    def test_ListAndVerifyUseTheSameRoots(self):
        self.place = self.folder()
        self.replace("ec", "one")
        run_inside = lambda *arguments: subprocess.run([*self.inside, self.place, os.path.dirname(self.PLACE), TOOL, *arguments], capture_output=True)
        self.assertEqual([each["subject"] for each in json.loads(run_inside("roots", "--json").stdout)["roots"]], ["CN=ec, O=Test", "CN=one, O=Test"])
        self.assertEqual(run_inside("verify", identity_fixture.file("ec.crt")).returncode, 0)
        self.assertEqual(run_inside("verify", identity_fixture.file("rsa.crt")).returncode, 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
