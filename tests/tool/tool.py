"""What the tests of the command line tool have in common. CRY_TOOL names the program."""

import base64
import contextlib
import json
import os
import pty
import select
import signal
import subprocess
import tempfile
import termios
import threading
import time
import unittest
from pathlib import Path

TOOL = os.environ.get("CRY_TOOL", "")
MIB = 1 << 20


class Result:
    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err

    @property
    def text(self):
        return self.out.decode()

    @property
    def message(self):
        return self.err.decode()

    def json(self):
        return json.loads(self.out)


def run(*arguments, stdin=b"", cwd=None, timeout=120, **more):
    """Runs the tool; whatever it is given, it ends in good order and speaks in whole lines."""
    given = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
    command = [TOOL, *map(os.fsencode, arguments)]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=cwd, timeout=timeout, **given, **more)
    if done.returncode not in (0, 1, 2):
        raise AssertionError(f"{arguments}: ended with {done.returncode}: {done.stderr[-2000:]!r}")
    for line in done.stderr.split(b"\n")[:-1]:
        if not line.startswith(b"cry: "):
            raise AssertionError(f"{arguments}: strange message {line!r}")
    if done.stderr and not done.stderr.endswith(b"\n"):
        raise AssertionError(f"{arguments}: message without end {done.stderr!r}")
    return Result(done.returncode, done.stdout, done.stderr)


def run_on_terminal(*arguments, on, cwd=None):
    """Runs the tool with a terminal as its standard output and or standard error (`on`: set of "out", "err"); gives what each received."""
    masters, channels = {}, {"out": subprocess.PIPE, "err": subprocess.PIPE}
    for which in on:
        masters[which], channels[which] = pty.openpty()
    process = subprocess.Popen(
        [TOOL, *map(os.fsencode, arguments)], stdin=subprocess.DEVNULL, stdout=channels["out"], stderr=channels["err"], cwd=cwd
    )
    received = {"out": b"", "err": b""}

    def drain(which):
        with contextlib.suppress(OSError):  # how a terminal says that nobody writes any more
            while piece := os.read(masters[which], 65536):
                received[which] += piece

    for which in on:
        os.close(channels[which])
    threads = [threading.Thread(target=drain, args=(which,)) for which in on]
    for thread in threads:
        thread.start()
    for which, pipe in (("out", process.stdout), ("err", process.stderr)):
        if pipe:
            received[which] = pipe.read()
            pipe.close()
    code = process.wait(timeout=120)
    for thread in threads:
        thread.join()
    for master in masters.values():
        os.close(master)
    return Result(code, received["out"].replace(b"\r\n", b"\n"), received["err"])


def limited(arguments, mebibytes, **more):
    """Runs with this much memory only; instrumented programs cannot."""
    import resource

    if instrumented():
        return run(*arguments, **more)
    return run(*arguments, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (mebibytes * MIB, mebibytes * MIB)), **more)


def instrumented():
    content = Path(TOOL).read_bytes()
    return b"__asan_init" in content or b"__tsan_init" in content


def pem(der, label="CERTIFICATE"):
    body = base64.b64encode(der).decode()
    lines = [body[at : at + 64] for at in range(0, len(body), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])


def prepare():
    """A folder for the files of a module's tests, which is gone after them; for setUpModule."""
    if not TOOL or not os.access(TOOL, os.X_OK):
        raise SystemExit("CRY_TOOL must name the program")
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    ToolTest.scratch = Path(folder.name)
    return ToolTest.scratch


class AtTerminal:
    """The tool with a terminal of its own, as /dev/tty and as its three streams; what it shows is collected."""

    def __init__(self, *arguments):
        self.shown, self.status = b"", None
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.execv(TOOL, [TOOL, *map(os.fsencode, arguments)])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.status is None:
            os.kill(self.process, signal.SIGKILL)
            os.waitpid(self.process, 0)
        os.close(self.master)

    def read(self, until=None, seconds=30):
        """Until the text is there, or the tool has closed the terminal; false when that does not come in time."""
        end = time.monotonic() + seconds
        while until is None or until not in self.shown:
            ready, _, _ = select.select([self.master], [], [], max(0, end - time.monotonic()))
            if not ready:
                return False
            try:
                piece = os.read(self.master, 65536)
            except OSError:  # how a terminal says that nobody uses it any more
                piece = b""
            if not piece:
                return until is None
            self.shown += piece
        return True

    def type(self, text):
        os.write(self.master, text)

    def echoes(self):
        return bool(termios.tcgetattr(self.master)[3] & termios.ECHO)

    def signals(self):
        return bool(termios.tcgetattr(self.master)[3] & termios.ISIG)

    def end(self, seconds=30):
        """How it ended (minus the signal); None when it does not end."""
        if not self.read(seconds=seconds):
            return None
        _, status = os.waitpid(self.process, 0)
        self.status = os.waitstatus_to_exitcode(status)
        return self.status


class ToolTest(unittest.TestCase):
    maxDiff = None
    scratch = None

    def write(self, name, content):
        path = self.scratch / name
        path.write_bytes(content.encode() if isinstance(content, str) else content)
        return path

    def private(self, name, content):
        """A file that its owner only can read."""
        path = self.write(name, content)
        path.chmod(0o600)
        return path

    def folder(self):
        """A new folder for this test."""
        folder = tempfile.TemporaryDirectory(dir=self.scratch)
        self.addCleanup(folder.cleanup)
        return Path(folder.name)

    def taken(self, folder):
        return sorted(os.listdir(folder))

    def assertDone(self, result, code=0):
        self.assertEqual((result.code, result.message), (code, ""), result.out[-500:])
        return result

    def assertInputError(self, result, *parts):
        """Nothing but one message that begins with the first part and has the others."""
        self.assertEqual((result.code, result.out), (2, b""), result.message)
        self.assertTrue(result.message.startswith(f"cry: {parts[0]}"), result.message)
        for part in parts[1:]:
            self.assertIn(part, result.message)
        self.assertEqual(result.message.count("\n"), 1, result.message)

    def assertHarmless(self, output):
        """Nothing in it moves a terminal's cursor, colours it or turns its text around."""
        text = output.decode()
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]")
