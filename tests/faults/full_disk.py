"""Every output of the tool meets a full disk, a limit on files, and a reader that goes away."""
import pathlib
import subprocess

from support import PAGE, Attack, fragments_of, mounts, whole_frames_fault

FULL = "No space left on device"
LIMIT = "File too large"
CLOSED = "Broken pipe"
DISK = 1 << 20


def outputs(attack):
    """Name, the file that is written, the command with OUT for it, and how much of it may be left of it.

    frames: whole frames as far as they went; video: pictures as far as they went; nothing: no part of it.
    """
    model = attack.source / "tests/data/small.onnx"
    run = ["run", "walk.mp4", "--detector", "mot:walk.txt", "--size", "64x64"]
    return [
        ("tracks of track", "t.txt", ["track", "walk.txt", "--frame", "160x120", "-o", "OUT"], "frames"),
        ("tracks of run", "r.txt", run + ["--tracks", "OUT"], "frames"),
        ("annotated video", "v.mp4", run + ["-o", "OUT"], "video"),
        ("contact sheet", "s.png", run + ["--contact-sheet", "OUT"], "nothing"),
        ("trajectories", "p.png", run + ["--trajectories", "OUT"], "nothing"),
        ("sample's video", "w.mp4", ["sample", "OUT", "--detections", "other.txt", "--frames", "150",
                                    "--frame", "160x120"], "video"),
        ("sample's boxes", "w.txt", ["sample", "other.mp4", "--detections", "OUT", "--frames", "150",
                                    "--frame", "160x120"], "frames"),
        ("tensor", "t.npy", ["tensor", "walk.mp4", "--size", "128x128", "-o", "OUT"], "nothing"),
        ("prepared tensor", "q.npy", ["prepare", "noise.png", "--size", "128x128", "-o", "OUT"], "nothing"),
        ("prepared picture", "q.png", ["prepare", "noise.png", "--size", "256x256", "-o", "OUT"], "nothing"),
        ("converted picture", "c.png", ["convert", "noise.png", "OUT", "--rotate", "90"], "nothing"),
        ("warped picture", "a.png", ["warp", "noise.png", "OUT", "--matrix", "1,0,0,0,1,0"], "nothing"),
        ("config", "n.txt", ["export-config", model, "-o", "OUT"], "nothing"),
    ]


def standard_outputs(attack):
    model = attack.source / "tests/data/small.onnx"
    return [
        ["track", "walk.txt", "--frame", "160x120", "-o", "-"],
        ["run", "walk.mp4", "--detector", "mot:walk.txt", "--size", "64x64", "--tracks", "-"],
        ["run", "walk.mp4", "--detector", "mot:walk.txt", "--size", "64x64"],
        ["sample", "other.mp4", "--detections", "-", "--frames", "150", "--frame", "160x120"],
        ["tensor", "walk.mp4", "--size", "128x128", "-o", "-"],
        ["prepare", "noise.png", "--size", "128x128", "-o", "-"],
        ["convert", "noise.png", "-"],
        ["score", "walk.txt", "walk.txt"],
        ["layers", model, "--runs", "1"],
        ["export-config", model, "-o", "-"],
        ["run", "--help"],
        ["--version"],
    ]


def put(arguments, path):
    return [path if argument == "OUT" else argument for argument in arguments]


def check_rest(attack, what, path, kind, whole):
    """What is left of a file that could not be finished."""
    left = path.read_bytes() if path.exists() else None
    if left is None:
        return
    if kind == "frames":
        # The tool itself cuts the file, so that an end within a frame has no excuse.
        fault = whole_frames_fault(left, whole, pages_excuse=False)
        attack.expect(not fault, f"{what}: {fault}")
    elif kind == "video":
        ends = fragments_of(left)
        # An encoder with threads need not give the same bytes twice.
        attack.expect(not ends or ends[-1] == len(left), f"{what}: ends within a frame")
        if ends:
            result = attack.run("run", path, "--detector", "mot:none.txt", "--size", "16x16")
            attack.expect(result.out.startswith(b"frames %d," % len(ends)),
                          f"{what}: {len(ends)} pictures, but {result.out[:20]} {result.err}")
    else:
        attack.fault(f"{what}: {len(left)} bytes of no use are left")


def limited_files(attack, cases, wholes):
    """A limit on the size of files stands in for a disk that fills up at a byte of choice."""
    for name, file, arguments, kind in cases:
        size = len(wholes[name])
        limits = [attack.random.randrange(size) for _ in range(12 if attack.long else 1)]
        if attack.long:
            limits += [0, 1, size - 1]
        for limit in limits:
            path = attack.path(file)
            path.unlink(missing_ok=True)
            # Another output of the same command must not be the one that meets the limit.
            others = [attack.path(other) for other in arguments if str(other).startswith("other.")]
            if others:
                others[0].unlink(missing_ok=True)
                others[0].symlink_to("/dev/null")
            what = f"{name}, {limit} of {size} bytes"
            attack.refused(what, attack.run(*put(arguments, file), file_limit=limit), f"{file}: cannot be "
                           f"written: {LIMIT}")
            check_rest(attack, what, path, kind, wholes[name])
            for other in others:
                other.unlink()


def full_devices(attack, cases):
    if not pathlib.Path("/dev/full").exists():
        attack.left_out("there is no /dev/full here")
        return
    for name, _, arguments, _ in cases:
        if name.split()[0] not in ("prepared", "warped"):
            attack.refused(f"{name} to /dev/full", attack.run(*put(arguments, "/dev/full")),
                           f"/dev/full: cannot be written: {FULL}")
    with open("/dev/full", "wb") as full:
        for arguments in standard_outputs(attack):
            attack.refused(f"{arguments} to /dev/full", attack.run(*arguments, stdout=full),
                           f"standard output: cannot be written: {FULL}")


def small_disk(attack, cases, wholes):
    """A real file system without room, made in a mount namespace of this process's own."""
    disk = attack.path("disk")
    disk.mkdir()
    if not mounts(disk, "-o", f"size={DISK}"):
        attack.left_out("no file system may be mounted here, so that no disk was full")
        return
    try:
        for name, file, arguments, kind in cases:
            pages = -(-len(wholes[name]) // PAGE)
            (disk / "filler").write_bytes(bytes(DISK - PAGE * (pages // 2)))
            path = disk / file
            attack.refused(f"{name} on a full disk", attack.run(*put(arguments, path)),
                           f"{path}: cannot be written: {FULL}")
            check_rest(attack, f"{name} on a full disk", path, kind, wholes[name])
            for path in disk.iterdir():
                path.unlink()
        tensors = disk / "tensors"
        result = attack.run("run", "walk.mp4", "--detector", "mot:walk.txt", "--size", "32x32", "--tensors",
                            tensors, "--tracks", "before.txt")
        attack.refused("tensors on a full disk", result, f"cannot be written: {FULL}")
        files = sorted(tensors.iterdir())
        sizes = {path.stat().st_size for path in files}
        attack.expect(len(files) > 1 and sizes == {128 + 3 * 32 * 32 * 4},
                      f"tensors on a full disk: {len(files)} files of {sizes} bytes are left")
        left = attack.path("before.txt").read_bytes()
        fault = whole_frames_fault(left, wholes["tracks of run"], pages_excuse=False)
        attack.expect(left and not fault, f"tracks beside tensors on a full disk: {fault or 'none'}")
    finally:
        subprocess.run(["umount", disk], check=True)


def closed_pipes(attack):
    """The reader takes the first bytes, or none, and goes."""
    for arguments in standard_outputs(attack):
        for wanted in (0, 10) if attack.long else (10,):
            tool = attack.start(*arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdin=subprocess.DEVNULL)
            if wanted == 0:
                tool.stdout.close()
            else:
                tool.stdout.read(wanted)
                tool.stdout.close()
            err = tool.stderr.read().decode()
            status = tool.wait()
            # What fits into the pipe may have been written before it was closed.
            done = status == 0 and not err and wanted > 0
            refused = status == 1 and err.count("\n") == 1 and f"standard output: cannot be written: {CLOSED}" in err
            attack.expect(done or refused, f"{arguments}, closed after {wanted} bytes: status {status}: {err!r}")


def main():
    with Attack(__doc__, own_mounts=True) as attack:
        attack.sample(150)
        attack.path("none.txt").write_bytes(b"")
        # A picture that no coder makes small.
        attack.path("noise.yuv").write_bytes(attack.random.randbytes(256 * 256 * 3 // 2))
        attack.must_run("convert", "noise.yuv", "noise.png", "--format", "nv12", "--frame", "256x256")
        cases = outputs(attack)
        wholes = {}
        for name, file, arguments, _ in cases:
            attack.must_run(*put(arguments, file))
            wholes[name] = attack.path(file).read_bytes()
        limited_files(attack, cases, wholes)
        full_devices(attack, cases)
        small_disk(attack, cases, wholes)
        closed_pipes(attack)


main()
