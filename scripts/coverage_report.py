#!/usr/bin/env python3
"""Prints the lines and branches that ran, per source file, from the counters that a coverage build left behind.

A line counts as run if any translation unit ran it. A branch is one way out of a condition in one function (each
instance of a template counts for itself); the ways that only a thrown exception takes are left out, because the
compiler adds one to every call.
"""

import argparse
import json
import os
import subprocess
import sys
from collections import defaultdict


class FileCounts:
    """What is known of one source file."""

    def __init__(self):
        self.lines = defaultdict(int)
        self.branches = defaultdict(int)

    def add_line(self, line):
        number = line["line_number"]
        self.lines[number] += line["count"]
        for index, branch in enumerate(line.get("branches", [])):
            if not branch.get("throw"):
                key = (number, line.get("function_name", ""), index)
                self.branches[key] += branch["count"]

    def missing_lines(self):
        """The numbers of the lines that never ran, neighbours joined to ranges."""
        ranges = []
        for number in sorted(self.lines):
            if self.lines[number]:
                continue
            following = ranges and not any(
                ranges[-1][1] < other < number for other in self.lines if self.lines[other]
            )
            if following:
                ranges[-1][1] = number
            else:
                ranges.append([number, number])
        return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in ranges)

    def missing_branches(self):
        """The numbers of the lines that ran, but not by all of their ways out."""
        return ", ".join(
            str(number)
            for number in sorted({key[0] for key, count in self.branches.items() if not count})
            if self.lines[number]
        )


def note_files(build):
    for folder, _, names in os.walk(build):
        for name in names:
            if name.endswith(".gcno"):
                yield os.path.join(folder, name)


def gcov_output(gcov, note_file):
    """gcov's view of one translation unit, with all counts 0 if it never ran."""
    result = subprocess.run(
        [gcov, "--json-format", "--stdout", "--branch-probabilities", os.path.abspath(note_file)],
        cwd=os.path.dirname(note_file),
        capture_output=True,
        check=True,
    )
    return json.loads(result.stdout)


def collect(arguments):
    root = os.getcwd()
    files = defaultdict(FileCounts)
    for note_file in sorted(note_files(arguments.build)):
        for entry in gcov_output(arguments.gcov, note_file)["files"]:
            path = os.path.relpath(os.path.normpath(os.path.join(root, entry["file"])), root)
            if path.split(os.sep)[0] in arguments.folders:
                for line in entry["lines"]:
                    files[path].add_line(line)
    return files


def share(counts):
    ran = sum(1 for count in counts if count)
    total = len(counts)
    percent = 100.0 * ran / total if total else 100.0
    return f"{ran:5d} of {total:5d} {percent:5.1f}%"


def print_table(files, missing):
    width = max(map(len, files))
    print(f"{'file':{width}}  {'lines':>20}  {'branches':>20}")
    all_lines, all_branches = [], []
    for path in sorted(files):
        counts = files[path]
        lines, branches = list(counts.lines.values()), list(counts.branches.values())
        all_lines += lines
        all_branches += branches
        print(f"{path:{width}}  {share(lines)}  {share(branches)}")
        if missing and not all(lines):
            print(f"    lines not run: {counts.missing_lines()}")
        if missing and counts.missing_branches():
            print(f"    lines with branches not taken: {counts.missing_branches()}")
    print(f"{'total':{width}}  {share(all_lines)}  {share(all_branches)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--gcov", required=True, help="the gcov of the compiler that built the program")
    parser.add_argument("--build", required=True, help="the build folder with the counters")
    parser.add_argument("--missing", action="store_true", help="list what did not run")
    parser.add_argument("folders", nargs="+", help="the folders whose files are reported")
    arguments = parser.parse_args()
    files = collect(arguments)
    if not files:
        sys.exit("coverage_report: no counters found")
    print_table(files, arguments.missing)


if __name__ == "__main__":
    main()
