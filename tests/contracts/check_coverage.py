#!/usr/bin/env python3
"""Reports contract checks that no contract test has broken.

usage: check_coverage.py [--lines] HITS...

HITS are what contract_tests and exhaustion_tests write where CRY_CONTRACT_HITS says:
file:line:expression, one line a hit. Every check of source/ must be among them, by its file and
its text, or in unreachable.txt beside this script, whose lines are `file: expression — reason`.
Checks that shared code makes at its caller's place count wherever they were hit; the checks of
the standard functions of a type count together. With --lines, checks with the same text in one
file count line by line; that is for the curious, nothing in it fails."""

import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNREACHABLE = pathlib.Path(__file__).with_name("unreachable.txt")

CHECKS = ("PB_CHECK", "PB_CHECK_CONTEXT", "PB_CHECK_HANDLE", "PB_CHECK_AT")
STANDARD = "PB_SORT_DEFINE"

# One check in the source: its place, its text, and how it counts.
Site = collections.namedtuple("Site", "file line text kind")  # kind: plain, anywhere, standard
Macro = collections.namedtuple("Macro", "parameters body")


def without_comments(source):
    """The source with comments and the bodies of string literals' dangers gone: comments become
    blanks, line ends stay."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)
    return pattern.sub(lambda m: re.sub(r"[^\n]", " ", m[0]) if m[0].startswith("/") else m[0], source)


def arguments(source, opening):
    """The arguments of a call whose parenthesis opens at `opening`, and the place behind it."""
    depth, start, found, quote = 0, opening + 1, [], None
    index = opening
    while index < len(source):
        c = source[index]
        if quote:
            if c == "\\":
                index += 1
            elif c == quote:
                quote = None
        elif c in "\"'" and not (c == "'" and source[index - 1].isdigit()):
            quote = c
        elif c in "([{":
            depth += 1
        elif c in ")]}":
            depth -= 1
            if not depth:
                found.append(source[start:index])
                return found, index + 1
        elif c == "," and depth == 1:
            found.append(source[start:index])
            start = index + 1
        index += 1
    return None, len(source)


def text_of(argument):
    """As the preprocessor writes it: single blanks, none at the ends."""
    return re.sub(r"\s+", " ", argument.replace("\\\n", " ")).strip()


def calls(source, names):
    """(name, arguments, offset) of every use of a macro."""
    for match in re.finditer(r"\b(%s)\s*\(" % "|".join(map(re.escape, names)), source):
        found, _ = arguments(source, match.end() - 1)
        if found is not None:
            yield match[1], found, match.start()


def texts_of(name, found):
    """The texts that one use of a check macro can report."""
    if name == "PB_CHECK_HANDLE":
        handle = text_of(found[0])
        return [handle, "*" + handle]
    if name in ("PB_CHECK_AT", "PB_CHECK_CONTEXT"):
        found = found[1:]
    return [text_of(",".join(found))]


def split_macros(source):
    """The source without macro definitions, and the definitions by name."""
    macros = {}

    def take(match):
        if match["parameters"] is not None:
            parameters = [p.strip() for p in match["parameters"].split(",")]
            macros[match["name"]] = Macro(parameters, match["body"].replace("\\\n", "\n"))
        return re.sub(r"[^\n]", " ", match[0])

    define = re.compile(r"^[ \t]*#[ \t]*define[ \t]+(?P<name>\w+)(?:\((?P<parameters>[^)]*)\))?(?P<body>(?:\\\n|[^\n])*)", re.M)
    return define.sub(take, source), macros


def expanded(macro, given):
    """The body of a macro with its arguments in place."""
    values = dict(zip(macro.parameters, (text_of(each) for each in given)))
    if macro.parameters[-1:] == ["..."]:
        values["__VA_ARGS__"] = text_of(",".join(given[len(macro.parameters) - 1:]))
    body = re.sub(r"(?<!#)#\s*(\w+)", lambda m: '"%s"' % values[m[1]] if m[1] in values else m[0], macro.body)
    body = re.sub(r"\b\w+\b|(?<=#)\w+", lambda m: values.get(m[0], m[0]), re.sub(r"\s*##\s*", " ## ", body))
    return body.replace(" ## ", "")


def sites_in(file, source, macros, line_of, depth=0):
    for name, found, offset in calls(source, CHECKS):
        for text in texts_of(name, found):
            yield Site(file, line_of(offset), text, "anywhere" if name == "PB_CHECK_AT" else "plain")
    for name, found, offset in calls(source, [STANDARD]):
        prefix, _, struct = map(text_of, found[:3])
        yield Site(file, line_of(offset), "!obj || pbObjSort(obj)==&%s___sort_%s" % (prefix, struct), "standard")
    # Macros of our own that hold checks, where they are used.
    if macros and depth < 4:
        for name, found, offset in calls(source, macros):
            line = line_of(offset)
            yield from sites_in(file, expanded(macros[name], found), macros, lambda _: line, depth + 1)


def holds_checks(macro, macros, seen=()):
    used = set(re.findall(r"\b\w+(?=\s*\()", macro.body))
    return bool(used & {*CHECKS, STANDARD}) or any(holds_checks(macros[n], macros, (*seen, n)) for n in used & macros.keys() - set(seen))


def all_sites():
    sources, macros = {}, {}
    for path in sorted((ROOT / "source").rglob("*.[ch]pp")):
        source, own = split_macros(without_comments(path.read_text()))
        sources[path.relative_to(ROOT).as_posix()] = source
        macros.update(own)
    macros = {name: macro for name, macro in macros.items() if holds_checks(macro, macros)}
    for file, source in sources.items():
        yield from sites_in(file, source, macros, lambda offset: source.count("\n", 0, offset) + 1)


def read_hits(path):
    hits = []
    for line in path.read_text().splitlines():
        file, number, expression = line.split(":", 2)
        hits.append((file, int(number), expression))
    return hits


def read_unreachable():
    listed, errors = {}, []
    for number, line in enumerate(UNREACHABLE.read_text().splitlines() if UNREACHABLE.exists() else [], 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        check, dash, reason = line.rpartition(" — ")
        file, colon, expression = check.partition(": ")
        if not (dash and colon and reason.strip()):
            errors.append("unreachable.txt:%d: not `file: expression — reason`: %s" % (number, line))
        elif (file, expression) in listed:
            errors.append("unreachable.txt:%d: twice: %s" % (number, check))
        else:
            listed[file, expression] = number
    return listed, errors


def main():
    options = [each for each in sys.argv[1:] if each.startswith("--")]
    paths = [each for each in sys.argv[1:] if not each.startswith("--")]
    if not paths or set(options) - {"--lines"}:
        sys.exit(__doc__)
    hits = []
    for path in map(pathlib.Path, paths):
        if not path.exists():
            sys.exit("%s is not there: run contract_tests and exhaustion_tests with CRY_CONTRACT_HITS set (ctest does)" % path)
        hits += read_hits(path)
    hit_here = {(file, expression) for file, _, expression in hits}
    hit_anywhere = {expression for _, _, expression in hits}
    hit_files = collections.defaultdict(set)
    for file, _, expression in hits:
        hit_files[file].add(expression)

    def was_hit(site):
        if site.kind == "anywhere":
            return site.text in hit_anywhere
        if site.kind == "standard":
            return bool(hit_files[site.file] & {site.text, "obj", "objA", "objB"})
        return (site.file, site.text) in hit_here

    sites = collections.defaultdict(list)  # by file and text
    for site in all_sites():
        sites[site.file, site.text].append(site)
    listed, errors = read_unreachable()

    missing = collections.defaultdict(list)
    for (file, text), same in sorted(sites.items()):
        hit = any(map(was_hit, same))
        if (file, text) in listed:
            if hit:
                errors.append("unreachable.txt:%d: was hit, take it out: %s: %s" % (listed[file, text], file, text))
        elif not hit:
            missing[file].append((sorted({site.line for site in same}), text, same[0].kind))
    for (file, text), number in listed.items():
        if (file, text) not in sites:
            errors.append("unreachable.txt:%d: there is no such check: %s: %s" % (number, file, text))

    count = sum(map(len, missing.values()))
    for file, checks in missing.items():
        print(file)
        for lines, text, kind in sorted(checks):
            where = ",".join(map(str, lines))
            remark = {"standard": "   (the standard functions)", "anywhere": "   (made for a caller)"}.get(kind, "")
            print("    line %s: %s%s" % (where, text, remark))
    for error in errors:
        print(error)
    if "--lines" in options:
        lines_hit = {(file, line, expression) for file, line, expression in hits}
        for (file, text), same in sorted(sites.items()):
            never = [s.line for s in same if s.kind == "plain" and (file, s.line, text) not in lines_hit]
            if never and (file, text) not in listed and file not in missing:
                print("%s: hit, but not at line %s: %s" % (file, ",".join(map(str, never)), text))
    print("%d checks in %d files: %d hit, %d listed as unreachable, %d never hit" % (len(sites), len({file for file, _ in sites}),
                                                                                   len(sites) - len(listed) - count, len(listed), count))
    sys.exit(1 if missing or errors else 0)


main()
