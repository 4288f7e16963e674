#!/usr/bin/env python3
"""Checks that no failure can be passed over: every function that a header declares with a result
code, an error or a Reason is [[nodiscard]], and one that says why something can't be done says
nothing where it can, and no empty text.

    result_codes.py ROOT
"""
import re
import sys
from pathlib import Path

# A definition outside of its class repeats nothing.
DECLARED = re.compile(
    r"^[ \t]*((?:(?:\[\[nodiscard\]\]|static|virtual|inline|friend|CLIPCHAIN_API) )*)"
    r"(?:HRESULT|_tagEXIFL_ERR|std::error_code|(?:const )?Reason&?) (\w+)\(", re.M)
# What is empty where all is well is taken for a reason by whoever forgets to ask.
TEXT = re.compile(r"\bstd::string&? (?:\w+::)*(Why\w*)\(")


def check(root):
    faults = []
    for path in sorted([*root.glob("src/**/*.h"), *root.glob("apps/**/*.h")]):
        text = path.read_text(encoding="utf-8")
        for match in DECLARED.finditer(text):
            if "nodiscard" not in match[1]:
                line = text.count("\n", 0, match.start(2)) + 1
                faults.append(f"{path.relative_to(root)}:{line}: {match[2]} is not [[nodiscard]]")
    for path in sorted(p for top in ("src", "apps") for p in root.glob(f"{top}/**/*.*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        text = path.read_text(encoding="utf-8")
        for match in TEXT.finditer(text):
            line = text.count("\n", 0, match.start(1)) + 1
            faults.append(f"{path.relative_to(root)}:{line}: {match[1]} answers no Reason")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "no failure can be passed over")
    sys.exit(1 if found else 0)
