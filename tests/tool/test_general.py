#!/usr/bin/env python3
"""All commands: help, arguments, streams, colour, JSON. CRY_TOOL names the program."""

import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import unittest

import identity_fixture
import key_fixture
from identity_fixture import IdentityTest, file
from key_fixture import KeysTest, keys
from pki_fixture import EXAMPLES, NOW
from terminal import run_on_terminal
from tool import TOOL, ToolTest, data, run, scratch, secret


def setUpModule():
    identity_fixture.make()
    key_fixture.make()


class Arguments(ToolTest):
    def test_HelpGoesToStandardOutput(self):
        for arguments in (["--help"], ["verify", "--help"], ["hash", "--help"], ["roots", "--help"], []):
            result = run(*arguments)
            self.assertEqual((result.code, result.err), (0, b""))
            self.assertIn("Usage: cry", result.text)

    def test_HelpIsACommandToo(self):
        for command in ([], ["verify"], ["key"], ["key", "generate"], ["pkcs12", "read"]):
            expected = self.assertDone(run(*command, "--help")).text
            for more in ([], ["--help"]):
                self.assertEqual(self.assertDone(run("help", *command, *more)).text, expected)
        self.assertIn("'cry help COMMAND'", run("help").text)
        self.assertEqual(run("help", "help").text, run("--help").text)
        for arguments, said in [
            (["help", "verfy"], "'verfy' is not a command (did you mean 'verify'?); 'cry --help' tells more"),
            (["help", "key", "generat"], "'generat' is not a command (did you mean 'generate'?); 'cry key' has "),
            (["help", "verify", "x"], "one argument too many, 'x'; 'cry help' takes a command"),
            (["help", "verify", "--", "-x"], "one argument too many, '-x'; 'cry help' takes a command"),
            (["hlep"], "'hlep' is not a command (did you mean 'help'?)"),
            (["key", "help"], "'help' is not a command; 'cry key' has "),
        ]:
            with self.subTest(arguments):
                self.assertInputError(run(*arguments), said)
        # A file may have that name.
        self.assertInputError(run("hash", "help", cwd=self.folder()), "help: No such file or directory")

    def test_WrongUseIsSaidWithTheHelpThatFits(self):
        for arguments, said in [
            (["frob"], "'frob' is not a command; 'cry --help' tells more"),
            (["--frob"], "unknown option '--frob'; 'cry --help'"),
            (["verify"], "CHAIN is required; 'cry verify --help'"),
            (["verify", "--frob", "x"], "unknown option '--frob'; 'cry verify --help'"),
            (["tn-list", "a", "b"], "one argument too many, 'b'; 'cry tn-list --help'"),
            (["verify", "--trust"], "--trust: 1 required FILE missing; 'cry verify --help'"),
            (["hash", "-x"], "unknown option '-x'; 'cry hash --help'"),
            (["hash", "--bogus=1"], "unknown option '--bogus=1'"),
            (["hash", "--algorithm"], "--algorithm: 1 required NAME missing"),
            (["roots", "verify"], "one argument too many, 'verify'"),
            (["verify", "--time", NOW, "--time", NOW, "x"], "--time: At Most 1 required but received 2"),
            (["--json"], "--json requires --version"),
            (["--json", "hash", "x"], "--json requires --version"),
        ]:
            with self.subTest(arguments):
                self.assertInputError(run(*arguments), said)

    def test_UnknownCommandsAreSaidBeforeTheirOptions(self):
        for arguments, said in [
            (["verfy", "--trust", "x", "y"], "'verfy' is not a command (did you mean 'verify'?); 'cry --help' tells more"),
            (["VERIFY", "x"], "'VERIFY' is not a command (did you mean 'verify'?)"),
            (["hsah"], "'hsah' is not a command (did you mean 'hash'?)"),
            (["frob", "--trust"], "'frob' is not a command; 'cry --help'"),
            (["frob", "--help"], "'frob' is not a command; 'cry --help'"),
            (["--json", "frob"], "'frob' is not a command"),
            (["key", "generat", "--out"], "'generat' is not a command (did you mean 'generate'?); 'cry key' has generate, public, info, curves;"),
            (["key", "xyz", "--out"], "'xyz' is not a command; 'cry key' has generate, public, info, curves; 'cry key --help' tells more"),
            (["x" * 100000], f"'{'x' * 60}...' is not a command; 'cry --help' tells more"),
        ]:
            with self.subTest(arguments[0][:20]):
                self.assertInputError(run(*arguments), said)
        self.assertIn("Usage: cry [", self.assertDone(run("--help", "frob")).text)

    def test_UnknownOptionsNameANearOne(self):
        for arguments, said in [
            (["--versoin"], "unknown option '--versoin' (did you mean '--version'?); 'cry --help' tells more"),
            (["hash", "--algoritm=md5", "x"], "unknown option '--algoritm=md5' (did you mean '--algorithm'?); 'cry hash --help' tells more"),
            (["signature", "make", "--kye", "x"], "unknown option '--kye' (did you mean '--key'?)"),
            (["key", "--hlep"], "unknown option '--hlep' (did you mean '--help'?); 'cry key' has "),
            (["hash", "-c"], "unknown option '-c'; 'cry hash --help'"),
            (["roots", "--", "--cuont"], "one argument too many, '--cuont'"),
        ]:
            with self.subTest(arguments):
                self.assertInputError(run(*arguments), said)

    def test_FlagsTakeNoValue(self):
        self.assertInputError(run("hash", "--check=maybe", "x"), "--check takes no value; 'maybe' is one; 'cry hash --help' tells more")
        self.assertInputError(run("--version", "--json=" + "x" * 1000), f"--json takes no value; '{'x' * 60}...' is one; ")

    def test_LongArgumentsAreCutAtACharacter(self):
        for text, cut in (("ü" * 100, "ü" * 30), ("a" + "ü" * 100, "a" + "ü" * 29), ("日本" * 50, "日本" * 10), ("😀" * 100, "😀" * 15)):
            for arguments, said in [
                ([text], "cry: '{}' is not a command; "),
                (["key", text], "cry: '{}' is not a command; "),
                (["roots", text], "cry: one argument too many, '{}'; "),
                (["hash", "--algorithm", text], "cry: --algorithm: '{}' is unknown; "),
                (["key", "generate", text, "1"], "cry: '{}' is not a kind of key; "),
                (["key", "generate", "ec", text], "cry: key generate ec: '{}' is not a curve; "),
                (["verify", "--time", text, "x"], "cry: --time: '{}' is not a time "),
                (["uuid", "--namespace", text, "--name", "x"], "cry: --namespace: '{}' is neither "),
                (["uuid", "--parse", text], "cry: '{}' is not a UUID: "),
                (["uuid", "--count", text], "cry: --count: '{}' is not a number "),
                (["signature", "convert", "--curve", text, "--to", "raw"], "cry: --curve: '{}' is not a curve; "),
                (["signature", "convert", "--curve", "P-256", "--to", text], "cry: --to: '{}' is unknown; known are raw and der"),
                (["certificate", "generate", "--key", "x", "--domain", text + " "], "cry: --domain: '{}' is not a domain name"),
            ]:
                with self.subTest(arguments=arguments):
                    result = run(*arguments)
                    self.assertNotEqual(result.code, 0)
                    self.assertEqual(result.message[: len(said.format(cut + "..."))], said.format(cut + "..."))
        # Bytes that are not UTF-8 count one by one.
        self.assertInputError(run(b"\xff" * 61), "'" + "\\x{FF}" * 60 + "...' is not a command")
        self.assertInputError(run("x" * 60), "'" + "x" * 60 + "' is not a command")

    def test_ArgumentsCannotPlayWithTheTerminal(self):
        for arguments in (
            ["\x1b[31m"],
            ["hash", "--\x1b[2J"],
            ["hash", "--algorithm", "\x1b[2J"],
            ["verify", "--time", "\x9b2J", "x"],
            ["roots", "a\nb"],
        ):
            result = run(*arguments)
            self.assertEqual(result.code, 2)
            self.assertHarmless(result.err)

    def test_EveryJsonBeginsWithItsFormat(self):
        chain, trust = EXAMPLES / "ec-chain.pem", EXAMPLES / "ec-root.pem"
        commands = (["--version"], ["roots"], ["roots", "--count"], ["hash", chain], ["hash"], ["verify", chain], ["verify", "--trust", trust, chain])
        for arguments in commands:
            with self.subTest(arguments):
                first = json.loads(run(*arguments, "--json").out, object_pairs_hook=list)[0]
                self.assertEqual(first, ("format", 1))

    def test_VersionNamesModuleAndLibraries(self):
        result = run("--version")
        self.assertEqual((result.code, result.err), (0, b""))
        self.assertRegex(result.text, r"\Acry \d+\.\d+ \(Cryptography\)\n")
        self.assertIn("libcrypto     OpenSSL ", result.text)
        self.assertRegex(result.text, r"marker +###QM_VERSION### \S+ \(.*\), cry \d+\.\d+\n")
        self.assertEqual(sorted(run("--version", "--json").json()["modules"]), ["bn", "cry", "cs", "in", "openssl", "pb", "rfc", "tr"])


class Streams(ToolTest):
    COMMANDS = (["--version"], ["--version", "--json"], ["--help"], ["hash", "/dev/null"], ["hash", "--json", "/dev/null"], ["roots", "--count"],
                ["verify", "--no-system", "--trust", EXAMPLES / "ec-root.pem", EXAMPLES / "ec-chain.pem"],
                ["verify", "--no-system", "--trust", EXAMPLES / "rsa-root.pem", EXAMPLES / "ec-chain.pem"])  # fmt: skip

    def test_FullDiskIsNoticed(self):
        for arguments in self.COMMANDS:
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                done = subprocess.run([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard output: No space left on device\n"))

    def test_FullStandardErrorDoesNotMatter(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(subprocess.run([TOOL, "verify", "/nowhere"], stderr=full).returncode, 2)

    def test_ClosedStreamsAreNoDisaster(self):
        done = subprocess.run(["sh", "-c", '"$0" hash <&-', TOOL], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, b"", b"cry: standard input: Bad file descriptor\n"))
        done = subprocess.run(["sh", "-c", '"$0" hash /dev/null >&-', TOOL], stderr=subprocess.PIPE)
        self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard output: Bad file descriptor\n"))
        self.assertEqual(subprocess.run(["sh", "-c", '"$0" verify /nowhere 2>&-', TOOL]).returncode, 2)

    def test_ReaderThatLeavesEndsTheTool(self):
        process = subprocess.Popen([TOOL, "roots"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.close()
        message = process.stderr.read()
        process.stderr.close()
        self.assertEqual((process.wait(timeout=30), message), (-signal.SIGPIPE, b""))

    def test_ColourIsForTerminalsOnly(self):
        arguments = ["verify", "--no-system", "--trust", EXAMPLES / "ec-root.pem", EXAMPLES / "ec-chain.pem"]
        self.assertNotIn(b"\x1b", run(*arguments).out)
        self.assertIn(b"\x1b[32mgood\x1b[0m", run_on_terminal(*arguments, on={"out"}).out)
        self.assertNotIn(b"\x1b", run_on_terminal(*arguments, on={"err"}).out)
        self.assertIn(b"\x1b[31mbad\x1b[0m", run_on_terminal(*arguments[:3], EXAMPLES / "rsa-root.pem", arguments[-1], on={"out"}).out)
        # Output for programs has no colour on a terminal either.
        for machine in ([*arguments, "--json"], ["hash", "/dev/null"], ["roots", "--count"], ["--version"]):
            self.assertNotIn(b"\x1b", run_on_terminal(*machine, on={"out", "err"}).out)
        listed = self.write("colour.sums", hashlib.sha256(b"").hexdigest() + "  /dev/null\n")
        self.assertEqual(run_on_terminal("hash", "--check", listed, on={"out"}).out, b"/dev/null: \x1b[32mOK\x1b[0m\n")


    def test_ColourAndMovementCanBeRefused(self):
        verify = ["verify", "--no-system", "--trust", EXAMPLES / "ec-root.pem", EXAMPLES / "ec-chain.pem"]
        big = scratch / "big"
        with open(big, "wb") as content:
            content.truncate(100 << 20)
        for variables, escapes in [({"NO_COLOR": "1"}, False), ({"NO_COLOR": "0"}, False), ({"NO_COLOR": ""}, True), ({"TERM": "dumb"}, False),
                                   ({"TERM": None}, False), ({"TERM": ""}, False), ({"TERM": "vt100"}, True)]:  # fmt: skip
            with self.subTest(variables):
                result = run_on_terminal(*verify, on={"out"}, **variables)
                self.assertEqual((result.code, b"\x1b" in result.out), (0, escapes))
                self.assertEqual(result.out.replace(b"\x1b", b"").count(b"good"), 1)
                result = run_on_terminal("hash", big, on={"err"}, **variables)
                self.assertEqual((result.code, b"\x1b" in result.err, b"\r" in result.err), (0, escapes, escapes))
                self.assertEqual(result.err == b"", not escapes)
        big.unlink()
        # Where the seconds cannot be shown, a line says that the work is long.
        result = run_on_terminal("key", "generate", "rsa", "4104", on={"err"}, NO_COLOR="1")
        self.assertEqual((result.code, result.err.strip()), (0, b"cry: making an RSA key of 4104 bits, which may take minutes"))


class Hostile(ToolTest):
    def test_FileNamesAreMadeHarmless(self):
        folder = scratch / "hostile"
        folder.mkdir()
        for name in (b"\x1b[31mred", b"\xe2\x1b[2J", b"\x9b2J", b"\xc3\x1b[2Jx", "a\u202eb".encode(), b"a\nb", b"\xff\xfe"):
            with self.subTest(name):
                missing = run("hash", b"./" + name, cwd=folder)
                self.assertEqual((missing.code, missing.out), (2, b""))
                self.assertHarmless(missing.err)
                self.assertHarmless(run("verify", b"./" + name, cwd=folder).err)
                (folder / os.fsdecode(name)).write_bytes(b"abc")
                listed = run("hash", name, cwd=folder)
                checked = run("hash", "--check", "-", stdin=listed.out, cwd=folder)
                self.assertEqual((checked.code, checked.err), (0, b""))
                self.assertHarmless(checked.out)
                self.assertEqual(checked.out.count(b"\n"), 1)
                self.assertHarmless(run("hash", "--json", name, cwd=folder).out)
                self.assertHarmless(run("verify", name, cwd=folder).err)


class FullDisk(KeysTest):
    def test_FullDiskBehindStandardOutputIsNoticed(self):
        for arguments in (["random", "10"], ["random", "10", "--hex"], ["random", "10", "--json"], ["random", "10000000", "--base64"], ["uuid"],
                          ["key", "generate", "ec", "P-256"], ["key", "curves"], ["key", "info", keys / "rsa"], ["key", "public", keys / "rsa"],
                          ["signature", "make", "--key", keys / "rsa", data], ["hmac", "--key-hex", "00", data]):  # fmt: skip
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                done = subprocess.run([TOOL, *arguments], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard output: No space left on device\n"))


class EveryCommand(KeysTest):
    """All commands and groups, as `cry --help` lists them."""

    NEGATIVE = ("verify", "hash", "uuid", "key info", "signature check", "request check", "crl check", "name check", "tn-list",
                "vault show", "vault delete", "token verify", "bundle unpack", "bundle verify")
    FORCE = ("vault set", "vault delete")  # beside those with --out
    OUT = ("convert", "hmac", "random", "uuid", "key generate", "key public", "signature make", "signature convert", "certificate generate",
           "request generate", "pkcs12 read", "pkcs12 write", "stack normalize", "stack options",
           "token sign", "bundle pack", "bundle unpack")  # fmt: skip
    PASSWORD = ("inspect", "key public", "key info", "signature make", "signature check", "certificate generate", "request generate", "request check",
                "pkcs12 read", "pkcs12 write", "vault set", "stack options", "token sign")  # fmt: skip

    @staticmethod
    def listed(*group):
        return re.findall(r"(?m)^  (\S+) ", run(*group, "--help").text.partition("\nSubcommands:\n")[2])

    @classmethod
    def setUpClass(cls):
        under = {name: cls.listed(name) for name in cls.listed()}
        cls.groups = {name: members for name, members in under.items() if members}
        cls.all = [[name] for name in under if name not in cls.groups] + [[name, each] for name in cls.groups for each in cls.groups[name]]

    def complete(self, command):
        """The command with the arguments that it needs."""
        key, certificate = file("rsa.key"), file("rsa.crt")
        needed = {
            "verify": [certificate],
            "convert": ["--to", "pem", certificate],
            "tn-list": [certificate],
            "random": ["1"],
            "key generate": ["ec", "P-256"],
            "key public": [key],
            "key info": [key],
            "signature make": ["--key", key, data],
            "signature check": ["--key", key, "--signature", data, data],
            "signature convert": ["--curve", "P-256", "--to", "raw", data],
            "certificate generate": ["--key", key],
            "request generate": ["--key", key],
            "request check": [data],
            "crl check": ["--crl", data, certificate],
            "pkcs12 read": [data],
            "pkcs12 write": ["--key", key, "--certificate", certificate, "--out", "-", "--no-password"],
            "vault list": ["--state-dir", scratch / "state"],
            "vault show": ["a", "--state-dir", scratch / "state"],
            "vault set": ["a", "--key", key, "--certificate", certificate, "--state-dir", scratch / "state"],
            "vault delete": ["a", "--state-dir", scratch / "state"],
            "stack run": ["--once", "--config", "-"],
            "stack normalize": ["--config", "-"],
            "token sign": ["--key", key, "--certificate", certificate, "--out", "-", data],
            "token verify": [data, data],
            "token show": [data],
            "bundle pack": ["--token", data, "--out", "-", data],
            "bundle unpack": ["--out", "-", data],
            "bundle verify": [data],
            "name check": ["a"],
        }
        return [*command, *needed.get(" ".join(command), [])]

    def test_HelpListsThem(self):
        self.assertEqual(list(self.groups), ["key", "signature", "certificate", "request", "crl", "pkcs12", "vault", "stack", "token", "bundle",
                                             "name"])  # fmt: skip
        self.assertEqual(len(self.all), 37)

    def test_HelpTellsTheExitCodes(self):
        for command in self.all:
            name = " ".join(command)
            with self.subTest(name):
                said = self.assertDone(run(*command, "--help")).text
                self.assertEqual(run(*command, "-h").text, said)
                self.assertIn(f"Usage: cry {name} [OPTIONS]", said)
                self.assertRegex(said, r"(?m)^Exit: 0 .*; 2 wrong use")
                self.assertEqual("; 1 " in said.partition("Exit: ")[2], name in self.NEGATIVE)
                self.assertIn("--json", said)
                self.assertIn("--trace FILE", said)
                self.assertEqual(("--out" in said, "--force" in said), (name in self.OUT, name in self.OUT + self.FORCE))
                self.assertEqual("--password-file" in said, name in self.PASSWORD)
                self.assertLess(max(map(len, said.splitlines())), 160)
        for group in self.groups:
            self.assertIn(f"Usage: cry {group} [OPTIONS] SUBCOMMAND", self.assertDone(run(group, "-h")).text)

    def test_UnknownOptionsAreRefusedWithTheHelpThatFits(self):
        for command in self.all:
            # Neither other letters nor the beginning of a name are enough.
            for option in ("--frob", "-x", "--frob=1", "--JSON", "--jso") if command == ["key", "info"] else ("--frob", "-x"):
                result = run(*self.complete(command), option)
                self.assertInputError(result, f"unknown option '{option}'", f"'cry {' '.join(command)} --help' tells more")
            result = run(*command, "--\x1b[2J")
            self.assertEqual(result.code, 2)
            self.assertHarmless(result.err)

    def test_SurplusArgumentsAreRefused(self):
        for command in self.all:
            if command[0] not in ("hash", "hmac", "crl", "inspect", "verify"):  # these take any number of files
                result = run(*self.complete(command), "--", "[a,b]")
                self.assertInputError(result, "one argument too many, '[a,b]'", f"'cry {' '.join(command)} --help' tells more")

    def test_GroupsNameTheirCommands(self):
        for group, members in self.groups.items():
            end = f"; 'cry {group}' has {', '.join(members)}; 'cry {group} --help' tells more\n"
            self.assertInputError(run(group), "a command is missing" + end)
            self.assertInputError(run(group, "nonsense"), "'nonsense' is not a command" + end)
            self.assertInputError(run(group, "--frob"), "unknown option '--frob'" + end)
            for more in (["--json"], [""], ["--"], ["-"], ["\x1b[31m"], [members[0].upper()], ["verify"]) if group == "key" else (["verify"],):
                result = run(group, *more)
                self.assertEqual((result.code, result.out == b""), (2, "--json" not in more), more)
                self.assertHarmless(result.err)


class KeyCommands(KeysTest):
    def test_EveryJsonBeginsWithItsFormat(self):
        signature = self.write("format.sig", self.sign(keys / "P-256"))
        for arguments, code in [
            (["hmac", "--key-hex", "00", data], 0),
            (["hmac", "--key-hex", "00", "/nowhere"], 2),
            (["random", "3"], 0),
            (["uuid"], 0),
            (["uuid", "--namespace", "dns", "--name", "x"], 0),
            (["uuid", "--parse", "6ba7b810-9dad-11d1-80b4-00c04fd430c8"], 0),
            (["uuid", "--parse", "x"], 1),
            (["key", "generate", "ec", "P-256"], 0),
            (["key", "generate", "rsa", "1024"], 0),
            (["key", "public", keys / "rsa.crt"], 0),
            (["key", "info", keys / "P-521"], 0),
            (["key", "curves"], 0),
            (["signature", "make", "--key", keys / "rsa", data], 0),
            (["signature", "check", "--key", keys / "P-256.pub", "--signature", signature, data], 0),
            (["signature", "check", "--key", keys / "P-384.pub", "--signature", signature, data], 1),
            (["signature", "convert", "--curve", "P-256", "--to", "raw", signature], 0),
        ]:
            for place in (len(arguments), 2 if arguments[0] in ("key", "signature") else 1):
                with self.subTest(arguments):
                    result = run(*arguments[:place], "--json", *arguments[place:])
                    self.assertEqual(result.code, code)
                    self.assertEqual(json.loads(result.out, object_pairs_hook=list)[0], ("format", 1))
                    self.assertTrue(result.out.endswith(b"}\n"))

    def test_ClosedStreamsAreNoDisaster(self):
        for arguments in (["hmac", "--key-hex", "00"], ["key", "info", "-"], ["signature", "convert", "--curve", "P-256", "--to", "raw"]):
            done = subprocess.run(["sh", "-c", '"$0" "$@" <&-', TOOL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, b"", b"cry: standard input: Bad file descriptor\n"))
        for arguments in (["random", "10"], ["uuid"], ["key", "generate", "ec", "P-256"]):
            done = subprocess.run(["sh", "-c", '"$0" "$@" >&-', TOOL, *arguments], stderr=subprocess.PIPE)
            self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard output: Bad file descriptor\n"))
        path = self.folder() / "out"
        done = subprocess.run(["sh", "-c", '"$0" "$@" <&- >&- 2>&-', TOOL, "random", "10", "--out", str(path)])
        self.assertEqual((done.returncode, path.stat().st_size), (0, 10))

    def test_DashIsAnArgumentAndNotAnOption(self):
        self.assertInputError(run("key", "info", "-", "-"), "one argument too many, '-'")

    def test_FilesDoNotTakeThePlaceOfClosedStreams(self):
        # The first file that is opened gets the number of standard input, but is not the data.
        signature = self.write("closed.sig", self.sign(keys / "rsa", what=b""))
        for arguments in (["signature", "make", "--key", keys / "rsa"], ["signature", "check", "--key", keys / "rsa.pub", "--signature", signature],
                          ["hmac", "--key-file", secret], ["signature", "check", "--key", keys / "rsa.pub", "--signature", "-", data],
                          ["hash", data, "-"]):  # fmt: skip
            with self.subTest(arguments):
                done = subprocess.run(["sh", "-c", '"$0" "$@" <&-', TOOL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr), (2, b"cry: standard input: Bad file descriptor\n"))

    def test_ColourIsForTerminalsOnly(self):
        signature = self.write("colour.sig", self.sign(keys / "P-256"))
        check = ["signature", "check", "--key", keys / "P-256.pub", "--signature", signature]
        self.assertTrue(run_on_terminal(*check, data, on={"out"}).out.startswith(b"\x1b[32mgood\x1b[0m: "))
        self.assertTrue(run_on_terminal(*check, signature, on={"out"}).out.startswith(b"\x1b[31mbad\x1b[0m: "))
        self.assertIn(b"check   \x1b[32mgood\x1b[0m\n", run_on_terminal("key", "info", keys / "rsa", on={"out"}).out)
        for arguments in ([*check, data, "--json"], ["key", "info", "--json", keys / "rsa"], ["key", "curves"], ["uuid"],
                          ["key", "public", keys / "rsa"]):  # fmt: skip
            self.assertNotIn(b"\x1b", run_on_terminal(*arguments, on={"out", "err"}).out)


class IdentityCommands(IdentityTest):
    def test_MissingArgumentsAreNamed(self):
        for arguments, missing in [
            (["certificate", "generate"], "--key"),
            (["request", "generate", "--domain", "a"], "--key"),
            (["request", "check"], "FILE"),
            (["pkcs12", "read", "--json"], "FILE"),
            (["pkcs12", "write"], "--key"),
            (["pkcs12", "write", "--key", "x"], "--certificate"),
            (["pkcs12", "write", "--key", "x", "--certificate", "y"], "--out"),
            (["name", "check"], "NAME"),
        ]:
            end = f"'cry {' '.join(arguments[:2])} --help' tells more\n"
            self.assertInputError(run(*arguments), f"{missing} is required; {end}")
        for command, option in [("certificate generate", "--key"), ("certificate generate", "--days"), ("request generate", "--common-name"),
                                ("pkcs12 read", "--out-key"), ("pkcs12 write", "--extra"), ("request check", "--key")]:  # fmt: skip
            self.assertInputError(run(*command.split(), option), f"{option}: 1 required ", " missing")
        self.assertInputError(run("certificate", "generate", "--key", file("ec.key"), "--force"), "--force requires --out")
        arguments = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", "-", "--no-password"]
        self.assertInputError(run(*arguments, "--extra", file("one.crt"), file("two.crt")), "one argument too many, ")
        for option in ("--key", "--certificate", "--out"):
            self.assertInputError(run(*arguments, option, "x"), f"{option}: ")

    def test_EveryJsonBeginsWithItsFormat(self):
        request, path = self.request(), self.export()
        for arguments, code in [
            (["certificate", "generate", "--key", file("ec.key")], 0),
            (["request", "generate", "--key", file("ec.key")], 0),
            (["request", "check", request], 0),
            (["request", "check", request, "--key", file("rsa.key")], 1),
            (["pkcs12", "read", path, "--password-file", secret], 0),
            (["pkcs12", "read", path, "--password-file", secret, "--out-key", self.folder() / "key"], 0),
            (["pkcs12", "write", "--key", file("ec.key"), "--certificate", file("ec.crt"), "--no-password", "--out", "/dev/null"], 0),
            (["name", "check", "bücher.example"], 0),
            (["name", "check", "a b"], 1),
        ]:
            if "--out-key" in arguments:
                arguments.append("--force")
            for place in (2, len(arguments)):
                with self.subTest(arguments):
                    result = self.assertDone(run(*arguments[:place], "--json", *arguments[place:]), code)
                    self.assertEqual(json.loads(result.out, object_pairs_hook=list)[0], ("format", 1))
                    self.assertTrue(result.out.endswith(b"}\n"))
                    self.assertTrue(result.out.isascii())

    def test_JsonOfFileNamesThatAreNotUtf8IsValid(self):
        path = bytes(scratch) + b"/name\xff\x1b.csr"
        shutil.copy(self.request(), path)
        answer = self.assertDone(run("request", "check", path, "--json")).json()
        self.assertEqual(bytes.fromhex(answer["fileHex"]), path)
        self.assertTrue(answer["file"].endswith("/name\\x{FF}\\u{1B}.csr"))
        result = run("request", "check", path, "--key", path)
        self.assertEqual(result.code, 2)
        self.assertHarmless(result.err)

    def test_StandardInputIsReadOnce(self):
        for arguments, content in [
            (["request", "check", "-", "--key", "-"], self.request().read_bytes()),
            (["pkcs12", "write", "--key", "-", "--certificate", "-", "--out", "-", "--no-password"], file("rsa.key").read_bytes()),
            (["pkcs12", "read", "-", "--password-fd", "0"], self.export().read_bytes()),
        ]:
            result = run(*arguments, stdin=content)
            self.assertEqual((result.code, result.out), (2, b""))
            self.assertIn("standard input", result.message)

    def test_ClosedStandardInputIsSaid(self):
        for arguments in (["request", "check", "-"], ["pkcs12", "read", "-"], ["certificate", "generate", "--key", "-"]):
            done = subprocess.run(["sh", "-c", '"$0" "$@" <&-', TOOL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, b"", b"cry: standard input: Bad file descriptor\n"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
