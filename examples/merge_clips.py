#!/usr/bin/env python3
"""Merges clips with the flat functions, through ctypes.

    merge_clips.py OUT IN...

CLIPCHAIN_LIBRARY names the shared library where the system does not find it.
"""
import ctypes
import os
import sys

library = ctypes.CDLL(os.environ.get("CLIPCHAIN_LIBRARY", "libclipchain.so.0"))
Handle = ctypes.c_void_p
library.m4lm_createHandle.argtypes = [ctypes.POINTER(Handle)]
library.m4lm_deleteHandle.argtypes = [Handle]
library.m4lm_setOutputPath.argtypes = [Handle, ctypes.c_char_p]
library.m4lm_inputMp4File.argtypes = [Handle, ctypes.c_char_p]
library.m4lm_finalize.argtypes = [Handle]


def check(result, what):
    if result != 0:
        raise OSError(f"{what}: 0x{result & 0xFFFFFFFF:08X}")


def merge(output, inputs):
    handle = Handle()
    check(library.m4lm_createHandle(ctypes.byref(handle)), "no merge")
    try:
        check(library.m4lm_setOutputPath(handle, os.fsencode(output)), output)
        for path in inputs:
            check(library.m4lm_inputMp4File(handle, os.fsencode(path)), path)
        check(library.m4lm_finalize(handle), output)
    finally:
        library.m4lm_deleteHandle(handle)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit("usage: merge_clips.py OUT IN...")
    try:
        merge(sys.argv[1], sys.argv[2:])
    except OSError as error:
        sys.exit(str(error))
