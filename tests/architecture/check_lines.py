#!/usr/bin/env python3
"""Lines of comments have at most 100 columns, other lines at most 150; subjects of commits have at
most 72 characters.

    check_lines.py [--list] [ROOT]

C, C++, Python, CMake and shell files are checked, tracked or not yet. A line is one of a comment if
nothing but a comment stands on it; docstrings and the text of usage messages count as comments. A
long subject is only told, since a commit that others have cannot be changed. --list shows the lines
and ends well.

Ends with 77 (skipped) if ROOT is not a git checkout.
"""
import io
import re
import subprocess
import sys
import tokenize
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

COMMENT_COLUMNS = 100
CODE_COLUMNS = 150
SUBJECT_CHARACTERS = 72
SUBJECTS = 20

C_SUFFIXES = {".c", ".cpp", ".h", ".hpp"}
C_TOKEN = re.compile(
    r"""(?P<comment>/\*.*?\*/|//(?:\\\n|[^\n])*)"""
    r"""|R"(?P<mark>[^\s()\\]{0,16})\(.*?\)(?P=mark)\""""
    r"""|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'""",
    re.DOTALL,
)


def spans_to_lines(text, spans):
    """The numbers of the lines on which nothing but the spans, and blanks, stands."""
    kept = list(text)
    covered = set()
    for start, end in spans:
        first = text.count("\n", 0, start) + 1
        covered.update(range(first, first + text.count("\n", start, end) + 1))
        for index in range(start, end):
            if kept[index] != "\n":
                kept[index] = " "
    rest = "".join(kept).split("\n")
    return {number for number in covered if not rest[number - 1].strip()}


def comments_of_c(text):
    return spans_to_lines(text, [match.span() for match in C_TOKEN.finditer(text) if match.group("comment")])


def comments_of_python(text):
    lines = {number for number, line in enumerate(text.split("\n"), 1) if line.lstrip().startswith("#")}
    before = tokenize.NEWLINE
    for token in tokenize.generate_tokens(io.StringIO(text).readline):
        # A string that is a statement of its own is a docstring.
        if token.type == tokenize.STRING and before in (tokenize.NEWLINE, tokenize.INDENT, tokenize.DEDENT):
            lines.update(range(token.start[0], token.end[0] + 1))
        elif token.type == tokenize.STRING:
            # Text inside another string that looks like a comment is not a comment.
            lines.difference_update(range(token.start[0] + 1, token.end[0] + 1))
        if token.type not in (tokenize.NL, tokenize.COMMENT):
            before = token.type
    return lines


def comments_of_hash(text):
    return {number for number, line in enumerate(text.split("\n"), 1) if line.lstrip().startswith("#")}


def kind_of(path, text):
    """The function that finds the comments of a file; none for a file that is not checked."""
    if path.suffix in C_SUFFIXES:
        return comments_of_c
    first = text.split("\n", 1)[0] if text.startswith("#!") else ""
    if path.suffix == ".py" or "python" in first:
        return comments_of_python
    if path.suffix in (".sh", ".cmake") or path.name == "CMakeLists.txt" or re.search(r"\b(ba)?sh\b", first):
        return comments_of_hash
    return None


def check_text(path, text):
    """(line number, what is wrong) of every line that is too long."""
    kind = kind_of(path, text)
    if not kind:
        return []
    comments = kind(text)
    errors = []
    for number, line in enumerate(text.split("\n"), 1):
        limit, what = (COMMENT_COLUMNS, "a comment") if number in comments else (CODE_COLUMNS, "code")
        if len(line) > limit:
            errors.append((number, f"{len(line)} columns of {what}, {limit} are the most"))
    return errors


def git(root, *arguments):
    return subprocess.run(["git", "-C", str(root), *arguments], capture_output=True, text=True, check=False)


def check(root=ROOT):
    errors, count = [], 0
    for name in git(root, "ls-files", "-z", "--cached", "--others", "--exclude-standard").stdout.split("\0"):
        path = root / name
        if not name or not path.is_file():
            continue
        try:
            text = path.read_text()
        except UnicodeDecodeError:
            continue
        if kind_of(path, text):
            count += 1
            errors += [f"{name}:{number}: {text}" for number, text in check_text(path, text)]
    if not count:
        errors.append(f"{root}: no files to check")
    return errors, count


def long_subjects(root=ROOT):
    """The subjects since the last tag, or of the last commits, that are too long."""
    tag = git(root, "describe", "--tags", "--abbrev=0").stdout.strip()
    log = git(root, "log", "--format=%h %s", *([f"{tag}..HEAD"] if tag else [f"-{SUBJECTS}"])).stdout
    return [line for line in log.splitlines() if len(line.split(" ", 1)[1]) > SUBJECT_CHARACTERS]


def main():
    arguments = sys.argv[1:]
    only_list = "--list" in arguments
    arguments = [each for each in arguments if each != "--list"]
    if len(arguments) > 1 or any(each.startswith("-") for each in arguments):
        sys.exit(__doc__)
    root = Path(arguments[0]).resolve() if arguments else ROOT
    if git(root, "rev-parse", "--is-inside-work-tree").returncode:
        print(f"lines: SKIPPED: {root} is not a git checkout")
        sys.exit(77)
    for subject in long_subjects(root):
        print(f"lines: warning: a subject of more than {SUBJECT_CHARACTERS} characters: {subject}")
    errors, count = check(root)
    print("\n".join(errors) or f"lines: {count} files have no line that is too long")
    sys.exit(1 if errors and not only_list else 0)


if __name__ == "__main__":
    main()
