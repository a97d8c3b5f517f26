#!/usr/bin/env python3
"""What --json prints: its schema, errors and warnings. CRY_TOOL names the program."""

import json
import os
import re
import subprocess
import unittest
from pathlib import Path

import identity_fixture
import tool
from identity_fixture import IdentityTest, file
from pki_fixture import make_crl
from peers import openssl
from tool import PASSWORD, SCHEMA, Result, check_json, data, limited, run, secret

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "json.md"


def setUpModule():
    identity_fixture.make()


def members(schema):
    """The members of all objects in the schema, each with what it holds."""
    if isinstance(schema, dict):
        yield from schema.get("properties", {}).items()
        schema = list(schema.values())
    for each in schema if isinstance(schema, list) else []:
        yield from members(each)


def objects(schema):
    if isinstance(schema, dict):
        if schema.get("type") == "object":
            yield schema
        schema = list(schema.values())
    for each in schema if isinstance(schema, list) else []:
        yield from objects(each)


class Schema(IdentityTest):
    def samples(self):
        """A good output of each kind, with the arguments for it."""
        signature = self.write("json.sig", run("signature", "make", "--key", file("ec.key"), data).out)
        pkcs12, key, named = self.make(), file("ec.key"), self.certificate("--domain", "a.example")
        for arguments in (
            ["--version"], ["verify", "--no-system", "--trust", file("rsa.crt"), file("rsa.crt")],
            ["verify", "--no-system", "--trust", file("ec.crt"), file("rsa.crt")],
            ["verify", "--no-system", "--trust", named, named, "--host", "a.example"],
            ["verify", "--no-system", "--trust", named, named, "--host", "b.example"],
            ["verify", "--no-system", "--trust", named, named, "/nowhere", named],
            ["crl", "check", "--crl", self.crl(), file("ec.crt")],
            ["inspect", file("ec.crt")], ["convert", "--to", "der", file("ec.crt"), "--out", self.folder() / "out"],
            ["tn-list", self.listed_numbers()], ["tn-list", file("ec.crt")],
            ["hash", data], ["hash", data, "/nowhere"], ["hash", "--check", self.write("sums", run("hash", data).out)], ["roots", "--count"],
            *self.vault_commands(), *self.stack_commands(), *self.token_commands(),
            ["hmac", "--key-hex", "00", data], ["random", "3"], ["random", "--base64", "3"], ["uuid"], ["uuid", "--parse", "x"],
            ["uuid", "--parse", "6ba7b810-9dad-11d1-80b4-00c04fd430c8"], ["key", "generate", "ec", "P-256"], ["key", "public", key],
            ["key", "info", key], ["key", "curves"],
            ["signature", "make", "--key", key, data], ["signature", "check", "--key", key, "--signature", signature, data],
            ["signature", "convert", "--curve", "P-256", "--to", "raw", signature], ["certificate", "generate", "--key", key],
            ["request", "generate", "--key", key], ["request", "check", self.request("--domain", "a.example")],
            ["pkcs12", "read", pkcs12, "--password-file", secret], ["name", "check", "a.b"], ["name", "check", "a b"],
            ["pkcs12", "write", "--key", key, "--certificate", file("ec.crt"), "--no-password", "--out", self.folder() / "out"],
            ["hash", "/nowhere", "--algorithm", "x"],
        ):  # fmt: skip
            arguments = [*map(str, arguments), "--json"]
            yield arguments, run(*arguments)

    def vault_commands(self):
        """They are run in this order. The first two have the arguments that say no."""
        more, pair = ["--state-dir", self.folder()], ["--key", file("ec.key"), "--certificate", file("ec.crt")]
        steps = (["show", "a"], ["delete", "a"], ["set", "a", *pair], ["list"], ["show", "a"], ["delete", "a"])
        return [["vault", *step, *more] for step in steps]

    def stack_commands(self):
        """With and without an identity."""
        pair, config = ["--key", file("ec.key"), "--certificate", file("ec.crt")], self.private("stack.json", "{}")
        identity = self.private("identity.json", run("stack", "options", *pair, "--trusted-san", "a.example").out)
        steps = (["run", "--once", "--config", config], ["run", "--once", "--config", identity], ["options", "--trust-identity"],
                 ["options", *pair, "--out", self.folder() / "out"], ["normalize", "--config", identity],
                 ["normalize", "--config", identity, "--out", self.folder() / "out"])  # fmt: skip
        return [["stack", *step] for step in steps]

    def token_commands(self):
        """A token whose certificate leads nowhere. They are run in this order."""
        folder = self.folder()
        token, bundle = folder / "token", folder / "bundle"
        return [["token", "sign", "--key", file("ec.key"), "--certificate", file("ec.crt"), "--out", token, data], ["token", "verify", token, data],
                ["token", "show", token], ["token", "root"], ["bundle", "pack", "--token", token, "--out", bundle, data],
                ["bundle", "unpack", "--out", folder / "out", bundle], ["bundle", "unpack", "--no-verify", "--out", folder / "out", bundle],
                ["bundle", "verify", bundle]]  # fmt: skip

    def crl(self):
        """An empty list of the certificate ec.crt."""
        return make_crl(file("ec.crt"), file("ec.key"), self.folder() / "crl", end="20990101000000Z")
    def listed_numbers(self):
        """A certificate with a telephone number authorization list."""
        openssl("req", "-x509", "-new", "-config", "config", "-key", "ec.key", "-subj", "/CN=a", "-addext",
                "1.3.6.1.5.5.7.1.26=DER:3008a006160431323334", "-out", "numbers.crt")  # fmt: skip
        return file("numbers.crt")

    def listed(self, *group):
        return re.findall(r"(?m)^  (\S+) ", run(*group, "--help").text.partition("\nSubcommands:\n")[2])

    def test_EveryCommandHasADefinition(self):
        names = {f"command-{name}" for name in self.listed() if not self.listed(name)} | {"command-version"}
        names |= {f"command-{group}-{name}" for group in self.listed() for name in self.listed(group)}
        self.assertEqual({name for name in SCHEMA["$defs"] if name.startswith("command-")}, names)
        self.assertEqual({each["$ref"] for each in SCHEMA["anyOf"]}, {f"#/$defs/{name}" for name in names | {"error"}})
        self.assertEqual({tool.definition_of(arguments) for arguments, _ in self.samples()}, names)

    def test_NoObjectIsOpen(self):
        tool.Draft202012Validator.check_schema(SCHEMA)
        found = list(objects(SCHEMA))
        self.assertGreater(len(found), 30)
        for each in found:
            self.assertIs(each["additionalProperties"], False)
            self.assertLessEqual(set(each["required"]), set(each["properties"]))

    def test_AMemberMeansTheSameEverywhere(self):
        kinds = {}
        for name, kind in members(SCHEMA):
            kinds.setdefault(name, set()).add(json.dumps(kind))
        # One command has not all verdicts or variants. Files have a digest, a MAC or a verdict.
        # Keys and names have a type. Each kind of item has other members.
        several = {name for name, kind in kinds.items() if len(kind) > 1}
        self.assertEqual(several, {"verdict", "variant", "files", "type", "value", "kind"})
        for name, kind in (("key", "key"), ("certificate", "certificate"), ("file", "path"), ("out", "path"), ("error", "problem")):
            self.assertEqual(kinds[name], {json.dumps({"$ref": f"#/$defs/{kind}"})})

    def test_EveryMemberIsInTheDocument(self):
        text = DOCUMENT.read_text()
        self.assertEqual([name for name, _ in members(SCHEMA) if f"`{name}`" not in text and not name.endswith("Hex")], [])
        for name in SCHEMA["$defs"]:
            if name.startswith("command-") and name != "command-version":
                self.assertRegex(text, rf"(?m)^#+ cry {name.removeprefix('command-').replace('-', '[ -]')}$")

    def test_WrongOutputsAreRefused(self):
        for arguments, result in self.samples():
            check_json(arguments, result)
            answer = result.json()
            wrong = [answer | {"more": 1}, answer | {"format": 2}, {name: value for name, value in answer.items() if name != "format"},
                     dict(reversed(answer.items())), answer | {"warnings": [{"message": "x"}]}]  # fmt: skip
            needed = set(answer) - {"problems", "source", "changed"}
            wrong += [{name: value for name, value in answer.items() if name != left} for left in needed]
            wrong += [answer | {name: [value]} for name, value in answer.items()]
            for each in wrong:
                if each == answer and list(each) == list(answer):
                    continue
                with self.subTest(arguments, wrong=each), self.assertRaises(AssertionError):
                    check_json(arguments, Result(result.code, json.dumps(each).encode(), result.err))

    def test_RunChecksEveryOutput(self):
        program = self.write("program", "#!/bin/sh\necho \"$ANSWER\"\n")
        program.chmod(0o755)
        self.addCleanup(setattr, tool, "TOOL", tool.TOOL)
        tool.TOOL = program
        good = {"format": 1, "given": "a", "verdict": "good", "ascii": "a", "unicode": "a"}
        for answer, passes in ((good, True), (good | {"verdict": "great"}, False), ("no JSON", False)):
            environment = {**os.environ, "ANSWER": json.dumps(answer) if passes or answer != "no JSON" else answer}
            if passes:
                self.assertEqual(run("name", "check", "--json", "a", env=environment).json(), good)
                continue
            with self.assertRaises((AssertionError, json.JSONDecodeError)):
                run("name", "check", "--json", "a", env=environment)
            self.assertIn(b"", run("name", "check", "a", env=environment).out)


class Errors(IdentityTest):
    def assertError(self, result, **expected):
        self.assertEqual((result.code, list(result.json())), (2, ["format", "error"]))
        self.assertEqual(result.json()["error"], {"message": result.message.removeprefix("cry: ").removesuffix("\n"), **expected})

    def test_FilesAndLinesAreMembers(self):
        broken = self.write("broken.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n!\n-----END CERTIFICATE-----\n")
        empty = self.write("empty.pem", "")
        locked = self.private("locked.key", identity_fixture.openssl("pkey", "-in", "ec.key", "-aes128", "-passout", "pass:other"))
        taken = self.write("taken", "x")
        for arguments, where in [
            (["verify", broken], {"file": str(broken), "line": 3}),
            (["verify", empty], {"file": str(empty)}),
            (["verify", "/nowhere"], {"file": "/nowhere"}),
            (["verify", "-"], {"file": "-"}),
            (["key", "info", broken], {"file": str(broken), "line": 3}),
            (["key", "info", empty], {"file": str(empty)}),
            (["key", "info", locked, "--password-file", secret], {"file": str(locked), "line": 1}),
            (["key", "info", locked, "--password-file", "/nowhere"], {"file": "/nowhere"}),
            (["request", "check", empty], {"file": str(empty)}),
            (["pkcs12", "read", empty], {"file": str(empty)}),
            (["signature", "convert", "--curve", "P-256", "--to", "raw", empty], {"file": str(empty)}),
            (["uuid", "--out", taken], {"file": str(taken)}),
            (["uuid", "--out", "/nowhere/out"], {"file": "/nowhere/out"}),
            (["random", "0"], {}),
            (["name", "check", b"\xff"], {}),
        ]:
            with self.subTest(arguments):
                self.assertError(run(*arguments, "--json", start_new_session=True), **where)

    def test_WrongArgumentsAreJsonToo(self):
        for arguments in (["--json"], ["--json", "frob"], ["frob", "--json"], ["hash", "--json", "--frob"], ["key", "--json"],
                          ["--json", "hash", "x"], ["verify", "--json"],
                          ["--json=true", "frob"], ["hash", "--json=true", "--frob"], ["key", "--json=1"], ["tn-list", "--json=yes", "a", "b"],
                          ["--json=false", "--json=on", "frob"], ["--json=0", "--json", "frob"], ["hash", "--json=x"], ["tn-list", "--json=", "x"],
                          ["uuid", "--count", "--json"], ["key", "info", "a", "b", "--json", "--", "c"]):  # fmt: skip
            with self.subTest(arguments):
                self.assertError(run(*arguments))
        for arguments in (["key", "info", "a", "--", "--json"], ["frob", "--jso"], ["hash", "--frob", "--", "--json"],
                          ["key", "info", "a", "b", "--json=false"], ["frob", "--json=on", "--json=off"],
                          ["hash", "--frob", "--", "--json=true"]):  # fmt: skip
            result = run(*arguments)
            self.assertEqual((result.code, result.out), (2, b""))

    def test_ErrorsBeforeTheCommandAreJsonToo(self):
        config = self.write("openssl.cnf", "openssl_conf=a\n[a]\nproviders=b\n[b]\nbase=c\n[c]\nactivate=1\n")
        self.assertError(run("hash", "--json", data, env={**os.environ, "OPENSSL_CONF": str(config)}))
        if not tool.instrumented():
            self.assertError(limited(["random", "--json", "400000000"], 300))

    def test_ErrorsThatCannotBePrintedAsJsonStayOnStandardError(self):
        for arguments in (["verify", "/nowhere"], ["--frob"]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([tool.TOOL, *arguments, "--json"], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE)
            self.assertEqual((done.returncode, done.stderr), (2, run(*arguments).err))

    def test_FileNamesThatAreNotUtf8LoseNothing(self):
        for name in (b"/nowhere/\xff\\\xfe", b"/nowhere/\xc3"):
            for arguments in (["hash", name], ["verify", name], ["uuid", "--out", name]):
                answer = run(*arguments, "--json").json()
                entry = answer["problems"][0] if arguments[0] == "hash" else answer["error"]
                self.assertEqual(bytes.fromhex(entry["fileHex"]), name)
                shown = entry["file"].encode().replace(b"\\\\", b"\\x{5C}")
                self.assertEqual(re.sub(rb"\\x\{(..)\}", lambda found: bytes.fromhex(found[1].decode()), shown), name)
        # Another name that looks like it is told apart.
        answer = run("verify", r"/nowhere/\x{FF}", "--json").json()
        self.assertEqual((answer["error"]["file"], "fileHex" in answer["error"]), (r"/nowhere/\x{FF}", False))
        answer = run("uuid", "--parse", b"\xff", "--json").json()
        self.assertEqual((answer["given"], answer["givenHex"]), (r"\x{FF}", "ff"))


class Warnings(IdentityTest):
    def test_WarningsOfFilesAreMembers(self):
        key, password = self.write("open.key", file("ec.key").read_bytes()), self.write("open.password", PASSWORD)
        for path in (key, password):
            path.chmod(0o644)
        for arguments, files in [
            (["key", "info", key], [key]),
            (["certificate", "generate", "--key", key], [key]),
            (["hmac", "--key-file", key, data], [key]),
            (["key", "info", file("guarded.key"), "--password-file", password], [password]),
            (["key", "info", file("ec.key")], None),
        ]:
            with self.subTest(arguments):
                result = run(*arguments, "--json")
                self.assertEqual(result.code, 0)
                warnings = result.json().get("warnings")
                self.assertEqual(warnings and [each["file"] for each in warnings], files and [str(each) for each in files])
        # An error does not hide them.
        result = run("key", "info", file("guarded.key"), "--password-file", self.write("open.password", "x"), "--json")
        self.assertEqual([list(result.json()), result.code], [["format", "error", "warnings"], 2])
        self.assertEqual(len(run("key", "generate", "rsa", "1024", "--json").json()["warnings"]), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
