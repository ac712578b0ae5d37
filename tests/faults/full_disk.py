"""Every output of the tool meets a limit on files, as a disk does that fills up, and a reader that goes away."""
import subprocess

from support import Attack, fragments_of, whole_frames_fault

LIMIT = "File too large"
CLOSED = "Broken pipe"

RUN = "run walk.mp4 --detector mot:walk.txt --size 64x64"
SAMPLE = "--frames 150 --frame 160x120"
# The file that is written, how much of it may be left, and the command with OUT for it. frames: whole frames as
# far as they went; video: pictures as far as they went; nothing: no part of it. No other output may meet the limit.
OUTPUTS = [
    ("t.txt", "frames", "track walk.txt --frame 160x120 -o OUT"),
    ("r.txt", "frames", f"{RUN} --tracks OUT"),
    ("v.mp4", "video", f"{RUN} -o OUT"),
    ("s.png", "nothing", f"{RUN} --contact-sheet OUT"),
    ("p.png", "nothing", f"{RUN} --trajectories OUT"),
    ("w.mp4", "video", f"sample OUT --detections /dev/null {SAMPLE}"),
    ("w.txt", "frames", f"sample /dev/null --detections OUT {SAMPLE}"),
    ("t.npy", "nothing", "tensor walk.mp4 --size 128x128 -o OUT"),
    ("t.json", "nothing", "tensor walk.mp4 --size 128x128 -o /dev/null --placement OUT"),
    ("q.npy", "nothing", "prepare noise.png --size 128x128 -o OUT"),
    ("q.png", "nothing", "prepare noise.png --size 256x256 -o OUT"),
    ("c.png", "nothing", "convert noise.png OUT --rotate 90"),
    ("a.png", "nothing", "warp noise.png OUT --matrix 1,0,0,0,1,0"),
    ("n.txt", "nothing", "export-config small.onnx -o OUT"),
]
# Those above that may also go to standard output; and what goes nowhere else.
STANDARD_OUTPUTS = [command.replace("OUT", "-") for file, _, command in OUTPUTS
                    if file in ("t.txt", "r.txt", "w.txt", "t.npy", "q.npy", "c.png", "n.txt")]
STANDARD_OUTPUTS += [RUN, "score walk.txt walk.txt", "layers small.onnx --runs 1", "run --help", "--version"]


def put(command, path):
    return [path if word == "OUT" else word for word in command.split()]


def check_rest(attack, what, path, kind, whole):
    """What is left of a file that could not be finished."""
    if not path.exists():
        return
    left = path.read_bytes()
    if kind == "frames":
        # The tool itself cuts the file, so that an end within a frame has no excuse.
        fault = whole_frames_fault(left, whole, pages_excuse=False)
        attack.expect(not fault, f"{what}: {fault}")
    elif kind == "video":
        ends = fragments_of(left)
        # An encoder with threads need not give the same bytes twice.
        attack.expect(not ends or ends[-1] == len(left), f"{what}: ends within a frame")
        attack.expect(not ends or attack.playable(path) == len(ends), f"{what}: {len(ends)} pictures do not play")
    else:
        attack.fault(f"{what}: {len(left)} bytes of no use are left")


def limited_files(attack, wholes):
    """A limit on the size of files stands in for a disk that fills up at a byte of choice."""
    for file, kind, command in OUTPUTS:
        size = len(wholes[file])
        limits = [attack.random.randrange(size) for _ in range(12 if attack.long else 1)]
        for limit in limits + ([0, 1, size - 1] if attack.long else []):
            attack.path(file).unlink(missing_ok=True)
            what = f"{command}, {limit} of {size} bytes"
            attack.refused(what, attack.run(*put(command, file), file_limit=limit),
                           f"{file}: cannot be written: {LIMIT}")
            check_rest(attack, what, attack.path(file), kind, wholes[file])


def standard_outputs(attack):
    """A device that is full; and a reader that takes the first bytes, or none, and goes."""
    for command in STANDARD_OUTPUTS:
        with open("/dev/full", "wb") as full:
            attack.refused(f"{command} to /dev/full", attack.run(*command.split(), stdout=full),
                           "standard output: cannot be written: No space left on device")
        for wanted in (0, 10) if attack.long else (10,):
            tool = attack.start(*command.split(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdin=subprocess.DEVNULL)
            tool.stdout.read(wanted)
            tool.stdout.close()
            err = tool.stderr.read().decode()
            status = tool.wait()
            # What fits into the pipe may have been written before it was closed.
            done = status == 0 and not err and wanted > 0
            refused = status == 1 and err == f"tarnkit: standard output: cannot be written: {CLOSED}\n"
            attack.expect(done or refused, f"{command}, closed after {wanted} bytes: status {status}: {err!r}")


with Attack(__doc__) as attack:
    attack.sample(150)
    attack.copy("tests/data/small.onnx")
    attack.noise(256)
    wholes = {}
    for file, _, command in OUTPUTS:
        attack.must_run(*put(command, file))
        wholes[file] = attack.path(file).read_bytes()
    limited_files(attack, wholes)
    standard_outputs(attack)
