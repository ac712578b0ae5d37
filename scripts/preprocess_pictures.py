#!/usr/bin/env python3
"""Draws docs/pages/images/fits.svg: one frame as the tool's tensors of each fit and of each resampling.

usage: scripts/preprocess_pictures.py [TARNKIT]    (default: build/release/apps/tarnkit)
"""
import ast
import base64
import pathlib
import struct
import subprocess
import sys
import tempfile
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
FITS = ["stretch", "letterbox", "letterbox-top-left", "crop"]
RESAMPLINGS = ["nearest", "bilinear", "antialiased", "opencv-linear", "pillow-bilinear", "pillow-bicubic",
               "pillow-box"]
FIT_SIDE = 160
# A detail at a fifth of its size, which is where resamplings differ, each pixel five times as large.
REGION, SMALL, ZOOM = "20,495,160,225", (32, 45), 5
GAP, TEXT = 12, 18


def pixels(path):
    """Height, width and bytes of a NumPy file of shape (1, height, width, 3)."""
    content = path.read_bytes()
    begin = 10 + struct.unpack("<H", content[8:10])[0]
    _, height, width, _ = ast.literal_eval(content[10:begin].decode())["shape"]
    return height, width, content[begin:]


def png(height, width, colours):
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    rows = b"".join(b"\0" + colours[3 * width * y:3 * width * (y + 1)] for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def main():
    tool = sys.argv[1] if len(sys.argv) > 1 else str(ROOT / "build/release/apps/tarnkit")
    parts, width = [], 0

    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        video, tensor = work / "walk.mp4", work / "tensor.npy"
        subprocess.run([tool, "sample", video, "--detections", work / "walk.txt", "--frames", "50", "--frame",
                        "1280x720"], check=True)

        def picture(x, y, zoom, name, options):
            nonlocal width
            subprocess.run([tool, "tensor", video, "--frame", "50", "--type", "u8", "--layout", "nhwc", "-o", tensor,
                            *options], check=True)
            height, across, colours = pixels(tensor)
            data = base64.b64encode(png(height, across, colours)).decode()
            parts.append(f'<text x="{x}" y="{y + 12}">{name}</text>\n'
                         f'<image x="{x}" y="{y + TEXT}" width="{zoom * across}" height="{zoom * height}" '
                         f'href="data:image/png;base64,{data}"/>')
            width = max(width, x + zoom * across + GAP)
            return x + zoom * across + GAP, y + TEXT + zoom * height + GAP

        x, y = GAP, GAP
        for fit in FITS:
            x, below = picture(x, y, 1, fit, ["--size", f"{FIT_SIDE}x{FIT_SIDE}", "--fit", fit, "--resampling",
                                              "antialiased"])
        for first in range(0, len(RESAMPLINGS), 4):
            x, y = GAP, below
            for resampling in RESAMPLINGS[first:first + 4]:
                x, below = picture(x, y, ZOOM, resampling, ["--size", f"{SMALL[0]}x{SMALL[1]}", "--region", REGION,
                                                            "--fit", "stretch", "--resampling", resampling])
    (ROOT / "docs/pages/images/fits.svg").write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{below}" '
        f'font-family="sans-serif" font-size="13">\n'
        '<style>image { image-rendering: pixelated } text { fill: #333 }</style>\n'
        '<rect width="100%" height="100%" fill="white"/>\n' + "\n".join(parts) + "\n</svg>\n")


main()
