#!/usr/bin/env python3
"""Tables of what the benchmarks measured.

    bench/report.py table ROWS BENCH.json PAGE.md    writes the rows of one run as one JSON file, and as tables
                                                     between the marks in a page
    bench/report.py instructions PROGRAM ROWS        adds the instructions that valgrind counts in PROGRAM to the rows;
                                                     none without valgrind
    bench/report.py compare OLD.json NEW.json        lists what got worse by more than 15 %
"""

import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

WORSE = 1.15
COUNTED = 10  # operations in bench/instruction_counts.cpp
BEGIN = "<!-- written by bench/report.py: what stands between these marks is overwritten -->"
END = "<!-- end -->"


def tables(rows):
    machines = [row for row in rows if row["kind"] == "machine"]
    lines = [f"{machines[0]['name']}, {machines[0]['cores']} cores at {machines[0]['value']:.0f} MHz.", ""]
    lines += ["| goal | measured | at most | |", "|---|---|---|---|"]
    for row in (row for row in rows if row["kind"] == "goal"):
        unit = f" {row['unit']}" if row["unit"] else ""
        goal, met = (f"{row['goal']:g}", "met" if row["met"] else "missed") if "goal" in row else ("", "")
        lines.append(f"| {row['name']} | {row['value']:.2f}{unit} | {goal} | {met} |")
    lines += ["", "| nanoseconds an operation | fastest | median |", "|---|---|---|"]
    for row in (row for row in rows if row["kind"] == "time"):
        lines.append(f"| {row['name']} | {row['value']:.2f} | {row['median']:.2f} |")
    counts = [row for row in rows if row["kind"] == "instructions"]
    if counts:
        lines += ["", "| operation | instructions |", "|---|---|"]
        lines += [f"| {row['name']} | {row['value']:.0f} |" for row in counts]
    return "\n".join(lines)


def count_instructions(program, rows_path):
    """Inclusive counts of the functions counted_NAME, each of which does an operation 10,000 times."""
    if shutil.which("valgrind") is None:
        print("valgrind is not installed; no instructions are counted")
        return
    with tempfile.TemporaryDirectory() as folder:
        profile = f"{folder}/profile"
        subprocess.run(["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={profile}", program], check=True)
        annotate = ["callgrind_annotate", "--inclusive=yes", "--threshold=100", profile]
        text = subprocess.run(annotate, check=True, capture_output=True, text=True).stdout
    found = re.findall(r"^ *([\d,]+) .*:counted_(\w+)", text, re.MULTILINE)
    if len({name for _, name in found}) != COUNTED:
        names = ", ".join(sorted(name for _, name in found)) or "none"
        sys.exit(f"{program}: {COUNTED} functions counted_NAME expected, found: {names}. Is the program stripped?")
    with open(rows_path, "a", encoding="utf-8") as rows:
        for total, name in sorted(found, key=lambda each: each[1]):
            value = int(total.replace(",", "")) / 10_000
            row = {"kind": "instructions", "name": name.replace("_", " "), "value": value, "unit": "instructions"}
            rows.write(json.dumps(row) + "\n")


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
    elif len(sys.argv) == 4 and sys.argv[1] == "instructions":
        count_instructions(*sys.argv[2:])
    elif len(sys.argv) == 4 and sys.argv[1] == "compare":
        sys.exit(compare(*sys.argv[2:]))
    else:
        sys.exit(__doc__)
