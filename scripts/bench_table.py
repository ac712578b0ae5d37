"""Prints benchmark results as a markdown table of ratios.

usage: bench_table.py RESULT.json...

A benchmark is named ROW/CONTESTANT; the contestant "tn_kits" is ours, the others are its peers. The ratio
is the fastest peer's median time divided by ours: above 1, we are faster. Counters of ours follow.
"""
import collections
import json
import statistics
import sys

STANDARD_KEYS = {
    "name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions",
    "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit", "label",
}
TO_MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


def read(paths):
    """Returns {row: {contestant: [microseconds]}} and {row: {counter: value of ours}}."""
    times = collections.defaultdict(lambda: collections.defaultdict(list))
    counters = collections.defaultdict(dict)
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run.get("run_type") == "aggregate":
                    continue
                row, _, contestant = run["run_name"].rpartition("/")
                times[row][contestant].append(run["cpu_time"] * TO_MICROSECONDS[run["time_unit"]])
                if contestant == "tn_kits":
                    counters[row].update(
                        {key: value for key, value in run.items() if key not in STANDARD_KEYS})
    return times, counters


def main():
    times, counters = read(sys.argv[1:])
    print("| row | ours, us | fastest peer | its, us | ratio | |")
    print("|---|---:|---|---:|---:|---|")
    for row, contestants in times.items():
        medians = {name: statistics.median(values) for name, values in contestants.items()}
        ours = medians.pop("tn_kits", None)
        if ours is None or not medians:
            continue
        peer = min(medians, key=medians.get)
        notes = ", ".join(f"{key} {value:g}" for key, value in counters[row].items())
        print(f"| {row} | {ours:.1f} | {peer} | {medians[peer]:.1f} | {medians[peer] / ours:.2f} | {notes} |")


if __name__ == "__main__":
    main()
