"""Every kind of input is cut off at random places: the tool says so in one line, or uses what there is."""
import re
import time

from support import TIMEOUT, Attack, fragments_of, is_one_line


def y4m(width, height, frames, fill):
    """A video without any compression."""
    head = b"YUV4MPEG2 W%d H%d F25:1 C420jpeg\n" % (width, height)
    return head + b"".join(b"FRAME\n" + fill(width * height * 3 // 2) for _ in range(frames))


def counted_frames(result):
    found = re.match(rb"frames (\d+),", result.out)
    return int(found.group(1)) if found else -1


class Cut:
    """One kind of input. check: takes the result and the bytes that were left, returns what is wrong."""

    def __init__(self, name, file, arguments, check=None, must_fail=False, lines=1):
        self.name, self.file, self.arguments = name, file, arguments
        self.check, self.must_fail, self.lines = check, must_fail, lines


def whole_mp4_frames(result, left):
    """All whole pictures are delivered, whatever is said of the rest; one that is in part may be.

    A file that ends within the first bytes of a fragment's header is none that FFmpeg opens.
    """
    if result.status == 1 and "is not a video in any known format" in result.err:
        return ""
    whole = len(fragments_of(left))
    frames = max(counted_frames(result), 0)
    return "" if whole <= frames <= whole + 1 else f"{whole} whole pictures, {frames} frames"


def kinds(attack):
    run = ["--detector", "mot:none.txt", "--size", "16x16"]
    small = attack.source / "tests/data/small.onnx"
    return [
        Cut("video, MP4", "walk.mp4", ["run", "CUT"] + run, whole_mp4_frames),
        Cut("video, MP4 from a pipe", "walk.mp4", ["run", "-"] + run, whole_mp4_frames),
        Cut("video, uncompressed", "walk.y4m", ["run", "CUT"] + run,
            lambda result, left: "" if result.status or counted_frames(result) * 28806 <= len(left) < (
                counted_frames(result) + 2) * 28806 else f"{counted_frames(result)} frames"),
        Cut("video, one tensor", "walk.mp4", ["tensor", "CUT", "--frame", "10", "--size", "32x32", "-o", "t.npy"]),
        Cut("detections", "walk.txt", ["track", "CUT", "--frame", "160x120", "-o", "t.txt"]),
        Cut("detections of run", "walk.txt", ["run", "walk.mp4", "--detector", "mot:CUT", "--frames", "2",
                                              "--size", "16x16"]),
        Cut("tracks to score", "walk.txt", ["score", "CUT", "walk.txt"]),
        Cut("inference config", "config.txt", ["export-config", small, "--config", "CUT", "-o", "c.txt"], lines=9),
        Cut("labels", "labels.txt", ["run", "figures.mp4", "--frames", "1", "--detector",
                                     f"onnx:{attack.source}/apps/detectors/models/blob_detector.onnx", "--labels",
                                     "CUT"]),
        Cut("model of a detector", "blob.onnx", ["run", "figures.mp4", "--frames", "1", "--detector", "onnx:CUT"],
            must_fail=True),
        Cut("model", "small.onnx", ["layers", "CUT", "--runs", "1", "--input", "3x6x6"], must_fail=True),
        Cut("picture, PNG", "noise.png", ["convert", "CUT", "c.png"], must_fail=True),
        Cut("picture, JPEG", "demo.jpg", ["convert", "CUT", "c.png"], must_fail=True),
        Cut("raw frame", "noise.yuv", ["prepare", "CUT", "--format", "i420", "--frame", "64x64", "--size", "32x32",
                                       "-o", "t.npy"], must_fail=True),
    ]


def make_inputs(attack):
    attack.sample(40)
    attack.sample(2, video="figures.mp4", boxes="truth.txt", scene="figures")
    attack.path("none.txt").write_bytes(b"")
    attack.path("walk.y4m").write_bytes(y4m(160, 120, 10, attack.random.randbytes))
    attack.path("noise.yuv").write_bytes(attack.random.randbytes(64 * 64 * 3 // 2))
    attack.must_run("convert", "noise.yuv", "noise.png", "--format", "nv12", "--frame", "64x64")
    attack.path("labels.txt").write_bytes("red\ngrün\nblue\n".encode())
    for name, source in (("blob.onnx", "apps/detectors/models/blob_detector.onnx"),
                         ("small.onnx", "tests/data/small.onnx"), ("demo.jpg", "docs/images/demo.jpg")):
        attack.path(name).write_bytes((attack.source / source).read_bytes())
    attack.must_run("export-config", "small.onnx", "-o", "config.txt")


def cut_once(attack, kind, whole, at):
    left = whole[:at]
    name = "cut" + kind.file[kind.file.rindex("."):]
    attack.path(name).write_bytes(left)
    arguments = [str(argument).replace("CUT", name) for argument in kind.arguments]
    if "-" in arguments:
        with open(attack.path(name), "rb") as piped:
            result = attack.run(*arguments, stdin=piped)
    else:
        result = attack.run(*arguments)
    what = f"{kind.name}, {at} of {len(whole)} bytes"
    lines = result.err.splitlines()
    said = "standard input" if "-" in arguments else name
    if result.status == 0:
        attack.expect(not kind.must_fail, f"{what}: taken for whole")
        attack.expect(len(lines) <= kind.lines and all(line.startswith("tarnkit: ") for line in lines)
                      and (kind.lines > 1 or not lines), f"{what}: status 0, yet {result.err!r}")
    else:
        attack.expect(result.status == 1 and is_one_line(result.err) and (said in result.err),
                      f"{what}: status {result.status}, {result.err!r}")
    wrong = kind.check(result, left) if kind.check else ""
    attack.expect(not wrong, f"{what}: {wrong}")
    return result.status == 0


def main():
    with Attack(__doc__) as attack:
        make_inputs(attack)
        for kind in kinds(attack):
            whole = attack.path(kind.file).read_bytes()
            places = 100 if attack.long else 5
            used, longest = 0, 0.0
            for _ in range(places):
                started = time.monotonic()
                used += cut_once(attack, kind, whole, attack.random.randrange(len(whole)))
                longest = max(longest, time.monotonic() - started)
            attack.say(f"{kind.name}: cut at {places} places, used as far as it went {used} times, "
                       f"{longest:.1f} s at most")
            attack.expect(longest < TIMEOUT / 2, f"{kind.name}: nearly hangs")


main()
