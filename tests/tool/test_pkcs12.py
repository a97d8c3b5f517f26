#!/usr/bin/env python3
"""`cry pkcs12`, with openssl and certtool as its peers. CRY_TOOL names the program."""

import os
import random
import re
import resource
import signal
import subprocess
import time
import unittest

import identity_fixture
from identity_fixture import EXTRAS, IdentityTest, REVERSED, file, text_of
from peers import blocks_of, certtool, elements, joined, openssl, pem
from terminal import AtTerminal, open_at_terminal, run_on_terminal
from tool import IN_THE_WAY, MIB, PASSWORD, TOOL, Result, limited, mode_of, run, scratch, secret, wrong


def setUpModule():
    identity_fixture.make()


class ReadPkcs12(IdentityTest):
    """The tool reads the files that openssl and certtool write."""

    def test_FilesOfOpenssl(self):
        for how in [
            [],
            ["-legacy"],
            ["-legacy", "-descert"],
            ["-certpbe", "NONE"],
            ["-keypbe", "NONE"],
            ["-keypbe", "NONE", "-certpbe", "NONE"],
            ["-iter", "1"],
            ["-iter", "100000"],
            ["-noiter", "-nomaciter"],
            ["-macalg", "sha512"],
            ["-macalg", "sha1"],
            ["-certpbe", "AES-128-CBC", "-keypbe", "AES-192-CBC"],
            ["-certpbe", "CAMELLIA-256-CBC", "-keypbe", "ARIA-256-CBC"],
            ["-certpbe", "DES-EDE3-CBC", "-keypbe", "DES-EDE3-CBC"],
            ["-legacy", "-certpbe", "PBE-SHA1-RC2-128", "-keypbe", "PBE-SHA1-RC4-128"],
            ["-legacy", "-certpbe", "PBE-SHA1-RC2-40", "-keypbe", "PBE-SHA1-3DES"],
            ["-name", "A Friendly Näme", "-caname", "another"],
        ]:
            with self.subTest(how):
                path = self.export(*how, extras=EXTRAS)
                self.assertReads(path, "--password-file", secret, extras=REVERSED)
                self.assertWrongPassword(path)
                expected = f"{path}: is protected by a password, and there is no terminal to ask for it; give --password-file or --password-fd"
                self.assertInputError(run("pkcs12", "read", path, start_new_session=True), expected)

    def test_KeysOfOtherKinds(self):
        self.assertReads(self.export(key="ec", certificate="ec"), "--password-file", secret, key="ec", certificate="ec")
        for algorithm in ("ED25519", "ED448"):
            key = self.private("ed.key", openssl("genpkey", "-algorithm", algorithm))
            openssl("req", "-x509", "-new", "-config", "config", "-key", key, "-subj", "/O=Test/CN=ed", "-out", "ed.crt")
            answer = self.assertDone(run("pkcs12", "read", self.export(key="ed", certificate="ed"), "--password-file", secret, "--json")).json()
            self.assertEqual(answer["key"]["type"], algorithm)

    def test_CertificateIsTheOneOfTheKeyWhereverItStands(self):
        self.write("mixed.crt", text_of("one") + text_of("two") + text_of("rsa"))
        path = self.export(certificate="mixed")
        self.assertReads(path, "--password-file", secret, extras=["two", "one"])

    def test_JsonSaysWhatIsThere(self):
        path = self.export(extras=EXTRAS)
        answer = self.assertDone(run("pkcs12", "read", path, "--password-file", secret, "--json")).json()
        self.assertEqual(list(answer), ["format", "file", "key", "certificate", "certificates"])
        self.assertEqual((answer["format"], answer["file"], answer["key"]["type"], answer["key"]["bits"]), (1, str(path), "RSA", 2048))
        for name, facts in zip(["rsa", *REVERSED], [answer["certificate"], *answer["certificates"]]):
            said = openssl("x509", "-in", f"{name}.crt", "-noout", "-fingerprint", "-sha256").decode().strip().partition("=")[2]
            self.assertEqual((facts["sha256"], facts["subject"]), (said, f"CN={name}, O=Test"))

    def test_NoPasswordIsNeededWhereThereIsNone(self):
        for how in ([], ["-legacy"], ["-keypbe", "NONE", "-certpbe", "NONE", "-nomac"]):
            path = self.export(*how, password="", extras=["one"])
            self.assertReads(path, extras=["one"], start_new_session=True)
        path = self.export("-keypbe", "NONE", "-certpbe", "NONE", "-nomac", extras=["one"])
        self.assertReads(path, extras=["one"], start_new_session=True)
        self.assertReads(path, "--password-file", self.private("empty", ""), extras=["one"])

    def test_FilesWithoutMacButWithEncryptionAreReadOrRefused(self):
        # Some releases of OpenSSL need a MAC if there is a password.
        path = self.export("-nomac")
        result = run("pkcs12", "read", path, "--password-file", secret)
        if result.code:
            self.assertInputError(result, f"{path}: ", "mac absent")
        else:
            self.assertReads(path, "--password-file", secret)
        for result in (run("pkcs12", "read", path, "--password-file", wrong), run("pkcs12", "read", path, start_new_session=True)):
            self.assertInputError(result, f"{path}: ")

    def test_StandardInputAndOutput(self):
        content = self.export(extras=EXTRAS).read_bytes()
        key = openssl("pkcs8", "-topk8", "-nocrypt", "-in", "rsa.key")
        parts = {"--out-key": key, "--out-certificate": text_of("rsa").encode(), "--out-certificates": "".join(map(text_of, REVERSED)).encode()}
        for option, expected in parts.items():
            self.assertEqual(self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, option, "-", stdin=content)).out, expected)
        options = [part for option in parts for part in (option, "-")]
        result = self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, *options, stdin=content))
        self.assertEqual(result.out, b"".join(parts.values()))
        result = self.assertDone(run("pkcs12", "read", "-", "--password-file", secret, "--json", stdin=content))
        self.assertEqual(result.json()["file"], "-")

    def test_WithoutFurtherCertificatesTheirFileIsEmpty(self):
        self.assertReads(self.export(), "--password-file", secret, extras=())

    def test_FilesOfCerttool(self):
        for cipher in ("3des-pkcs12", "aes-256", "rc2-40", "arcfour"):
            certtool("--to-p12", "--load-privkey", "rsa.key", "--load-certificate", "rsa.crt", "--load-ca-certificate", "one.crt", "--p12-name",
                     "A Name", "--outder", "--pkcs-cipher", cipher, "--password", PASSWORD, "--outfile", "certtool.p12")  # fmt: skip
            path = file("certtool.p12")
            self.assertReads(path, "--password-file", secret, extras=["one"])
        self.assertWrongPassword(path)
        certtool("--to-p12", "--load-privkey", "ec.key", "--load-certificate", "ec.crt", "--p12-name", "n", "--outder", "--null-password",
                 "--outfile", "certtool.p12")  # fmt: skip
        self.assertReads(path, key="ec", certificate="ec", start_new_session=True)

    def refuses(self, content, *said, more=("--password-file",), name="strange.p12"):
        path = self.write(name, content)
        more = ["--password-file", secret] if more else []
        began = time.monotonic()
        folder = self.folder()
        self.assertInputError(limited(["pkcs12", "read", path, *more, "--out-key", folder / "key"], 500), f"{path}: {said[0]}", *said[1:])
        self.assertEqual(self.taken(folder), [])
        self.assertLess(time.monotonic() - began, 10)

    def test_OtherFilesAreRefused(self):
        good = self.export().read_bytes()
        for more in (True, False):
            self.refuses(b"", "is empty", more=more)
            self.refuses(text_of("rsa"), "is PEM text, not a PKCS#12 file", more=more)
            self.refuses(file("rsa.key").read_bytes(), "is PEM text, not a PKCS#12 file; 'cry key info' reads keys", more=more)
            self.refuses(pem(good, "PKCS12"), "is PEM text, not a PKCS#12 file", more=more)
            self.refuses(openssl("x509", "-in", "rsa.crt", "-outform", "DER"), "is not a PKCS#12 file", more=more)
            self.refuses(openssl("pkey", "-in", "rsa.key", "-outform", "DER"), "is not a PKCS#12 file", more=more)
            self.refuses(b"garbage", "is not a PKCS#12 file", more=more)
            self.refuses(bytes(100000), "is not a PKCS#12 file", more=more)
            for length in (1, 2, 3, 4, 20, len(good) // 2, len(good) - 1) if more else (20,):
                self.refuses(good[:length], "is cut off: it ends before the PKCS#12 file in it does", more=more)
        self.refuses(b"\x30\x80" * 100000, "")
        self.refuses(b"\x30\x84\x7f\xff\xff\xff", "is cut off")
        self.refuses(b"\x30\x00", "is not a PKCS#12 file")
        self.assertInputError(run("pkcs12", "read", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("pkcs12", "read", "/"), "/: Is a directory")
        self.assertInputError(run("pkcs12", "read", "-"), "standard input: is empty")
        big = self.write("big.p12", b"")
        os.truncate(big, 65 * MIB)
        self.assertInputError(run("pkcs12", "read", big), f"{big}: is larger than 64 MiB")

    def test_FilesWithoutKeyOrCertificateAreDescribed(self):
        path = self.export("-nokeys")
        self.assertInputError(run("pkcs12", "read", path, "--password-file", secret), f"{path}: holds no private key")
        openssl("pkcs12", "-export", "-nocerts", "-inkey", "rsa.key", "-passout", f"pass:{PASSWORD}", "-out", "nocerts.p12")
        path = file("nocerts.p12")
        self.assertInputError(run("pkcs12", "read", path, "--password-file", secret), f"{path}: holds no certificate that its private key belongs to")

    def test_HugeIterationCountsAreRefusedAtOnce(self):
        version, safes, mac = elements(elements(self.export().read_bytes())[0][1])
        digest, salt, rounds = elements(mac[1])
        self.assertEqual(rounds, (2, (2048).to_bytes(2, "big")))

        def with_rounds(count):
            number = (2, count.to_bytes(count.bit_length() // 8 + 1, "big", signed=True))
            return joined([(0x30, joined([version, safes, (0x30, joined([digest, salt, number]))]))])

        # OpenSSL keeps the lower 32 bits, so the negative number becomes a large number too.
        for count in (10000001, 1 << 31, (1 << 32) + 1, (1 << 63) - 1, 1 << 63, 1 << 200, -(1 << 32) - (1 << 31)):
            for password in (True, False):
                self.refuses(with_rounds(count), "the file is refused: it asks for more than 10000000 rounds of key derivation", more=password)
        self.refuses(with_rounds(200000), "the password is wrong, or the file is damaged")
        for count in (0, -1, -(1 << 200)):
            self.refuses(with_rounds(count), "")
        self.assertReads(self.write("same.p12", with_rounds(2048)), "--password-file", secret)

    def test_CountsAreAddedUp(self):
        # In MAC, certificates and key; each of these would be allowed. Without a password the MAC
        # counts twice.
        good = self.export("-iter", "65536").read_bytes()
        small, large = bytes.fromhex("0203010000"), bytes.fromhex("02037fffff")
        places = [found.start() for found in re.finditer(re.escape(small), good)]
        self.assertEqual(len(places), 3)
        changed = bytearray(good)
        for place in places:
            changed[place : place + 5] = large
        self.refuses(bytes(changed), "the file is refused: it asks for more than 10000000 rounds of key derivation", more=False)

    def test_FlippedBytesNeverAbort(self):
        source = random.Random(12)
        # Without encryption and without a MAC, the whole file is read.
        for how in (["-keypbe", "NONE", "-certpbe", "NONE", "-nomac"], ["-iter", "1"]):
            good = self.export(*how, key="ec", certificate="ec", extras=["one"]).read_bytes()
            seen = set()
            for _ in range(30):
                changed = bytearray(good)
                changed[source.randrange(len(good))] ^= 1 << source.randrange(8)
                path = self.write("flipped.p12", bytes(changed))
                result = run("pkcs12", "read", path, "--password-file", secret, timeout=30)
                self.assertEqual((result.code, result.out == b""), (2, True) if result.err else (0, False), changed.hex())
                self.assertHarmless(result.out + result.err)
                seen.add(result.code)
            self.assertIn(2, seen)

    def test_HostileNamesAreMadeHarmless(self):
        self.write("utf8", "[req]\ndistinguished_name=dn\nstring_mask=utf8only\n[dn]\n")
        openssl("req", "-x509", "-new", "-config", "utf8", "-utf8", "-key", "ec.key", "-subj",
                "/CN=\x1b[2J\x1b[31m\u202e\u009b\u200bname", "-out", "hostile.crt")  # fmt: skip
        path = self.export(key="ec", certificate="hostile")
        result = self.assertDone(run("pkcs12", "read", path, "--password-file", secret))
        self.assertHarmless(result.out)
        self.assertEqual(result.text.count("\n"), 2)
        self.assertIn("name", result.text)
        self.assertHarmless(run("pkcs12", "read", path, "--password-file", secret, "--json").out)

    def test_TrailingBytesDoNoHarm(self):
        path = self.write("trailing.p12", self.export().read_bytes() + b"trailing")
        self.assertIn(run("pkcs12", "read", path, "--password-file", secret).code, (0, 2))


class WritePkcs12(IdentityTest):
    """Openssl, certtool and the tool itself read the files that the tool writes."""

    def test_PeersReadIt(self):
        for key in ("rsa", "ec"):
            for extras in ((), ("one",), EXTRAS):
                options = [part for each in extras for part in ("--extra", file(f"{each}.crt"))]
                path = self.make(*options, key=key, certificate=f"{key}.crt")
                self.assertPeerReads(path, key=key, certificate=key, extras=extras)
                self.assertReads(path, "--password-file", secret, key=key, certificate=key, extras=extras[::-1])
                self.assertWrongPassword(path)
                self.assertNotEqual(openssl("pkcs12", "-in", path, "-passin", "pass:wrong", "-nodes", check=False).returncode, 0)

    def test_CerttoolReadsIt(self):
        path = self.make("--extra", file("one.crt"))
        said = certtool("--p12-info", "--infile", path, "--inder", "--password", PASSWORD)
        self.assertIn("Type: PKCS #8 Encrypted key", said)
        blocks = [each for each in blocks_of(said) if "CERTIFICATE" in each]
        self.assertEqual(blocks, [text_of("rsa"), text_of("one")])
        path = self.make(password=False, key="ec", certificate="ec.crt")
        self.assertIn(text_of("ec"), certtool("--p12-info", "--infile", path, "--inder", "--null-password"))

    def test_KeyIsEncrypted(self):
        der = openssl("pkcs8", "-topk8", "-nocrypt", "-in", "rsa.key", "-outform", "DER")
        secret_part = der[-200:]
        self.assertNotIn(secret_part, self.make().read_bytes())
        said = openssl("pkcs12", "-in", self.make(), "-passin", f"pass:{PASSWORD}", "-noout", "-info", check=False).stderr.decode()
        self.assertIn("Shrouded Keybag: PBES2, PBKDF2, AES-256-CBC", said)
        self.assertIn("MAC: sha256", said)

    def test_WithoutPasswordAnybodyReadsIt(self):
        path = self.make("--extra", file("one.crt"), password=False)
        self.assertPeerReads(path, extras=["one"], password="")
        self.assertReads(path, extras=["one"], start_new_session=True)
        self.assertReads(path, "--password-file", self.private("empty", ""), extras=["one"])
        self.assertWrongPassword(path)

    def test_FileOfAWholeChain(self):
        self.write("whole.crt", "leaf first\n" + text_of("rsa") + text_of("one") + "\n" + text_of("two"))
        self.assertPeerReads(self.make(certificate="whole.crt"), extras=["one", "two"])
        path = self.make("--extra", file("three.crt"), "--extra", file("extras.crt"), certificate="whole.crt")
        self.assertPeerReads(path, extras=["one", "two", "three", "one", "two", "three"])

    def test_OrderComesBackWhenTheFileIsWrittenTwice(self):
        path, folder = self.make("--extra", file("extras.crt")), self.folder()
        outputs = ["--out-key", folder / "rsa.key", "--out-certificate", folder / "crt", "--out-certificates", folder / "others"]
        self.assertDone(run("pkcs12", "read", path, "--password-file", secret, *outputs))
        again = folder / "again.p12"
        self.assertDone(run("pkcs12", "write", "--key", folder / "rsa.key", "--certificate", folder / "crt", "--extra", folder / "others",
                            "--no-password", "--out", again))  # fmt: skip
        self.assertReads(again, extras=list(EXTRAS))

    def test_DerIsTaken(self):
        for name in ("rsa", "one"):
            self.write(f"{name}.der", openssl("x509", "-in", f"{name}.crt", "-outform", "DER"))
        self.private("der.key", openssl("pkey", "-in", "rsa.key", "-outform", "DER"))
        self.assertPeerReads(self.make("--extra", file("one.der"), key="der", certificate="rsa.der"), extras=["one"])

    def test_StandardInputAndOutput(self):
        fixed = ["--no-password", "--out", "-"]
        for given, rest in (("--key", ["--certificate", file("rsa.crt")]), ("--certificate", ["--key", file("rsa.key")])):
            content = file("rsa.key" if given == "--key" else "rsa.crt").read_bytes()
            made = self.assertDone(run("pkcs12", "write", given, "-", *rest, *fixed, stdin=content)).out
            self.assertPeerReads(self.write("out.p12", made), password="")
        made = self.assertDone(run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--extra", "-", *fixed,
                                   stdin=text_of("one").encode())).out  # fmt: skip
        self.assertPeerReads(self.write("out.p12", made), extras=["one"], password="")

    def test_RawBytesDoNotGoToATerminal(self):
        result = run_on_terminal("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--no-password", "--out", "-",
                                 on={"out"})  # fmt: skip
        self.assertInputError(result, "a PKCS#12 file is not written to a terminal")

    def test_TheMessageOfTheTerminalNamesOptionsThatAreThere(self):
        result = run_on_terminal("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--no-password", "--out", "-",
                                 on={"out"})  # fmt: skip
        for option in set(re.findall(r"--[a-z0-9-]+", result.message)):
            self.assertIn(f"  {option} ", run("pkcs12", "write", "--help").text)

    def test_JsonSaysWhatWasWritten(self):
        path = self.folder() / "made.p12"
        result = self.assertDone(run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--extra", file("extras.crt"),
                                     "--no-password", "--out", path, "--json"))  # fmt: skip
        answer = result.json()
        self.assertEqual((answer["out"], answer["length"]), (str(path), path.stat().st_size))
        read = self.assertDone(run("pkcs12", "read", path, "--json")).json()
        self.assertEqual(len(answer["certificates"]), 3)
        self.assertEqual((answer["key"], answer["certificate"]), (read["key"], read["certificate"]))
        self.assertCountEqual(answer["certificates"], read["certificates"])

    def refused(self, *said, key="rsa.key", certificate="rsa.crt", extra=(), more=("--no-password",)):
        folder = self.folder()
        extra = [part for each in extra for part in ("--extra", each)]
        result = run("pkcs12", "write", "--key", file(key), "--certificate", file(certificate), *extra, *more, "--out", folder / "out",
                     start_new_session=True)  # fmt: skip
        self.assertInputError(result, *said)
        self.assertEqual(self.taken(folder), [])

    def test_KeyOfAnotherCertificateIsRefused(self):
        expected = "{}: the private key does not belong to the certificate in {}"
        for key, certificate in (("ec.key", "rsa.crt"), ("rsa.key", "ec.crt"), ("other.key", "ec.crt"), ("rsa.key", "extras.crt")):
            self.refused(expected.format(file(key), file(certificate)), key=key, certificate=certificate)
        # Only the first certificate counts.
        self.write("second.crt", text_of("one") + text_of("rsa"))
        self.refused(expected.format(file("rsa.key"), file("second.crt")), certificate="second.crt")

    def test_FilesThatCannotBeReadAreNamed(self):
        self.refused("/nowhere: No such file", key="/nowhere")
        self.refused("/nowhere: No such file", certificate="/nowhere")
        self.refused("/nowhere: No such file", extra=[file("one.crt"), "/nowhere"])
        self.refused("/nowhere: No such file", more=["--password-file", "/nowhere"])
        self.refused("descriptor 99: Bad file descriptor", more=["--password-fd", "99"])
        self.refused(f"{file('rsa.crt')}: holds no private key", key="rsa.crt")
        self.refused(f"{file('rsa.key')}: holds no certificate, only 'PRIVATE KEY'", certificate="rsa.key")
        self.refused(f"{file('rsa.key')}: holds no certificate, only 'PRIVATE KEY'", extra=[file("rsa.key")])
        damaged = self.write("damaged.crt", text_of("one").replace("\n", "\n*", 3))
        self.refused(f"{damaged}:2: base 64 with a wrong character, '*'", certificate="damaged.crt")
        self.refused(f"{damaged}:2: base 64 with a wrong character, '*'", extra=[damaged])
        empty = self.private("empty.file", b"")
        for where in ({"key": "empty.file"}, {"certificate": "empty.file"}, {"extra": [empty]}):
            self.refused(f"{empty}: is empty", **where)
        garbage = self.private("garbage.file", b"garbage")
        for where in ({"certificate": "garbage.file"}, {"extra": [garbage]}):
            self.refused(f"{garbage}: is neither PEM text nor a certificate in DER", **where)

    def test_ManyCertificates(self):
        many = self.write("many.crt", text_of("one") * 300)
        path = self.make("--extra", many)
        answer = self.assertDone(run("pkcs12", "read", path, "--password-file", secret, "--json")).json()
        self.assertEqual(len(answer["certificates"]), 300)
        self.assertEqual(len(blocks_of(openssl("pkcs12", "-in", path, "-passin", f"pass:{PASSWORD}", "-nokeys"))), 301)


class ManyOutputs(IdentityTest):
    """`pkcs12 read` writes all of its results or none."""

    NAMES = ("key", "certificate", "certificates")

    def read(self, folder, *more, places=None, shell=None, **keywords):
        """Reads into a folder, or into other places; `shell` runs before, as root and for this
        process only."""
        path = self.export(extras=EXTRAS * 2)
        places = places or {}
        options = [part for name in self.NAMES for part in (f"--out-{name}", str(places.get(name, folder / name)))]
        arguments = ["pkcs12", "read", str(path), "--password-file", str(secret), *options, *more]
        if not shell:
            return run(*arguments, **keywords)
        done = subprocess.run(["unshare", "-m", "sh", "-c", shell + ' && exec "$0" "$@"', TOOL, *arguments], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE)  # fmt: skip
        return Result(done.returncode, done.stdout, done.stderr)

    def assertNothingWritten(self, problem, blocked, *, places=None, **how):
        """Neither new files come nor old ones change, with --force or without."""
        for old in ((), ("key",), self.NAMES):
            folder = self.folder()
            for name in old:
                (folder / name).write_text(f"old {name}")
            expected = {name: f"old {name}" for name in old}
            self.assertInputError(self.read(folder, "--force", places=places, **how), f"{blocked or folder / 'certificates'}: {problem}")
            self.assertEqual({name: (folder / name).read_text() for name in self.taken(folder)}, expected)

    def test_AllAreWritten(self):
        folder = self.folder()
        self.assertDone(self.read(folder))
        content = {name: (folder / name).read_bytes() for name in self.NAMES}
        self.assertEqual(self.taken(folder), sorted(self.NAMES))
        self.assertEqual([oct(mode_of(folder / name)) for name in self.NAMES], ["0o600", "0o644", "0o644"])
        (folder / "link").symlink_to("certificate")
        for name in self.NAMES:
            (folder / name).write_text("old")
        os.link(folder / "key", folder / "other")
        self.assertDone(self.read(folder, "--force", places={"certificate": folder / "link"}))
        self.assertEqual({name: (folder / name).read_bytes() for name in self.NAMES}, content)
        self.assertEqual(((folder / "other").read_text(), os.readlink(folder / "link")), ("old", "certificate"))
        self.assertEqual(self.taken(folder), sorted([*self.NAMES, "link", "other"]))
        # Standard output and devices may be among them.
        folder = self.folder()
        self.assertEqual(self.read(folder, places={"key": "-", "certificates": "/dev/null"}).out, content["key"])
        self.assertEqual(self.taken(folder), ["certificate"])

    def test_OneInTheWayStopsAll(self):
        for name in self.NAMES:
            folder = self.folder()
            (folder / name).write_text("old")
            self.assertInputError(self.read(folder), f"{folder / name}: {IN_THE_WAY}")
            self.assertEqual((self.taken(folder), (folder / name).read_text()), ([name], "old"))

    def test_PlaceThatIsNoneStopsAll(self):
        blocked = self.folder()
        self.assertNothingWritten("Is a directory", blocked, places={"certificates": blocked})
        self.assertNothingWritten("No such file or directory", blocked / "none" / "x", places={"certificates": blocked / "none" / "x"})
        self.assertNothingWritten("No space left on device", "/dev/full", places={"certificates": "/dev/full"})

    def test_LimitedFileStopsAll(self):
        # The key and its certificate are smaller, the other certificates are larger.
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))  # noqa: E731
        self.assertNothingWritten("File too large", None, preexec_fn=limit, restore_signals=False)

    def test_OtherFileSystemStopsAll(self):
        if os.geteuid() or subprocess.run(["unshare", "-m", "true"], stderr=subprocess.DEVNULL).returncode:
            self.skipTest("nothing can be mounted")
        blocked = self.folder()
        places = {"certificates": blocked / "certificates"}
        self.assertNothingWritten("Read-only file system", blocked / "certificates", places=places, shell=f"mount -t tmpfs -o ro none {blocked}")
        full = f"mount -t tmpfs -o size=4k none {blocked} && cat /dev/zero 2>/dev/null >{blocked}/filler"
        self.assertNothingWritten("No space left on device", blocked / "certificates", places=places, shell=f"{{ {full} || true; }}")
        # The new file can be written, but cannot get its name; the others have theirs already.
        (blocked / "certificates").write_text("mounted")
        name = blocked / "certificates"
        self.assertNothingWritten("Device or resource busy", name, places=places, shell=f"mount --bind {name} {name}")
        self.assertEqual((self.taken(blocked), name.read_text()), (["certificates"], "mounted"))


class Passwords(IdentityTest):
    def test_AnyTextGoesBothWays(self):
        for password in ("x", "with blanks  inside ", "pässwörd", "密码", "😀 outside the plane", "é", "a" * 200, "'\"\\$`", "-", "pass:x"):
            with self.subTest(password):
                path = self.private("pw", password + "\n")
                self.assertReads(self.export(password=password), "--password-file", path)
                made = self.folder() / "made.p12"
                arguments = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", made, "--password-file", path]
                self.assertDone(run(*arguments))
                self.assertPeerReads(made, password=password)
                self.assertWrongPassword(made)

    def test_FirstLineOfTheFileCounts(self):
        path = self.export()
        for content in (PASSWORD, PASSWORD + "\n", PASSWORD + "\r\n", PASSWORD + "\nsecond line\n"):
            self.assertReads(path, "--password-file", self.private("pw", content))
        for content in ("\n" + PASSWORD, " " + PASSWORD, PASSWORD + " \n", PASSWORD.upper(), PASSWORD + PASSWORD, ""):
            result = run("pkcs12", "read", path, "--password-file", self.private("pw", content))
            self.assertInputError(result, f"{path}: the password is wrong, or the file is damaged")

    def test_DescriptorsGiveIt(self):
        path, made = self.export(), self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", made, "--force"]
        descriptor, write = os.pipe()
        number = str(descriptor)
        os.write(write, PASSWORD.encode() + b"\n")
        self.assertReads(path, "--password-fd", number, pass_fds=[descriptor])
        # The password of the key comes first. Bytes after the second line stay in the pipe.
        os.write(write, PASSWORD.encode() + b"\nnew one\nrest\n")
        self.assertDone(run(*arguments, "--key-password-fd", number, "--password-fd", number, pass_fds=[descriptor]))
        self.assertPeerReads(made, key="ec", certificate="ec", password="new one")
        self.assertEqual(os.read(descriptor, 100), b"rest\n")
        os.close(write)
        os.close(descriptor)
        self.assertReads(path, "--password-fd", "0", stdin=PASSWORD.encode())
        for bad in ("-1", "x", "", "99999999999"):
            self.assertInputError(run("pkcs12", "read", path, f"--password-fd={bad}"), "", "--password-fd")
        for given in (path, self.export(password="", name="plain.p12")):
            self.assertInputError(run("pkcs12", "read", given, "--password-fd", "99"), "descriptor 99: Bad file descriptor")
        plain = ["pkcs12", "write", "--key", file("ec.key"), "--certificate", file("ec.crt"), "--out", made, "--force"]
        self.assertInputError(run(*plain, "--key-password-fd", "99", "--no-password"), "descriptor 99: Bad file descriptor")

    def test_KeyHasAPasswordOfItsOwn(self):
        made = self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", made]
        new = self.private("new", "another one\n")
        self.assertInputError(run(*arguments, "--password-file", new, start_new_session=True), f"{file('guarded.key')}: is protected by a password",
                            "--key-password-file or --key-password-fd")  # fmt: skip
        result = run(*arguments, "--password-file", new, "--key-password-file", wrong)
        self.assertInputError(result, f"{file('guarded.key')}:1: the password is wrong, or the key is damaged")
        self.assertFalse(made.exists())
        self.assertDone(run(*arguments, "--password-file", new, "--key-password-file", secret))
        self.assertPeerReads(made, key="ec", certificate="ec", password="another one")
        self.assertDone(run(*arguments, "--no-password", "--key-password-file", secret, "--force"))
        self.assertReads(made, key="ec", certificate="ec")

    def test_OptionsThatDoNotGoTogetherAreRefused(self):
        path, folder = self.export(), self.folder()
        both = ["--password-file", secret, "--password-fd", "0"]
        write = ["pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", folder / "out"]
        for arguments in (
            ["pkcs12", "read", path, *both],
            [*write, *both],
            [*write, "--no-password", "--password-file", secret],
            [*write, "--password-fd", "0", "--no-password"],
            [*write, "--no-password", "--key-password-file", secret, "--key-password-fd", "0"],
            ["certificate", "generate", "--key", file("rsa.key"), *both],
            ["request", "generate", "--key", file("rsa.key"), *both],
            ["request", "check", path, *both],
        ):
            result = run(*arguments, stdin=PASSWORD.encode())
            self.assertInputError(result, "--", " excludes --", f"'cry {' '.join(arguments[:2])} --help' tells more")
        self.assertEqual(self.taken(folder), [])

    def tryToWrite(self, folder, password_file):
        files = ["--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", folder / "out"]
        return run("pkcs12", "write", *files, "--password-file", password_file)

    def test_TextThatIsNotUtf8IsRefused(self):
        path, folder = self.export(), self.folder()
        for bad in (b"\xff\n", b"p\xe4ssword\n", b"\xed\xa0\x80\n", b"\xc0\xaf\n"):
            pw = self.private("pw", bad)
            self.assertInputError(run("pkcs12", "read", path, "--password-file", pw), "the password is not text in UTF-8")
            self.assertInputError(self.tryToWrite(folder, pw), "the password is not text in UTF-8")
        self.assertEqual(self.taken(folder), [])

    def test_TooLongOnesAreRefused(self):
        pw = self.private("pw", "x" * 1025 + "\n")
        folder = self.folder()
        for result in (run("pkcs12", "read", self.export(), "--password-file", pw), self.tryToWrite(folder, pw)):
            self.assertInputError(result, f"{pw}: a password of more than 1024 bytes")
        self.assertEqual(self.taken(folder), [])

    def test_ZerosDoNotCutThePasswordOff(self):
        folder, pw = self.folder(), self.private("pw", b"a\0very long and secret\n")
        result = self.tryToWrite(folder, pw)
        self.assertEqual((result.code, self.taken(folder)), (2, []))

    def test_AnEmptyNewPasswordIsNotTakenForNone(self):
        for content in ("", "\n", "\nsecond line\n"):
            folder, pw = self.folder(), self.private("pw", content)
            result = self.tryToWrite(folder, pw)
            self.assertInputError(result, "")
            self.assertIn("--no-password", result.message)
            self.assertEqual(self.taken(folder), [])

    def test_PromptOfAFileDoesNotShowWhatIsTyped(self):
        path = self.export()
        self.assertIn(b"private key  RSA, 2048 bits", open_at_terminal(self, path, "pkcs12", "read", path))

    def test_WrongPasswordAtThePromptIsAskedOnce(self):
        for typed in (b"wrong\n", b"\n", b"\x04"):
            with AtTerminal("pkcs12", "read", self.export()) as terminal:
                self.assertTrue(terminal.read(b"Password for "))
                terminal.type(typed)
                self.assertEqual(terminal.end(), 2, terminal.shown)
                self.assertIn(b"the password is wrong, or the file is damaged", terminal.shown)
                self.assertEqual(terminal.shown.count(b"Password for"), 1)

    def test_NoPromptWhereThereIsNoPassword(self):
        with AtTerminal("pkcs12", "read", self.export(password="")) as terminal:
            self.assertEqual(terminal.end(), 0, terminal.shown)
            self.assertNotIn(b"assword", terminal.shown)

    def writeAtTerminal(self, *typed, key="rsa", more=(), out=None):
        """Writes a file with these answers, each at its prompt. The code, prompts and file."""
        path = out or self.folder() / "made.p12"
        arguments = ["pkcs12", "write", "--key", file(f"{key}.key"), "--certificate", file("rsa.crt" if key == "rsa" else "ec.crt"), "--out", path]
        with AtTerminal(*arguments, *more) as terminal:
            prompts = []
            for each in typed:
                self.assertTrue(terminal.read(b": "), terminal.shown)
                self.assertFalse(terminal.echoes())
                prompts.append(terminal.shown.replace(b"\r\n", b"").decode())
                terminal.shown = b""
                terminal.type(each)
            code = terminal.end()
            self.assertIsNotNone(code, terminal.shown)
            self.assertTrue(terminal.echoes() and terminal.signals())
            return code, prompts, path, terminal.shown.replace(b"\r\n", b"\n").decode()

    def test_NewPasswordIsAskedForTwice(self):
        typed = "pässwörd".encode() + b"\n"
        code, prompts, path, shown = self.writeAtTerminal(typed, typed)
        self.assertEqual((code, prompts, shown), (0, [f"New password for {path}: ", "Once more: "], "\n"))
        self.assertPeerReads(path, password="pässwörd")
        self.assertEqual(oct(mode_of(path)), "0o600")

    def test_NewPasswordsThatDifferAreRefused(self):
        for second in (b"onf\n", b"\n", b"one \n", b"One\n", b"\x04"):
            code, _, path, shown = self.writeAtTerminal(b"one\n", second)
            self.assertEqual(code, 2)
            self.assertIn("cry: the two passwords differ; nothing was written (--no-password makes a file without one)\n", shown)
            self.assertFalse(path.exists())

    def test_InterruptsLeaveNothing(self):
        for typed in ([b"half\x03"], [b"one\n", b"half\x03"]):
            code, _, path, _ = self.writeAtTerminal(*typed)
            self.assertIn(code, (2, -signal.SIGINT))
            self.assertFalse(path.exists())

    def test_KeyAndNewPasswordAreBothAskedFor(self):
        code, prompts, path, _ = self.writeAtTerminal(PASSWORD.encode() + b"\n", b"new\n", b"new\n", key="guarded")
        self.assertEqual((code, prompts), (0, [f"Password for {file('guarded.key')}: ", f"New password for {path}: ", "Once more: "]))
        self.assertPeerReads(path, key="ec", certificate="ec", password="new")

    def test_NothingIsAskedWhenItCannotBeUsed(self):
        path = self.folder() / "out"
        path.write_text("old")
        self.assertIn(IN_THE_WAY, self.writeAtTerminal(out=path)[3])
        self.assertIn("No such file", self.writeAtTerminal(more=["--extra", "/nowhere"])[3])
        code, _, path, shown = self.writeAtTerminal(more=["--no-password"])
        self.assertEqual((code, shown), (0, ""))
        self.assertReads(path, start_new_session=True)

    def test_PromptCannotBePlayedWith(self):
        path = scratch / "\x1b[31mp12\n\u202e"
        path.write_bytes(self.export().read_bytes())
        with AtTerminal("pkcs12", "read", path) as terminal:
            self.assertTrue(terminal.read(b": "))
            self.assertHarmless(terminal.shown)
            terminal.type(b"wrong\n")
            self.assertEqual(terminal.end(), 2)
            self.assertHarmless(terminal.shown.replace(b"\r\n", b"\n"))

    def test_WithoutATerminalTheOptionsAreNamed(self):
        path = self.folder() / "out"
        result = run("pkcs12", "write", "--key", file("rsa.key"), "--certificate", file("rsa.crt"), "--out", path, start_new_session=True)
        self.assertInputError(result, f"{path}: there is no terminal to ask for its new password; give --password-file or --password-fd")
        self.assertFalse(path.exists())

    def test_PasswordFilesThatOthersCanReadAreWarnedOf(self):
        pw = self.write("open", PASSWORD + "\n")
        pw.chmod(0o640)
        warning = f"cry: warning: {pw}: users other than its owner can use the password in it (its mode is 0640); 'chmod 600' changes that\n"
        self.assertEqual(run("pkcs12", "read", self.export(), "--password-file", pw).message, warning)
        out = self.folder() / "out"
        result = run("pkcs12", "write", "--key", file("guarded.key"), "--certificate", file("ec.crt"), "--out", out, "--no-password",
                     "--key-password-file", pw)  # fmt: skip
        self.assertEqual((result.code, result.message), (0, warning))

    def test_NoOptionTakesThePasswordItself(self):
        for command in (("pkcs12", "read"), ("pkcs12", "write"), ("certificate", "generate"), ("request", "generate"), ("request", "check")):
            said = run(*command, "--help").text
            expected = {"--password-file", "--password-fd"}
            if command[1] == "write":
                expected |= {"--key-password-file", "--key-password-fd", "--no-password"}
            self.assertEqual(set(re.findall(r"--[\w-]*passw[\w-]*", said)), expected)
            for option in ("--password", "--pass", "-p", "--passin", "--key-password"):
                self.assertEqual(run(*command, option, PASSWORD).code, 2)


class Memory(IdentityTest):
    def test_NothingLeaks(self):
        path, out = self.export("-iter", "1", extras=EXTRAS), self.folder() / "out"
        write = ["pkcs12", "write", "--certificate", file("ec.crt"), "--extra", file("extras.crt"), "--password-file", secret, "--out", out]
        self.assertNothingLeaks(
            (0, [*write, "--key", file("guarded.key"), "--key-password-file", secret]),
            (1, ["request", "check", self.request("--domain", "a.example"), "--key", file("rsa.key")]),
            (2, ["pkcs12", "read", path, "--password-file", wrong]),
        )


if __name__ == "__main__":
    unittest.main(verbosity=2)
