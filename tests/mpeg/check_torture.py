#!/usr/bin/env python3
"""Plays damaged files of MPEG audio and judges what comes out, what is said, and whether `verify` finds the damage.

    check_torture.py ZEL [SCRATCH]

Needs nothing but ZEL and the files of tests/data/mpeg. Exit status 1 when something is not as it should be.
"""
import os
import sys
import tempfile

from make_torture import ANYTHING, REFUSED, write_cases
from zel_runner import Zel, channels_of

zel = Zel(sys.argv[1])


def check_refused(path, described, verified):
    if "error" not in described:
        zel.fault(path, "info", REFUSED, "a description")
    if "error" not in verified:
        zel.fault(path, "verify", REFUSED, f"{verified['samples']} samples")


def check_samples(path, case, described, decoded_path):
    if "error" in described:
        zel.fault(path, "info", "a description", described["error"]["message"])
        return
    size = os.path.getsize(decoded_path) if os.path.exists(decoded_path) else 0
    samples = size // 4 // channels_of(described)
    if not case.fewest <= samples <= case.most:
        wanted = str(case.fewest) if case.fewest == case.most else f"{case.fewest} to {case.most}"
        zel.fault(path, "decode", wanted + " samples", samples)


def check_words(path, case, verified):
    """`verify` says no unless all is well, and names the damage."""
    said = [verified["error"]["message"]] if "error" in verified else verified["warnings"]
    is_ok = "error" not in verified and verified["ok"]
    if case.word == ANYTHING:
        return
    if case.word == "" and not is_ok:
        zel.fault(path, "verify", "ok", said)
    elif case.word and is_ok:
        zel.fault(path, "verify", case.word, "ok")
    elif case.word and not any(text.startswith(case.word) for text in said):
        zel.fault(path, "verify", case.word, said)


def main():
    with tempfile.TemporaryDirectory() as own:
        folder = os.path.join(sys.argv[2] if len(sys.argv) > 2 else own, "cases")
        decoded = os.path.join(folder, "decoded")
        os.makedirs(decoded, exist_ok=True)
        cases = write_cases(folder)
        paths = [os.path.join(folder, case.name) for case in cases]
        described, verified = zel.info(paths), zel.verify(paths)
        zel.run("decode", "--format", "f32", "-o", decoded, paths=paths)
        for case, path in zip(cases, paths):
            if case.word == REFUSED:
                check_refused(path, described[path], verified[path])
                continue
            check_samples(path, case, described[path], os.path.join(decoded, os.path.splitext(case.name)[0] + ".f32"))
            check_words(path, case, verified[path])
        print(f"{len(cases)} damaged files, {len(zel.faults)} faults")
    return 1 if zel.faults else 0


sys.exit(main())
