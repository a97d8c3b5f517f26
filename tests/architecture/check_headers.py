#!/usr/bin/env python3
"""Each header compiles alone, as C11 and as C++20, with every compiler that is here; public ones
bring in no header of OpenSSL.

The examples in the comments of headers, from "Example:" to the end of the comment, compile in the
same way, after the header and with nothing else included.

    check_headers.py [ROOT]

.hpp headers are C++ only. Headers under internal/ are for sibling libraries and may use OpenSSL's
types.
"""
import re
import shutil
import subprocess
import sys
import textwrap
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# Language: the compilers that must exist, those that are used if they exist, and the options.
LANGUAGES = {
    "c": (["gcc"], ["clang-16"], ["-x", "c", "-std=c11"]),
    "c++": (["g++"], ["clang++-16"], ["-x", "c++", "-std=c++20"]),
}
WARNINGS = ["-Wall", "-Wextra", "-Werror", "-pedantic"]
OPENSSL = re.compile(r"/openssl/[^/]+\.h$")


EXAMPLE = re.compile(r"^ *Example:\n(.*?)\*/", re.DOTALL | re.MULTILINE)

# The families whose first use is shown.
SHOWN = ["cry/cry_hash.h", "cry/cry_sign.h", "cry/cry_x509_certificates.h", "cry/cry_pkcs12.h"]


def examples(text):
    """(line number, code) of each example in the comments of a header."""
    return [(text.count("\n", 0, match.start(1)) + 1, textwrap.dedent(match.group(1))) for match in EXAMPLE.finditer(text)]


def is_public(header):
    return "internal" not in header.parts


def languages(header):
    return ["c++"] if header.suffix == ".hpp" else ["c", "c++"]


def run(compiler, options, include, header, more=""):
    """Compiles one line that includes the header, and what is to come after it."""
    text = f"#include <{header}>\n{more}"
    return subprocess.run([compiler, *options, f"-I{include}", "-"], input=text, capture_output=True, text=True, check=False)


def check_header(include, header):
    errors = []
    shown = f"include/{header}"
    found = examples((include / header).read_text())
    if str(header) in SHOWN and not found:
        errors.append(f"{shown}: has no example")
    for language in languages(header):
        required, optional, options = LANGUAGES[language]
        for compiler in required + [each for each in optional if shutil.which(each)]:
            result = run(compiler, options + WARNINGS + ["-fsyntax-only"], include, header)
            if result.returncode:
                errors.append(f"{shown}: does not compile alone as {options[-1][5:]} with {compiler}:\n{result.stderr.rstrip()}")
            for number, code in found:
                result = run(compiler, options + WARNINGS + ["-fsyntax-only"], include, header, f'#line {number} "{shown}"\n{code}')
                if result.returncode:
                    errors.append(f"{shown}:{number}: the example does not compile as {options[-1][5:]} with {compiler}:\n{result.stderr.rstrip()}")
        if is_public(header):
            result = run(required[0], options + ["-M"], include, header)
            # A file below the project's own include folder is not a header of OpenSSL, for any
            # place of the checkout.
            own = str(include) + "/"
            files = [each for each in result.stdout.replace("\\\n", " ").split() if not each.startswith(own) and OPENSSL.search(each)]
            if files:
                errors.append(f"{shown}: a public header brings in OpenSSL's {files[0]} ({language})")
                break
    return errors


def check(root=ROOT):
    include = root / "include"
    headers = sorted(path.relative_to(include) for path in include.rglob("*") if path.suffix in (".h", ".hpp"))
    if not headers:
        return [f"{include}: no headers"], 0
    with ThreadPoolExecutor(max_workers=2) as pool:
        return [error for errors in pool.map(lambda header: check_header(include, header), headers) for error in errors], len(headers)


def main():
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    errors, count = check(Path(sys.argv[1]).resolve() if len(sys.argv) == 2 else ROOT)
    compilers = [each for required, optional, _ in LANGUAGES.values() for each in required + optional]
    missing = [each for each in compilers if not shutil.which(each)]
    if missing:
        print(f"headers: not checked with {', '.join(missing)}, which is not here")
    print("\n".join(errors) or f"headers: {count} headers compile alone")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
