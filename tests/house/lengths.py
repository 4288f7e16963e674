#!/usr/bin/env python3
"""Checks that files and functions stay short enough to be read.

    lengths.py ROOT
"""
import re
import sys
from pathlib import Path

LIMITS = {".h": 250, ".cpp": 450, ".c": 450}
FUNCTION_LIMIT = 50
# Text in which braces mean nothing: comments, strings, characters.
OPAQUE = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+'""", re.S
)
DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n\\]|\\.)*", re.M | re.S)
TYPE_OR_NAMESPACE = re.compile(r"\b(namespace|class|struct|union|enum|extern)\b[^()]*$")


def blank(match):
    return re.sub(r"[^\n]", " ", match.group())


def functions(text):
    """Yields (first line, length) of each function: an outermost brace that is no type's or
    namespace's, behind a head with parentheses."""
    text = DIRECTIVE.sub(blank, OPAQUE.sub(blank, text))
    head_start = 0
    scopes = []  # for each open brace: does it count in `inside`, is it a function, its first line
    inside = 0  # open braces that are function bodies, initialisers, or within one
    for match in re.finditer(r"[{};]", text):
        at = match.start()
        if match.group() == "{":
            head = text[head_start:at]
            body = inside > 0 or not TYPE_OR_NAMESPACE.search(head)
            inside += body
            is_function = inside == 1 and body and "(" in head and not head.rstrip().endswith("=")
            first = text.count("\n", 0, at - len(head.lstrip())) + 1
            scopes.append((body, is_function, first))
        elif match.group() == "}" and scopes:
            body, is_function, first = scopes.pop()
            inside -= body
            if is_function:
                yield first, text.count("\n", 0, at) + 2 - first
        if not inside:
            head_start = at + 1


def check_file(path):
    text = path.read_text(encoding="utf-8")
    lines = text.count("\n")
    if lines > LIMITS[path.suffix]:
        yield f"{path}: {lines} lines, at most {LIMITS[path.suffix]}"
    for first, length in functions(text):
        if length > FUNCTION_LIMIT:
            yield f"{path}:{first}: a function of {length} lines, at most {FUNCTION_LIMIT}"


def check(root):
    paths = [
        path
        for folder in ("src", "apps", "examples", "fuzz", "bench")
        for path in sorted((root / folder).rglob("*"))
        if path.suffix in LIMITS
    ]
    if not paths:
        return [f"{root}: no sources found"]
    return [fault for path in paths for fault in check_file(path)]


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "every file and function is short enough")
    sys.exit(1 if found else 0)
