"""The tool is killed at random moments: its file of tracks holds every frame that was complete, whole."""
import signal
import subprocess
import time

from support import Attack, fragments_of, frames_of, whole_frames_fault

FRAMES = 400
MANY_FRAMES = 40000


def wait_for(attack, tool, name):
    while tool.poll() is None and not attack.path(name).exists():
        time.sleep(0.001)


def kill_at_random(attack, arguments, longest, first_output):
    """Starts the tool and kills it up to `longest` seconds after its first output. False if it was done before."""
    tool = attack.start(*arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_for(attack, tool, first_output)
    try:
        tool.wait(attack.random.uniform(0, longest))
    except subprocess.TimeoutExpired:
        pass
    tool.kill()
    return tool.wait() == -signal.SIGKILL


def duration(attack, arguments, first_output):
    """Seconds from the first output to the end of an undisturbed run."""
    tool = attack.start(*arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_for(attack, tool, first_output)
    started = time.monotonic()
    attack.expect(tool.wait() == 0, f"{arguments}: status {tool.returncode}")
    return time.monotonic() - started


def check_tracks(attack, name, wanted, complete=0):
    """complete: frames that were certainly done. Returns the number of frames found."""
    got = attack.path(name).read_bytes() if attack.path(name).exists() else b""
    fault = whole_frames_fault(got, wanted)
    attack.expect(not fault, f"{name}: {fault}")
    frames = frames_of(got[:got.rfind(b"\n") + 1])
    last = max(frames, default=0)
    attack.expect(last >= complete, f"{name}: {complete} frames were complete, the last in the file is {last}")
    return last


def check_run(attack, wanted):
    # A frame's tensor is written before its tracks, and those before its picture.
    tensors = len(list(attack.path("tensors").glob("*.npy"))) if attack.path("tensors").exists() else 0
    video = attack.path("out.mp4").read_bytes() if attack.path("out.mp4").exists() else b""
    pictures = len(fragments_of(video))
    last = check_tracks(attack, "tracks.txt", wanted, max(tensors - 1, pictures))
    if pictures > 0:
        result = attack.run("run", "out.mp4", "--detector", "mot:none.txt", "--size", "16x16")
        counted = int(result.out.split(b",")[0].split()[1]) if result.status == 0 else -1
        attack.expect(counted == pictures, f"out.mp4: {pictures} pictures are whole, {counted} play: {result.err}")
    return last


def main():
    with Attack(__doc__) as attack:
        attack.sample(FRAMES)
        attack.path("none.txt").write_bytes(b"")
        truth = attack.path("walk.txt").read_bytes()
        with open(attack.path("many.txt"), "wb") as many:
            for pass_number in range(MANY_FRAMES // FRAMES):
                for number, rows in frames_of(truth).items():
                    for row in rows:
                        many.write(b"%d,%s" % (pass_number * FRAMES + number, row.split(b",", 1)[1]))
        run = ["run", "walk.mp4", "--detector", "mot:walk.txt", "--tracks", "tracks.txt", "-o", "out.mp4",
               "--tensors", "tensors", "--size", "16x16"]
        track = ["track", "many.txt", "--frame", "160x120", "-o", "many-tracks.txt"]
        longest = {}
        wanted = {}
        for arguments, name in ((run, "tracks.txt"), (track, "many-tracks.txt")):
            longest[name] = duration(attack, arguments, name)
            wanted[name] = attack.path(name).read_bytes()
        outputs = ["tracks.txt", "many-tracks.txt", "out.mp4"]
        kills, within = 50 if attack.long else 10, 0
        done = 0
        while done < kills and not attack.faults:
            for name in outputs:
                attack.path(name).unlink(missing_ok=True)
            for tensor in attack.path("tensors").glob("*.npy"):
                tensor.unlink()
            arguments, name, frames = ((run, "tracks.txt", FRAMES) if done % 2 == 0 else
                                       (track, "many-tracks.txt", MANY_FRAMES))
            if not kill_at_random(attack, arguments, longest[name], name):
                longest[name] *= 0.9  # it was faster than the run before
                continue
            last = check_run(attack, wanted[name]) if arguments is run else check_tracks(
                attack, name, wanted[name])
            done += 1
            within += 0 < last < frames
        attack.say(f"{done} kills, {within} of them between the first and the last frame")
        attack.expect(within * 2 >= done, "most kills came too early or too late to mean anything")


main()
