#!/usr/bin/env python3
"""`cry signature`, with openssl as its peer. CRY_TOOL names the program."""

import base64
import hashlib
import os
import random
import re
import unittest

import key_fixture
from key_fixture import KeysTest, NEAR_CURVES, keys
from peers import integer, openssl, openssl_agrees, signature_of
from terminal import run_on_terminal
from tool import DATA, PASSWORD, data, limited, run, scratch, secret

WIDTHS = {"P-256": 32, "P-384": 48, "P-521": 66}
DIGESTS = ["md5", "sha1", "sha224", "sha256", "sha384", "sha512", "sha3-224", "sha3-256", "sha3-384", "sha3-512"]


def setUpModule():
    key_fixture.make()


class Signatures(KeysTest):
    def test_SignaturesGoBothWays(self):
        for name, digests in (("rsa", DIGESTS), ("P-256", ["md5", "sha224", "sha256", "sha512", "sha3-256"]),
                              ("P-384", ["sha384", "sha3-384", "sha1"]),
                              ("P-521", ["sha512", "sha3-512"])):  # fmt: skip
            for digest in digests:
                with self.subTest(name=name, digest=digest):
                    mine = self.write("mine.sig", self.sign(keys / name, digest=digest))
                    self.assertTrue(openssl_agrees(keys / f"{name}.pub", digest, mine, data))
                    theirs = self.write("theirs.sig", openssl("dgst", f"-{digest}", "-sign", keys / name, data))
                    for signature in (mine, theirs):
                        self.assertGood(self.check(keys / f"{name}.pub", signature, digest=digest))
                    self.assertBad(self.check(keys / f"{name}.pub", mine, digest=digest, what=DATA + b"\n"))
                    if name == "rsa":
                        self.assertEqual(mine.read_bytes(), theirs.read_bytes())

    def test_DsaKeysWorkToo(self):
        path = self.private("dsa", openssl("pkey", stdin=openssl("dsaparam", "-genkey", "1024")))
        public = self.write("dsa.pub", openssl("pkey", "-in", path, "-pubout"))
        signature = self.write("dsa.sig", self.sign(path))
        self.assertTrue(openssl_agrees(public, "sha256", signature, data))
        self.assertGood(self.check(public, signature))

    def test_EveryKindOfFileWithTheKeyChecks(self):
        for name in ("rsa", "P-256"):
            signature = self.write("kinds.sig", self.sign(keys / name))
            guarded = self.private("guarded", openssl("pkcs8", "-topk8", "-in", keys / name, "-passout", f"pass:{PASSWORD}"))
            der = self.write("crt.der", openssl("x509", "-in", keys / f"{name}.crt", "-outform", "DER"))
            for key, *more in ([keys / f"{name}.pub"], [keys / name], [keys / f"{name}.crt"], [der], [guarded, "--password-file", secret]):
                self.assertGood(self.check(key, signature, *more))
                self.assertBad(self.check(key, signature, *more, what=b"other"))
                self.assertBad(self.check(key, signature, *more, digest="sha1"))
            self.assertEqual(self.sign(guarded, "--password-file", secret) if name == "rsa" else 1, signature.read_bytes() if name == "rsa" else 1)

    def test_OtherKeysDoNotFit(self):
        signature = self.write("other.sig", self.sign(keys / "P-256"))
        self.assertBad(self.check(keys / "P-384.pub", signature))
        self.assertBad(self.check(keys / "rsa.pub", signature), "it has ", )
        another = self.private("another", openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256"))
        self.assertBad(self.check(another, signature))
        self.assertBad(self.check(keys / "P-256.pub", self.sign(keys / "rsa")))

    def test_DamagedSignaturesAreBad(self):
        for name in ("rsa", "P-256", "P-521"):
            whole = self.sign(keys / name)
            hint = "the key's signatures have 256" if name == "rsa" else ""
            for length in sorted({0, 1, 2, 5, len(whole) // 2, len(whole) - 1}):
                self.assertBad(self.check(keys / f"{name}.pub", whole[:length]), hint)
            for more in (b"\0", b"\n", b"0" * 100):
                self.assertBad(self.check(keys / f"{name}.pub", whole + more), hint)
            for at in sorted(random.Random(1).sample(range(len(whole)), 6)):
                changed = bytearray(whole)
                changed[at] ^= 1
                self.assertBad(self.check(keys / f"{name}.pub", bytes(changed)))
            for garbage in (b"\0" * len(whole), b"\xff" * len(whole), b"\x30" * len(whole)):
                self.assertBad(self.check(keys / f"{name}.pub", garbage))
            self.assertBad(self.check(keys / f"{name}.pub", os.urandom(len(whole) + 1)), hint)

    def test_ForgedNumbersAreBad(self):
        # r or s is zero, the order, more than the order, or negative, or the signature is BER that
        # is not DER.
        order = 0xFFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551

        for r, s in ((0, 0), (0, 1), (1, 0), (1, 1), (order, order), (order, 1), (1, order), (order + 1, 1), (-1, -1), (1 << 300, 1 << 300)):
            self.assertBad(self.check(keys / "P-256.pub", signature_of(r, s)))
        good = self.sign(keys / "P-256")
        self.assertGood(self.check(keys / "P-256.pub", good))
        for changed in (b"\x30\x81" + good[1:], b"\x30\x80" + good[2:] + b"\0\0", b"\x30" + bytes([good[1] + 2]) + good[2:] + b"\x05\0",
                        good[:2] + b"\x02" + bytes([good[3] + 1]) + b"\0" + good[4:]):  # fmt: skip
            self.assertBad(self.check(keys / "P-256.pub", changed))

    def test_RawSignaturesComeWithAHint(self):
        for name in NEAR_CURVES:
            der = self.sign(keys / name)
            raw = self.assertDone(run("signature", "convert", "--curve", name, "--to", "raw", stdin=der)).out
            result = self.check(keys / f"{name}.pub", raw)
            self.assertBad(result, "'cry signature convert --to der' makes DER of one")
            answer = self.check(keys / f"{name}.pub", raw, "--json")
            self.assertEqual((answer.code, answer.json()["verdict"]), (1, "bad"))
            self.assertIn("the length of a raw signature", answer.json()["hint"])

    def test_TextFormsAreTaken(self):
        for name in ("rsa", "P-256"):
            raw = self.sign(keys / name)
            digits, text = raw.hex(), base64.b64encode(raw).decode()
            public = keys / f"{name}.pub"
            folded = "\r\n".join(text[at : at + 64] for at in range(0, len(text), 64)) + "\r\n"
            for option, content in [("--hex", digits), ("--hex", digits.upper() + "\n"), ("--hex", " ".join(digits) + "\t\r\n"),
                                    ("--base64", text), ("--base64", folded), ("--base64", "\n\n " + text + " \n")]:  # fmt: skip
                self.assertGood(self.check(public, content.encode(), option))
                self.assertBad(self.check(public, content.encode(), option, what=b"other"))
            self.assertEqual(self.check(public, content.encode()).code, 1)
            for option, content in [("--hex", digits + "0"), ("--hex", digits + "zz"), ("--hex", "0x" + digits), ("--hex", digits + "\0\0"),
                                    ("--hex", ":".join(re.findall("..", digits))), ("--hex", raw)]:  # fmt: skip
                path = self.write("no.hex", content)
                self.assertInputError(self.check(public, path, option), f"{path}: is not hexadecimal text")
            for content in (text[:-1] + "!", text + "=", "=" + text, text[:9] + "-_" + text[11:], text + "\0", raw):
                path = self.write("no.base64", content)
                self.assertInputError(self.check(public, path, "--base64"), f"{path}: is not base 64")
            for option in ("--hex", "--base64"):
                self.assertBad(self.check(public, b"", option), "it has 0 bytes" if name == "rsa" else "")

    def test_MakeWritesTheForms(self):
        expected = openssl("dgst", "-sha256", "-sign", keys / "rsa", data)
        self.assertEqual(self.sign(keys / "rsa"), expected)
        self.assertEqual(self.sign(keys / "rsa", "--hex"), expected.hex().encode() + b"\n")
        self.assertEqual(self.sign(keys / "rsa", "--base64"), base64.b64encode(expected) + b"\n")
        for arguments, member in (([], "hex"), (["--hex"], "hex"), (["--base64"], "base64")):
            answer = self.assertDone(run("signature", "make", "--json", "--key", keys / "rsa", *arguments, data)).json()
            self.assertEqual((answer["format"], answer["file"], answer["algorithm"]), (1, str(data), "sha256"))
            text = expected.hex() if member == "hex" else base64.b64encode(expected).decode()
            self.assertEqual(answer["signature"], {"length": 256, member: text})
        folder = self.folder()
        for option, content in (([], expected), (["--hex"], expected.hex().encode() + b"\n"), (["--base64"], base64.b64encode(expected) + b"\n")):
            path = folder / f"out{len(option)}{option}"
            answer = self.assertDone(run("signature", "make", "--json", "--key", keys / "rsa", *option, "--out", path, data))
            self.assertEqual((path.read_bytes(), answer.json()["signature"]["length"]), (content, 256))

    def test_RawBytesDoNotGoToATerminal(self):
        result = run_on_terminal("signature", "make", "--key", keys / "P-256", data, on={"out"})
        self.assertEqual((result.code, result.out), (2, b""))
        self.assertTrue(result.message.startswith("cry: raw bytes are not written to a terminal"))

    def test_FilesAndStandardInputAreSigned(self):
        expected = self.sign(keys / "rsa")
        for arguments, stdin in (([data], b""), (["-"], DATA), ([], DATA)):
            self.assertEqual(self.assertDone(run("signature", "make", "--key", keys / "rsa", *arguments, stdin=stdin)).out, expected)
        signature = self.write("input.sig", expected)
        for arguments, stdin in (([data], b""), (["-"], DATA), ([], DATA)):
            checked = run("signature", "check", "--key", keys / "rsa.pub", "--signature", signature, *arguments, stdin=stdin)
            self.assertGood(checked)
            self.assertIn("standard input" if stdin else str(data), checked.text)
        private = (keys / "rsa").read_bytes()
        self.assertEqual(run("signature", "make", "--key", "-", data, stdin=private).out, expected)
        self.assertGood(run("signature", "check", "--key", keys / "rsa.pub", "--signature", "-", data, stdin=expected))
        self.assertGood(run("signature", "check", "--key", "-", "--signature", signature, data, stdin=private))
        empty = self.sign(keys / "rsa", what=b"")
        self.assertGood(self.check(keys / "rsa.pub", empty, what=b""))

    def test_StandardInputIsGivenOnce(self):
        twice = "only one of the inputs can be standard input"
        for arguments in (["make", "--key", "-"], ["make", "--key", "-", "-"], ["check", "--key", "-", "--signature", "x"],
                          ["check", "--key", "x", "--signature", "-"], ["check", "--key", "-", "--signature", "-", "x"],
                          ["check", "--key", "-", "--signature", "-"]):  # fmt: skip
            self.assertInputError(run("signature", *arguments, stdin=DATA), twice)

    def test_WhatCannotBeReadIsNamed(self):
        signature = self.write("read.sig", self.sign(keys / "rsa"))
        public = keys / "rsa.pub"
        for key, path, file in (("/nowhere", signature, data), (public, "/nowhere", data), (public, signature, "/nowhere")):
            self.assertInputError(run("signature", "check", "--key", key, "--signature", path, file), "/nowhere: No such file or directory")
        for key, path, file in ((scratch, signature, data), (public, scratch, data), (public, signature, scratch)):
            self.assertInputError(run("signature", "check", "--key", key, "--signature", path, file), f"{scratch}: Is a directory")
        self.assertInputError(run("signature", "make", "--key", keys / "rsa", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("signature", "make", "--key", public, data), f"{public}: holds no private key, only 'PUBLIC KEY'")
        self.assertInputError(run("signature", "make", "--key", keys / "rsa.crt", data), "", "holds no private key, only 'CERTIFICATE'")
        self.assertInputError(run("signature", "make", data), "--key is required")
        self.assertInputError(run("signature", "check", "--key", public, data), "--signature is required")
        self.assertInputError(run("signature", "make", "--key", keys / "rsa", "--algorithm", "sha-257", data), "--algorithm: 'sha-257' is unknown")
        endless = limited(["signature", "check", "--key", public, "--signature", "/dev/zero", data], 512)
        self.assertInputError(endless, "/dev/zero: is larger than 64 MiB")

    def test_JsonTellsTheVerdict(self):
        signature = self.write("json.sig", self.sign(keys / "P-256"))
        answer = self.assertDone(run("signature", "check", "--json", "--key", keys / "P-256.crt", "--signature", signature, data)).json()
        self.assertEqual(answer, {"format": 1, "file": str(data), "algorithm": "sha256", "verdict": "good",
                                  "key": {"type": "EC", "bits": 256, "curve": "prime256v1", "sha256": answer["key"]["sha256"]}})  # fmt: skip
        answer = run("signature", "check", "--json", "--key", keys / "P-256.crt", "--signature", signature, "--algorithm", "sha3-512", data)
        self.assertEqual((answer.code, answer.json()["verdict"], answer.json()["algorithm"]), (1, "bad", "sha3-512"))

    def test_KeysThatCannotSignAreRefused(self):
        made = {name: openssl("genpkey", "-algorithm", name) for name in ("ED25519", "ED448", "X25519", "X448")}
        for curve in ("SM2", "Oakley-EC2N-3", "Oakley-EC2N-4"):
            made[curve] = openssl("genpkey", "-algorithm", "EC", "-pkeyopt", f"ec_paramgen_curve:{curve}")
        made["DH"] = openssl("genpkey", "-algorithm", "DH", "-pkeyopt", "group:ffdhe2048")
        made["restricted"] = openssl("genpkey", "-algorithm", "RSA-PSS", "-pkeyopt", "rsa_keygen_bits:1024", "-pkeyopt", "rsa_pss_keygen_md:sha1",
                                     "-pkeyopt", "rsa_pss_keygen_mgf1_md:sha1", "-pkeyopt", "rsa_pss_keygen_saltlen:20")  # fmt: skip
        signature = self.write("short.sig", self.sign(keys / "P-256"))
        for name, content in made.items():
            path = self.private(f"no-{name}", content)
            public = self.write(f"no-{name}.pub", openssl("pkey", "-in", path, "-pubout"))
            for digest in ("md5", "sha256", "sha512"):
                with self.subTest(name=name, digest=digest):
                    result = run("signature", "make", "--key", path, "--algorithm", digest, data)
                    self.assertInputError(result, f"{path}: OpenSSL cannot sign with this key (", " bits) and this digest")
                    checked = self.check(public, signature, digest=digest)
                    if checked.code == 2:
                        self.assertInputError(checked, f"{public}: OpenSSL cannot verify with this key (")
                    else:
                        self.assertBad(checked)

    def test_KeysTooShortForTheDigestAreRefused(self):
        path = self.private("512", openssl("genrsa", "512"))
        for digest, possible in (("sha512", False), ("sha384", False), ("sha3-512", False), ("sha256", True), ("md5", True)):
            if possible:
                self.assertGood(self.check(path, self.sign(path, digest=digest), digest=digest))
            else:
                result = run("signature", "make", "--key", path, "--algorithm", digest, data)
                self.assertInputError(result, f"{path}: OpenSSL cannot sign with this key (RSA, 512 bits) and this digest")
                self.assertBad(self.check(path, bytes(64), digest=digest))

    def test_KeysThatCannotSignOneThingAreRefused(self):
        # With a generator of 1 a DSA signature is s = (digest + x) / k. Here x is the negative
        # digest of this data, so s is always 0.
        text = openssl("dsaparam", "-text", "-noout", "1024").decode()
        p, q = (int(re.sub(r"[\s:]", "", re.search(rf"{name}:\s*\n((?:\s+[0-9a-f:]+\n)+)", text)[1]), 16) for name in "PQ")

        x = -int.from_bytes(hashlib.sha1(DATA).digest(), "big") % q
        body = b"".join(map(integer, (0, p, q, 1, 1, x)))
        path = self.private("zero.der", b"\x30\x82" + len(body).to_bytes(2, "big") + body)
        self.assertEqual(run("key", "info", path).code, 1)
        self.assertEqual(run("signature", "make", "--key", path, "--algorithm", "sha1", stdin=b"other").code, 0)
        result = run("signature", "make", "--key", path, "--algorithm", "sha1", stdin=DATA)
        self.assertInputError(result, f"{path}: ")

    def test_ManyRandomEcSignaturesAreGood(self):
        # Some signatures have numbers with leading zero bytes or with the first bit set.
        lengths, round = set(), 0
        while round < 20 or not {70, 71, 72} <= lengths and round < 200:
            round += 1
            what = b"%d" % round
            signature = self.sign(keys / "P-256", what=what)
            lengths.add(len(signature))
            self.assertGood(self.check(keys / "P-256.pub", signature, what=what))
        self.assertTrue({70, 71, 72} <= lengths, lengths)


class Convert(KeysTest):
    def convert(self, curve, to, content, *more):
        return run("signature", "convert", "--curve", curve, "--to", to, *more, stdin=content)

    def test_NumbersAreWrittenAsWideAsTheCurve(self):
        source = random.Random(2)
        for curve, width in WIDTHS.items():
            top = 1 << 8 * width
            numbers = [1, 127, 128, 255, 256, top - 1, top // 2, top // 2 - 1, top >> 8, (top >> 8) - 1]
            numbers += [source.getrandbits(source.randrange(1, 8 * width + 1)) for _ in range(2)]
            for r, s in zip(numbers, numbers[1:] + numbers[:1]):
                der, raw = signature_of(r, s), r.to_bytes(width, "big") + s.to_bytes(width, "big")
                self.assertEqual(self.assertDone(self.convert(curve, "raw", der)).out, raw)
                self.assertEqual(self.assertDone(self.convert(curve, "der", raw)).out, der)

    def test_RealSignaturesGoRound(self):
        for curve in WIDTHS:
            for round in range(5):
                signature = openssl("dgst", "-sha256", "-sign", keys / curve, data)
                raw = self.assertDone(self.convert(curve, "raw", signature)).out
                self.assertEqual(len(raw), 2 * WIDTHS[curve])
                back = self.assertDone(self.convert(curve, "der", raw)).out
                self.assertEqual(back, signature)
            self.assertTrue(openssl_agrees(keys / f"{curve}.pub", "sha256", self.write("back.sig", back), data))

    def test_FormsAndFiles(self):
        signature = self.write("convert.sig", signature_of(1 << 255, 3))
        raw = (1 << 255).to_bytes(32, "big") + (3).to_bytes(32, "big")
        for curve in ("P-256", "p-256", "prime256v1", "PRIME256V1", "CRY_PKEY_EC_NAMED_CURVE_PRIME256V1"):
            self.assertEqual(run("signature", "convert", "--curve", curve, "--to", "raw", signature).out, raw)
        self.assertEqual(self.convert("P-256", "raw", signature.read_bytes(), "--hex").out, raw.hex().encode() + b"\n")
        self.assertEqual(self.convert("P-256", "raw", signature.read_bytes(), "--base64", "-").out, base64.b64encode(raw) + b"\n")
        answer = self.convert("P-256", "raw", signature.read_bytes(), "--json").json()
        self.assertEqual(answer, {"format": 1, "file": "-", "curve": "prime256v1", "to": "raw", "signature": {"length": 64, "hex": raw.hex()}})
        path = self.folder() / "out"
        self.assertDone(self.convert("P-256", "raw", signature.read_bytes(), "--out", path))
        self.assertEqual(path.read_bytes(), raw)

    def test_WrongLengthsAreNeverGuessed(self):
        for curve, width in WIDTHS.items():
            for length in (0, 1, 2 * width - 1, 2 * width + 1, 4 * width, width):
                expected = f"standard input: has {length} byte{'' if length == 1 else 's'}; a raw signature on this curve has {2 * width}\n"
                self.assertInputError(self.convert(curve, "der", b"\1" * length), expected)
            for other in WIDTHS.values():
                if other != width:
                    self.assertEqual(self.convert(curve, "der", b"\1" * 2 * other).code, 2)
            der = signature_of(1 << (8 * width - 1), 5)
            for smaller, room in WIDTHS.items():
                if room < width:
                    expected = f"standard input: is not a signature in DER with numbers of at most {room} bytes"
                    self.assertInputError(self.convert(smaller, "raw", der), expected)
            # A number that is one bit too long.
            self.assertInputError(self.convert(curve, "raw", signature_of(1 << 8 * width, 1)), "standard input: is not a signature in DER")
            self.assertInputError(self.convert(curve, "raw", signature_of(1, 1 << 8 * width)), "standard input: is not a signature in DER")

    def test_TrailingBytesAreNoticed(self):
        der = signature_of(1 << 254, 1 << 253)
        self.assertInputError(self.convert("P-256", "raw", der + b"\n"), "standard input: 1 byte too many behind the signature")
        self.assertInputError(self.convert("P-256", "raw", der + bytes(100)), "standard input: 100 bytes too many behind the signature")
        self.assertInputError(self.convert("P-256", "raw", der * 2), f"standard input: {len(der)} bytes too many")
        inside = b"\x30" + bytes([der[1] + 2]) + der[2:] + b"\x05\0"
        self.assertInputError(self.convert("P-256", "raw", inside), "standard input: is not a signature in DER")

    def test_WhatIsNotDerIsRefused(self):
        der = signature_of(1 << 254, 1 << 253)
        for content in (b"", b"\x30", b"\x30\0", b"\x31\0", b"text", der[:-1], der[1:], der.hex().encode(), os.urandom(64).replace(b"\x30", b"1"),
                        b"\x30\x84\xff\xff\xff\xff", b"\x30\x80\x02\x01\x01\x02\x01\x01\0\0", b"\x30\x80", b"\x30\x03\x02\x01\x01",
                        b"\x30\x06\x02\x01\xff\x02\x01\x01", b"\x30\x06\x02\x01\x01\x02\x01\x81",
                        b"\x30\x07\x02\x02\0\x01\x02\x01\x01", b"\x30\x04\x02\0\x02\0", b"\x30\x09" + b"\x02\x01\x01" * 3,
                        b"\x30\x06\x04\x01\x01\x02\x01\x01", b"\x30\x88" + b"\xff" * 8 + bytes(10), b"\x30\x7f" + bytes(3)):  # fmt: skip
            with self.subTest(content):
                self.assertInputError(self.convert("P-256", "raw", content), "standard input: ")

    def test_LengthsThatAreNotTheShortestAreRefused(self):
        # 'cry signature check' calls such a signature bad, as OpenSSL does.
        self.assertInputError(self.convert("P-256", "raw", b"\x30\x81\x06\x02\x01\x01\x02\x01\x01"), "standard input: is BER, not DER")

    def test_OtherCurvesAreRefused(self):
        for curve in ("P-224", "secp256k1", "brainpoolP256r1", "B-163", "SM2"):
            expected = f"--curve: signatures on {curve} are not converted; those on P-256, P-384 and P-521 are"
            self.assertInputError(self.convert(curve, "raw", signature_of(1, 1)), expected)
        self.assertInputError(self.convert("P-257", "raw", signature_of(1, 1)), "--curve: 'P-257' is not a curve; 'cry key curves' lists them")
        self.assertInputError(self.convert("", "raw", signature_of(1, 1)), "--curve: '' is not a curve")
        for to in ("", "DER", "pem", "rawder"):
            self.assertInputError(self.convert("P-256", to, signature_of(1, 1)), "--to: ")
        self.assertInputError(run("signature", "convert", "--to", "raw"), "--curve is required")
        self.assertInputError(run("signature", "convert", "--curve", "P-256"), "--to is required")
        self.assertInputError(run("signature", "convert", "--curve", "P-256", "--to", "raw", "/nowhere"), "/nowhere: No such file or directory")
        self.assertInputError(run("signature", "convert", "--curve", "P-256", "--to", "raw", "/dev/null"), "/dev/null: is not a signature in DER")


class Memory(KeysTest):
    def test_NothingLeaks(self):
        guarded = self.private("leak.key", openssl("ec", "-in", keys / "P-256", "-aes128", "-passout", f"pass:{PASSWORD}"))
        self.assertNothingLeaks(
            (0, ["signature", "make", "--key", guarded, "--password-file", secret, "--hex", data]),
            (1, ["signature", "check", "--key", keys / "P-256.crt", "--signature", data, data]),
            alsoValgrind=False,
        )


if __name__ == "__main__":
    unittest.main(verbosity=2)
