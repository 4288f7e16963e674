#!/usr/bin/env python3
"""Checks that a stranger can build on an installation: installs into a folder of its own, moves that
folder, and builds and runs the examples against it.

    install_test.py BUILD-TREE C-COMPILER C++-COMPILER LIBRARY-FOLDER

LIBRARY-FOLDER is where libraries go below the prefix.
"""
import shutil
import sys
import tempfile
from pathlib import Path

import common
from common import require, run

BUILD, C, CXX, LIBRARY_FOLDER = sys.argv[1:]
EXAMPLES = common.ROOT / "examples"
PROGRAMS = {
    "merge_clips_c": (C, "-std=c11", "merge_clips.c"),
    "live_merge": (C, "-std=c11", "live_merge.c"),
    "merge_clips_cpp": (CXX, "-std=c++20", "merge_clips.cpp"),
    "merge_clips_front": (CXX, "-std=c++20", "merge_clips_front.cpp"),
    "chain_clips": (CXX, "-std=c++20", "chain_clips.cpp"),
    "keep_recordings": (CXX, "-std=c++20", "keep_recordings.cpp"),
}


def install(folder):
    """Installs, and moves the installation, which must not mind."""
    run("cmake", "--install", BUILD, "--prefix", folder / "first")
    prefix = folder / "moved"
    shutil.move(folder / "first", prefix)
    return prefix


def check_no_path_of_the_build(prefix):
    for path in prefix.rglob("*"):
        if path.is_file() and path.suffix in (".cmake", ".pc", ".h", ".inc"):
            text = path.read_text(encoding="utf-8")
            for foreign in (BUILD, str(common.ROOT)):
                require(foreign not in text, f"{path} names {foreign}")


def check_headers_alone(prefix, folder):
    """Every installed header compiles by the path that programs use, those of the workflow each by
    itself, and of the layers above the engine only the headers that programs use are there."""
    include = prefix / "include"
    names = sorted(path.relative_to(include) for path in include.rglob("*.h"))
    require(len(names) > 20, f"only {len(names)} headers are installed")
    public = [name for name in names if name.parts[1] == "workflow"]
    require(len(public) > 5 and all(len(name.parts) == 3 for name in public), f"installed: {public}")
    adapt = [path.name for path in (include / "clipchain" / "adapt").iterdir()]
    require(adapt == ["fit_options.h"], f"of adapt are installed: {adapt}")
    flags = [f"-I{include}", f"-I{include / 'clipchain'}", "-fsyntax-only"]
    for unit_names in [names, *([name] for name in public)]:
        unit = folder / "headers.cpp"
        unit.write_text("".join(f"#include <{name}>\n" for name in unit_names), encoding="utf-8")
        run(CXX, "-std=c++20", "-Wall", "-Wextra", "-Werror", *flags, unit)


def check_cmake(prefix, folder, static):
    build = folder / f"cmake-{'static' if static else 'shared'}"
    run("cmake", "-S", EXAMPLES, "-B", build, f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_C_COMPILER={C}", f"-DCMAKE_CXX_COMPILER={CXX}", "-DCMAKE_BUILD_TYPE=Release",
        f"-DCLIPCHAIN_STATIC_EXAMPLES={'ON' if static else 'OFF'}")
    run("cmake", "--build", build)
    library = None if static else prefix / LIBRARY_FOLDER / "libclipchain.so"
    common.check_examples(build, folder, library)
    needed = run("ldd", build / "merge_clips_front")
    require(("libclipchain.so" in needed) != static, f"the wrong library is linked:\n{needed}")


def check_versions(prefix, folder):
    """find_package takes the version asked for, and no other minor one."""
    script = folder / "version"
    for wanted, found in (("0.1", True), ("0.2", False), ("1.0", False)):
        script.mkdir(exist_ok=True)
        (script / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(version LANGUAGES CXX)\n"
            f"find_package(clipchain {wanted} QUIET)\n"
            f"if({'NOT ' if found else ''}clipchain_FOUND)\nmessage(FATAL_ERROR wrong)\nendif()\n",
            encoding="utf-8",
        )
        run("cmake", "-S", script, "-B", script / "build", f"-DCMAKE_PREFIX_PATH={prefix}")


def check_pkg_config(prefix, folder):
    if shutil.which("pkg-config") is None:
        print("no pkg-config: not checked")
        return
    libraries = prefix / LIBRARY_FOLDER
    env = {"PKG_CONFIG_PATH": str(libraries / "pkgconfig")}
    flags = run("pkg-config", "--cflags", "--libs", "clipchain", env=env).split()
    require(run("pkg-config", "--modversion", "clipchain", env=env).strip(), "no version")
    programs = folder / "pkg-config"
    programs.mkdir()
    for name, (compiler, standard, source) in PROGRAMS.items():
        run(compiler, standard, "-Wall", "-Wextra", "-Werror", EXAMPLES / source, "-o", programs / name,
            *flags, f"-Wl,-rpath,{libraries}")
    common.check_examples(programs, folder, None)


with tempfile.TemporaryDirectory(prefix="clipchain-install-") as name:
    work = Path(name)
    installed = install(work)
    check_no_path_of_the_build(installed)
    check_headers_alone(installed, work)
    check_cmake(installed, work, static=False)
    check_cmake(installed, work, static=True)
    check_versions(installed, work)
    check_pkg_config(installed, work)
