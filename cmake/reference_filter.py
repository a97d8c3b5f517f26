#!/usr/bin/env python3
"""Shows Doxygen a public header in the form that it reads.

    reference_filter.py HEADER

The comments of the headers are plain and begin with the names of what they describe. One above a
run of declarations becomes the documentation of each of them, one at the end of a line that of the
line, one that stands alone a part of the file's. The values of an enumeration speak for themselves.
"""
import re
import sys
import textwrap
from pathlib import Path

NAME = r"[\w/]+(?:\([\w ,.]*\))?"
NAMES = re.compile(rf"{NAME}(?:(?:,| and| or) {NAME})*: ")
TRAILING = re.compile(r"(.*\S)\s*/\*(.*?)\*/\s*$")
# Lines at the outer level that declare nothing.
NOTHING = re.compile(r"#\s*(if|el|endif|include|undef)|PB_(BEGIN|END)_DECLS|extern \"C\"|\s|[{}]|$")


def said(text):
    """The text of a comment for Doxygen, to which only words between backquotes mean anything."""
    text, _, example = text.partition("Example:\n")
    text = " ".join(text.split())
    names = NAMES.match(text)
    text = text[names.end() :] if names else text
    parts = re.sub(r"::|[\\@#%&<>]", r"\\\g<0>", text[:1].upper() + text[1:]).split("`")
    shown = "".join(f"<code>{part}</code>" if index % 2 else part for index, part in enumerate(parts))
    return f"{shown}\n@code{{.c}}\n{textwrap.dedent(example).strip()}\n@endcode\n" if example else shown


def of_enumeration(line, enumerations):
    """What can be said of the values of an enumeration, and of the macro that knows them."""
    macro = re.match(r"#define (\w+)(\()?", line)
    for name in enumerations if macro else []:
        if macro.group(1) == f"{name}_OK":
            return f"Whether a number is a value of {name}."
        value = re.search(rf"\( *\({name}\) *(\w+) *\)", line)
        if value and not macro.group(2):
            return f"A value of {name}: {value.group(1)}."
    return None


def filtered(text):
    enumerations = re.findall(r"^typedef PB_INT (\w+);", text, re.MULTILINE)
    lines = text.split("\n")
    result, comment, first, depth, index = [], None, None, 0, 0
    while index < len(lines):
        line = lines[index]
        index += 1
        if depth == 0 and line.startswith("/*"):
            while "*/" not in line:
                line += "\n" + lines[index]
                index += 1
            comment = line[2 : line.index("*/")]
            if first is None:
                first, comment = comment, None
                result.append(f"/** @file\n{said(first)} */")
            elif not lines[index].strip():
                result.append(f"/** @file\n{said(comment)} */")
            continue
        while line.endswith("\\"):
            line = line[:-1].rstrip() + " " + lines[index].lstrip()
            index += 1
        if not line.strip():
            comment = None
        trailing = TRAILING.match(line)
        begins = depth == 0 and not NOTHING.match(line) and not re.match(r"#define \w+_H$", line)
        if begins:
            # A type may leave it to its header's first comment to say what it is.
            type_itself = re.match(r"typedef PB_INT \w+;|PB_OBJECT_TYPE\(", line)
            family = of_enumeration(line, enumerations)
            if comment is None and type_itself:
                comment = first
            if comment is None and family:
                result.append(f"/** {family}{' ' + said(trailing.group(2)) + '.' if trailing else ''} */")
            elif comment is not None:
                result.append(f"/** {said(comment)} */")
            elif trailing:
                result.append(f"/** {said(trailing.group(2))} */")
        elif trailing and depth:
            line = f"{trailing.group(1)} /**< {said(trailing.group(2))} */"
        result.append(line)
        # What the declaration goes on with is part of it.
        depth += sum(line.count(each) for each in "{(") - sum(line.count(each) for each in "})") if not line.startswith("#") else 0
    return "\n".join(result)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.stdout.write(filtered(Path(sys.argv[1]).read_text()))


if __name__ == "__main__":
    main()
