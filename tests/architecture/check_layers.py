#!/usr/bin/env python3
"""No file includes what stands above it.

    check_layers.py [ROOT]

The rules are in tests/architecture/layers.txt below ROOT.
"""
import re
import sys
from fnmatch import fnmatchcase
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
RULE = re.compile(r"^(library|folder|external|layer)\s+(\w+)(?:\s+(\w+))?\s*:\s*(.*)$")
SUFFIXES = (".h", ".hpp", ".c", ".cpp")


class Layers:
    def __init__(self, text, name="layers.txt"):
        self.libraries = {}  # library: what it may include beside itself
        self.folders = {}  # library: the folder of its headers
        self.externals = {}  # name: patterns of headers
        self.layers = {}  # library: its layers as (name, patterns), bottom first
        for number, line in enumerate(text.splitlines(), 1):
            line = line.split("#")[0].strip()
            if not line:
                continue
            match = RULE.match(line)
            if not match or (match.group(1) == "layer") != bool(match.group(3)):
                raise ValueError(f"{name}:{number}: not a rule: {line}")
            kind, first, second, rest = match.groups()
            words = rest.split()
            if kind == "library":
                self.libraries[first] = words
            elif kind == "folder":
                self.folders[first] = words[0]
            elif kind == "external":
                self.externals[first] = words
            else:
                own = self.layers.setdefault(first, [])
                if own and own[-1][0] == second:
                    own[-1][1].extend(words)
                elif second in [each for each, _ in own]:
                    raise ValueError(f"{name}:{number}: layer {second} stands in two places")
                else:
                    own.append((second, words))

    def header_folder(self, library):
        return self.folders.get(library, library)

    def library_of(self, path):
        """The library that a file of the repository belongs to."""
        parts = path.split("/")
        if parts[0] == "source":
            return parts[1] if parts[1] in self.libraries else None
        return next((each for each in self.libraries if self.header_folder(each) == parts[1]), None)

    def external_of(self, header):
        return next((each for each, patterns in self.externals.items() if any(fnmatchcase(header, pattern) for pattern in patterns)), None)

    def layer_of(self, library, path):
        """The number of a file's layer; none when it fits no pattern."""
        patterns = [(pattern, index) for index, (_, patterns) in enumerate(self.layers[library]) for pattern in patterns]
        fits = [(len(pattern), index) for pattern, index in patterns if fnmatchcase(path, pattern)]
        return max(fits)[1] if fits else None


def resolve(root, path, library, kind, target):
    """The file of the repository that an include means; none for a header from outside."""
    places = [root / "include" / target]
    if kind == '"':
        places = [path.parent / target, root / "source" / library / target] + places
    for place in places:
        if place.is_file():
            place = place.resolve()
            return str(place.relative_to(root)) if place.is_relative_to(root) else None
    return None


def check_include(layers, root, path, shown, library, kind, target):
    """What is wrong with one include, or none."""
    allowed = layers.libraries[library]
    included = resolve(root, path, library, kind, target)
    if included is None:
        external = layers.external_of(target)
        if external and external not in allowed:
            return f"{shown} of library {library} includes {target} of {external}, which {library} does not use"
        first = target.split("/")[0]
        if kind == '"' or first in [layers.header_folder(each) for each in layers.libraries] and not external:
            return f"{shown} includes {target}, which is not there"
        return None
    other = layers.library_of(included)
    if other is None:
        return f"{shown} of library {library} includes {included}, which belongs to no library"
    if other != library:
        if other not in allowed:
            return f"{shown} of library {library} includes {included} of library {other}, on which {library} does not depend"
        if not included.startswith("include/"):
            return f"{shown} of library {library} includes {included}, which library {other} keeps to itself"
        return None
    if shown.startswith("include/") and included.startswith("source/"):
        return f"{shown} is installed, but includes {included}, which is not"
    if library not in layers.layers:
        return None
    own, others = layers.layer_of(library, shown), layers.layer_of(library, included)
    if own is None or others is None or others <= own:
        return None
    names = [name for name, _ in layers.layers[library]]
    return f"{shown} of layer {names[own]} includes {included} of layer {names[others]}, which stands above it"


def check(root=ROOT):
    root = root.resolve()
    rules = root / "tests" / "architecture" / "layers.txt"
    try:
        layers = Layers(rules.read_text(), rules.relative_to(root))
    except ValueError as error:
        return [str(error)], 0
    errors, count = [], 0
    files = sorted(path for folder in ("include", "source") for path in (root / folder).rglob("*") if path.suffix in SUFFIXES)
    if not files:
        errors.append(f"{root}: no files")
    for path in files:
        count += 1
        shown = str(path.relative_to(root))
        library = layers.library_of(shown)
        if library is None:
            errors.append(f"{shown}: belongs to no library of layers.txt")
            continue
        if library in layers.layers and layers.layer_of(library, shown) is None:
            errors.append(f"{shown}: fits no layer of library {library} in layers.txt")
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            wrong = match and check_include(layers, root, path, shown, library, match.group(1), match.group(2))
            if wrong:
                errors.append(f"{shown}:{number}: {wrong}")
    return errors, count


def main():
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    errors, count = check(Path(sys.argv[1]) if len(sys.argv) == 2 else ROOT)
    print("\n".join(errors) or f"layers: {count} files include only what stands below them")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
