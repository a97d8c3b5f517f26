#!/usr/bin/env python3
"""Each shared library exports exactly the names of its list.

    check_exports.py LIBRARIES [ROOT]

LIBRARIES is the folder of the built libraries; the lists are ROOT/source/<library>/exports.txt.
When the environment variable CRY_EXPORTS_REFERENCE names a list, every name of the library cry must
stand in it too.
"""
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def read_list(path):
    """The names of a list with their line numbers, and what is wrong with the list itself."""
    names, errors = {}, []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        name = line.strip()
        if not name:
            continue
        if name in names:
            errors.append((number, f"{name} is listed twice"))
        names[name] = number
    return names, errors


def exported(library):
    output = subprocess.run(["nm", "-D", "--defined-only", str(library)], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in output.splitlines() if line.strip()}


def check(libraries, root=ROOT, reference=None):
    errors = []
    lists = sorted((root / "source").glob("*/exports.txt"))
    if not lists:
        return [f"{root / 'source'}: no library has an exports.txt"]
    for path in lists:
        name = path.parent.name
        shown = path.relative_to(root)
        library = libraries / f"lib{name}.so"
        listed, wrong = read_list(path)
        errors += [f"{shown}:{number}: {text}" for number, text in wrong]
        if not library.exists():
            errors.append(f"{shown}: there is no {library}")
            continue
        found = exported(library)
        errors += [f"{shown}:{listed[each]}: {each} is listed, but {library.name} does not export it" for each in sorted(listed.keys() - found)]
        errors += [f"{shown}: {library.name} exports {each}, which is not listed" for each in sorted(found - listed.keys())]
        if name == "cry" and reference:
            known, _ = read_list(Path(reference))
            errors += [f"{shown}:{listed[each]}: {each} is not in {reference}" for each in sorted(listed.keys() - known.keys())]
    return errors


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    root = Path(sys.argv[2]).resolve() if len(sys.argv) == 3 else ROOT
    errors = check(Path(sys.argv[1]), root, os.environ.get("CRY_EXPORTS_REFERENCE"))
    print("\n".join(errors) or "exports: every library exports what its list says")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
