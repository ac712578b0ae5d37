#!/usr/bin/env python3
"""Installs a build and says which of the promised protections an ELF file lacks, which of its imports open
connections or make temporary files, and which command of the tool makes files in its user's home or in a
folder for temporary files. Exit status 1 when there is anything to say.

usage: hardening_test.py [--optimized] [--commands TOOL SOURCE] CMAKE BUILD FILE...
  --optimized  library calls must have been replaced by their checked forms
  --commands   runs the installed TOOL over samples and data of the source tree SOURCE
  FILE, TOOL   relative to the prefix
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

FORBIDDEN = re.compile(
    r"^(socket|socketpair|connect|bind|listen|accept4?|send(to|msg|mmsg)?|recv(from|msg|mmsg)?"
    r"|getaddrinfo|getnameinfo|gethostby\w+|res_\w+"
    r"|tmpnam(_r)?|tempnam|mktemp|mk(o)?stemps?(64)?|mkdtemp|tmpfile(64)?"
    r"|_ZNSt10filesystem19temp_directory_path\w*)$")
# At the beginning of a text.
SHARED_FOLDERS = re.compile(rb"\0/(tmp|var/tmp|dev/shm)[/\0]")
# The compiler chooses one of the two.
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

    checks = [
        ("E" not in flags.get("GNU_STACK", "E"), "its stack can be executed"),
        (not any("W" in access and "E" in access for kind, access in segments),
         "it has memory that is both written and executed"),
        ("GNU_RELRO" in flags, "its relocations stay writable: no GNU_RELRO"),
        (re.search(r"BIND_NOW|\bNOW\b", dynamic),
         "its functions are bound late and their table stays writable: no BIND_NOW"),
        (not re.search(r"\bTEXTREL\b", dynamic), "its code is relocated"),
        (re.search(r"Type: +DYN", output("readelf", "-hW", path)), "it cannot be loaded at any address"),
        (imports & STACK_CHECKS, "its stacks are not checked: no __stack_chk_fail"),
        # Each of the files formats numbers into buffers somewhere.
        (not optimized or any(name.endswith("_chk") for name in imports),
         "its library calls are not checked: no _chk"),
        (not SHARED_FOLDERS.search(path.read_bytes()), "it names a folder that users share"),
    ]
    yield from (fault for passed, fault in checks if not passed)
    for entries in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
        for entry in entries.split(":"):
            if not re.match(r"\$ORIGIN(/|$)", entry):
                yield f"it looks for libraries in '{entry}'"
    for name in sorted(filter(FORBIDDEN.match, imports)):
        yield f"it imports {name}"


def places(tool, source, folder):
    """Sentences about commands of the tool, each run with a home and folders for temporary files of its own.
    Making an entry in a folder sets the folder's time, also when the entry is gone again."""
    model, picture = source / "tests/data/small.onnx", source / "docs/images/demo.jpg"
    commands = [
        ["sample", "walk.mp4", "--detections", "walk.txt", "--frames", "20", "--frame", "160x120"],
        ["sample", "figures.mp4", "--detections", "truth.txt", "--frames", "3", "--scene", "figures"],
        ["track", "walk.txt", "--frame", "160x120", "-o", "tracks.txt"],
        ["score", "tracks.txt", "walk.txt"],
        ["run", "walk.mp4", "--detector", "hog", "--tracks", "tracks.txt", "-o", "out.mp4", "--contact-sheet",
         "sheet.png", "--trajectories", "paths.png", "--tensors", "tensors", "--size", "64x64"],
        ["run", "figures.mp4", "--detector", "onnx", "--tracks", "tracks.txt"],
        ["tensor", "walk.mp4", "--size", "64x64", "-o", "tensor.npy"],
        ["convert", picture, "grey.png", "--to", "gray", "--rotate", "90"],
        ["prepare", "sheet.png", "--size", "64x64", "-o", "prepared.npy"],
        ["warp", "sheet.png", "warped.png", "--matrix", "1,0,0,0,1,0"],
        ["layers", model, "--runs", "1"],
        ["export-config", model, "-o", "config.txt"],
    ]
    homes = {name: folder / name for name in
             ("TMPDIR", "HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME")}
    for home in homes.values():
        home.mkdir()
        os.utime(home, (0, 0))
    for command in commands:
        subprocess.run([tool, *command], cwd=folder, check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, **{name: str(home) for name, home in homes.items()}})
        for name, home in homes.items():
            if home.stat().st_mtime:
                yield f"{command[0]} makes a file in {name}"
                os.utime(home, (0, 0))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--optimized", action="store_true")
    parser.add_argument("--commands", nargs=2, metavar=("TOOL", "SOURCE"), type=pathlib.Path)
    parser.add_argument("cmake")
    parser.add_argument("build")
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        output(arguments.cmake, "--install", arguments.build, "--strip", "--prefix", folder / "prefix")
        said = [f"{os.path.basename(file)}: {sentence}" for file in arguments.files
                for sentence in faults(folder / "prefix" / file, arguments.optimized)]
        if arguments.commands:
            tool, source = arguments.commands
            said += places(folder / "prefix" / tool, source, folder)
    print("\n".join(said) or f"{len(arguments.files)} files have every protection")
    return 1 if said else 0


if __name__ == "__main__":
    sys.exit(main())
