"""The tool over long videos and files: its memory at the end is what it was at the start."""
import subprocess
import time

from support import Attack

MINUTE = 25 * 60  # frames
STEP = 25  # frames from one look at the memory to the next
# What allocators may add. An MP4 file ends with an index of its frames, which FFmpeg keeps until then.
MARGIN_KIB = 256
MARGIN_KIB_AN_HOUR_OF_OUTPUT = 5 * 1024


def own_kib(pid):
    """Memory that a process has to itself, as the kernel counts it from the pages; 0 when there is none.

    Pages of files, programs above all, come and go as the system pleases, and the peak that it keeps has them in.
    """
    try:
        with open(f"/proc/{pid}/smaps_rollup") as rollup:
            return sum(int(line.split()[1]) for line in rollup if line.startswith(("Anonymous:", "Swap:")))
    except (FileNotFoundError, ProcessLookupError):
        return 0


def compare(attack, name, command, frames):
    """Runs the tool; its most memory in KiB in the last window of frames must be that of the first two.

    Looked at every few frames, wherever the tool then is in its work: what lasts for less may be missed in one
    window and seen in another, which is why the first two are both taken.

    The tracks come through a pipe: the tool is never further ahead of what was read than the pipe holds, so that
    a machine with other work to do measures the same frames. The last window ends before the last frame, since
    finishing the files and giving everything back is no frame's work.
    """
    started = time.monotonic()
    window = max(MINUTE, frames // 60)
    end = frames - window // 3
    peaks, looked_at = {0: 0, window: 0, end - window: 0}, 0
    with open(attack.path("err.txt"), "wb") as err:
        tool = attack.start(*command.split(), stdout=subprocess.PIPE, stderr=err)
    for line in tool.stdout:
        frame = int(line.split(b",", 1)[0])
        if frame < looked_at + STEP:
            continue
        looked_at = frame
        for start in peaks:
            if start <= frame < start + window:
                peaks[start] = max(peaks[start], own_kib(tool.pid))
    attack.expect(tool.wait() == 0, f"{name}: status {tool.returncode}: {attack.path('err.txt').read_text()}")
    first, second, last = peaks.values()
    allowed = MARGIN_KIB
    if "-o out.mp4" in command:
        allowed += MARGIN_KIB_AN_HOUR_OF_OUTPUT * frames // (60 * MINUTE)
    attack.say(f"{name}: {frames} frames, peak {first} KiB in the first minute of video, {second} in the "
               f"second, {last} in the last ({time.monotonic() - started:.0f} s)")
    attack.expect(min(first, second, last) > 0, f"{name}: nothing was measured")
    attack.expect(last - min(first, second) <= allowed, f"{name}: memory grew by more than {allowed} KiB")


def changing_boxes(path, frames):
    """Detections of which always some are new: each of 5 objects lives for 20 frames, then jumps."""
    with open(path, "w") as out:
        for frame in range(1, frames + 1):
            for slot in range(5):
                life, age = divmod(frame + 4 * slot, 20)
                left, top = 2 + slot * 30 + age / 10, 2 + (life * 37 + slot * 11) % 80
                out.write(f"{frame},-1,{left:.2f},{top},20,30,0.9\n")


with Attack(__doc__) as attack:
    frames = 60 * MINUTE if attack.long else 4 * MINUTE
    attack.sample(frames)
    changing_boxes(attack.path("changing.txt"), frames)
    walk = "run walk.mp4 --tracks - --size 64x64 --max-confidence 3 --detector "
    compare(attack, "run, tracks", walk + "mot:changing.txt", frames)
    compare(attack, "run, tracks and pictures",
            walk + "mot:walk.txt -o out.mp4 --contact-sheet sheet.png --trajectories paths.png", frames)
    if attack.long:
        part = frames // 6  # a network takes far longer than the rest
        attack.sample(part, video="figures.mp4", boxes="truth.txt", scene="figures")
        compare(attack, "run, network", "run figures.mp4 --tracks - --detector onnx", part)
    many = 10 * frames
    changing_boxes(attack.path("changing.txt"), many)
    for kind in ("kalman", "one-euro"):
        compare(attack, f"track, {kind}",
                f"track changing.txt --frame 160x120 --max-confidence 3 --filter {kind} -o -", many)
