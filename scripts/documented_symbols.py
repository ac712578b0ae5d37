#!/usr/bin/env python3
"""Checks that every exported symbol has a page: that its routine, or its class, has a comment.

usage: documented_symbols.py XML LIST...
  XML   the folder of Doxygen's XML, made with private members
  LIST  lists of exported symbols as scripts/symbols.py writes them
Prints one line for each symbol without documentation; exit status 1 when there is one.
Private members need none (a class that is exported takes them along), nor do destructors that only destroy.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree


def has_text(element):
    return any("".join(child.itertext()).strip()
               for tag in ("briefdescription", "detaileddescription")
               for child in element.findall(tag))


def read(folder):
    """Of every qualified name, whether each of its declarations has a comment (None: private)."""
    found = {}
    for path in sorted(folder.glob("*.xml")):
        for compound in ElementTree.parse(path).getroot().iter("compounddef"):
            kind, name = compound.get("kind"), compound.findtext("compoundname")
            if kind in ("class", "struct"):
                found[name] = [has_text(compound)]
            if kind not in ("class", "struct", "namespace", "file"):
                continue
            for member in compound.iter("memberdef"):
                own = member.findtext("name")
                # A file lists what its namespaces hold too, under names without them.
                qualified = own if kind == "file" else f"{name}::{own}"
                state = None if member.get("prot") == "private" else has_text(member)
                found.setdefault(qualified, []).append(state)
    return found


def name_of(symbol):
    """Tarn::A<Tarn::B>::c(int) const gives Tarn::A::c."""
    name = re.sub(r"^(typeinfo|typeinfo name|vtable) for ", "", symbol)
    name = name.split("(", 1)[0].replace("[abi:cxx11]", "")
    while "<" in name:
        name = re.sub(r"<[^<>]*>", "", name)
    return name


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__.strip())
    found = read(pathlib.Path(sys.argv[1]))
    checked, missing = 0, []
    for path in sys.argv[2:]:
        for symbol in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
            if not symbol or symbol.startswith("#"):
                continue
            checked += 1
            states = found.get(name_of(symbol), [False])
            if "::~" not in symbol and False in states:
                missing.append(f"{path}: {symbol} has no documentation")
    print("\n".join(missing) if missing else f"{checked} exported symbols, each documented")
    if checked == 0:
        sys.exit("no exported symbols in the lists")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
