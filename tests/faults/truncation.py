"""Every kind of input is cut off at random places: the tool says so in one line, or uses what there is."""
import time

from support import TIMEOUT, Attack, fragments_of, is_one_line

Y4M_HEAD, Y4M_FRAME = b"YUV4MPEG2 W160 H120 F25:1 C420jpeg\n", 6 + 160 * 120 * 3 // 2


def whole_mp4_frames(result, left):
    """All whole pictures are delivered, whatever is said of the rest; one that is in part may be.

    A file that ends within the first bytes of a fragment's header is none that FFmpeg opens.
    """
    if result.status == 1 and "is not a video in any known format" in result.err:
        return ""
    whole, frames = len(fragments_of(left)), max(result.frames(), 0)
    return "" if whole <= frames <= whole + 1 else f"{whole} whole pictures, {frames} frames"


def whole_y4m_frames(result, left):
    frames = result.frames()
    fits = result.status or frames * Y4M_FRAME <= len(left) < (frames + 2) * Y4M_FRAME
    return "" if fits else f"{frames} frames"


MUST_FAIL = True
# What is cut off, its file, the command with CUT for it; then a check of the result, which is given the bytes that
# were left and returns what is wrong, or that no part may be taken for whole.
KINDS = [
    ("video, MP4", "walk.mp4", "run CUT --detector mot:none.txt --size 16x16", whole_mp4_frames),
    ("video, MP4 from a pipe", "walk.mp4", "run - --detector mot:none.txt --size 16x16", whole_mp4_frames),
    ("video, uncompressed", "walk.y4m", "run CUT --detector mot:none.txt --size 16x16", whole_y4m_frames),
    ("video, one tensor", "walk.mp4", "tensor CUT --frame 10 --size 32x32 -o t.npy", None),
    ("detections", "walk.txt", "track CUT --frame 160x120 -o t.txt", None),
    ("inference config", "config.txt", "export-config small.onnx --config CUT -o c.txt", None),
    ("labels", "labels.txt", "run figures.mp4 --frames 1 --detector onnx:blob_detector.onnx --labels CUT", None),
    ("model of a detector", "blob_detector.onnx", "run figures.mp4 --frames 1 --detector onnx:CUT", MUST_FAIL),
    ("model", "small.onnx", "layers CUT --runs 1 --input 3x6x6", MUST_FAIL),
    ("picture, PNG", "noise.png", "convert CUT c.png", MUST_FAIL),
    ("picture, JPEG", "demo.jpg", "convert CUT c.png", MUST_FAIL),
    ("raw frame, tensor", "noise.yuv", "tensor CUT --format i420 --raw 64x64 --size 32x32 -o t.npy", MUST_FAIL),
    ("raw frame", "noise.yuv", "prepare CUT --format i420 --frame 64x64 --size 32x32 -o t.npy", MUST_FAIL),
]
# Each line of a config that does not apply is reported, and the rest is used.
MOST_LINES = {"inference config": 9}


def cut_once(attack, name, file, command, check, at):
    whole = attack.path(file).read_bytes()
    cut = "cut" + file[file.rindex("."):]
    attack.path(cut).write_bytes(whole[:at])
    arguments = command.replace("CUT", cut).split()
    said = "standard input" if "-" in arguments else cut
    with open(attack.path(cut), "rb") as piped:
        result = attack.run(*arguments, stdin=piped)
    what = f"{name}, {at} of {len(whole)} bytes"
    if result.status == 0:
        lines = result.err.splitlines()
        attack.expect(check is not MUST_FAIL, f"{what}: taken for whole")
        attack.expect(len(lines) <= MOST_LINES.get(name, 0) and all(line.startswith("tarnkit: ") for line in lines),
                      f"{what}: status 0, yet {result.err!r}")
    else:
        attack.expect(result.status == 1 and is_one_line(result.err) and said in result.err,
                      f"{what}: status {result.status}, {result.err!r}")
    wrong = check(result, whole[:at]) if callable(check) else ""
    attack.expect(not wrong, f"{what}: {wrong}")
    return result.status == 0


with Attack(__doc__) as attack:
    attack.sample(40)
    attack.sample(2, video="figures.mp4", boxes="truth.txt", scene="figures")
    attack.noise(64)
    frames = [b"FRAME\n" + attack.random.randbytes(Y4M_FRAME - 6) for _ in range(10)]
    attack.path("walk.y4m").write_bytes(Y4M_HEAD + b"".join(frames))
    attack.path("labels.txt").write_bytes("red\ngrün\nblue\n".encode())
    attack.copy("apps/detectors/models/blob_detector.onnx")
    attack.copy("tests/data/small.onnx")
    attack.copy("docs/images/demo.jpg")
    attack.must_run("export-config", "small.onnx", "-o", "config.txt")
    for name, file, command, check in KINDS:
        places, used, longest = 100 if attack.long else 5, 0, 0.0
        for _ in range(places):
            started = time.monotonic()
            at = attack.random.randrange(attack.path(file).stat().st_size)
            used += cut_once(attack, name, file, command, check, at)
            longest = max(longest, time.monotonic() - started)
        attack.say(f"{name}: cut at {places} places, used as far as it went {used} times, {longest:.1f} s at most")
        attack.expect(longest < TIMEOUT / 2, f"{name}: nearly hangs")
