#!/usr/bin/env python3
"""Lists what a shared library exports, demangled and grouped by the public header that declares it.

usage: symbols.py LIBRARY HEADERS [--check LIST]
  LIBRARY  the shared library
  HEADERS  the folder of its public headers
  --check  print nothing but the difference from the file LIST; exit status 1 when there is one
"""
import argparse
import difflib
import pathlib
import re
import subprocess
import sys


def exported(library):
    """Demangled names; the variants that compilers make of a constructor or destructor count once."""
    names = subprocess.run(["nm", "-D", "--defined-only", "--demangle", "--format=posix", library],
                           check=True, capture_output=True, text=True).stdout
    # In posix format a name is followed by type, value and size.
    return sorted({re.sub(r" [A-Za-z] [0-9a-f]+( [0-9a-f]+)?$", "", line).strip()
                   for line in names.splitlines()})


def owner(symbol):
    """The class or free function that a header declares: Tarn::A<T>::b(int) gives A, Tarn::c(int) gives c."""
    name = re.sub(r"^(typeinfo|typeinfo name|vtable) for ", "", symbol)
    return re.match(r"(?:(?:Tarn|TarnCPU)::)?(?:interop::)?(\w+)", name).group(1)


def declares(text, name):
    """Whether a header defines class `name` or declares function `name` with an export mark. A class may
    have the mark itself or on some of its members."""
    return (re.search(rf"\b(class|struct)\s+(TN_\w+_API\s+)?{name}\b[^;{{]*{{", text) or
            re.search(rf"^TN_\w+_API\s[^;{{]*\b{name}\(", text, re.MULTILINE))


def listing(library, headers):
    texts = {path.name: path.read_text() for path in sorted(pathlib.Path(headers).glob("*.h"))}
    # Headers without a mark are inline throughout; their classes may have the names of exported ones.
    texts = {name: text for name, text in texts.items() if re.search(r"\bTN_\w+_API\b", text)}
    groups = {}
    for symbol in exported(library):
        name = owner(symbol)
        header = next((h for h, text in texts.items() if declares(text, name)), "no public header")
        groups.setdefault(header, []).append(symbol)
    return "\n".join("\n".join([f"# {header}"] + groups[header]) + "\n" for header in sorted(groups))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("library")
    parser.add_argument("headers")
    parser.add_argument("--check", metavar="LIST")
    arguments = parser.parse_args()
    found = listing(arguments.library, arguments.headers)
    if arguments.check is None:
        sys.stdout.write(found)
        return 0
    path = pathlib.Path(arguments.check)
    wanted = path.read_text() if path.exists() else ""
    if found == wanted:
        return 0
    for line in difflib.unified_diff(wanted.splitlines(), found.splitlines(), f"{path.name} (checked in)",
                                     "exported by this build", n=0, lineterm=""):
        print(line)
    print(f"{path.name}: the exported symbols have changed; if that is meant, run scripts/abi.sh")
    return 1


if __name__ == "__main__":
    sys.exit(main())
