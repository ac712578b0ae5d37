"""The tool makes no file in folders that others share, nor in its user's home: not even for a moment."""
import ctypes
import os
import pathlib
import struct

from support import Attack, mounts

IN_CREATE, IN_MOVED_TO = 0x100, 0x80
SHARED = ["/tmp", "/var/tmp", "/dev/shm"]


class Watch:
    """Names of all that is created in folders, also of what is gone again."""

    def __init__(self, folders):
        self.libc = ctypes.CDLL(None, use_errno=True)
        self.file = self.libc.inotify_init1(os.O_NONBLOCK)
        self.folders = {}
        for folder in folders:
            number = self.libc.inotify_add_watch(self.file, os.fsencode(folder), IN_CREATE | IN_MOVED_TO)
            if number < 0:
                raise OSError(ctypes.get_errno(), f"{folder} cannot be watched")
            self.folders[number] = str(folder)

    def created(self):
        names = []
        while True:
            try:
                events = os.read(self.file, 1 << 16)
            except BlockingIOError:
                return names
            at = 0
            while at < len(events):
                number, _, _, length = struct.unpack_from("iIII", events, at)
                name = events[at + 16:at + 16 + length].split(b"\0")[0].decode(errors="replace")
                names.append(f"{self.folders[number]}/{name}")
                at += 16 + length


def commands(attack):
    model = attack.source / "tests/data/small.onnx"
    return [
        ["sample", "walk.mp4", "--detections", "walk.txt", "--frames", "20", "--frame", "160x120"],
        ["sample", "figures.mp4", "--detections", "truth.txt", "--frames", "3", "--scene", "figures"],
        ["track", "walk.txt", "--frame", "160x120", "-o", "tracks.txt"],
        ["score", "tracks.txt", "walk.txt"],
        ["run", "walk.mp4", "--detector", "hog", "--tracks", "tracks.txt", "-o", "out.mp4", "--contact-sheet",
         "sheet.png", "--trajectories", "paths.png", "--tensors", "tensors", "--size", "64x64"],
        ["run", "figures.mp4", "--detector", "onnx", "--tracks", "tracks.txt"],
        ["tensor", "walk.mp4", "--size", "64x64", "-o", "tensor.npy"],
        ["convert", "sheet.png", "turned.png", "--rotate", "90"],
        ["convert", attack.source / "docs/images/demo.jpg", "grey.png", "--to", "gray"],
        ["prepare", "sheet.png", "--size", "64x64", "-o", "prepared.npy"],
        ["warp", "sheet.png", "warped.png", "--matrix", "1,0,0,0,1,0"],
        ["layers", model, "--runs", "1"],
        ["export-config", model, "-o", "config.txt"],
    ]


def hidden_folders(attack):
    """Fresh file systems over the folders that others share, so that nobody else's files are seen."""
    covered = []
    for folder in SHARED:
        inside = [attack.folder, attack.tool_path, attack.source]
        if not pathlib.Path(folder).is_dir() or any(str(path).startswith(folder + "/") for path in inside):
            continue
        if mounts(folder):
            covered.append(folder)
    return covered


def main():
    with Attack(__doc__, own_mounts=True) as attack:
        private = {}
        for variable in ("TMPDIR", "HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME"):
            private[variable] = attack.path("places") / variable
            private[variable].mkdir(parents=True)
        covered = hidden_folders(attack)
        if covered:
            attack.say("watched besides TMPDIR and the home folders: " + ", ".join(covered))
        else:
            attack.left_out("no file system may be mounted here, so that only TMPDIR and the home folders are watched")
        environment = dict(os.environ, **{name: str(path) for name, path in private.items()})
        watch = Watch(list(private.values()) + covered)
        for arguments in commands(attack):
            attack.must_run(*arguments, env=environment)
            for name in watch.created():
                attack.fault(f"{arguments[0]} made {name}")


main()
