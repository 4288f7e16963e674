#!/usr/bin/env python3
"""Checks what the shared library shows: what applications are to use, all of it and nothing else.

    exports.py LIBRARY
"""
import re
import subprocess
import sys

# Plain functions, by their whole names.
FUNCTIONS = [
    *(f"m4lm_{name}" for name in ("createHandle", "deleteHandle", "setOutputPath", "inputMp4File",
                                  "inputMp4Data", "finalize")),
    *(f"CFW{name}" for name in ("CreateFile", "CloseHandle", "ReadFile", "WriteFile", "GetFileSize",
                                "GetFilePointer", "SetFilePointer", "SetEOF", "FileIsExist",
                                "CopyFile", "RenameFile", "DeleteFile")),
    "ResultName",
    "QUIRVA::WidePathFromBytes",
    "QUIRVA::PathBytesFromWide",
]
# Classes with all their members. Of an interface that the library implements there is its type.
CLASSES = [
    "MP4G::CAvcDecoderConfigurationRecord",
    "MP4G::CMp4LiveMerge_Factory",
    "MP4G::CVireoMp4AnalyzerFactory",
    "QUIRVA::CFile_c",
    "QUIRVA::CMathLib",
    "QUIRVA::CRC16",
    "QUIRVA::CRC32",
    "QUIRVA::QvBitReader",
    "QUIRVA::QvBitWriter",
    "QUIRVA::QvMemBuffer",
]
INTERFACES = [
    "IUnknown",
    "MP4G::IMp4LiveMerge",
    "MP4G::IMp4Sequence",
    "MP4G::IMp4SequenceCreator",
    "MP4G::IMp4SequenceCreatorSecret",
    "QUIRVA::IQvFileReader",
]
TYPE = re.compile(r"^(?:typeinfo|typeinfo name|vtable|VTT) for (.+)$")


def function_name(symbol):
    """The name before the parameters: "A::f" of "A::f[abi:cxx11](int)"."""
    return re.sub(r"\[abi:\w+\]", "", symbol.split("(")[0])


def owner(symbol):
    """The class or function that a demangled symbol belongs to."""
    match = TYPE.match(symbol)
    if match:
        return match.group(1)
    name = function_name(symbol)
    return name if name in FUNCTIONS else name.rpartition("::")[0]


def faults(symbols):
    owners = {owner(symbol) for symbol in symbols}
    wanted = {*FUNCTIONS, *CLASSES, *INTERFACES}
    for symbol in symbols:
        if owner(symbol) not in wanted:
            yield f"shown, but not meant to be: {symbol}"
    for name in sorted(wanted - owners):
        yield f"meant to be shown, but is not: {name}"


def shown(library):
    listing = subprocess.run(
        ["nm", "--dynamic", "--demangle", "--defined-only", "--format=posix", library],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    return [re.sub(r" [A-Za-z] [0-9a-f]+ [0-9a-f]*$", "", line) for line in listing.splitlines()]


if __name__ == "__main__":
    found = list(faults(shown(sys.argv[1])))
    print("\n".join(found) or "the library shows what it should")
    sys.exit(1 if found else 0)
