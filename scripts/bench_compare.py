"""Runs the benchmarks of two builds in alternation and prints our times, new divided by old.

usage: bench_compare.py [--filter REGEX] [--rounds N] [--isa NAME]... OLD_BUILD NEW_BUILD

Part of scripts/compare.sh, which says what is printed and judged. Exit status 1: slower; 2: nothing to compare.
The minimum of a row's times stands for the row, because noise only ever adds time.
"""
import argparse
import itertools
import math
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

import bench_report

ROW_LIMIT, MEAN_LIMIT = 1.10, 1.03
SECOND_LOOK = 3  # times as many rounds, each with repetitions three times as long
MIN_TIME = 0.03  # seconds a repetition


def run(program, isa, *options):
    environment = dict(os.environ, **({"TN_BENCH_TARGETS": isa} if isa else {}))
    done = subprocess.run([program, *options], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, check=False)
    if done.returncode:
        print(done.stderr.strip() or f"{program} failed", file=sys.stderr)
        sys.exit(2)
    return done.stdout


def our_rows(build, wanted):
    """The rows of each benchmark program of a build, by the program's name."""
    ending = "/" + bench_report.OURS
    rows = {}
    for program in sorted(pathlib.Path(build, "benchmarks").glob("*_benchmark")):
        names = run(program, None, "--benchmark_list_tests=true").splitlines()
        rows[program.name] = [name[:-len(ending)] for name in names
                              if name.endswith(ending) and wanted.search(name[:-len(ending)])]
    return rows


def measure(builds, programs, isa, rounds, min_time):
    """The times of every row, for each of the builds: {row: [times]}."""
    times = [{} for _ in builds]
    for number in range(rounds):
        for program, rows in programs.items():
            names = "|".join(re.sub(r"([][\\.*+?^${}()|])", r"\\\1", row) for row in rows)
            order = list(enumerate(builds))
            for which, build in order if number % 2 == 0 else reversed(order):
                with tempfile.NamedTemporaryFile(suffix=".json") as result:
                    run(pathlib.Path(build, "benchmarks", program), isa,
                        f"--benchmark_filter=^({names})/{bench_report.OURS}$", f"--benchmark_min_time={min_time}",
                        "--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=2",
                        f"--benchmark_out={result.name}", "--benchmark_out_format=json")
                    found, _, _ = bench_report.read_times([result.name])
                for row, contestants in found.items():
                    times[which].setdefault(row, []).extend(contestants[bench_report.OURS])
        print(f"round {number + 1} of {rounds}", file=sys.stderr)
    return times


def ratios(times):
    old, new = times
    return {row: min(new[row]) / min(old[row]) for row in old if row in new}


def geometric_mean(values):
    return math.exp(statistics.fmean(math.log(value) for value in values))


def compare(builds, programs, isa, rounds):
    """Prints the table of one instruction set; returns what is too slow, one sentence each."""
    times = measure(builds, programs, isa, rounds, MIN_TIME)
    found = ratios(times)
    if geometric_mean(found.values()) > MEAN_LIMIT:
        print("the mean looks suspicious: all rows once more", file=sys.stderr)
        for earlier, later in zip(times, measure(builds, programs, isa, rounds, MIN_TIME)):
            for row, more in later.items():
                earlier[row] += more
        found = ratios(times)
    # Rows that became faster get their second look too: another look at slow rows only would flatter the mean.
    suspicious = {row for row, ratio in found.items() if max(ratio, 1 / ratio) > ROW_LIMIT}
    if suspicious:
        print(f"a second look at {len(suspicious)} of {len(found)} rows", file=sys.stderr)
        again = {program: [row for row in rows if row in suspicious] for program, rows in programs.items()}
        again = {program: rows for program, rows in again.items() if rows}
        for earlier, later in zip(times, measure(builds, again, isa, rounds * SECOND_LOOK, MIN_TIME * SECOND_LOOK)):
            earlier.update(later)
        found = ratios(times)
    mean = geometric_mean(found.values())
    name = isa or "best instruction set"
    print(f"| row ({name}) | old, us | new, us | new / old | of medians | |\n|---|---:|---:|---:|---:|---|")
    for row in sorted(found, key=found.get, reverse=True):
        old, new = (build[row] for build in times)
        note = "slower" if found[row] > ROW_LIMIT else "second look" if row in suspicious else ""
        print(f"| {row} | {min(old):.2f} | {min(new):.2f} | {found[row]:.3f} "
              f"| {statistics.median(new) / statistics.median(old):.3f} | {note} |")
    print(f"\n{name}: geometric mean of {len(found)} rows {mean:.3f}, worst row {max(found.values()):.3f}\n")
    slow = [f"{name}: {row} takes {ratio:.3f} of the old time" for row, ratio in found.items() if ratio > ROW_LIMIT]
    return slow + ([f"{name}: the geometric mean is {mean:.3f}"] if mean > MEAN_LIMIT else [])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--filter", default=".")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--isa", action="append")
    parser.add_argument("builds", nargs=2)
    options = parser.parse_args()
    old, new = (our_rows(build, re.compile(options.filter)) for build in options.builds)
    every_old, every_new = (set(itertools.chain(*rows.values())) for rows in (old, new))
    for which, rows in ("old", every_old - every_new), ("new", every_new - every_old):
        for row in sorted(rows):
            print(f"only in the {which} commit: {row}")
    programs = {name: [row for row in rows if row in new[name]] for name, rows in old.items() if name in new}
    programs = {name: rows for name, rows in programs.items() if rows}
    if not programs:
        print("bench_compare.py: the commits have no such row in common", file=sys.stderr)
        return 2
    slow = [sentence for isa in options.isa or [None]
            for sentence in compare(options.builds, programs, isa, options.rounds)]
    print("\n".join(slow) if slow else "not slower")
    return 1 if slow else 0


if __name__ == "__main__":
    sys.exit(main())
