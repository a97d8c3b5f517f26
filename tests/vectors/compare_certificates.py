"""Compares the library's info of all certificates of the public corpora with the text of the
command openssl. Its command pkcs7 prints thousands of certificates in one process. Its command
x509, which takes one, prints a sample with the form of names that the library has.

usage: compare_certificates.py PROGRAM     (PROGRAM is built from certificate_info.cpp)
Ends with 77 if the corpora or the command are not on this machine.
"""

import base64
import collections
import concurrent.futures
import datetime
import ipaddress
import json
import lzma
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

root = Path(__file__).resolve().parents[2]
PEM = re.compile(rb"-----BEGIN (?:X509 |TRUSTED )?CERTIFICATE-----\s([A-Za-z0-9+/=\s]+?)-----END")
MONTHS = dict(zip("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split(), range(1, 13)))
SAMPLE = 60

KEY_USAGE = {
    "Digital Signature": "DIGITAL_SIGNATURE",
    "Non Repudiation": "NON_REPUDIATION",
    "Key Encipherment": "KEY_ENCIPHERMENT",
    "Data Encipherment": "DATA_ENCIPHERMENT",
    "Key Agreement": "KEY_AGREEMENT",
    "Certificate Sign": "KEY_CERT_SIGN",
    "CRL Sign": "CRL_SIGN",
    "Encipher Only": "ENCIPHER_ONLY",
    "Decipher Only": "DECIPHER_ONLY",
}
EXTENDED_KEY_USAGE = {
    "TLS Web Server Authentication": "SSL_SERVER",
    "TLS Web Client Authentication": "SSL_CLIENT",
    "E-mail Protection": "SMIME",
    "Code Signing": "CODE_SIGN",
    "OCSP Signing": "OCSP_SIGN",
    "Time Stamping": "TIMESTAMP",
    "dvcs": "DVCS",
    "Any Extended Key Usage": "ANYEKU",
    "Microsoft Server Gated Crypto": "MS_SGC",
    "Netscape Server Gated Crypto": "NS_SGC",
}
KNOWN = {**KEY_USAGE, **EXTENDED_KEY_USAGE}
KINDS = "(?:DNS|IP Address|email|URI|DirName|Registered ID|othername|X400Name|EdiPartyName):"
TITLES = {"keyUsage": "Key Usage", "extendedKeyUsage": "Extended Key Usage", "sans": "Subject Alternative Name"}


def collect(vectors, files):
    """The DER of every certificate, each once. Data that is not a certificate may be among them."""
    found = {}

    def walk(value):
        if isinstance(value, dict):
            for key, each in value.items():
                if key == "der_b64":
                    found.setdefault(base64.b64decode(each))
                else:
                    walk(each)
        elif isinstance(value, list):
            for each in value:
                walk(each)
        elif isinstance(value, str) and "-----BEGIN" in value:
            blocks(value.encode())

    def blocks(content):
        for block in PEM.findall(content):
            try:
                found.setdefault(base64.b64decode(block))
            except ValueError:
                pass  # a sample of malformed PEM

    for path in files:
        content = path.read_bytes()
        name = path.name
        if name.endswith(".xz"):
            content, name = lzma.decompress(content), name[:-3]
        if name.endswith(".json"):
            walk(json.loads(content))
        elif b"-----BEGIN" in content:
            blocks(content)
        elif content[:1] == b"0" and name.endswith((".der", ".crt", ".cer")):
            found.setdefault(content)
    return list(found)


def tlv(tag, content):
    length = len(content)
    size = (length.bit_length() + 7) // 8
    return bytes([tag]) + (bytes([length]) if length < 128 else bytes([0x80 | size]) + length.to_bytes(size, "big")) + content


def elements(content):
    """The tags and contents of DER elements that follow each other."""
    while content:
        length, start = content[1], 2
        if length >= 128:
            start += length - 128
            length = int.from_bytes(content[2:start], "big")
        yield content[0], content[start : start + length]
        content = content[start + length :]


def dns_names(der):
    """The DNS names of the extension, as they are in the certificate."""
    extension = re.search(rb"\x06\x03\x55\x1d\x11(?:\x01\x01.)?(\x04.*)", der, re.S)[1]
    names = next(elements(next(elements(extension))[1]))[1]
    return [content.decode("latin1") for tag, content in elements(names) if tag == 0x82]


def printed(certificates, *options):
    """What openssl pkcs7 prints about certificates."""
    oid = bytes.fromhex("06092a864886f70d0107")
    signed = tlv(0x30, b"\x02\x01\x01" + tlv(0x31, b"") + tlv(0x30, oid + b"\x01") + tlv(0xA0, b"".join(certificates)) + tlv(0x31, b""))
    with tempfile.NamedTemporaryFile() as file:
        file.write(tlv(0x30, oid + b"\x02" + tlv(0xA0, signed)))
        file.flush()
        command = ["openssl", "pkcs7", "-inform", "DER", "-in", file.name, "-print_certs", "-noout", *options]
        return subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout


def library_name(line):
    """A name of one line as the library has it: the last part first, no blanks around the equals
    signs, and characters outside ASCII as they are. Null if these are not UTF-8."""
    parts = [b""]
    for token in re.findall(rb', | \+ |\\.|"(?:[^"\\]|\\.)*"|.', line, re.S):
        if token in (b", ", b" + "):
            parts += [token, b""]
        else:
            parts[-1] += token
    out = b"".join(part if index % 2 else part.replace(b" = ", b"=", 1) for index, part in reversed(list(enumerate(parts))))
    out = re.sub(rb"\\(\\|[89A-F][0-9A-F])", lambda match: match[0] if match[1] == b"\\" else bytes([int(match[1], 16)]), out)
    try:
        return out.decode()
    except UnicodeDecodeError:
        return None


def serial_of(text):
    match = re.search(rb"\n        Serial Number:(?: (-?\d+) \(-?0x[0-9a-f]+\)|\n {12}( \(Negative\))?([0-9a-f:]+))\n", text)
    if match[1]:
        return match[1].decode()
    return str(int(match[3].replace(b":", b""), 16) * (-1 if match[2] else 1))


def time_of(text, which):
    match = re.search(rb"\n            " + which + rb": ?(\w{3}) ([ \d]\d) (\d\d:\d\d:\d\d)(?:\.\d+)? (\d+) GMT\n", text)
    return match and f"{int(match[4]):04}-{MONTHS[match[1].decode()]:02}-{int(match[2]):02}T{match[3].decode()}Z"


def is_domain(text):
    labels = text.split(".")
    try:
        ipaddress.IPv4Address(text)
        return False
    except ValueError:
        return len(text) <= 253 and all(re.fullmatch(r"(?!-)[A-Za-z0-9_*-]{1,63}(?<!-)", label) for label in labels)


def ascii_form(name):
    return ".".join(label if label.isascii() else "xn--" + label.encode("punycode").decode() for label in name.split(".")).lower()


class Comparison:
    def __init__(self):
        self.counts = collections.Counter()
        self.wrong = []

    def expect(self, what, ours, theirs, der):
        self.counts[what] += 1
        if ours != theirs:
            self.wrong.append((what, ours, theirs, base64.b64encode(der)))

    def certificate(self, der, info, names, text):
        for what, line in zip(("subject", "issuer"), names):
            self.expect(what, info.get(what), library_name(line), der)
        self.expect("serialNumber", info.get("serialNumber"), serial_of(text), der)
        for what, which in (("validFrom", b"Not Before"), ("validUntil", b"Not After ")):
            theirs = time_of(text, which)
            # The library takes no times without seconds or with an offset; OpenSSL does.
            if what not in info and theirs:
                self.counts["time that only openssl takes"] += 1
            else:
                self.expect(what, info.get(what), theirs, der)
        for what, title in TITLES.items():
            self.extension(what, re.findall(rb"\n {12}X509v3 " + title.encode() + rb": ?(?:critical)?\n {16}(.*)", text), info.get(what), der)

    def extension(self, what, values, ours, der):
        if len(values) != 1:
            self.expect(f"no {what}" if not values else f"repeated {what}", ours, None, der)
        elif ours is None:
            # OpenSSL prints the bytes of an extension that does not decode.
            text = values[0].decode("latin1")
            decodes = re.match(KINDS, text) if what == "sans" else set(text.split(", ")) & set(KNOWN)
            self.expect(f"broken {what}", bool(decodes), False, der)
        elif what == "sans":
            self.names(values[0], ours, der)
        else:
            known = KEY_USAGE if what == "keyUsage" else EXTENDED_KEY_USAGE
            theirs = {known[name] for name in values[0].decode("latin1").split(", ") if name in known}
            prefix = "CRY_X509_KEY_USAGE_" if what == "keyUsage" else "CRY_X509_EXTENDED_KEY_USAGE_"
            self.expect(what, {flag.removeprefix(prefix) for flag in ours.split("|") if flag}, theirs, der)

    def names(self, value, ours, der):
        left = {each["dnsName"] if "dnsName" in each else ipaddress.ip_address(each["ipAddress"]) for each in ours}
        addresses, hosts = set(), set()
        text = value.decode("latin1")
        printed_names = re.split(f", (?={KINDS})", text)
        # OpenSSL prints the bytes also if it cannot print one of the names. A name can be made so
        # that it looks like several, or ends with a line break.
        is_list = re.match(KINDS, text) or text == "<EMPTY>"
        if not is_list or [name[4:] for name in printed_names if name.startswith("DNS:")] != dns_names(der):
            self.counts["names whose text is ambiguous"] += 1
            return
        for name in printed_names:
            kind, _, body = name.partition(":")
            if kind == "IP Address" and not body.startswith("<"):
                addresses.add(ipaddress.ip_address(body))
            elif kind == "DNS":
                hosts.add(body.removesuffix("."))
        self.expect("addresses", {each for each in left if not isinstance(each, str)}, addresses, der)
        kept = {ascii_form(each): each for each in left if isinstance(each, str)}
        for host in hosts:
            if host.isascii() and not re.search(r"(^|\.)xn--", host, re.I):
                self.expect("DNS names", kept.pop(host.lower(), None), host.lower() if is_domain(host) else None, der)
            elif kept.pop(host.lower(), None) is not None:
                self.counts["international DNS names"] += 1
            else:
                self.counts["international DNS names that are refused"] += 1
        self.expect("DNS names besides these", kept, {}, der)


def compare_with_x509(program_info, certificates, comparison):
    """The sample, with openssl x509 itself."""
    options = "esc_2253,esc_ctrl,use_quote,utf8,dump_nostr,dump_der,sep_comma_plus_space,dn_rev,sname"
    command = ["openssl", "x509", "-inform", "DER", "-noout", "-subject", "-issuer", "-serial", "-dates", "-nameopt", options]
    command += ["-dateopt", "iso_8601"]

    def run(der):
        return subprocess.run(command, input=der, stdout=subprocess.PIPE, check=True).stdout.decode(errors="replace")

    step = max(1, len(certificates) // SAMPLE)
    sample = range(0, len(certificates), step)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        texts = pool.map(run, [certificates[index] for index in sample])
        for index, text in zip(sample, texts):
            theirs = dict(line.split("=", 1) for line in text.splitlines())
            ours, der = program_info[index], certificates[index]
            comparison.expect("subject, x509", ours.get("subject"), theirs["subject"], der)
            comparison.expect("issuer, x509", ours.get("issuer"), theirs["issuer"], der)
            comparison.expect("serialNumber, x509", int(ours["serialNumber"]), int(theirs["serial"], 16), der)
            for what, their in (("validFrom", "notBefore"), ("validUntil", "notAfter")):
                if what in ours:
                    comparison.expect(what + ", x509", ours[what], theirs[their].replace(" ", "T"), der)


def main(program):
    vectors = Path(os.environ.get("CRY_VECTORS") or root.parent / "shared" / "vectors")
    listed = subprocess.run(["dpkg", "-L", "python3-cryptography-vectors"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    package = [Path(line) for line in listed.stdout.split("\n") if line.endswith((".pem", ".der", ".crt", ".cer"))]
    files = [path for path in [*package, *(sorted(vectors.rglob("*")) if vectors.is_dir() else [])] if path.is_file()]
    if not files or not shutil.which("openssl"):
        print("no corpora (python3-cryptography-vectors, CRY_VECTORS) or no command openssl")
        return 77
    collected = collect(vectors, files)
    packed = b"".join(struct.pack(">I", len(der)) + der for der in collected)
    done = subprocess.run([program], input=packed, stdout=subprocess.PIPE, check=True)
    infos = [json.loads(line) for line in done.stdout.split(b"\n")[:-1]]
    if len(infos) != len(collected):
        raise SystemExit(f"{len(infos)} answers for {len(collected)} certificates")
    taken = [(der, info) for der, info in zip(collected, infos) if info is not None]
    certificates, infos = [der for der, _ in taken], [info for _, info in taken]

    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        short, long = pool.submit(printed, certificates), pool.submit(printed, certificates, "-text")
    names = re.findall(rb"subject=(.*)\nissuer=(.*)\n\n", short.result())
    texts = re.split(rb"^Certificate:(?=\n    Data:\n)", long.result(), flags=re.M)[1:]
    if len(names) != len(taken) or len(texts) != len(taken):
        raise SystemExit(f"openssl printed {len(names)} names and {len(texts)} texts of {len(taken)} certificates")
    comparison = Comparison()
    for der, info, name, text in zip(certificates, infos, names, texts):
        comparison.certificate(der, info, name, text)
    compare_with_x509(infos, certificates, comparison)
    print(f"{len(taken)} certificates of {len(collected)}")
    for what, count in sorted(comparison.counts.items()):
        print(f"{what}: {count}")
    for what, ours, theirs, der in comparison.wrong[:20]:
        print(f"{what}: the library has {ours!r}, openssl {theirs!r}: {der.decode()}")
    print(f"{len(comparison.wrong)} differences")
    least = {"subject": 400, "keyUsage": 300, "extendedKeyUsage": 10, "addresses": 30, "DNS names": 20}
    few = [f"{what}: fewer than {count}" for what, count in least.items() if comparison.counts[what] < count]
    print("\n".join(few))
    return 1 if comparison.wrong or few or comparison.counts["names whose text is ambiguous"] > 40 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
