"""The tool at a terminal."""

import contextlib
import os
import pty
import select
import signal
import subprocess
import termios
import threading
import time

from tool import PASSWORD, TOOL, Result


def run_on_terminal(*arguments, on, cwd=None, **variables):
    """Runs the tool with a terminal as its standard output, standard error or both (`on`: set of
    "out", "err"). `variables` are set in its environment, or not there if they are None."""
    masters, channels = {}, {"out": subprocess.PIPE, "err": subprocess.PIPE}
    for which in on:
        masters[which], channels[which] = pty.openpty()
    process = subprocess.Popen(
        [TOOL, *map(os.fsencode, arguments)], stdin=subprocess.DEVNULL, stdout=channels["out"], stderr=channels["err"], cwd=cwd,
        env={name: value for name, value in {**os.environ, "TERM": "xterm", "NO_COLOR": None, **variables}.items() if value is not None},
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


def open_at_terminal(test, path, *arguments):
    """Types the right password of a file at the prompt; gives the text that the terminal showed."""
    with AtTerminal(*arguments) as terminal:
        test.assertTrue(terminal.read(b"Password for " + bytes(path) + b": "))
        test.assertFalse(terminal.echoes())
        terminal.type(PASSWORD.encode() + b"\n")
        test.assertEqual(terminal.end(), 0, terminal.shown)
        test.assertNotIn(PASSWORD.encode(), terminal.shown)
        test.assertEqual(terminal.shown.count(b"Password for"), 1)
        test.assertTrue(terminal.echoes() and terminal.signals())
        return terminal.shown


class AtTerminal:
    """The tool with a terminal of its own, as /dev/tty and as its three streams. `shown` collects
    its output."""

    def __init__(self, *arguments):
        self.shown, self.status = b"", None
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.environ["TERM"] = "xterm"
            os.environ.pop("NO_COLOR", None)
            os.execv(TOOL, [TOOL, *map(os.fsencode, arguments)])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.status is None:
            os.kill(self.process, signal.SIGKILL)
            os.waitpid(self.process, 0)
        os.close(self.master)

    def read(self, until=None, seconds=30):
        """Reads until the text is there, or the tool has closed the terminal; false if the time is
        over before."""
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
