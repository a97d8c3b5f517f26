#!/usr/bin/env python3
"""The manual page and the completion of shells. CRY_TOOL names the program, beside whose folder the
pages are."""

import os
import pty
import re
import select
import shutil
import subprocess
import time
import unittest
from pathlib import Path

from tool import TOOL, ToolTest, run

PAGES = Path(TOOL).resolve().parents[1] / "pages"
GROUP = "\nSubcommands:\n"


def listed(*group):
    return re.findall(r"(?m)^  (\S+) ", run(*group, "--help").text.partition(GROUP)[2])


def commands():
    """All commands and groups, the tool itself first."""
    found = [[]]
    for name in listed():
        found += [[name], *[[name, each] for each in listed(name)]]
    return found


class Manual(ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.source = (PAGES / "cry.1").read_text()

    def groff(self, device):
        if not shutil.which("groff"):
            self.skipTest("groff is not installed")
        command = ["groff", "-man", "-ww", "-rLL=3000n", f"-T{device}", "-P-cbou", PAGES / "cry.1"]
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)

    def test_PageHasNoMistakes(self):
        done = self.groff("ascii")
        self.assertEqual(done.stderr, b"")
        self.assertNotRegex(self.source, r"@[A-Z]+@")
        self.assertRegex(self.source, r'\A\.TH CRY 1 "" "cry \d+\.\d+\.\d+" "User Commands"\n')

    def test_PageHasAllCommandsAndOptions(self):
        page = self.groff("ascii").stdout.decode()
        synopsis, _, rest = page.partition("\nDESCRIPTION\n")
        _, _, sections = rest.partition("\nCOMMANDS\n")
        for command in commands():
            said = run(*command, "--help").text
            if GROUP in said and command:
                continue
            name = " ".join(["cry", *command])
            section = sections.partition(f"\n   {name}\n")[2].partition("\n   cry ")[0] if command else sections.partition("\n   cry ")[0]
            usage = next(line for line in synopsis.splitlines() if line.strip().startswith(f"{name} " if command else "cry [--"))
            options = re.findall(r"(?m)^  (?:-h,)?(--[a-z0-9-]+)(?: ([A-Z]+)\b)?", said)
            self.assertGreater(len(options), 1)
            for option, value in options:
                with self.subTest(command=name, option=option):
                    if option == "--help":
                        self.assertIn("--help", page)
                        continue
                    shown = f"{option} {value}".strip()
                    self.assertRegex(usage, re.escape(shown) + r"(?![a-z-])")
                    self.assertRegex(section, rf"(?m)^       {re.escape(shown)}(?![a-z-])")
            for argument in re.findall(r"(?m)^  ([A-Z]+) ", said.partition("Positionals:")[2].partition("Options:")[0]):
                self.assertRegex(usage, rf"\b{argument}\b")
                self.assertRegex(section, rf"(?m)^       {argument}\b")

    def test_PageAndHelpSayTheSame(self):
        page = " ".join(self.groff("ascii").stdout.decode().split())
        for command in commands():
            said = run(*command, "--help").text
            if not command or GROUP in said:
                continue
            with self.subTest(command):
                paragraph = said.split("\n\n")[-1] if "\n\n" in said else said
                explained = " ".join(said[said.index("Exit: ") :].split()).replace("Exit: ", "Exit status: ", 1)
                self.assertIn(explained, page)
                headings = (" ", "Exit: ", "Usage", "Options", "Positionals")
                before = [line for line in paragraph.splitlines() if line and not line.startswith(headings)]
                self.assertIn(" ".join(" ".join(before).split()), page)

    def test_PageSaysWhatExcludesWhat(self):
        page = self.groff("ascii").stdout.decode()
        self.assertIn("[--key-file FILE | --key-hex DIGITS]", page)
        self.assertRegex(page, r"--key-hex DIGITS\n[^\n]*; not with --key-file\n")
        self.assertRegex(page, r"--force\n +with --out: [^\n]*; only with --out\n")
        self.assertRegex(page, r"--curve NAME\n[^\n]*; required\n")
        self.assertRegex(page, r"--days N\n[^\n]*; 365 if left out\n")
        self.assertRegex(page, r"--trust FILE\n[^\n]*; may be given several times\n")

    def test_PageHasItsSections(self):
        for title in ("NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "OUTPUT", "PRIVATE KEYS AND PASSWORDS", "JSON", "EXIT STATUS", "ENVIRONMENT",
                      "FILES", "EXAMPLES", "SEE ALSO"):  # fmt: skip
            self.assertIn(f"\n.SH {title}\n", self.source)
        for variable in ("NO_COLOR", "TERM", "OPENSSL_CONF", "OPENSSL_MODULES"):
            self.assertIn(variable, self.source.partition(".SH ENVIRONMENT")[2].partition(".SH FILES")[0])
        self.assertNotIn("No environment variable", self.source)


class Bash(ToolTest):
    SCRIPT = """
source "$1"
shift
COMP_WORDS=( "$@" ) COMP_CWORD=$(( $# - 1 ))
_cry
printf '%s\\n' "${COMPREPLY[@]}"
"""

    def completed(self, *words, cwd=None):
        done = subprocess.run(["bash", "--norc", "--noprofile", "-c", self.SCRIPT, "bash", PAGES / "cry.bash", "cry", *words], cwd=cwd,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)  # fmt: skip
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return sorted(done.stdout.decode().split("\n")[:-1] if done.stdout != b"\n" else [])

    def test_CommandsAndOptions(self):
        for command in commands():
            members = listed(*command)
            with self.subTest(command):
                if members:
                    self.assertEqual(self.completed(*command, ""), sorted(members + ([] if command else ["help"])))
                    self.assertEqual(self.completed("help", *command, members[0][:2]), [each for each in members if each[:2] == members[0][:2]])
                options = re.findall(r"(?m)^  (?:-h,)?(--[a-z0-9-]+)", run(*command, "--help").text)
                self.assertEqual(self.completed(*command, "--"), sorted(options))
        self.assertEqual(self.completed("ver"), ["verify"])
        self.assertEqual(self.completed("verify", "--no"), ["--no-system", "--no-wildcards"])
        self.assertEqual(self.completed("verify", "--", "--no"), [])

    def test_Values(self):
        sha3 = ["sha3-224", "sha3-256", "sha3-384", "sha3-512"]
        for words, expected in [
            (("hash", "--algorithm", "sha3-"), sha3),
            (("hash", "--algorithm", "=", "sha3-"), sha3),
            (("hash", "--algorithm=sha3-"), [f"--algorithm={each}" for each in sha3]),
            (("signature", "make", "--key", "x", "--algorithm", "md"), ["md5"]),
            (("signature", "convert", "--to", ""), ["der", "raw"]),
            (("signature", "convert", "--to", "="), ["der", "raw"]),
            (("convert", "--to", ""), ["der", "pem"]),
            (("signature", "convert", "--curve", ""), ["P-256", "P-384", "P-521"]),
            (("uuid", "--namespace", ""), ["dns", "oid", "url", "x500"]),
            (("key", "generate", ""), ["ec", "rsa"]),
            (("key", "generate", "--out", "x", ""), ["ec", "rsa"]),
            (("key", "generate", "ec", "P-2"), ["P-224", "P-256"]),
            (("key", "generate", "rsa", "40"), ["4096"]),
            (("random", ""), []),
        ]:
            with self.subTest(words):
                self.assertEqual(self.completed(*words), expected)

    def test_Files(self):
        folder = self.folder()
        for name in ("one.pem", "one file"):
            (folder / name).write_text("")
        for words in (("hash",), ("hash", "--check", "x"), ("verify",), ("verify", "--trust"), ("key", "public", "--out"), ("key", "info"),
                      ("key", "public", "--out", "="), ("pkcs12", "read", "x", "--out-key"), ("signature", "check", "--key", "x", "--signature"),
                      ("hash", "--")):  # fmt: skip
            self.assertEqual(self.completed(*words, "on", cwd=folder), ["one file", "one.pem"], words)
        self.assertEqual(self.completed("key", "info", "one.pem", "on", cwd=folder), [])

    def test_ItWorksInAShell(self):
        path = self.folder() / "only-one.pem"
        path.write_text("")
        keys = f"cry ver\t--trust {path.parent}/on\t"
        shown = typed(["bash", "--norc", "--noprofile", "-i"], f"source {PAGES}/cry.bash\n", keys, f"--trust {path}")
        self.assertIn(f"cry verify --trust {path}", shown)


def typed(command, first, then, until):
    """What an interactive shell shows after keys are typed, up to the text that is expected.

    It is without escape sequences, and has single blanks."""
    process, master = pty.fork()
    if process == 0:
        os.environ.update(TERM="dumb", PS1="$ ", PROMPT="$ ", COLUMNS="1000")
        os.execvp(command[0], command)
    received, shown, end = b"", "", time.monotonic() + 20
    os.write(master, first.encode())
    time.sleep(1)
    os.write(master, then.encode())
    try:
        while time.monotonic() < end and until not in shown:
            if select.select([master], [], [], 1)[0]:
                received += os.read(master, 65536)
                shown = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]|[\r\x07\x08]", "", received.decode(errors="replace"))
                shown = re.sub(" +", " ", shown)
    except OSError:
        pass
    os.close(master)
    os.waitpid(process, 0)
    return shown


class OtherShells(ToolTest):
    def test_Zsh(self):
        if not shutil.which("zsh"):
            self.skipTest("zsh is not installed")
        subprocess.run(["zsh", "-n", PAGES / "_cry"], check=True)
        start = f"fpath=({PAGES} $fpath); autoload -U compinit; compinit -D -u\n"
        for keys, expected in [("cry ver\t--tru\t", "cry verify --trust"), ("cry key gen\tr\t", "cry key generate rsa"),
                               ("cry hash --algorithm sha3-5\t", "sha3-512"), ("cry help sig\tmak\t", "cry help signature make"),
                               (f"cry key info {PAGES}/cry.fi\t", f"cry key info {PAGES}/cry.fish")]:  # fmt: skip
            with self.subTest(keys):
                self.assertIn(expected, typed(["zsh", "-f", "-i"], start, keys, expected))

    def test_Fish(self):
        if not shutil.which("fish"):
            self.skipTest("fish is not installed")
        subprocess.run(["fish", "-n", PAGES / "cry.fish"], check=True)

        def completed(line, cwd=None):
            script = f"source {PAGES}/cry.fish; complete -C {line!r}"
            environment = {**os.environ, "HOME": str(self.scratch)}
            done = subprocess.run(["fish", "--no-config", "-c", script], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=cwd, env=environment)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            return sorted(line.split("\t")[0] for line in done.stdout.decode().splitlines())

        for command in commands():
            if members := listed(*command):
                self.assertEqual(completed(" ".join(["cry", *command, ""])), sorted(members + ([] if command else ["help"])))
            options = re.findall(r"(?m)^  (?:-h,)?(--[a-z0-9-]+)", run(*command, "--help").text)
            self.assertEqual(completed(" ".join(["cry", *command, "--"])), sorted(options))
        self.assertEqual(completed("cry signature convert --to "), ["der", "raw"])
        self.assertEqual(completed("cry hash --algorithm sha3-5"), ["sha3-512"])
        folder = self.folder()
        (folder / "one.pem").write_text("")
        for line in ("cry verify on", "cry key public --out on", "cry hash --check on"):
            self.assertEqual(completed(line, cwd=folder), ["one.pem"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
