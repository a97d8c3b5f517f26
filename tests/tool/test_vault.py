#!/usr/bin/env python3
"""`cry vault`. CRY_TOOL names the program."""

import ctypes
import fcntl
import json
import os
import subprocess
import unittest

import identity_fixture
from identity_fixture import IdentityTest, file
from peers import openssl
from tool import TOOL, mode_of, run, secret

NAMES = ("a", "A", "web.example_1-2", "_", "0" * 255)
NO_NAMES = ("", " ", "a b", ".a", "-a", "a/b", "../a", "é", "a\n", "0" * 256)


def setUpModule():
    identity_fixture.make()


class Opens:
    """Counts how often files in a folder are opened, by any process."""

    IN_OPEN, IN_NONBLOCK, HEADER = 0x20, 0o4000, 16

    def __init__(self, folder):
        libc = ctypes.CDLL(None, use_errno=True)
        self.file = libc.inotify_init1(self.IN_NONBLOCK)
        if self.file < 0 or libc.inotify_add_watch(self.file, os.fsencode(folder), self.IN_OPEN) < 0:
            raise OSError(ctypes.get_errno(), "inotify")

    def count(self):
        try:
            events = os.read(self.file, 1 << 16)
        except BlockingIOError:
            return 0
        found = 0
        while events:
            found += 1
            events = events[self.HEADER + int.from_bytes(events[12:16], "little") :]
        return found


class VaultTest(IdentityTest):
    def setUp(self):
        self.state = self.folder() / "state" / "cry"
        self.vault = self.state / "cry_vault.qmstore"

    def vault_run(self, command, *arguments, **more):
        return run("vault", command, "--state-dir", self.state, *arguments, **more)

    def set(self, name, *more, key="ec", certificate=None, **keywords):
        pair = ["--key", file(f"{key}.key"), "--certificate", file(certificate or f"{key}.crt")]
        return self.vault_run("set", *pair, *more, "--", name, **keywords)

    def names(self):
        answer = self.assertDone(self.vault_run("list", "--json")).json()
        self.assertEqual(answer["count"], len(answer["identities"]))
        return [each["identifier"] for each in answer["identities"]]

    def edit(self, change):
        """Changes the vault's file as a person would."""
        text = self.vault.read_text()
        begin = text.index('"items"')
        start = text.rindex("{", 0, begin)
        store, length = json.JSONDecoder().raw_decode(text[start:])
        change(store["items"])
        self.vault.write_text(text[:start] + json.dumps(store) + text[start + length :])


class Identities(VaultTest):
    def test_WhatIsSetIsListedShownAndDeleted(self):
        self.assertEqual(self.assertDone(self.vault_run("list")).text, f"the vault in {self.state} is empty\n")
        self.assertFalse(self.state.exists())
        self.assertEqual(self.assertDone(self.set("www")).text, f"www was added in {self.state}\n")
        self.assertDone(self.set("api", key="rsa"))
        self.assertEqual((mode_of(self.state), mode_of(self.vault)), (0o700, 0o600))
        self.assertRegex(self.assertDone(self.vault_run("list")).text,
                         r"^api  RSA, 2048 bits; CN=rsa, O=Test, by CN=rsa, O=Test, until [0-9TZ:-]+\n"
                         r"www  EC prime256v1, 256 bits; CN=ec, O=Test, by CN=ec, O=Test, until [0-9TZ:-]+\n$")  # fmt: skip
        self.assertRegex(self.assertDone(self.vault_run("show", "www")).text,
                         r"^private key  EC prime256v1, 256 bits\ncertificate  CN=ec, O=Test\n {13}issuer       CN=ec, O=Test\n(?s:.*)"
                         r" {13}SHA-256      [0-9A-F:]{95}\n$")  # fmt: skip
        self.assertEqual(self.assertDone(self.vault_run("delete", "api")).text, f"api was deleted from {self.state}\n")
        self.assertEqual(self.names(), ["www"])
        self.assertEqual(self.taken(self.state), ["cry_vault.lock", "cry_vault.qmstore"])

    def test_TheFileHoldsTheKeyAndTheCertificates(self):
        extra = self.write("more.crt", identity_fixture.text_of("two"))
        made = self.write("chain.crt", identity_fixture.text_of("ec") + identity_fixture.text_of("one"))
        self.assertDone(self.vault_run("set", "a", "--key", file("ec.key"), "--certificate", made, "--extra", extra))
        held = self.vault.read_text()
        for pem in (openssl("pkcs8", "-topk8", "-nocrypt", "-in", "ec.key").decode(), *map(identity_fixture.text_of, ("ec", "one", "two"))):
            for line in pem.splitlines():
                self.assertIn(f'"{line}"', held)
        identity = self.assertDone(self.vault_run("show", "a", "--json")).json()["identity"]
        said = openssl("x509", "-in", "ec.crt", "-noout", "-fingerprint", "-sha256").decode().strip().partition("=")[2]
        self.assertEqual((identity["certificate"]["sha256"], identity["key"]), (said, identity["certificate"]["key"]))
        self.assertEqual([each["subject"] for each in identity["certificates"]], ["CN=one, O=Test", "CN=two, O=Test"])
        text = self.assertDone(self.vault_run("show", "a")).text
        self.assertIn("further      CN=one, O=Test\n", text)
        for line in openssl("pkcs8", "-topk8", "-nocrypt", "-in", "ec.key").decode().splitlines():
            self.assertNotIn(line, text)

    def test_ANameThatIsThereIsReplaced(self):
        self.assertDone(self.set("a"))
        answer = self.assertDone(self.set("a", "--json", key="rsa")).json()
        self.assertEqual((answer["replaced"], answer["identity"]["key"]["type"]), (True, "RSA"))
        self.assertEqual(self.assertDone(self.set("a")).text, f"a was replaced in {self.state}\n")
        self.assertEqual(self.names(), ["a"])

    def test_ProtectedKeysAreReadWithTheirPassword(self):
        result = self.set("a", "--password-file", secret, key="guarded", certificate="ec.crt")
        self.assertDone(result)
        self.assertEqual(self.vault_run("show", "a", "--json").json()["identity"]["key"]["type"], "EC")
        result = self.set("b", key="guarded", certificate="ec.crt", start_new_session=True)
        self.assertInputError(result, f"{file('guarded.key')}: is protected by a password")

    def test_AKeyThatIsNotTheCertificatesIsRefused(self):
        for key, certificate in (("ec", "rsa.crt"), ("rsa", "ec.crt"), ("other", "ec.crt")):
            result = self.set("a", key=key, certificate=certificate)
            self.assertInputError(result, f"{file(key + '.key')}: the private key does not belong to the certificate in {file(certificate)}\n")
        self.assertFalse(self.state.exists())

    def test_ACertificateWithAnUnreadableKeyIsRefused(self):
        der = bytearray(openssl("x509", "-in", "ec.crt", "-outform", "DER"))
        der[der.index(bytes.fromhex("2a8648ce3d0301")) + 6] = 0x7F  # another curve, which there is not
        certificate = self.write("curve.crt", bytes(der))
        result = self.vault_run("set", "a", "--key", file("ec.key"), "--certificate", certificate)
        self.assertInputError(result, f"{certificate}: the key of the certificate cannot be read\n")

    def test_OnlyOneInputIsStandardInput(self):
        result = self.vault_run("set", "a", "--key", "-", "--certificate", "-")
        self.assertInputError(result, "only one of the inputs can be standard input")

    def test_NamesAreIdentifiers(self):
        for name in NAMES:
            self.assertDone(self.set(name))
        self.assertEqual(self.names(), sorted(NAMES))
        for name in NO_NAMES:
            for result in (self.set(name), self.vault_run("show", "--", name), self.vault_run("delete", "--", name)):
                self.assertInputError(result, "NAME: ", " is not an identifier: 1 to 255 of the characters A-Z, a-z, 0-9, '.', '_' and '-'")

    def test_UnknownNamesAreANegativeAnswer(self):
        for before in (False, True):
            if before:
                self.assertDone(self.set("a"))
            for command in ("show", "delete"):
                result = self.assertDone(self.vault_run(command, "b"), 1)
                self.assertEqual(result.text, f"none: the vault in {self.state} has no identity 'b'\n")
                answer = self.assertDone(self.vault_run(command, "b", "--json"), 1).json()
                self.assertEqual((answer["verdict"], answer["identifier"]), ("bad", "b"))
            self.assertEqual(self.state.exists(), before)
        self.assertEqual(self.names(), ["a"])

    def test_NothingLeaks(self):
        more = ["--state-dir", self.state]
        self.assertNothingLeaks((0, ["vault", "set", "a", "--key", file("ec.key"), "--certificate", file("ec.crt"), *more]),
                                (0, ["vault", "list", *more]), (0, ["vault", "show", "a", *more]), (1, ["vault", "show", "b", *more]),
                                (0, ["vault", "delete", "a", *more]), alsoValgrind=False)  # fmt: skip


class Directories(VaultTest):
    def test_TheEnvironmentNamesTheDirectory(self):
        folder = self.folder()
        pair = ["--key", file("ec.key"), "--certificate", file("ec.crt")]
        for variables, where in (({"XDG_STATE_HOME": str(folder / "x"), "HOME": str(folder / "h")}, folder / "x/cry"),
                                 ({"HOME": str(folder / "h")}, folder / "h/.local/state/cry"),
                                 ({"XDG_STATE_HOME": "", "HOME": str(folder / "i")}, folder / "i/.local/state/cry"),
                                 ({"XDG_STATE_HOME": "relative", "HOME": str(folder / "j")}, folder / "j/.local/state/cry")):  # fmt: skip
            environment = {**{name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_STATE_HOME")}, **variables}
            self.assertEqual(self.assertDone(run("vault", "set", "a", *pair, env=environment, cwd=folder)).text, f"a was added in {where}\n")
            self.assertTrue((where / "cry_vault.qmstore").is_file())
        environment = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_STATE_HOME")}
        for more in ({}, {"HOME": "relative"}):
            self.assertInputError(run("vault", "list", env={**environment, **more}), "the vault has no directory: ", "give --state-dir")

    def test_DirectoriesThatCannotBeUsed(self):
        self.assertInputError(run("vault", "list", "--state-dir", ""), "--state-dir: the name is empty")
        self.assertInputError(run("vault", "list", "--state-dir", b"\xff"), "--state-dir: '\\x{FF}' is not text in UTF-8")
        self.state = self.write("a file", "x")
        self.assertInputError(self.set("a"), f"{self.state}: is not a directory and cannot be made one")

    def test_NoOtherCommandReadsTheVault(self):
        self.assertDone(self.set("a"))
        environment = {**os.environ, "XDG_STATE_HOME": str(self.state.parent)}
        opens = Opens(self.state)
        self.addCleanup(os.close, opens.file)
        for arguments in (["uuid"], ["roots", "--count"], ["key", "info", file("ec.key")], ["--version"], ["vault", "--help"]):
            self.assertDone(run(*arguments, env=environment))
            self.assertEqual(opens.count(), 0, arguments)
        self.assertDone(run("vault", "list", env=environment))
        self.assertGreater(opens.count(), 0)


class Files(VaultTest):
    """Files that cannot be read or written."""

    def test_AVaultThatCannotBeReadStays(self):
        self.assertDone(self.set("a"))
        good = self.vault.read_bytes()
        for content in (b"", b"x", good[: len(good) // 2], good.replace(b"CRY_VAULT", b"CRY_OTHER")):
            self.vault.write_bytes(content)
            results = [self.vault_run(*command) for command in (["list"], ["show", "a"], ["delete", "a"], ["delete", "a", "--force"])]
            for result in (*results, self.set("b"), self.set("b", "--json")):
                self.assertInputError(result, f"{self.vault}: is not the file of a vault, or is damaged; there is no backup that can be read")
                self.assertEqual(self.vault.read_bytes(), content)
            self.assertEqual(["--force" in self.set("b").message, "--force" in self.vault_run("delete", "a").message], [True, False])
            self.assertDone(self.set("b", "--force"))
            self.assertEqual(self.names(), ["b"])
            self.assertEqual(self.taken(self.state), ["cry_vault.lock", "cry_vault.qmstore"])

    def test_TheBackupIsRead(self):
        self.assertDone(self.set("a"))
        for content in (None, b"x"):
            os.replace(self.vault, self.state / "cry_vault-backup.qmstore")
            if content is not None:
                self.vault.write_bytes(content)
            self.assertEqual(self.names(), ["a"])
            self.assertDone(self.set("b"))
            self.assertEqual(self.names(), ["a", "b"])
            self.assertDone(self.vault_run("delete", "b"))

    def test_ItemsThatCannotBeReadAreNotLost(self):
        def spoil(items):
            items[-1]["type"] = "CRY_VAULT_ITEM_TYPE_OTHER"

        def add(items):
            items[-1]["label"] = "x"

        def twice(items):
            items.append(items[-1])

        def keyless(items):
            items[-1]["identity"]["privateKey"] = {}

        for change in (spoil, add, twice, keyless):
            with self.subTest(change.__name__):
                for name in "ab":
                    self.assertDone(self.set(name, "--force"))
                self.edit(change)
                before = self.vault.read_bytes()
                listed = self.vault_run("list")
                self.assertEqual((listed.code, listed.message), (0, f"cry: warning: {self.vault}: 1 item in it cannot be read completely\n"))
                for result in (self.set("c"), self.vault_run("delete", "a")):
                    self.assertInputError(result, f"{self.vault}: 1 item in it cannot be read completely, and would be lost; nothing was changed")
                self.assertEqual(self.vault.read_bytes(), before)
                self.assertDone(self.vault_run("delete", "a", "--force"))
                self.assertNotIn("a", self.names())

    def test_AFileThatCannotBeWrittenIsNamed(self):
        self.vault.mkdir(parents=True)
        for more in ([], ["--force"]):
            result = self.set("a", *more)
            self.assertInputError(result, f"{self.vault}: ")
        self.assertIn("cannot be written", result.message)


class Processes(VaultTest):
    """Several processes that use one vault."""

    def command(self, name):
        return [TOOL, "vault", "set", name, "--key", file("ec.key"), "--certificate", file("ec.crt"), "--state-dir", self.state]

    def test_ChangesWaitForOtherProcessesAndLoseNothing(self):
        self.assertDone(self.set("b"))
        other = self.vault.read_bytes()
        self.assertDone(self.vault_run("delete", "b"))
        for kept, expected in ((other, ["a", "b"]), (None, ["a"])):
            with open(self.state / "cry_vault.lock") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                process = subprocess.Popen(self.command("a"), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.addCleanup(process.communicate)
                line = process.stderr.readline().decode()
                self.assertEqual(line, f"cry: {lock.name}: another process has the lock; waiting for it\n")
                self.assertIsNone(process.poll())
                # The process has read the vault at its start.
                self.vault.unlink()
                if kept:
                    self.vault.write_bytes(kept)
            self.assertEqual(process.wait(timeout=60), 0)
            self.assertEqual(self.names(), expected)

    def test_ManyAtATimeLoseNothing(self):
        names = [f"n{number}" for number in range(12)]
        processes = [subprocess.Popen(self.command(name), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for name in names]
        self.assertEqual([process.wait(timeout=120) for process in processes], [0] * len(names))
        self.assertEqual(self.names(), sorted(names))

    def test_NobodyWaitsWhileAPasswordIsRead(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, writer)
        command = [*self.command("a"), "--password-fd", str(reader)]
        command[command.index("--key") + 1] = file("guarded.key")
        process = subprocess.Popen(command, pass_fds=[reader], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        os.close(reader)
        self.assertDone(self.set("b", timeout=60))
        self.assertIsNone(process.poll())
        os.write(writer, secret.read_bytes())
        self.assertEqual(process.wait(timeout=60), 0)
        self.assertEqual(self.names(), ["a", "b"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
