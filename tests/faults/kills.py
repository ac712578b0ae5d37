"""The tool is killed at random moments, and interrupted: what it wrote holds every frame that was complete, whole."""
import os
import shutil
import signal
import subprocess
import time

from support import Attack, fragments_of, frames_of, whole_frames_fault

FRAMES = 400
MANY_FRAMES = 40000
RUN = "run walk.mp4 --detector mot:walk.txt --tracks tracks.txt -o out.mp4 --tensors tensors --size 16x16"
TRACK = "track many.txt --frame 160x120 -o many-tracks.txt"


def wait_for(attack, tool, name):
    while tool.poll() is None and not attack.path(name).exists():
        time.sleep(0.001)


def start(attack, command, first_output):
    """Starts the tool and waits for its first output."""
    tool = attack.start(*command.split(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_for(attack, tool, first_output)
    return tool


def check_tracks(attack, name, wanted, complete=0):
    """complete: frames that were certainly done. Returns the number of frames found."""
    got = attack.path(name).read_bytes() if attack.path(name).exists() else b""
    fault = whole_frames_fault(got, wanted)
    attack.expect(not fault, f"{name}: {fault}")
    last = max(frames_of(got[:got.rfind(b"\n") + 1]), default=0)
    attack.expect(last >= complete, f"{name}: {complete} frames were complete, the last in the file is {last}")
    return last


def check_run(attack, wanted):
    # A frame's tensor is written before its tracks, and those before its picture.
    tensors = len(list(attack.path("tensors").glob("*.npy")))
    video = attack.path("out.mp4")
    pictures = len(fragments_of(video.read_bytes())) if video.exists() else 0
    attack.expect(pictures == 0 or attack.playable(video) == pictures, f"out.mp4: {pictures} pictures do not play")
    return check_tracks(attack, "tracks.txt", wanted, max(tensors - 1, pictures))


def clear(attack):
    for name in ("tracks.txt", "many-tracks.txt", "out.mp4"):
        attack.path(name).unlink(missing_ok=True)
    shutil.rmtree(attack.path("tensors"), ignore_errors=True)


def kills(attack):
    truth = frames_of(attack.path("walk.txt").read_bytes())
    with open(attack.path("many.txt"), "wb") as many:
        for first in range(0, MANY_FRAMES, FRAMES):
            for number, rows in truth.items():
                many.writelines(b"%d,%s" % (first + number, row.split(b",", 1)[1]) for row in rows)
    longest, wanted = {}, {}
    for command, name in ((RUN, "tracks.txt"), (TRACK, "many-tracks.txt")):
        tool, started = start(attack, command, name), time.monotonic()
        attack.expect(tool.wait() == 0, f"{command}: status {tool.returncode}")
        longest[name] = time.monotonic() - started
        wanted[name] = attack.path(name).read_bytes()
    wished, done, within = 50 if attack.long else 10, 0, 0
    while done < wished and not attack.faults:
        clear(attack)
        command, name, frames = ((RUN, "tracks.txt", FRAMES) if done % 2 == 0 else
                                 (TRACK, "many-tracks.txt", MANY_FRAMES))
        tool = start(attack, command, name)
        try:
            tool.wait(attack.random.uniform(0, longest[name]))
        except subprocess.TimeoutExpired:
            tool.kill()
        if tool.wait() != -signal.SIGKILL:
            longest[name] *= 0.9  # it was faster than the run before
            continue
        last = check_run(attack, wanted[name]) if command is RUN else check_tracks(attack, name, wanted[name])
        done += 1
        within += 0 < last < frames
    attack.say(f"{done} kills, {within} of them between the first and the last frame")
    attack.expect(within * 2 >= done, "most kills came too early or too late to mean anything")


def interrupts(attack):
    """The frame in hand and all files are finished."""
    for number in (signal.SIGINT, signal.SIGTERM):
        for command in (TRACK, "sample film.mp4 --detections many-tracks.txt --frames 100000 --frame 64x64"):
            clear(attack)
            tool = start(attack, command, "many-tracks.txt")
            tool.send_signal(number)
            status, rows = attack.status_of(tool), attack.path("many-tracks.txt").read_bytes()
            attack.expect(status == 128 + number and rows[-1:] in (b"", b"\n"), f"{command}: status {status}")


def stalled_pipes(attack):
    """An interrupt ends the wait for a writer that pauses: at standard input, at a named pipe, in its first bytes."""
    # Frames so large that no buffer of the reader's holds the first of them back.
    video = b"YUV4MPEG2 W1024 H1024 F25:1 C420jpeg\n" + 3 * (b"FRAME\n" + bytes(1024 * 1024 * 3 // 2))
    os.mkfifo(attack.path("fifo"))
    for source, size in (("-", len(video)), ("fifo", len(video)), ("fifo", 20)):
        clear(attack)
        command = f"run {source} --detector mot:none.txt --tensors tensors --size 16x16"
        tool = attack.start(*command.split(), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        pipe = tool.stdin if source == "-" else open(attack.path("fifo"), "wb", buffering=0)
        pipe.write(video[:size])
        pipe.flush()
        if size == len(video):
            wait_for(attack, tool, "tensors/000001.npy")
        time.sleep(0.2)
        signalled = time.monotonic()
        tool.send_signal(signal.SIGINT)
        status, took = attack.status_of(tool), time.monotonic() - signalled
        out, err = tool.stdout.read(), tool.stderr.read()
        said = out.startswith(b"frames ") and not err if size > 20 else err == b"tarnkit: fifo: interrupted\n"
        attack.expect(status == 128 + signal.SIGINT and took < 5 and said,
                      f"{source}, {size} bytes: status {status} after {took:.1f} s: {out[:40]} {err}")
        pipe.close()


with Attack(__doc__) as attack:
    attack.sample(FRAMES)
    kills(attack)
    interrupts(attack)
    stalled_pipes(attack)
