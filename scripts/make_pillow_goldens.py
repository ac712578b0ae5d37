#!/usr/bin/env python3
"""Records what Pillow's Image.resize gives, for tests/preprocess, without Pillow being there when they run.

usage: make_pillow_goldens.py   writes tests/preprocess/data/pillow12.txt or pillow13.txt, by the Pillow installed

A line is: filter, mode (RGB, or L made of RGB by convert), width, height, to width, to height, and FNV-1a of
64 bits over the bytes of the result, row by row. The source's byte i is the top byte of the i-th state of
state * 1664525 + 1013904223 modulo 2^32, beginning with the state 65536 * width + height.
"""
import pathlib

import PIL
from PIL import Image

SIZES = [
    # Shrinking and enlarging, by much and by little, along one axis and both.
    (160, 90, 56, 56), (97, 61, 31, 20), (64, 48, 32, 24), (50, 40, 50, 17), (50, 40, 17, 40), (31, 17, 97, 53),
    (20, 30, 41, 30), (33, 80, 90, 7), (101, 3, 2, 2), (3, 101, 2, 2), (40, 40, 40, 40), (64, 64, 63, 65),
    # One pixel.
    (1, 1, 5, 4), (1, 9, 3, 2), (9, 1, 2, 3), (7, 5, 1, 1),
    # On either side of where version 13 takes the rows first: h - h' of 2 (w - w') and 1 more.
    (40, 60, 30, 40), (40, 60, 30, 39), (40, 60, 44, 59), (90, 160, 56, 91), (20, 200, 19, 20), (40, 61, 45, 60),
]
FILTERS = {"bilinear": Image.BILINEAR, "bicubic": Image.BICUBIC, "box": Image.BOX}


def picture(width, height):
    state, data = 65536 * width + height, bytearray()
    for _ in range(width * height * 3):
        state = (state * 1664525 + 1013904223) % 2**32
        data.append(state >> 24)
    return Image.frombytes("RGB", (width, height), bytes(data))


def digest(data):
    value = 0xCBF29CE484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001B3 % 2**64
    return value


def main():
    version = int(PIL.__version__.split(".")[0])
    if version not in (12, 13):
        raise SystemExit(f"Pillow {PIL.__version__}: 12 or 13 is wanted")
    lines = [f"# Pillow {PIL.__version__}; made by scripts/make_pillow_goldens.py"]
    for name, number in FILTERS.items():
        for mode in ("RGB", "L"):
            for w, h, to_w, to_h in SIZES:
                resized = picture(w, h).convert(mode).resize((to_w, to_h), number)
                lines.append(f"{name} {mode} {w} {h} {to_w} {to_h} {digest(resized.tobytes()):016x}")
    folder = pathlib.Path(__file__).resolve().parent.parent / "tests/preprocess/data"
    (folder / f"pillow{version}.txt").write_text("\n".join(lines) + "\n", encoding="ascii")


if __name__ == "__main__":
    main()
