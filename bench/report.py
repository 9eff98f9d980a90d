#!/usr/bin/env python3
"""Tables of what the benchmarks measured.

    bench/report.py table ROWS BENCH.json PAGE.md    writes the rows of one run as one JSON file, and as tables
                                                     between the marks in a page
    bench/report.py compare OLD.json NEW.json        lists what got worse by more than 15 %
"""

import json
import sys
from pathlib import Path

WORSE = 1.15
BEGIN = "<!-- written by bench/report.py: what stands between these marks is overwritten -->"
END = "<!-- end -->"


def tables(rows):
    machines = [row for row in rows if row["kind"] == "machine"]
    lines = [f"{machines[0]['name']}, {machines[0]['cores']} cores at {machines[0]['value']:.0f} MHz.", ""]
    lines += ["| goal | measured | at most | |", "|---|---|---|---|"]
    for row in (row for row in rows if row["kind"] == "goal"):
        unit = f" {row['unit']}" if row["unit"] else ""
        lines.append(f"| {row['name']} | {row['value']:.2f}{unit} | {row['goal']:g} | {'met' if row['met'] else 'missed'} |")
    lines += ["", "| nanoseconds an operation | fastest | median |", "|---|---|---|"]
    for row in (row for row in rows if row["kind"] == "time"):
        lines.append(f"| {row['name']} | {row['value']:.2f} | {row['median']:.2f} |")
    return "\n".join(lines)


def write_table(rows_path, json_path, page_path):
    rows = [json.loads(line) for line in Path(rows_path).read_text().splitlines()]
    Path(json_path).write_text(json.dumps(rows, indent=1) + "\n")
    page = Path(page_path)
    before, mark, rest = page.read_text().partition(BEGIN)
    _, end, after = rest.partition(END)
    if not mark or not end:
        sys.exit(f"{page_path}: has no marks to write between")
    page.write_text(f"{before}{BEGIN}\n\n{tables(rows)}\n\n{END}{after}")


def compare(old_path, new_path):
    def values(path):
        rows = json.loads(Path(path).read_text())
        return {(row["kind"], row["name"]): row["value"] for row in rows if row["kind"] != "machine"}

    old, new = values(old_path), values(new_path)
    worse = [(key, old[key], new[key]) for key in old if key in new and new[key] > WORSE * old[key]]
    for (kind, name), before, now in sorted(worse, key=lambda each: each[1] / each[2]):
        print(f"{kind} {name}: {before:g} -> {now:g}, {100 * (now / before - 1):.0f} % more")
    return 1 if worse else 0


if __name__ == "__main__":
    if len(sys.argv) == 5 and sys.argv[1] == "table":
        write_table(*sys.argv[2:])
    elif len(sys.argv) == 4 and sys.argv[1] == "compare":
        sys.exit(compare(*sys.argv[2:]))
    else:
        sys.exit(__doc__)
