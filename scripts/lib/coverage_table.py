#!/usr/bin/env python3
"""coverage_table.py JSON: prints lines and branches per folder from gcovr's report and the lines not covered. The exit
status is 1 if a threshold is missed."""
import json
import re
import sys
from collections import defaultdict
from itertools import zip_longest

FOLDERS = ["plugin", "host", "engine", "store", "xml", "mp4", "ps", "convert", "platform"]
WHOLE = ["mp4", "ps", "engine"]  # every line of these must be covered
MIN_LINES, MIN_BRANCHES = 95.0, 85.0


# Components are included through a link in the build folder, so a header appears under two names.
LINK = re.compile(r"^build/[^/]+/include/[^/]+/")


def lines_of(report):
    """Execution counts of lines and branches, by file and line number."""
    lines = {}
    for file in report["files"]:
        name = LINK.sub("", file["file"])
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            at = lines.setdefault((name, line["line_number"]), [0, []])
            at[0] += line["count"]
            branches = [branch["count"] for branch in line["branches"]]
            at[1] = [sum(both) for both in zip_longest(at[1], branches, fillvalue=0)]
    return lines


class Count:
    def __init__(self):
        self.lines = self.lines_hit = self.branches = self.branches_hit = 0

    def add(self, count, branches):
        self.lines += 1
        self.lines_hit += count > 0
        self.branches += len(branches)
        self.branches_hit += sum(branch > 0 for branch in branches)

    def percent(self):
        return (100.0 * self.lines_hit / max(1, self.lines), 100.0 * self.branches_hit / max(1, self.branches))

    def row(self, name):
        lines, branches = self.percent()
        return (f"{name:<10} {self.lines_hit:5}/{self.lines:<5} {lines:6.1f} % "
                f"{self.branches_hit:6}/{self.branches:<5} {branches:6.1f} %")


def main(path):
    folders, total, missed = defaultdict(Count), Count(), {}
    for (name, number), (count, branches) in sorted(lines_of(json.load(open(path))).items()):
        folders[name.split("/")[0]].add(count, branches)
        total.add(count, branches)
        if count == 0:
            missed.setdefault(name, []).append(str(number))
    print(f'{"folder":<10} {"lines":>11} {"":>8} {"branches":>13}')
    for name in FOLDERS:
        print(folders[name].row(name))
    print(total.row("all"))
    print("\nlines not covered:" + ("" if missed else " none"))
    for name, numbers in missed.items():
        print(f'  {name}: {", ".join(numbers)}')

    lines, branches = total.percent()
    faults = [f"{name}: {folders[name].lines - folders[name].lines_hit} lines not covered"
              for name in WHOLE if folders[name].lines_hit < folders[name].lines]
    if lines < MIN_LINES or branches < MIN_BRANCHES:
        faults.append(f"below {MIN_LINES} % of lines or {MIN_BRANCHES} % of branches")
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


sys.exit(main(sys.argv[1]))
