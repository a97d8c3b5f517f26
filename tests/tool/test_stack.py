#!/usr/bin/env python3
"""`cry stack`. CRY_TOOL names the program."""

import json
import os
import queue
import signal
import subprocess
import threading
import time
import unittest

import identity_fixture
from identity_fixture import IdentityTest, file, text_of
from peers import der_of, openssl
from pki_fixture import fingerprint
from tool import TOOL, mode_of, run, secret, validator

PREFIX = "CRY_X509_POLICY_FLAG_"
TIME = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"


def setUpModule():
    identity_fixture.make()


def pair(name):
    return ["--key", file(f"{name}.key"), "--certificate", file(f"{name}.crt")]


def print_of(name):
    return fingerprint(der_of(text_of(name)))


class StackTest(IdentityTest):
    def options(self, *arguments):
        """The configuration that these options make, as Python has it."""
        return self.assertDone(run("stack", "options", *arguments)).json()

    def config(self, *arguments, name="stack.json"):
        """A file with the configuration that these options make."""
        path = self.folder() / name
        self.assertDone(run("stack", "options", *arguments, "--out", path))
        return path

    def once(self, path, *more):
        return self.assertDone(run("stack", "run", "--once", "--config", path, "--json", *more)).json()


class Options(StackTest):
    def test_OnlyWhatIsGivenIsWritten(self):
        self.assertEqual(self.options(), {})
        self.assertEqual(self.options("--identity-mode", "generate", "--trust-identity"),
                         {"identityMode": "CRY_X509_STACK_IDENTITY_MODE_GENERATE", "trustIdentity": True})  # fmt: skip
        self.assertEqual(self.options("--no-trust-identity", "--identity-mode=Fixed"),
                         {"identityMode": "CRY_X509_STACK_IDENTITY_MODE_FIXED", "trustIdentity": False})  # fmt: skip
        made = self.options("--identity-mode", "vault", "--vault-identifier", "www", "--trust-mode", "synchronized", "--trust", file("ec.crt"),
                            "--trust", file("extras.crt"), "--synchronized", file("rsa.crt"), "--trusted-san", "a.example",
                            "--trusted-san", "2001:db8::1", "--policy", "disable-validation")  # fmt: skip
        pem = lambda name: text_of(name).splitlines()
        self.assertEqual(made, {
            "identityMode": "CRY_X509_STACK_IDENTITY_MODE_VAULT", "identityVaultIdentifier": "www",
            "trustMode": "CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED", "synchronizedTrustedCertificates": [pem("rsa")],
            "trustedCertificates": [pem(name) for name in ("ec", "one", "two", "three")],
            "trustedSans": [{"type": "CRY_X509_SAN_TYPE_DNS_NAME", "dnsName": "a.example"},
                            {"type": "CRY_X509_SAN_TYPE_IP_ADDRESS", "ipAddress": "2001:db8::1"}],
            "policyFlags": PREFIX + "DISABLE_VALIDATION"})  # fmt: skip

    def test_TheIdentityIsTheFilesOwn(self):
        made = self.options(*pair("ec"), "--extra", file("extras.crt"))["identity"]
        key = openssl("pkcs8", "-topk8", "-nocrypt", "-in", "ec.key").decode().splitlines()
        self.assertEqual((made["privateKey"], made["certificate"]), (key, text_of("ec").splitlines()))
        self.assertEqual(made["extraCertificates"], [text_of(name).splitlines() for name in identity_fixture.EXTRAS])
        guarded = run("stack", "options", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--password-file", secret)
        self.assertEqual(self.assertDone(guarded).json()["identity"]["privateKey"], key)
        self.assertInputError(run("stack", "options", "--key", file("rsa.key"), "--certificate", file("ec.crt")),
                              f"{file('rsa.key')}: the private key does not belong to the certificate in ")  # fmt: skip
        self.assertInputError(run("stack", "options", "--key", file("ec.key")), "--key requires --certificate")

    def test_FlagsMayBeSpelledInManyWays(self):
        for name in ("Disable_Subject-checks", PREFIX + "DISABLE_SUBJECT_CHECKS", "cry-x509-policy-flag-disable-subject-checks"):
            made = self.options("--policy", name, "--policy", "lenient-ip-address-subject-checks")
            self.assertEqual(made["policyFlags"], f"{PREFIX}DISABLE_SUBJECT_CHECKS|{PREFIX}LENIENT_IP_ADDRESS_SUBJECT_CHECKS")

    def test_WrongValuesAreRefused(self):
        for arguments, *parts in (
            (["--identity-mode", "x"], "--identity-mode: 'x' is none of fixed, generate and vault"),
            (["--trust-mode", "vault"], "--trust-mode: 'vault' is none of fixed, system and synchronized"),
            (["--policy", "x"], "--policy: 'x' is unknown; known are disable-validation, disable-subject-checks, "),
            (["--vault-identifier", "a b"], "--vault-identifier: 'a b' is not an identifier"),
            (["--trusted-san", "a b"], "--trusted-san: "),
            (["--trust-identity", "--no-trust-identity"], "--trust-identity excludes --no-trust-identity"),
            (["--trust", "-", "--synchronized", "-"], "only one of the inputs can be standard input"),
        ):
            self.assertInputError(run("stack", "options", *arguments), *parts)

    def test_AFileWithAKeyIsTheOwnersOnly(self):
        self.assertEqual([oct(mode_of(self.config(*more))) for more in (pair("ec"), ["--trust", file("ec.crt")])], ["0o600", "0o644"])

    def test_UselessSettingsAreWarnedOf(self):
        for arguments, warning in (
            (["--vault-identifier", "a"], "--vault-identifier is used only with --identity-mode vault"),
            (["--identity-mode", "vault"], "without --vault-identifier, a stack with --identity-mode vault has no identity"),
            (["--synchronized", file("ec.crt")], "--synchronized is used only with --trust-mode synchronized"),
            ([*pair("ec"), "--identity-mode", "generate"], "--key and --certificate are used only with --identity-mode fixed"),
        ):
            result = run("stack", "options", *arguments)
            self.assertEqual((result.code, result.message), (0, f"cry: warning: {warning}\n"))


class Normalize(StackTest):
    def test_OptionsAreNormalAlready(self):
        path = self.config(*pair("ec"), "--trust", file("rsa.crt"), "--trusted-san", "a.example", "--policy", "disable-validation")
        normal = lambda *more: self.assertDone(run("stack", "normalize", "--config", path, *more))
        self.assertEqual(normal("--with-private-key").out, path.read_bytes())
        given = json.loads(path.read_text())
        del given["identity"]["privateKey"]
        self.assertEqual(normal().json(), given)
        self.assertEqual(normal("--json").json()["configuration"], given)
        whole = normal("--defaults").json()
        self.assertEqual(whole, given | {"identityMode": "CRY_X509_STACK_IDENTITY_MODE_FIXED", "trustMode": "CRY_X509_STACK_TRUST_MODE_FIXED",
                                         "trustIdentity": False})  # fmt: skip
        for more, mode in (([], 0o644), (["--with-private-key"], 0o600)):
            out = self.folder() / "out"
            self.assertEqual((normal("--out", out, *more).out, mode_of(out)), (b"", mode))

    def test_WhatIsNotUsedIsNamedAndLeftOut(self):
        config = {"trustMod": 1, "identityMode": "fixed", "trustIdentity": True, "trustedCertificates": [text_of("ec").splitlines(), ["x"], 5],
                  "identity": {"certificate": [], "\x1b[2J": 1}, "trustedSans": [], "policyFlags": f" x | {PREFIX}DISABLE_VALIDATION"}  # fmt: skip
        result = run("stack", "normalize", "--config", "-", stdin=json.dumps(config).encode())
        self.assertEqual(result.code, 0)
        self.assertHarmless(result.err)
        self.assertEqual(result.message, "cry: warning: standard input: not used, since it is unknown or cannot be read: 'trustMod', 'identityMode', "
                         "2 of the list 'trustedCertificates', 'identity.certificate', 'identity.\\u{1B}[2J' and others\n")  # fmt: skip
        self.assertEqual(result.json(), {"identity": {}, "trustedCertificates": [text_of("ec").splitlines()], "trustIdentity": True,
                                         "policyFlags": PREFIX + "DISABLE_VALIDATION"})  # fmt: skip

    def test_ListInPlaceOfAnIdentityIsNotUsed(self):
        for content in (["x"], [{}, ["y"]], [[]]):
            result = run("stack", "normalize", "--config", "-", stdin=json.dumps({"identity": content}).encode())
            self.assertEqual((result.code, result.json()), (0, {"identity": {}}))
            self.assertEqual(result.message, "cry: warning: standard input: not used, since it is unknown or cannot be read: 'identity'\n")

    def test_WhatIsNoConfigurationIsRefusedWithItsPlace(self):
        for text, place, reason in (
            ("", "", "is empty"),
            ('{\n  "a": 1,\n  x}', ":3", "is not JSON: invalid literal (column 3)"),
            ('{"a": 1', ":1", "is not JSON: unexpected end of input; expected '}' (column 7)"),
            ('{\n"a": 1,\n"b": {},\n"a": 2}', ":4", "a key occurs twice in one object (column 3)"),
            ('{"a":\n1.5}', ":2", "a number has a fraction or an exponent, or is too large (column 4)"),
            ('{"a": 9223372036854775808}', ":1", "a number is too large (column 26)"),
            ('{"a":' * 200, ":1", "there are too many objects and lists in one another (column 641)"),
            ('\ufeff{}', "", "begins with a byte order mark, which JSON does not have"),
            ("[]", "", "is a list, not an object"),
            ("5", "", "is JSON, but neither an object nor of a size that can be read"),
            ('{"header": {"type": "CRY_VAULT"}, "store": {}}', "", "is a store of the type 'CRY_VAULT', not CRY_X509_STACK"),
        ):
            path = self.write("wrong.json", text)
            self.assertInputError(run("stack", "normalize", "--config", path), f"{path}{place}: {reason}\n")
        self.assertInputError(run("stack", "run", "--config", "/nowhere"), "/nowhere: No such file or directory")
        path = self.write("secret.json", '{"identity": {"privateKey": ["MIGHAgEA\n"]}}')
        self.assertNotIn("MIGH", run("stack", "run", "--config", path).message)

    def test_AStoreWithItsHeaderIsRead(self):
        path = self.write("headed.json", '{"header": {"type": "CRY_X509_STACK"}, "store": {"trustIdentity": true}}')
        self.assertEqual(self.assertDone(run("stack", "normalize", "--config", path)).json(), {"trustIdentity": True})


class Once(StackTest):
    def test_TheStateIsPrinted(self):
        path = self.config(*pair("ec"), "--trust", file("extras.crt"), "--trust-identity", "--trusted-san", "a.example", "--trusted-san", "192.0.2.1")
        answer = self.once(path)
        self.assertEqual((answer["identity"]["certificate"]["sha256"], answer["identity"]["key"]["type"]), (print_of("ec"), "EC"))
        self.assertEqual((answer["count"], answer["changes"], answer["added"], answer["removed"]), (4, [], [], []))
        until = answer["identity"]["certificate"]["validUntil"]
        self.assertRegex(self.assertDone(run("stack", "run", "--once", "--config", path)).text,
                         rf"^{TIME} identity: CN=ec, O=Test, valid until {until}, SHA-256 {print_of('ec')}\n"
                         rf"{TIME} trust: 4 certificates; a peer needs one of the names a.example, 192.0.2.1\n$")  # fmt: skip

    def test_AnIdentityIsGenerated(self):
        answer = self.once(self.config("--identity-mode", "generate", "--trust-identity"))
        self.assertEqual((answer["identity"]["key"]["type"], answer["identity"]["key"]["bits"], answer["count"]), ("RSA", 2048, 1))

    def test_ThePlatformsRootsAreTrusted(self):
        roots = int(run("roots", "--count").text)
        answer = self.once(self.config("--trust-mode", "system", "--trust", file("ec.crt")))
        self.assertEqual((answer["count"], answer["reason"]), (roots + 1, "the configuration has none"))

    def test_TheVaultIsReadIfItIsNeeded(self):
        state, path = self.folder(), self.config("--identity-mode", "vault", "--vault-identifier", "www")
        self.assertDone(run("vault", "set", "www", *pair("ec"), "--state-dir", state))
        self.assertEqual(self.once(path, "--state-dir", state)["identity"]["certificate"]["sha256"], print_of("ec"))
        usual = {**os.environ, "XDG_STATE_HOME": str(self.folder())}
        told = run("stack", "run", "--once", "--config", path, env=usual)
        self.assertIn("identity: none: the vault in ", self.assertDone(told).text)
        none = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_STATE_HOME")}
        self.assertInputError(run("stack", "run", "--once", "--config", path, env=none), "the vault has no directory: ")
        self.assertDone(run("stack", "run", "--once", "--config", self.config(), env=none))
        (state / "cry_vault.qmstore").write_text("x")
        self.assertInputError(run("stack", "run", "--once", "--config", path, "--state-dir", state), f"{state}/cry_vault.qmstore: is not the file")


    def test_NothingLeaks(self):
        path, wrong = self.config(*pair("ec"), "--trusted-san", "a.example"), self.write("wrong.json", '{"a": 1, "a": 2}')
        self.assertNothingLeaks((0, ["stack", "run", "--once", "--config", path, "--json"]), (0, ["stack", "options", *pair("ec"), "--json"]),
                                (0, ["stack", "normalize", "--config", path, "--json"]), (2, ["stack", "run", "--config", wrong]),
                                alsoValgrind=False)  # fmt: skip


class Run(StackTest):
    """Stacks that run until they are ended."""

    def begin(self, path, *more, **keywords):
        process = subprocess.Popen([TOOL, "stack", "run", "--config", path, *more], stdout=subprocess.PIPE, stderr=subprocess.PIPE, **keywords)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        process.lines = {name: self.lines(getattr(process, name)) for name in ("stdout", "stderr")}
        return process

    @staticmethod
    def lines(stream):
        """The lines of a stream, in a queue, so that nobody waits for ever."""
        found = queue.Queue()
        threading.Thread(target=lambda: [found.put(line.decode()) for line in iter(stream.readline, b"")], daemon=True).start()
        return found

    def next(self, process, stream="stdout"):
        return process.lines[stream].get(timeout=60)

    def object(self, process):
        answer = json.loads(self.next(process))
        self.assertEqual([], list(validator("command-stack-run").iter_errors(answer)))
        self.assertEqual(next(iter(answer)), "format")
        return answer

    def ends(self, process, number=signal.SIGTERM):
        process.send_signal(number)
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertTrue(all(each.empty() for each in process.lines.values()))

    def replace(self, path, *arguments):
        """Another file takes the place of a configuration, as many editors do it."""
        os.replace(self.config(*arguments), path)

    def test_ChangesAreLines(self):
        path = self.config(*pair("ec"), "--trust", file("extras.crt"))
        process = self.begin(path)
        self.assertRegex(self.next(process), f"^{TIME} identity: CN=ec, O=Test, valid until {TIME}, SHA-256 {print_of('ec')}\n$")
        self.assertRegex(self.next(process), f"^{TIME} trust: 3 certificates\n$")
        self.replace(path, "--trust", file("one.crt"), "--trust", file("rsa.crt"))
        self.assertRegex(self.next(process), f"^{TIME} configuration: read again\n$")
        self.assertRegex(self.next(process), f"^{TIME} identity: none: the configuration has none\n$")
        self.assertRegex(self.next(process), f"^{TIME} trust: 2 certificates, 1 added, 2 removed\n$")
        # In place, and a change that the state does not show.
        path.write_text(json.dumps(json.loads(path.read_text()) | {"trustIdentity": False}))
        self.assertRegex(self.next(process), f"^{TIME} configuration: read again\n$")
        # The same content is no change.
        os.utime(path)
        time.sleep(1.5)
        self.ends(process, signal.SIGINT)

    def test_ChangesAreObjects(self):
        path = self.config(*pair("ec"), "--trust", file("one.crt"))
        process = self.begin(path, "--json")
        first = self.object(process)
        self.assertEqual((first["changes"], first["identity"]["certificate"]["sha256"], first["count"]), ([], print_of("ec"), 1))
        self.replace(path, *pair("ec"), "--trust", file("two.crt"), "--trusted-san", "a.example")
        second = self.object(process)
        self.assertEqual((second["changes"], second["identity"]), (["configuration", "trust"], first["identity"]))
        self.assertEqual([[each["subject"] for each in second[name]] for name in ("added", "removed")], [["CN=two, O=Test"], ["CN=one, O=Test"]])
        self.assertEqual([each["dnsName"] for each in second["trustedSans"]], ["a.example"])
        path.write_text("{\n,}")
        third = self.object(process)
        self.assertEqual((third["changes"], third["count"], third["trustedSans"]), ([], 1, second["trustedSans"]))
        message = f"{path}:2: is not JSON: unexpected ','; expected string literal (column 1); what was read before stays"
        self.assertEqual(third["problems"], [{"message": message, "file": str(path), "line": 2}])
        self.assertEqual(self.next(process, "stderr"), f"cry: {message}\n")
        path.write_text('{"a": 1}')
        fourth = self.object(process)
        self.assertEqual((fourth["changes"], fourth["count"], "problems" in fourth), (["configuration", "identity", "trust"], 0, False))
        self.assertIn("'a'", fourth["warnings"][0]["message"])
        self.assertIn("'a'", self.next(process, "stderr"))
        self.ends(process)

    def test_AFileThatGoesIsToldOnce(self):
        path = self.config("--trust", file("one.crt"))
        process = self.begin(path)
        self.next(process), self.next(process)
        path.unlink()
        self.assertEqual(self.next(process, "stderr"), f"cry: {path}: No such file or directory; what was read before stays\n")
        path.mkdir()
        self.assertEqual(self.next(process, "stderr"), f"cry: {path}: is not a file any more; what was read before stays\n")
        path.rmdir()
        self.replace(path, "--trust", file("extras.crt"))
        while "trust: " not in (line := self.next(process)):
            pass
        self.assertRegex(line, f"^{TIME} trust: 3 certificates, 2 added, 0 removed\n$")
        process.lines["stderr"] = queue.Queue()
        self.ends(process)

    def test_TheVaultIsFollowed(self):
        state = self.folder()
        process = self.begin(self.config("--identity-mode", "vault", "--vault-identifier", "www"), "--state-dir", state)
        self.assertRegex(self.next(process), f"^{TIME} identity: none: the vault in {state} has no identity 'www'\n$")
        self.next(process)
        self.assertDone(run("vault", "set", "www", *pair("ec"), "--state-dir", state))
        self.assertIn(f"SHA-256 {print_of('ec')}\n", self.next(process))
        self.assertDone(run("vault", "set", "www", *pair("rsa"), "--state-dir", state))
        self.assertIn(f"SHA-256 {print_of('rsa')}\n", self.next(process))
        self.ends(process)

    def test_AClosedOutputEndsItQuietly(self):
        process = subprocess.Popen([TOOL, "stack", "run", "--config", self.config()], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.kill)
        process.stdout.readline(), process.stdout.readline()
        process.stdout.close()
        self.assertEqual((process.wait(timeout=60), process.stderr.read()), (0, b""))
        process.stderr.close()

    def test_StandardInputIsReadOnce(self):
        process = self.begin("-", stdin=subprocess.PIPE)
        process.stdin.write(b'{"trustIdentity": true}')
        process.stdin.close()
        self.assertIn("identity: none", self.next(process))
        self.assertIn("trust: 0 certificates\n", self.next(process))
        process.stdin = None
        time.sleep(1.5)
        self.ends(process)


if __name__ == "__main__":
    unittest.main(verbosity=2)
