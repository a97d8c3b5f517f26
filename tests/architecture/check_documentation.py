#!/usr/bin/env python3
"""Every exported function is documented where it is declared.

    check_documentation.py [ROOT]

The comment directly above a run of declarations (no empty line between) must name each function of
the run: by its full name, or in a list such as `pbVectorSort/Obj/From`, whose further words each
stand for the last word of the first. Above a run of uses of a macro that declares functions, it
must name the macro.
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

COMMENT = re.compile(r"/\*.*?\*/|//[^\n]*", re.DOTALL)
# A macro whose text has an export in it declares a family of functions.
FAMILY = re.compile(r"^#\s*define (\w+)\((?:.*\\\n)*.*\bPB_EXPORT\b", re.MULTILINE)
FUNCTION = re.compile(r"(\w+)\s*\(")
NOT_A_NAME = {"__attribute__", "PB_EXPORT", "PB_NORETURN", "extern"}


def names_in(comment):
    """The full names in a comment, and its lists as (first word, further words)."""
    lists = [(words[0], words[1:]) for words in (match.split("/") for match in re.findall(r"\w+(?:/\w+)+", comment))]
    return set(re.findall(r"\w+", comment)), lists


def is_named(function, comment):
    names, lists = names_in(comment)
    if function in names:
        return True
    for first, rest in lists:
        for word in rest:
            stem = function[: -len(word)]
            if function.endswith(word) and stem and first.startswith(stem) and re.fullmatch(r"[A-Z][a-z0-9]*", first[len(stem) :]):
                return True
    return False


def function_of(declaration):
    """The name of the function that a declaration declares; none for data."""
    for match in FUNCTION.finditer(declaration):
        if match.group(1) not in NOT_A_NAME:
            return match.group(1)
    return None


def declarations(text):
    """(line number, declaration, the comment above its run) of everything that is exported."""
    comment, inside, lines = None, None, text.split("\n")
    families = set(FAMILY.findall(text))
    index = 0
    while index < len(lines):
        line, number = lines[index].strip(), index + 1
        index += 1
        if line.startswith("#"):
            while lines[index - 1].endswith("\\") and index < len(lines):
                index += 1
        elif line.startswith("/*"):
            block = [line]
            while "*/" not in block[-1] and index < len(lines):
                block.append(lines[index])
                index += 1
            comment, inside = "\n".join(block), "block"
        elif line.startswith("//"):
            comment = comment + "\n" + line if inside == "line" else line
            inside = "line"
        elif not line:
            comment, inside = None, None
        else:
            inside = None
            declaration = line
            if re.search(r"\bPB_EXPORT\b", line) or re.match(r"\w*", line).group(0) in families:
                while not re.search(r"[;{]", COMMENT.sub("", declaration)) and index < len(lines):
                    declaration += "\n" + lines[index]
                    index += 1
                yield number, COMMENT.sub("", declaration), comment
            else:
                comment = None


def check_text(text):
    errors, count = [], 0
    for number, declaration, comment in declarations(text):
        function = function_of(declaration)
        if not function:
            continue
        count += 1
        if comment is None:
            errors.append((number, f"{function} has no comment directly above its run of declarations"))
        elif not is_named(function, comment):
            errors.append((number, f"the comment above {function} does not name it"))
    return errors, count


def check(root=ROOT):
    errors, functions = [], 0
    for path in sorted(path for path in (root / "include").rglob("*") if path.suffix in (".h", ".hpp")):
        wrong, count = check_text(path.read_text())
        errors += [f"{path.relative_to(root)}:{number}: {text}" for number, text in wrong]
        functions += count
    if not functions:
        errors.append(f"{root / 'include'}: no exported functions")
    return errors, functions


def main():
    if len(sys.argv) > 2:
        sys.exit(__doc__)
    errors, count = check(Path(sys.argv[1]).resolve() if len(sys.argv) == 2 else ROOT)
    print("\n".join(errors) or f"documentation: {count} exported functions are documented")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
