#!/usr/bin/env python3
"""Lists that follow from the headers are as the headers have them.

    check_registration.py [--update] [ROOT]

    source/<library>/exports.txt        every name that the headers of the library export
    include/<library>/<library>.h       includes every public header of the library

The compiler's preprocessor reads the headers, so declarations that macros make count too. Some
exported objects have no declaration of their own in a C header; they follow from one: the sort of a
type from its standard functions, the records of a module from the function that gives the module.

--update writes the lists; look at the difference before you commit it.
"""
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# The folder of a library's headers, if it is not the library's name.
FOLDERS = {"openssl": "openssl_module"}

EXPORT = r'__attribute__\s*\(\s*\(\s*visibility\s*\(\s*"default"\s*\)\s*\)\s*\)'
LINE_MARKER = re.compile(r'# \d+ "([^"]*)"')


def folder_of(root, library):
    return root / "include" / FOLDERS.get(library, library)


def preprocessed(root, headers, language):
    """What the headers themselves come to, without what they include from elsewhere."""
    lines = "".join(f"#include <{header.relative_to(root / 'include')}>\n" for header in headers)
    options = {"c": ["gcc", "-x", "c", "-std=c11"], "c++": ["g++", "-x", "c++", "-std=c++20"]}[language]
    result = subprocess.run([*options, "-E", f"-I{root / 'include'}", "-"], input=lines, capture_output=True, text=True, check=False)
    if result.returncode:
        sys.exit(f"registration: the headers do not go through the preprocessor:\n{result.stderr.rstrip()}")
    own, mine, kept = {str(header) for header in headers}, False, []
    for line in result.stdout.split("\n"):
        marker = LINE_MARKER.match(line)
        if marker:
            mine = marker.group(1) in own
        elif mine:
            kept.append(line)
    return "\n".join(kept)


def exported_names(text):
    """The names that a preprocessed text exports, and those of objects that go with them."""
    names, types, sorted_types = set(), {}, set()
    for match in re.finditer(EXPORT + r"([^;{]*)", text):
        declaration = re.sub(r"__attribute__\s*\(\(.*?\)\)", "", match.group(1))
        function = re.search(r"(\w+)\s*\(", declaration)
        if not function:
            names.add(re.search(r"(\w+)\s*(?:\[.*\]\s*)?$", declaration.strip()).group(1))
            continue
        name = function.group(1)
        names.add(name)
        result = declaration[: function.start()]
        if name.endswith("From") and re.search(r"\(\s*PB_OBJ\s*\*\s*\w+\s*\)", declaration):
            types[name[: -len("From")]] = re.search(r"(\w+)\s*\*", result).group(1)
        if name.endswith("Sort") and re.search(r"\(\s*void\s*\)", declaration):
            sorted_types.add(name[: -len("Sort")])
        if re.search(r"\bPB_MODULE\s*\*", result) and re.fullmatch(r"[a-z]+Module", name):
            library = name[: -len("Module")]
            names |= {f"{library}___module", f"{library}___module_record", f"{library}___module_version_string"}
    for prefix in types.keys() & sorted_types:
        names.add(f"{re.match(r'[a-z]+', prefix).group(0)}___sort_{types[prefix]}")
    return names


def exports(root, library):
    folder = folder_of(root, library)
    c = exported_names(preprocessed(root, sorted(folder.rglob("*.h")), "c"))
    cpp = exported_names(preprocessed(root, sorted(folder.rglob("*.hpp")), "c++"))
    return "".join(f"{name}\n" for name in sorted(c | cpp))


def umbrella(root, library):
    """The umbrella header as it is, with the list of its own library's headers made anew."""
    folder = folder_of(root, library)
    path = folder / f"{folder.name}.h"
    text = path.read_text()
    own = {f"#include <{folder.name}/{header.name}>" for header in folder.glob("*.h") if header != path}
    includes = list(re.finditer(r"(?:^#include <[^>]*>\n)+", text, re.MULTILINE))
    if not own or not includes:
        return path, text
    others = {line for line in includes[0].group(0).splitlines() if not line.startswith(f"#include <{folder.name}/")}
    block = "".join(f"{line}\n" for line in sorted(own | others))
    return path, text[: includes[0].start()] + block + text[includes[0].end() :]


def lists(root):
    """(path, what it should hold) of everything that follows from the headers."""
    for path in sorted((root / "source").glob("*/exports.txt")):
        library = path.parent.name
        yield path, exports(root, library)
        yield umbrella(root, library)


def differences(path, wanted):
    present, needed = path.read_text().splitlines(), wanted.splitlines()
    yield from (f"lacks {line}" for line in needed if line not in present)
    yield from (f"has {line}, which no header calls for" for line in present if line not in needed)
    if set(present) == set(needed):
        yield "is in another order" if len(present) == len(needed) else "is in another order, or holds a line twice"


def check(root=ROOT, update=False):
    errors, count = [], 0
    for path, wanted in lists(root):
        count += 1
        if path.read_text() == wanted:
            continue
        if update:
            path.write_text(wanted)
            print(f"registration: wrote {path.relative_to(root)}")
        else:
            errors += [f"{path.relative_to(root)}: {text}" for text in differences(path, wanted)]
    if not count:
        errors.append(f"{root / 'source'}: no library has an exports.txt")
    return errors


def main():
    arguments = sys.argv[1:]
    update = "--update" in arguments
    arguments = [each for each in arguments if each != "--update"]
    if len(arguments) > 1 or any(each.startswith("-") for each in arguments):
        sys.exit(__doc__)
    errors = check(Path(arguments[0]).resolve() if arguments else ROOT, update)
    if errors:
        errors.append("registration: if the headers are right, run tests/architecture/check_registration.py --update and look at the difference")
    print("\n".join(errors) or "registration: the lists are as the headers have them")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
