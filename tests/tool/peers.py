"""The programs that the tool is compared with, and the forms of data that they exchange."""

import base64
import os
import re
import shutil
import subprocess
import unittest

from tool import scratch


def openssl(*arguments, stdin=b"", check=True):
    done = subprocess.run(["openssl", *map(os.fsencode, arguments)], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=scratch)
    if check and done.returncode:
        raise AssertionError(f"openssl {arguments}: {done.stderr.decode()}")
    return done.stdout if check else done


def certtool(*arguments, stdin=b""):
    if not shutil.which("certtool"):
        raise unittest.SkipTest("certtool is not installed")
    done = subprocess.run(["certtool", *map(os.fsencode, arguments)], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=scratch)
    if done.returncode:
        raise AssertionError(f"certtool {arguments}: {done.stderr.decode()}")
    return done.stdout.decode(errors="replace")


def openssl_agrees(key, digest, signature, data):
    """Whether the openssl command calls a signature good."""
    done = openssl("dgst", f"-{digest}", "-verify", key, "-signature", signature, data, check=False)
    return done.returncode == 0 and done.stdout == b"Verified OK\n"


def der_of(text):
    return base64.b64decode("".join(line for line in text.splitlines() if not line.startswith("-----")))


def pem(der, label="CERTIFICATE"):
    body = base64.b64encode(der).decode()
    lines = [body[at : at + 64] for at in range(0, len(body), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])


def blocks_of(text):
    """The PEM blocks of a text, without the text around them."""
    text = text if isinstance(text, str) else text.decode()
    return [found.group(0) for found in re.finditer(r"-----BEGIN ([A-Z0-9 ]+)-----.*?-----END \1-----\n", text, re.DOTALL)]


def elements(der):
    """The elements of some DER, one behind the other: tag and content."""
    found = []
    while der:
        tag, length, at = der[0], der[1], 2
        if length & 0x80:
            at += length & 0x7F
            length = int.from_bytes(der[2:at], "big")
        found.append((tag, der[at : at + length]))
        der = der[at + length :]
    return found


def element(tag, content):
    length = len(content)
    if length < 0x80:
        return bytes([tag, length]) + content
    count = (length.bit_length() + 7) // 8
    return bytes([tag, 0x80 | count]) + length.to_bytes(count, "big") + content


def joined(found):
    return b"".join(element(*each) for each in found)


def integer(value):
    """An INTEGER in DER."""
    return element(2, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def signature_of(r, s):
    """A signature of ECDSA or DSA in DER."""
    return element(0x30, integer(r) + integer(s))
