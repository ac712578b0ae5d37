"""Turns benchmark results into a markdown table and a bar chart of ratios.

usage: bench_report.py --title TEXT --table FILE.md --chart FILE.svg [--summary FILE.md] RESULT.json...

A benchmark is named ROW/CONTESTANT: "tn_kits" is ours, "memcpy" is the time to copy the bytes that the job
must move, "limit:NAME" is another job of ours whose time this one can hardly go below, and all others are
peers. The ratio is the fastest peer's median time divided by ours: above 1, we are faster. How near we are to
the limit is our time divided by its. --summary replaces what stands between the lines <!-- ratios --> and <!-- /ratios --> of a file
by one line for each family of rows.
"""
import argparse
import collections
import json
import pathlib
import re
import statistics

TO_MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}
OURS, COPY, LIMIT = "tn_kits", "memcpy", "limit:"
# Counters worth a place in the table.
NOTES = {"allocations": "allocations a frame", "allocations_per_frame": "allocations a frame",
         "toolkit_bytes": "bytes a toolkit"}

# Names of rows, and what the summary calls them. A row of no family has a line of its own.
FAMILIES = [
    (r"convert/", "NV12 frame resampled into a tensor (`convert`)"),
    (r"Convert/", "NV12 frame into a tensor of its size (`Convert`)"),
    (r"getInMat .*upright", "frame into a network's input (`getInMat`)"),
    (r"getInMat .*turned", "the same with a quarter turn"),
    (r"(cnn_)?resize_bilinear", "bilinear byte resizers"),
    (r"(crop_)?resize_nearest", "nearest-neighbour byte resizers"),
    (r"from_pixels", "packed bytes into a float tensor"),
    (r"affine", "affine warps"),
    (r"\w+_to_rgb", "YUV 4:2:0 to RGB"),
    (r"gray_from", "grey"),
    (r"planar_from", "packed bytes into planes"),
    (r"(anti_)?rotate90", "quarter turns"),
    (r"flip", "mirrors"),
    (r"cut|Crop", "cuts and crops"),
    (r"preprocess", "any frame into any tensor (`Preprocessor`)"),
    (r"kalman", "tracker with Kalman filters, 10 to 1,000 boxes"),
    (r"one_euro", "tracker with One-Euro filters, 10 to 1,000 boxes"),
]

Row = collections.namedtuple("Row", "name ours peer peer_time limit limit_time notes")


def read_times(paths):
    """The times in microseconds of every contestant of every row, the rows' places, and their notes."""
    times = collections.defaultdict(lambda: collections.defaultdict(list))
    order, notes = {}, collections.defaultdict(dict)
    for number, path in enumerate(paths):
        for run in json.loads(pathlib.Path(path).read_text(encoding="utf-8"))["benchmarks"]:
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
        ours = medians.pop(OURS, None)
        limit = next((name for name in medians if name == COPY or name.startswith(LIMIT)), None)
        limit_time = medians.pop(limit, None)
        if ours is not None and medians:
            peer = min(medians, key=medians.get)
            yield Row(name, ours, peer, medians[peer], limit, limit_time, notes[name])


def table(title, rows):
    lines = [title, "", "| row | ours, us | fastest peer | its, us | ratio | limit | its, us | ours / limit | |",
             "|---|---:|---|---:|---:|---|---:|---:|---|"]
    for row in rows:
        limit = " | | "
        if row.limit is not None:
            limit = f"{row.limit.removeprefix(LIMIT)} | {row.limit_time:.1f} | {row.ours / row.limit_time:.2f}"
        notes = ", ".join(f"{value:,.0f} {text}" for text, value in row.notes.items())
        lines.append(f"| {row.name} | {row.ours:.1f} | {row.peer} | {row.peer_time:.1f} "
                     f"| {row.peer_time / row.ours:.2f} | {limit} | {notes} |")
    return "\n".join(lines) + "\n"


def summarise(path, title, rows):
    """Writes the range of ratios of each family into the marked part of a file."""
    families = {text: [] for _, text in FAMILIES}
    for row in rows:
        text = next((text for name, text in FAMILIES if re.match(name, row.name)), row.name)
        families.setdefault(text, []).append(row.peer_time / row.ours)
    lines = [title, "", "| job | rows | ratio, lowest to highest |", "|---|---:|---:|"]
    lines += [f"| {text} | {len(found)} | {min(found):.2f} to {max(found):.2f} |"
              for text, found in families.items() if found]
    file = pathlib.Path(path)
    before, opening, rest = file.read_text(encoding="utf-8").partition("<!-- ratios -->\n")
    _, closing, after = rest.partition("<!-- /ratios -->")
    if not closing:
        raise SystemExit(f"bench_report.py: {path} has no lines <!-- ratios --> and <!-- /ratios -->")
    file.write_text(before + opening + "\n".join(lines) + "\n" + closing + after, encoding="utf-8")


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
    parser.add_argument("--summary")
    parser.add_argument("results", nargs="+")
    options = parser.parse_args()
    rows = list(read(options.results))
    text = table(options.title, rows)
    pathlib.Path(options.table).write_text(text, encoding="utf-8")
    pathlib.Path(options.chart).write_text(chart(rows), encoding="utf-8")
    if options.summary:
        summarise(options.summary, options.title, rows)
    print(text, end="")


if __name__ == "__main__":
    main()
