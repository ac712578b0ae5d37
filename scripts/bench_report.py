"""Turns benchmark results into a markdown table and a bar chart of ratios.

usage: bench_report.py --title TEXT --table FILE.md --chart FILE.svg RESULT.json...

A benchmark is named ROW/CONTESTANT: "tn_kits" is ours, "memcpy" is the time to copy the bytes that the job
must move, and all others are peers. The ratio is the fastest peer's median time divided by ours: above 1,
we are faster.
"""
import argparse
import collections
import json
import statistics

TO_MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}
OURS, LIMIT = "tn_kits", "memcpy"
# Counters worth a place in the table.
NOTES = {"allocations": "allocations a frame", "allocations_per_frame": "allocations a frame",
         "toolkit_bytes": "bytes a toolkit"}

Row = collections.namedtuple("Row", "name ours peer peer_time limit notes")


def read_times(paths):
    """The times in microseconds of every contestant of every row, the rows' places, and their notes."""
    times = collections.defaultdict(lambda: collections.defaultdict(list))
    order, notes = {}, collections.defaultdict(dict)
    for number, path in enumerate(paths):
        with open(path, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        for run in runs:
            if run["run_type"] == "aggregate":
                continue
            name, _, contestant = run["run_name"].rpartition("/")
            times[name][contestant].append(run["cpu_time"] * TO_MICROSECONDS[run["time_unit"]])
            place = (number, run["family_index"])
            order[name] = min(order.get(name, place), place)
            if contestant == OURS:
                notes[name] = {text: run[key] for key, text in NOTES.items() if key in run}
    return times, order, notes


def read(paths):
    """Yields the rows of all files, in the order in which the benchmarks register them."""
    times, order, notes = read_times(paths)
    for name in sorted(times, key=order.get):
        medians = {contestant: statistics.median(runs) for contestant, runs in times[name].items()}
        ours, limit = medians.pop(OURS, None), medians.pop(LIMIT, None)
        if ours is not None and medians:
            peer = min(medians, key=medians.get)
            yield Row(name, ours, peer, medians[peer], limit, notes[name])


def table(title, rows):
    lines = [title, "", "| row | ours, us | fastest peer | its, us | ratio | memcpy, us | |",
             "|---|---:|---|---:|---:|---:|---|"]
    for row in rows:
        limit = "" if row.limit is None else f"{row.limit:.1f}"
        notes = ", ".join(f"{value:,.0f} {text}" for text, value in row.notes.items())
        lines.append(f"| {row.name} | {row.ours:.1f} | {row.peer} | {row.peer_time:.1f} "
                     f"| {row.peer_time / row.ours:.2f} | {limit} | {notes} |")
    return "\n".join(lines) + "\n"


def chart(rows):
    """A horizontal bar a row; the line marks where both are equally fast."""
    label_width, unit, bar, gap = 330, 70, 14, 6
    longest = max(row.peer_time / row.ours for row in rows)
    width, height = label_width + int(unit * longest) + 60, 40 + len(rows) * (bar + gap)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'viewBox="0 0 {width} {height}" '
           'font-family="sans-serif" font-size="12">',
           f'<rect width="{width}" height="{height}" fill="white"/>',
           f'<text x="{label_width}" y="18">fastest peer\'s time / ours (longer is better)</text>']
    for i, row in enumerate(rows):
        ratio, y = row.peer_time / row.ours, 30 + i * (bar + gap)
        colour = "#2a7f62" if ratio >= 1 else "#b5651d"
        out.append(f'<text x="{label_width - 8}" y="{y + 11}" text-anchor="end">{row.name}</text>')
        out.append(f'<rect x="{label_width}" y="{y}" width="{unit * ratio:.1f}" height="{bar}" fill="{colour}"/>')
        out.append(f'<text x="{label_width + unit * ratio + 5:.1f}" y="{y + 11}">{ratio:.2f}</text>')
    x = label_width + unit
    out.append(f'<line x1="{x}" y1="26" x2="{x}" y2="{height - 8}" stroke="black" stroke-dasharray="3 3"/>')
    return "\n".join(out + ["</svg>"]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--title", required=True)
    parser.add_argument("--table", required=True)
    parser.add_argument("--chart", required=True)
    parser.add_argument("results", nargs="+")
    options = parser.parse_args()
    rows = list(read(options.results))
    text = table(options.title, rows)
    with open(options.table, "w", encoding="utf-8") as file:
        file.write(text)
    with open(options.chart, "w", encoding="utf-8") as file:
        file.write(chart(rows))
    print(text, end="")


if __name__ == "__main__":
    main()
