#!/usr/bin/env python3
"""Checks that the API documentation comes out without a warning, with a page for each job."""
import tempfile
from pathlib import Path

from common import ROOT, require, run

with tempfile.TemporaryDirectory(prefix="clipchain-docs-") as folder:
    run("doxygen", "docs/Doxyfile", env={"CLIPCHAIN_DOCS": folder}, cwd=ROOT)
    html = Path(folder) / "html"
    for page, words in {
        "merge.html": ["QVMp4Merger", "m4lm_createHandle", "ctypes"],
        "analyse.html": ["QVMp4SequenceCreator", "registerMp4"],
        "workflow.html": ["SafeMerge", "HoldsUp", "keep_recordings"],
        "box_model.html": ["_tagTRACK_EXTENDS_BOX", "kEtcTable", "73 74 74 73"],
        "classQVMp4Merger.html": ["One object is driven by one", "inputMp4File"],
    }.items():
        text = (html / page).read_text(encoding="utf-8")
        for word in words:
            require(word in text, f"{page} does not speak of {word}")
