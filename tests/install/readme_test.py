#!/usr/bin/env python3
"""Does what README.md says, as a reader does it: saves the programs, runs the commands one after
another, and compares what they print with what is shown.

    readme_test.py BUILD [README]

A block of code that begins with "$ " is a session. A command without output below it must only
succeed. A line "…" stands for all further lines, and the time of a verdict may differ. The commands
run as they stand, with two exceptions: the installation goes to a temporary folder in place of
/usr/local, and ./run is the tool of BUILD.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PREFIX = "/usr/local"
# A block of C++ is the first program, or a part of the second one, which the reader has already.
HASH, STACK = ROOT / "examples" / "hash.cpp", ROOT / "examples" / "stack.cpp"
# Other blocks in these languages are files, which the reader saves under these names.
SAVED_AS = {"c": "hash.c", "cpp": "hash.cpp", "cmake": "CMakeLists.txt"}
# What must be there, so that a README without it does not pass.
PROMISED = ["cmake --install ", "cc ", "c++ ", "./stack ", "cmake -G Ninja -B build", "./run verify ", "cry signature check "]
# What a machine may have set, and README does not mention.
FOREIGN = ["LD_LIBRARY_PATH", "LD_RUN_PATH", "CPATH", "LIBRARY_PATH", "CMAKE_PREFIX_PATH", "PKG_CONFIG_PATH", "CFLAGS", "CXXFLAGS", "LDFLAGS"]
OWN_PATH = re.compile(r"`((?:examples|docs|include|source|tools|tests|fuzz|bench)/[\w./-]*)`")
TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")


class Broken(Exception):
    """README says something that is not so."""


def blocks(text):
    """(language, content) of each block of code."""
    return re.findall(r"^```(\w*)\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)


def is_session(language, block):
    return not language and block.startswith("$ ")


def commands(session):
    """(command, lines that it shows) of each command of a session."""
    found = []
    for line in session.splitlines():
        if line.startswith("$ "):
            found.append((line[2:], []))
        else:
            found[-1][1].append(line)
    return found


def undated(line):
    """Without the time of a verdict, which is today's. The times in certificates stay."""
    return TIME.sub("TIME", line) if line.startswith("good: ") else line


def agrees(shown, printed):
    """Whether the lines that are shown are those that were printed."""
    if "…" in shown:
        shown = shown[: shown.index("…")]
        printed = printed[: len(shown)]
    return list(map(undated, shown)) == list(map(undated, printed))


def compilers(build):
    """The compilers that the build was made with, by the names that README uses."""
    cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE))
    return {"cc": cache["CMAKE_C_COMPILER"], "c++": cache["CMAKE_CXX_COMPILER"]}


def prepare(build, work):
    """What surrounds the reader: the checkout with its build, and an environment."""
    here, own = work / "here", work / "own"
    prefix = work / "prefix"
    for folder in (here / "build", own):
        folder.mkdir(parents=True)
    (here / "build" / "run").symlink_to(build)
    (here / "examples").symlink_to(ROOT / "examples")
    (here / "run").symlink_to(build / "bin" / "cry")
    for name, program in compilers(build).items():
        (own / name).write_text(f'#!/bin/sh\nexec {program} "$@"\n')
        (own / name).chmod(0o755)
    # In /usr/local, nothing of this has to be set.
    environment = {name: value for name, value in os.environ.items() if name not in FOREIGN and not name.startswith("CRY_")}
    environment["PATH"] = f"{own}:{prefix}/bin:{environment['PATH']}"
    environment["PKG_CONFIG_PATH"] = f"{prefix}/lib/pkgconfig"
    environment["CMAKE_PREFIX_PATH"] = str(prefix)
    return here, prefix, environment


def follow(text, build, work):
    """Does what the text says; returns the number of commands."""
    for path in OWN_PATH.findall(text):
        if not (ROOT / path).exists():
            raise Broken(f"there is no {path}")
    all_commands = [command for language, block in blocks(text) if is_session(language, block) for command, _ in commands(block)]
    for promised in PROMISED:
        if not any(command.startswith(promised) for command in all_commands):
            raise Broken(f"no command begins with '{promised}'")
    here, prefix, environment = prepare(build, work)
    for language, block in blocks(text):
        is_part = language == "cpp" and block in STACK.read_text()
        if language in SAVED_AS and not is_part:
            (here / SAVED_AS[language]).write_text(block)
        if language == "cpp" and not is_part and block != HASH.read_text():
            raise Broken("the C++ program is not examples/hash.cpp, and no part of examples/stack.cpp")
        for command, shown in commands(block) if is_session(language, block) else []:
            adapted = ["bash", "-c", command.replace(PREFIX, str(prefix))]
            done = subprocess.run(adapted, cwd=here, env=environment, capture_output=True, text=True, check=False)
            if done.returncode:
                raise Broken(f"'{command}' ends with {done.returncode}:\n{done.stdout}{done.stderr}")
            if shown and not agrees(shown, done.stdout.splitlines()):
                raise Broken(f"'{command}' prints\n{done.stdout}{done.stderr}and not\n" + "\n".join(shown))
    return len(all_commands)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    readme = Path(sys.argv[2]) if len(sys.argv) == 3 else ROOT / "README.md"
    with tempfile.TemporaryDirectory() as work:
        try:
            count = follow(readme.read_text(), Path(sys.argv[1]).resolve(), Path(work))
        except Broken as error:
            sys.exit(f"readme: {error}")
    print(f"readme: {count} commands do what is shown")


if __name__ == "__main__":
    main()
