"""Runs `zel` for the scripts of this folder, within limits: hostile files must not take the machine."""
import json
import os
import resource
import subprocess
import time

MEMORY_LIMIT = 6_000_000 * 1024  # address space [bytes]
SECONDS = 120


class Zel:
    def __init__(self, program):
        self.program = os.path.abspath(program)
        with open(self.program, "rb") as file:
            # The address sanitizer reserves more than any limit.
            self.memory_limit = resource.RLIM_INFINITY if b"__asan_init" in file.read() else MEMORY_LIMIT
        self.faults = []

    def fault(self, path, command, expected, got):
        self.faults.append((path, command, expected, got))
        print(f"FAULT {path}: zel {command}: expected {expected}, got {got}", flush=True)

    def run(self, *arguments, paths=(), seconds=SECONDS):
        """Exit status, standard output and standard error; a crash or a time-out is a fault."""
        if paths:
            arguments = (*arguments, "-0", "--files-from", "-")
        try:
            result = subprocess.run([self.program, *arguments], input=b"".join(os.fsencode(p) + b"\0" for p in paths),
                                    capture_output=True, timeout=seconds, check=False,
                                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (self.memory_limit,) * 2))
        except subprocess.TimeoutExpired:
            self.fault(f"{len(paths)} paths" if paths else arguments[-1], " ".join(arguments), "an end", f"none in {seconds} s")
            return None, b"", ""
        if result.returncode not in (0, 1):
            self.fault(f"{len(paths)} paths" if paths else arguments[-1], " ".join(arguments), "status 0 or 1", result.returncode)
        return result.returncode, result.stdout, result.stderr.decode("utf-8", "replace")

    def records(self, verb, paths, *options):
        """One object a path. Paths that a crash took away are tried alone."""
        status, output, _ = self.run(verb, "--json", *options, paths=paths)
        found = {record["path"]: record for record in map(json.loads, output.splitlines())} if output.endswith(b"\n") else {}
        lost = [path for path in paths if path not in found]
        if lost and len(paths) > 1:
            for path in lost:
                found.update(self.records(verb, [path], *options))
        elif lost:
            found[lost[0]] = {"path": lost[0], "error": {"type": "crash", "message": f"status {status}"}}
        return found

    def info(self, paths):
        return self.records("info", paths)

    def verify(self, paths, seeks=0):
        return self.records("verify", paths, *(["--seeks", str(seeks)] if seeks else []))

    def decode(self, path, *options):
        """Interleaved 32-bit float samples as bytes: as much as could be decoded."""
        return self.run("decode", "--format", "f32", "-o", "-", *options, path)[1]


def channels_of(record):
    return int(record["subsongs"][0]["info"]["channels"])


def samples_told(record):
    subsong = record["subsongs"][0]
    return None if subsong["length"] is None else round(subsong["length"] * int(subsong["info"]["samplerate"]))


def check_verified(zel, path, seeks):
    start = time.monotonic()
    found = zel.verify([path], seeks)[path]
    if "error" in found:
        zel.fault(path, f"verify --seeks {seeks}", "ok", found["error"]["message"])
    elif not found["ok"] or found["seeks"]["exact"] != found["seeks"]["tried"]:
        zel.fault(path, f"verify --seeks {seeks}", "ok", (found["seeks"], found["warnings"][:5]))
    return time.monotonic() - start
