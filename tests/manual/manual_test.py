#!/usr/bin/env python3
"""Checks that manual pages, completions and README know what the tool takes, and nothing else.

    manual_test.py CLIPCHAIN FOLDER

FOLDER has the manual pages and completions. What a shell or man completes or prints is asked of it
where it is installed.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

TOOL, FOLDER = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
ROOT = Path(__file__).resolve().parents[2]
OPTION = re.compile(r"(?<![\w-])(--?[a-zA-Z][\w-]*)")


def run(*command, expect=0, **more):
    words = [str(word) for word in command]
    done = subprocess.run(words, capture_output=True, text=True, check=False, **more)
    require(expect is None or done.returncode == expect, f"{words} ended with {done.returncode}: {done.stderr}")
    return done.stdout + done.stderr


def require(condition, complaint):
    if not condition:
        sys.exit(complaint)


def part(text, name):
    """The indented lines below a heading."""
    found = re.search(rf"^{name}:?\n((?:[ \t].*\n|\n)*)", text, re.MULTILINE)
    return found[1] if found else ""


def heads(text):
    """The first words of each entry of a list of options: what stands least indented."""
    lines = [line for line in text.splitlines() if line.strip()]
    least = min((len(line) - len(line.lstrip()) for line in lines), default=0)
    return [line[least:] for line in lines if line[least] != " "]


def options_in(text):
    """The options of a list, without those that their descriptions speak of."""
    return {name for head in heads(text) for name in OPTION.findall(re.split(r"  +", head)[0])}


def check_page(name, wanted):
    page = FOLDER / "man1" / f"{name}.1"
    text = page.read_text(encoding="ascii")
    require("@" not in text, f"{page} has a mark without its part")
    if shutil.which("groff"):
        require(not run("groff", "-ww", "-man", "-Tutf8", "-z", page), f"groff warns about {page}")
    if shutil.which("man") is None:
        return
    env = {**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8", "MANROFFSEQ": ""}
    shown = run("man", "--warnings", "-l", "-P", "cat", page, env=env)
    require("warning:" not in shown, f"man warns about {page}: {shown}")
    shown = re.sub(r".\x08", "", shown)
    told = options_in(part(shown, "OPTIONS"))
    require(told == wanted, f"{page} has the options {sorted(told)}, not {sorted(wanted)}")
    for other in re.findall(r"(clipchain[\w-]*)\(1\)", part(shown, "SEE ALSO")):
        require((FOLDER / "man1" / f"{other}.1").exists(), f"{page} names {other}, which there is not")


def check_other_pages():
    """Those that are made of the documentation."""
    pages = [FOLDER / "man5/clipchain-json.5", FOLDER / "man7/clipchain-fleet.7", FOLDER / "man7/clipchain-messages.7"]
    for page in pages:
        require(page.read_text(encoding="ascii").startswith(".TH clipchain\\-"), f"{page} has no head")
        if shutil.which("groff"):
            require(not run("groff", "-ww", "-man", "-Tutf8", "-z", page), f"groff warns about {page}")


BASH = r"""
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_clipchain; printf '%s\n' "${COMPREPLY[@]}"
"""


def completed(shell, words):
    """What a shell offers in place of the last word; None without that shell."""
    if shutil.which(shell) is None:
        return None
    if shell == "bash":
        script = FOLDER / "clipchain.bash"
        return set(run("bash", "-c", BASH, "bash", script, *words).split("\n")) - {""}
    line = " ".join(words).replace("'", "\\'")
    script = f"source {FOLDER / 'clipchain.fish'}; complete -C '{line}'"
    with tempfile.TemporaryDirectory() as home:
        lines = run("fish", "--no-config", "-c", script, env={**os.environ, "HOME": home}).splitlines()
    return {entry.split("\t")[0] for entry in lines}


def check_shells(command, wanted):
    for shell in ("bash", "fish"):
        offered = completed(shell, ["clipchain", command, "-"] if command else ["clipchain", "-"])
        require(offered is None or offered == wanted, f"{shell} offers {offered} for {command}, not {wanted}")
    if not command:
        return
    text = (FOLDER / "_clipchain").read_text(encoding="utf-8")
    block = re.search(rf"^  {command}\)\n(.*?)&& return", text, re.MULTILINE | re.DOTALL)[1]
    told = set(re.findall(r"^    '\([^)]*\)(--?[\w-]+)", block, re.MULTILINE))
    require(told == wanted, f"zsh offers {told} for {command}, not {wanted}")


def check_commands(commands):
    for shell in ("bash", "fish"):
        offered = completed(shell, ["clipchain", ""])
        require(offered is None or offered == commands, f"{shell} offers {offered}, not {commands}")
    pages = {page.name for page in (FOLDER / "man1").iterdir()}
    require(pages == {"clipchain.1", *(f"clipchain-{c}.1" for c in commands)}, f"the pages are {pages}")
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    spoken = set(re.findall(r"^ +(?:\$)?clipchain ([a-z]+) ", readme, re.MULTILINE))
    require(commands <= spoken, f"the README speaks of {spoken}, not of all of {commands}")


def check_values():
    """Files, folders and words are completed where they are asked for, whatever they are called."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "a clip.mp4").touch()
        (folder / "a folder").mkdir()
        os.chdir(folder)
        for shell in ("bash", "fish"):
            for words in (["merge", "-o", "a"], ["merge", "a"], ["sequences", "--html", "a"]):
                offered = completed(shell, ["clipchain", *words])
                names = None if offered is None else {re.sub(r"\\|/$", "", entry) for entry in offered}
                require(names is None or names == {"a clip.mp4", "a folder"},
                        f"{shell} offers {offered} for {words}")
        require(completed("bash", ["clipchain", "merge", "zzz"]) in (None, set()), "nothing is called so")


def check_syntax():
    for shell, name in (("bash", "clipchain.bash"), ("zsh", "_clipchain"), ("fish", "clipchain.fish")):
        if shutil.which(shell):
            require(not run(shell, "-n", FOLDER / name), f"{shell} does not like {name}")
        else:
            print(f"no {shell} here: {name} is not tried")


HELP = run(TOOL, "--help")
COMMANDS = {head.split()[0] for head in heads(part(HELP, "Commands"))}
require({"merge", "sequences", "info"} <= COMMANDS, f"the commands are {COMMANDS}")
check_syntax()
check_commands(COMMANDS)
check_page("clipchain", options_in(part(HELP, "Options")))
check_shells("", options_in(part(HELP, "Options")))
for each in sorted(COMMANDS):
    shown_help = run(TOOL, each, "--help")
    taken = options_in(part(shown_help, "Options"))
    require({"-h", "--help"} <= taken, f"{each} has the options {taken}")
    require(f"  clipchain {each} " in part(shown_help, "Examples"), f"{each} has no example")
    require(max(map(len, shown_help.splitlines())) <= 80, f"the help of {each} is too wide")
    for example in re.findall(r"^  (clipchain .*)$", part(shown_help, "Examples"), re.MULTILINE):
        strange = set(OPTION.findall(example.split("|")[0])) - taken
        require(not strange, f"an example of {each} has {strange}")
    check_page(f"clipchain-{each}", taken)
    check_shells(each, taken)
check_values()
check_other_pages()
print("1 passed, 0 failed")
