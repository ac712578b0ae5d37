#!/usr/bin/env python3
"""Reads built ELF files and says which of the promised protections one lacks, and which of its imports open
connections or make temporary files in folders that users share. Exit status 1 when there is anything to say.

usage: hardening_test.py [--optimized] [--install CMAKE BUILD] FILE...
  --optimized  library calls must have been replaced by their checked forms
  --install    installs the build into an empty prefix first; FILEs are relative to it
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

FORBIDDEN = re.compile(
    r"^(socket|socketpair|connect|bind|listen|accept4?|send(to|msg|mmsg)?|recv(from|msg|mmsg)?"
    r"|getaddrinfo|getnameinfo|gethostby\w+|res_\w+"
    r"|tmpnam(_r)?|tempnam|mktemp|mk(o)?stemps?(64)?|mkdtemp|tmpfile(64)?"
    r"|_ZNSt10filesystem19temp_directory_path\w*)$")
# Some compilers check a stack by this function, some by that.
STACK_CHECKS = {"__stack_chk_fail", "__stack_chk_fail_local"}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout


def faults(path, optimized):
    """Sentences about one file."""
    segments = re.findall(r"^  ([A-Z_]+) +(?:0x\w+ +){5}([RWE ]{3}) ", output("readelf", "-lW", path), re.M)
    flags = dict(segments)
    dynamic = output("readelf", "-dW", path)
    imports = {line.split()[-1].split("@")[0]
               for line in output("nm", "-D", "--undefined-only", path).splitlines()}

    if "GNU_STACK" not in flags or "E" in flags["GNU_STACK"]:
        yield "its stack can be executed"
    if any("W" in access and "E" in access for kind, access in segments):
        yield "it has memory that is both written and executed"
    if "GNU_RELRO" not in flags:
        yield "its relocations stay writable: no GNU_RELRO"
    if not re.search(r"BIND_NOW|\bNOW\b", dynamic):
        yield "its functions are bound late and their table stays writable: no BIND_NOW"
    if re.search(r"\bTEXTREL\b", dynamic):
        yield "its code is relocated"
    if not re.search(r"Type: +DYN", output("readelf", "-hW", path)):
        yield "it cannot be loaded at any address"
    for entries in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
        for entry in entries.split(":"):
            if not re.match(r"\$ORIGIN(/|$)", entry):
                yield f"it looks for libraries in '{entry}'"
    if not imports & STACK_CHECKS:
        yield "its stacks are not checked: no __stack_chk_fail"
    # Each of the files formats numbers into buffers somewhere.
    if optimized and not any(name.endswith("_chk") for name in imports):
        yield "its library calls are not checked: no _chk"
    for name in sorted(filter(FORBIDDEN.match, imports)):
        yield f"it imports {name}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--optimized", action="store_true")
    parser.add_argument("--install", nargs=2, metavar=("CMAKE", "BUILD"))
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as prefix:
        if arguments.install:
            cmake, build = arguments.install
            output(cmake, "--install", build, "--prefix", prefix)
            arguments.files = [os.path.join(prefix, name) for name in arguments.files]
        said = [f"{os.path.basename(path)}: {sentence}"
                for path in arguments.files for sentence in faults(path, arguments.optimized)]
    print("\n".join(said) or f"{len(arguments.files)} files have every protection")
    return 1 if said else 0


if __name__ == "__main__":
    sys.exit(main())
