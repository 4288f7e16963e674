#!/usr/bin/env python3
"""Checks that no result code can be passed over: every function that a header declares with one is
[[nodiscard]].

    result_codes.py ROOT
"""
import re
import sys
from pathlib import Path

# A definition outside of its class repeats nothing.
DECLARED = re.compile(
    r"^[ \t]*((?:(?:\[\[nodiscard\]\]|static|virtual|inline|friend|CLIPCHAIN_API) )*)"
    r"(?:HRESULT|_tagEXIFL_ERR|std::error_code) (\w+)\(", re.M)


def check(root):
    faults = []
    for path in sorted([*root.glob("src/**/*.h"), *root.glob("apps/**/*.h")]):
        text = path.read_text(encoding="utf-8")
        for match in DECLARED.finditer(text):
            if "nodiscard" not in match[1]:
                line = text.count("\n", 0, match.start(2)) + 1
                faults.append(f"{path.relative_to(root)}:{line}: {match[2]} is not [[nodiscard]]")
    return faults


if __name__ == "__main__":
    found = check(Path(sys.argv[1]))
    print("\n".join(found) or "no result code can be passed over")
    sys.exit(1 if found else 0)
