#!/usr/bin/env python3
"""Checks the Debian packages: they hold what they should, install and work together, and leave
nothing behind when they are removed.

    packages_test.py BUILD-TREE C-COMPILER [with-tool]

Everything happens in a folder of its own; no root rights are needed.
"""
import os
import shutil
import sys
import tempfile
from pathlib import Path

import common
from common import require, run

BUILD, C = sys.argv[1:3]
EXPECTED = {
    "libclipchain0": ["libclipchain.so.0", "doc/libclipchain0/copyright"],
    "libclipchain-dev": [
        "libclipchain.so",
        "libclipchain.a",
        "include/clipchain/merge/m4lm.h",
        "clipchainConfig.cmake",
        "clipchain.pc",
        "doc/libclipchain-dev/copyright",
    ],
}
if "with-tool" in sys.argv:
    EXPECTED["clipchain"] = [
        "usr/bin/clipchain",
        "doc/clipchain/copyright",
        "man/man1/clipchain.1",
        "man/man1/clipchain-merge.1",
        "man/man5/clipchain-json.5",
        "man/man7/clipchain-fleet.7",
        "man/man7/clipchain-messages.7",
        "bash-completion/completions/clipchain",
        "fish/vendor_completions.d/clipchain.fish",
        "/_clipchain",
    ]


def field(package, name):
    return run("dpkg-deb", "--field", package, name).strip()


def make_packages(folder):
    run("cpack", "--config", Path(BUILD) / "CPackConfig.cmake", "-B", folder)
    packages = {field(path, "Package"): path for path in folder.glob("*.deb")}
    require(set(packages) == set(EXPECTED), f"the packages are {sorted(packages)}")
    return packages


def check_contents(packages):
    owner = {}
    for name, package in packages.items():
        files = [line.split(" -> ")[0].split()[-1] for line in run("dpkg-deb", "--contents", package).splitlines()]
        files = [path for path in files if not path.endswith("/")]
        for wanted in EXPECTED[name]:
            require(any(path.endswith(wanted) for path in files), f"{name} has no {wanted}")
        for path in files:
            require(path.startswith("./usr/"), f"{name} has {path}")
            require(path not in owner, f"{path} is in {name} and in {owner.get(path)}")
            owner[path] = name


def check_fields(packages):
    for package in packages.values():
        for name in ("Version", "Architecture", "Maintainer", "Section", "Description"):
            require(field(package, name), f"{package.name} has no {name}")
    version = field(packages["libclipchain0"], "Version")
    require("libc6" in field(packages["libclipchain0"], "Depends"), "the library needs no libc")
    depends = field(packages["libclipchain-dev"], "Depends")
    require(f"libclipchain0 (= {version})" in depends, f"the development files need {depends}")


def dpkg(root, tools, *arguments):
    # Scripts run outside of a chroot, so that the folder needs no system in it; the linker's cache is
    # this machine's and is left alone.
    run("dpkg", f"--root={root}", "--force-not-root", "--force-depends", "--force-script-chrootless",
        "--log=/dev/null", *arguments, env={"PATH": f"{tools}:{os.environ['PATH']}:/usr/sbin:/sbin"})


def make_tools(folder):
    folder.mkdir()
    ldconfig = folder / "ldconfig"
    ldconfig.write_text("#!/bin/sh\n", encoding="utf-8")
    ldconfig.chmod(0o755)
    return folder


def files_outside_of_dpkg(root):
    state = root / "var"
    return sorted(str(path) for path in root.rglob("*") if state != path and state not in path.parents)


def check_installed(root, folder):
    """A program builds on what was installed, and runs."""
    library = next(root.rglob("libclipchain.so"))
    include = root / "usr" / "include"
    programs = folder / "programs"
    programs.mkdir()
    run(C, "-std=c11", common.ROOT / "examples" / "merge_clips.c", f"-I{include}", library,
        f"-Wl,-rpath,{library.parent}", "-o", programs / "merge_clips_c")
    common.check_example([programs / "merge_clips_c"], folder)
    tool = root / "usr" / "bin" / "clipchain"
    if "clipchain" in EXPECTED:
        run(tool, "--help")


def check_life(packages, folder):
    root = folder / "root"
    tools = make_tools(folder / "tools")
    for part in ("info", "updates"):
        (root / "var/lib/dpkg" / part).mkdir(parents=True)
    (root / "var/lib/dpkg/status").touch()
    dpkg(root, tools, "--install", *packages.values())
    require(files_outside_of_dpkg(root), "nothing was installed")
    check_installed(root, folder)
    dpkg(root, tools, "--purge", *packages)
    left = files_outside_of_dpkg(root)
    require(not left, f"left behind: {left}")


if shutil.which("dpkg") is None or shutil.which("cpack") is None:
    print("no dpkg or cpack here")
    sys.exit(common.SKIPPED)
with tempfile.TemporaryDirectory(prefix="clipchain-packages-") as name:
    work = Path(name)
    made = make_packages(work / "made")
    check_contents(made)
    check_fields(made)
    check_life(made, work)
