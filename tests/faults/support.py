"""What the attacks on the tool share: running it, and telling what is wrong with what it did."""
import argparse
import collections
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time

TIMEOUT = 60
PAGE = 4096


class Result(collections.namedtuple("Result", "status out err")):
    def frames(self):
        """Frames that `run` says it saw; -1 if it does not."""
        found = re.match(rb"frames (\d+),", self.out)
        return int(found.group(1)) if found else -1


class Attack:
    """One script's run: the tool, a folder of its own, a seeded random source, and what was found."""

    def __init__(self, description):
        parser = argparse.ArgumentParser(description=description)
        parser.add_argument("mode", choices=["quick", "long"])
        parser.add_argument("--tool", required=True, type=pathlib.Path)
        parser.add_argument("--source", required=True, type=pathlib.Path, help="root of the repository")
        parser.add_argument("--seed", type=int, default=0, help="0: a new one, which is printed")
        options = parser.parse_args()
        self.long = options.mode == "long"
        self.tool_path, self.source = options.tool.resolve(), options.source.resolve()
        self.seed = options.seed or int.from_bytes(os.urandom(4), "little")
        self.random = random.Random(self.seed)
        # Beside the tool: what watches the folders that all share must not be in them.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="faults-", dir=self.tool_path.parent))
        self.faults = 0
        self.started = time.monotonic()

    def __enter__(self):
        self.say(f"seed {self.seed}")
        self.path("none.txt").write_bytes(b"")  # boxes of no frame
        return self

    def __exit__(self, kind, error, trace):
        shutil.rmtree(self.folder, ignore_errors=True)
        if error is None:
            self.say(f"{self.faults} faults, {time.monotonic() - self.started:.0f} s")
            sys.exit(1 if self.faults else 0)

    @staticmethod
    def say(text):
        print(text, flush=True)

    def fault(self, text):
        self.faults += 1
        self.say("FAULT: " + text)

    def expect(self, condition, text):
        if not condition:
            self.fault(text)
        return condition

    def command(self, arguments):
        return [str(self.tool_path)] + [str(argument) for argument in arguments]

    def start(self, *arguments, **options):
        return subprocess.Popen(self.command(arguments), cwd=self.folder, **options)

    @staticmethod
    def status_of(tool):
        """The status of a tool that was started and should end soon; it is killed if it does not."""
        try:
            return tool.wait(20)
        except subprocess.TimeoutExpired:
            tool.kill()
            return f"none: {tool.wait()}"

    def run(self, *arguments, file_limit=None, timeout=TIMEOUT, **options):
        """Runs the tool in the folder to its end. file_limit: most bytes that a file may have."""
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (file_limit, resource.RLIM_INFINITY))
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        options.setdefault("stdin", subprocess.DEVNULL)
        if file_limit is not None:
            options["preexec_fn"] = limit
        try:
            done = subprocess.run(self.command(arguments), cwd=self.folder, timeout=timeout, check=False,
                                  **options)
        except subprocess.TimeoutExpired:
            return Result("no end", b"", b"")
        return Result(done.returncode, done.stdout or b"", (done.stderr or b"").decode(errors="replace"))

    def must_run(self, *arguments, **options):
        result = self.run(*arguments, **options)
        if result.status != 0:
            sys.exit(f"{arguments} ended with {result.status}: {result.err}")
        return result

    def refused(self, what, result, text):
        """A refusal is one line of the tool's and status 1."""
        self.expect(result.status == 1 and is_one_line(result.err) and text in result.err,
                    f"{what}: status {result.status}, not one line with '{text}': {result.err!r}")

    def path(self, name):
        return self.folder / name

    def copy(self, file):
        """Brings a file of the repository into the folder."""
        shutil.copy(self.source / file, self.folder)

    def noise(self, side):
        """Makes noise.yuv and noise.png, pictures that no coder makes small."""
        self.path("noise.yuv").write_bytes(self.random.randbytes(side * side * 3 // 2))
        self.must_run("convert", "noise.yuv", "noise.png", "--format", "nv12", "--frame", f"{side}x{side}")

    def playable(self, video):
        """How many pictures of a video play."""
        return self.run("run", video, "--detector", "mot:none.txt", "--size", "16x16").frames()

    def sample(self, frames, size="160x120", video="walk.mp4", boxes="walk.txt", scene="walkers"):
        self.must_run("sample", video, "--detections", boxes, "--frames", frames, "--frame", size,
                      "--scene", scene, timeout=1800)


def is_one_line(err):
    return err.startswith("tarnkit: ") and err.endswith("\n") and err.count("\n") == 1


def frames_of(text):
    """Rows of MOTChallenge text by frame number, as they stand. Only whole lines are given."""
    frames = {}
    for line in text.splitlines(keepends=True):
        frames.setdefault(int(line.split(b",", 1)[0]), []).append(line)
    return frames


def fragments_of(video):
    """Ends of the whole fragments of a fragmented MP4: a moof box with the mdat box behind it."""
    ends, at, in_fragment = [], 0, False
    while at + 8 <= len(video):
        size, kind = int.from_bytes(video[at:at + 4], "big"), video[at + 4:at + 8]
        if size < 8 or at + size > len(video):
            break
        at += size
        if kind == b"mdat" and in_fragment:
            ends.append(at)
        in_fragment = kind == b"moof"
    return ends


def whole_frames_fault(got, wanted, pages_excuse=True):
    """Why `got` is not the beginning of `wanted`, MOTChallenge text, up to the end of a frame. Empty if it is.

    A frame's rows go to the file in one write. The system may split one that crosses a page when the
    process is killed; so an end inside a frame is a fault unless that excuses it and it is a page's end.
    """
    if not wanted.startswith(got):
        return f"its {len(got)} bytes are not those of an undisturbed run"
    if not got or len(got) == len(wanted) or (pages_excuse and len(got) % PAGE == 0):
        return ""
    if not got.endswith(b"\n"):
        return f"it ends within a line, at byte {len(got)}"
    last, following = (text.split(b",", 1)[0] for text in
                       (got[got[:-1].rfind(b"\n") + 1:], wanted[len(got):]))
    return f"frame {int(last)} is cut off" if last == following else ""
