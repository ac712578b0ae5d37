#!/usr/bin/env python3
"""Measures the row of preprocess_benchmark whose peer is Pillow, in processes that alternate.

usage: pillow_beside.py [--filter REGEX] [--out FILE.json] [--repetitions N] [--min-time SECONDS] BENCHMARK

BENCHMARK is the program preprocess_benchmark. Each repetition runs it for our time, and then this script in a
process of its own for Pillow's: resize, and with NumPy the conversion to floats, normalisation and planes. The
picture is Pillow's before the clock starts. Prints the ratio of the medians, Pillow's time by ours; --out
writes both times as the benchmarks do, for scripts/bench_report.py. Nothing happens if no such row matches.

Pillow and NumPy are wheels pinned by hash in pillow_requirements.txt. They are put into build/pillow once.
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time
import venv

HERE = pathlib.Path(__file__).resolve().parent
ENVIRONMENT = HERE.parent / "build/pillow"
REQUIREMENTS = HERE / "pillow_requirements.txt"
ROW = r"preprocess RGB (\d+)x(\d+) to (\d+)x(\d+) float32 pillow-bilinear"
OURS = "/tn_kits"


def environment():
    """The interpreter that has the pinned wheels."""
    python, stamp = ENVIRONMENT / "bin/python", ENVIRONMENT / "requirements.txt"
    wanted = REQUIREMENTS.read_text(encoding="ascii")
    if not stamp.exists() or stamp.read_text(encoding="ascii") != wanted:
        venv.create(ENVIRONMENT, clear=True, with_pip=True)
        subprocess.run([python, "-m", "pip", "install", "--quiet", "--disable-pip-version-check", "--no-deps",
                        "--only-binary=:all:", "--require-hashes", "-r", REQUIREMENTS], check=True, stdout=sys.stderr)
        stamp.write_text(wanted, encoding="ascii")
    return python


def measure_pillow(width, height, to_width, to_height, min_time):
    """Pillow's version, and the mean CPU time in microseconds of its frames; runs where Pillow is."""
    import numpy  # pylint: disable=import-outside-toplevel
    import PIL  # pylint: disable=import-outside-toplevel
    from PIL import Image  # pylint: disable=import-outside-toplevel

    noise = numpy.random.default_rng(7).integers(0, 16, (height, width, 3))
    pixels = (numpy.arange(3 * width).reshape(width, 3) // 10 + noise).astype(numpy.uint8)
    picture = Image.fromarray(pixels)
    divisor = numpy.float32(255)
    mean = numpy.array([0.485, 0.456, 0.406], numpy.float32)
    deviation = numpy.array([0.229, 0.224, 0.225], numpy.float32)
    tensor = numpy.empty((3, to_height, to_width), numpy.float32)

    def frame():
        small = numpy.asarray(picture.resize((to_width, to_height), Image.BILINEAR)).astype(numpy.float32)
        small /= divisor
        small -= mean
        small /= deviation
        tensor[:] = small.transpose(2, 0, 1)

    frame()
    frames, start = 0, time.process_time()
    while (spent := time.process_time() - start) < min_time:
        frame()
        frames += 1
    return {"version": PIL.__version__, "cpu_time": 1e6 * spent / frames}


def measure_ours(program, row, min_time):
    """The result of one repetition of our row, as the benchmark writes it."""
    with tempfile.NamedTemporaryFile(suffix=".json") as result:
        subprocess.run([program, f"--benchmark_filter=^{row}{OURS}$", f"--benchmark_min_time={min_time}",
                        f"--benchmark_out={result.name}", "--benchmark_out_format=json"], check=True,
                       stdout=subprocess.DEVNULL)
        return json.loads(pathlib.Path(result.name).read_text(encoding="utf-8"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--filter", default=".")
    parser.add_argument("--out")
    parser.add_argument("--repetitions", type=int, default=9)
    parser.add_argument("--min-time", type=float, default=0.05)
    parser.add_argument("--pillow-alone", help=argparse.SUPPRESS)
    parser.add_argument("benchmark")
    options = parser.parse_args()
    if options.pillow_alone:
        sizes = [int(number) for number in re.fullmatch(ROW, options.pillow_alone).groups()]
        print(json.dumps(measure_pillow(*sizes, options.min_time)))
        return

    names = subprocess.run([options.benchmark, "--benchmark_list_tests=true"], check=True, stdout=subprocess.PIPE,
                           text=True).stdout.splitlines()
    rows = [name[:-len(OURS)] for name in names if re.fullmatch(ROW + OURS, name) and re.search(options.filter, name)]
    results = None
    for row in rows:
        python, ours, pillow = environment(), [], []
        for _ in range(options.repetitions):
            result = measure_ours(options.benchmark, row, options.min_time)
            done = subprocess.run([python, __file__, "--pillow-alone", row, "--min-time", str(options.min_time),
                                   options.benchmark], check=True, stdout=subprocess.PIPE, text=True)
            peer = json.loads(done.stdout)
            ours += result["benchmarks"]
            pillow.append({**result["benchmarks"][0], "run_name": f"{row}/Pillow {peer['version']}",
                           "cpu_time": peer["cpu_time"], "time_unit": "us"})
            results = results or {**result, "benchmarks": []}
        results["benchmarks"] += ours + pillow
        medians = [statistics.median(run["cpu_time"] for run in runs) for runs in (ours, pillow)]
        print(f"{row}: {medians[0]:.1f} us, {pillow[0]['run_name'].rpartition('/')[2]} {medians[1]:.1f} us, "
              f"ratio {medians[1] / medians[0]:.2f}")
    if results and options.out:
        pathlib.Path(options.out).write_text(json.dumps(results, indent=1), encoding="utf-8")


if __name__ == "__main__":
    main()
