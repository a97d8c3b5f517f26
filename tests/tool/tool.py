"""Runs the command line tool, and has the checks of all its tests. CRY_TOOL names the program."""

import collections
import functools
import json
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

try:
    from jsonschema import Draft202012Validator
except ImportError:
    raise SystemExit(f"{sys.executable} does not find jsonschema, which Debian's python3-jsonschema has") from None

TOOL = os.environ.get("CRY_TOOL", "")
if not os.access(TOOL, os.X_OK):
    raise SystemExit("CRY_TOOL must name the program")

MIB = 1 << 20
FEW_SECONDS = 20  # instrumented builds on a busy machine need more than the one or two that are normal
PASSWORD = "correct horse"
DATA = b"The data that is signed.\n" * 40
IN_THE_WAY = "exists already and was not changed; --force replaces it"

# A folder for all files of a run. It is removed at the end.
_folder = tempfile.TemporaryDirectory()
scratch = Path(_folder.name)
data, secret, wrong = scratch / "data", scratch / "secret", scratch / "wrong"
data.write_bytes(DATA)
secret.write_text(PASSWORD + "\n")
wrong.write_text("wrong\n")
for path in (secret, wrong):
    path.chmod(0o600)


SCHEMA = json.loads((Path(__file__).resolve().parents[2] / "docs" / "cry.schema.json").read_text())


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


runs = collections.Counter()  # of each command in this file


def looking_for_leaks(arguments, environment):
    """An instrumented tool looks for leaks when it ends, which takes longer than most commands.

    The first runs of each command do so, and each eighth after them."""
    command = definition_of([os.fsdecode(argument) for argument in arguments])
    runs[command] += 1
    if not instrumented() or runs[command] <= 4 or runs[command] % 8 == 0:
        return environment
    environment = dict(os.environ if environment is None else environment)
    environment["ASAN_OPTIONS"] = ":".join(filter(None, (environment.get("ASAN_OPTIONS"), "detect_leaks=0")))
    return environment


def run(*arguments, stdin=b"", cwd=None, timeout=120, env=None, **more):
    """Runs the tool; whatever it is given, it ends in good order and speaks in whole lines."""
    given = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
    command = [TOOL, *map(os.fsencode, arguments)]
    more["env"] = looking_for_leaks(arguments, env)
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=cwd, timeout=timeout, **given, **more)
    if done.returncode not in (0, 1, 2):
        raise AssertionError(f"{arguments}: ended with {done.returncode}: {done.stderr[-2000:]!r}")
    for line in done.stderr.split(b"\n")[:-1]:
        if not line.startswith(b"cry: "):
            raise AssertionError(f"{arguments}: strange message {line!r}")
    if done.stderr and not done.stderr.endswith(b"\n"):
        raise AssertionError(f"{arguments}: message without end {done.stderr!r}")
    result = Result(done.returncode, done.stdout, done.stderr)
    check_json(arguments, result, cwd)
    return result


@functools.cache
def validator(definition):
    return Draft202012Validator({"$schema": SCHEMA["$schema"], "$ref": f"#/$defs/{definition}", "$defs": SCHEMA["$defs"]})


def definition_of(arguments):
    """The definition in the schema for what a command prints."""
    words = [word for word in arguments if not word.startswith("-")] + ["", ""]
    names = ("command-version" if "--version" in arguments else f"command-{words[0]}", f"command-{words[0]}-{words[1]}")
    return next((name for name in names if name in SCHEMA["$defs"]), None)


def check_json(arguments, result, cwd=None):
    """Whatever is printed with --json is as the schema says, and has all errors and warnings."""
    arguments = [os.fsdecode(argument) for argument in arguments]
    options = arguments[: arguments.index("--")] if "--" in arguments else arguments
    if "--json" not in options or "--help" in options or "-h" in options:
        return
    text, definition = result.out, definition_of(arguments)
    out = next((after for option, after in zip(options, options[1:]) if option == "--out"), None)
    if not text and not result.code and definition in ("command-hmac", "command-uuid") and out:
        out = Path(cwd or ".", out)
        if not out.is_file():
            return
        text = out.read_bytes()  # these write the JSON to the file
    answer = json.loads(text)
    messages = [line.removeprefix("cry: ") for line in result.message.splitlines()]
    wrong = next((each.message[:2000] for each in validator("error" if "error" in answer else definition).iter_errors(answer)), None)
    if wrong is None and next(iter(answer)) != "format":
        wrong = "the format is not the first member"
    elif wrong is None and "error" in answer and (result.code, messages[-1:]) != (2, [answer["error"]["message"]]):
        wrong = "the error is not that of standard error"
    elif wrong is None and result.code == 2 and not {"error", "problems"} & set(answer):
        wrong = "exit code 2 without an error"
    warnings = [each.removeprefix("warning: ") for each in messages if each.startswith("warning: ")]
    if wrong is None and warnings != [each["message"] for each in answer.get("warnings", [])]:
        wrong = "the warnings are not those of standard error"
    if wrong is not None:
        raise AssertionError(f"{arguments}: {wrong}\n{text[:2000]!r}")


def limited(arguments, mebibytes, **more):
    """Runs with this much memory only; instrumented programs cannot."""
    import resource

    if instrumented():
        return run(*arguments, **more)
    return run(*arguments, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (mebibytes * MIB, mebibytes * MIB)), **more)


@functools.cache
def instrumented():
    content = Path(TOOL).read_bytes()
    return b"__asan_init" in content or b"__tsan_init" in content


def paired(first, second):
    """Pairs in which each element of both occurs, if not all combinations are needed."""
    first, second = list(first), list(second)
    return [(first[at % len(first)], second[at % len(second)]) for at in range(max(len(first), len(second)))]


def mode_of(path):
    return stat.S_IMODE(os.lstat(path).st_mode)


class ToolTest(unittest.TestCase):
    maxDiff = None
    scratch = scratch

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

    def timed(self, what, action):
        """The result of an action that must not take long."""
        began = time.monotonic()
        result = action()
        took = time.monotonic() - began
        print(f"{what}: {took:.2f} s", file=sys.stderr)
        self.assertLess(took, FEW_SECONDS, what)
        return result

    def assertNothingLeaks(self, *expected, alsoValgrind=True):
        """Runs commands under a leak checker. `expected` has pairs of exit code and arguments.

        Valgrind finds other errors of memory, too, but takes seconds, so only the first command
        runs under it."""
        if instrumented():
            self.skipTest("the program looks for leaks itself")
        valgrind = ["valgrind", "-q", "--error-exitcode=99", "--leak-check=full", "--errors-for-leak-kinds=definite,indirect"]
        library = next(Path("/usr/lib").glob("*/liblsan.so.0"), None)
        if not shutil.which("valgrind"):
            self.skipTest("valgrind is not installed")
        for index, (code, arguments) in enumerate(expected):
            quick = library and (index or not alsoValgrind)
            environment = {**os.environ, "LD_PRELOAD": str(library), "LSAN_OPTIONS": "exitcode=99"} if quick else None
            with self.subTest(arguments):
                done = subprocess.run([*([] if quick else valgrind), TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE, env=environment)  # fmt: skip
                self.assertEqual(done.returncode, code, done.stderr.decode()[-3000:])

    def assertDone(self, result, code=0):
        self.assertEqual((result.code, result.message), (code, ""), result.out[-500:])
        return result

    def assertInputError(self, result, *parts):
        """Nothing but one message that begins with the first part and has the others; the same as
        JSON if that is asked for."""
        if result.out.startswith(b"{"):
            self.assertEqual(list(result.json()), ["format", "error"])
            result = Result(result.code, b"", result.err)
        self.assertEqual((result.code, result.out), (2, b""), result.message)
        self.assertTrue(result.message.startswith(f"cry: {parts[0]}"), result.message)
        for part in parts[1:]:
            self.assertIn(part, result.message)
        self.assertEqual(result.message.count("\n"), 1, result.message)

    def assertHarmless(self, output):
        """Nothing in it moves a terminal's cursor, colours it or turns its text around."""
        text = output.decode()
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]")
