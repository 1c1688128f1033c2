#!/usr/bin/env python3
"""Prints how much of each folder was run, and what was not. Called by ./test and
scripts/coverage.

check.py [--only-print]: reads what gcovr wrote. Ends with 1 when a line was not
run that "exceptions" does not name, when it names one that is gone, or when less than
LEAST_BRANCHES per cent of the branches were run.
"""
import collections
import json
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(os.path.dirname(HERE))
# Above the platform layer. The rest is mostly the compiler's: on a line with a condition,
# too, it branches to destroy what was made for it.
LEAST_BRANCHES = 95
# On other lines the only branches are the compiler's own: when something is destroyed.
DECIDES = re.compile(r'\b(?:if|while|for|switch|case)\b|&&|\|\||\?')


def exceptions():
    """What need not be run, as the file's head explains it: {path: [text, ...]}."""
    result = collections.defaultdict(list)
    with open(os.path.join(HERE, "exceptions"), encoding="utf-8") as file:
        for line in file.read().split("\n"):
            if line and not line.startswith("#"):
                path, _, text = line.partition(": ")
                result[path].append(text.strip())
    return result


def lines_meant(entry, texts):
    """The numbers of the lines that an entry of "exceptions" means in a file."""
    if entry == "*":
        return range(1, len(texts) + 1)
    if entry.endswith(" {...}"):
        beginnings = (entry[:-6], entry[:-6] + " {")
        first = next((i for i, text in enumerate(texts) if text.strip() in beginnings), None)
        if first is None:
            return ()
        end = re.match(r" *", texts[first]).group() + "}"
        last = next(i for i in range(first, len(texts)) if texts[i].rstrip(";") == end)
        return range(first + 1, last + 2)
    before, _, text = entry.rpartition(" => ")
    stripped = [each.strip() for each in texts]
    return [i + 1 for i, each in enumerate(stripped)
            if each == text and (not before or (i > 0 and stripped[i - 1] == before))]


def main():
    only_print = "--only-print" in sys.argv
    with open(os.path.join(TOP, "build/coverage/coverage.json"), encoding="utf-8") as file:
        files = json.load(file)["files"]
    listed = exceptions()
    used = set()
    faults = []
    lines_in = collections.Counter()
    lines_run = collections.Counter()
    branches_in = collections.Counter()
    branches_run = collections.Counter()
    excepted = collections.Counter()
    for one in sorted(files, key=lambda entry: entry["file"]):
        path = one["file"]
        if not os.path.exists(os.path.join(TOP, path)):
            continue  # its object is left from an earlier build
        parts = path.split("/")
        folder = "/".join(parts[:2]) if parts[0] == "platform" and len(parts) > 2 else parts[0]
        with open(os.path.join(TOP, path), encoding="utf-8") as source:
            texts = source.read().split("\n")
        entry_of = {number: entry for entry in listed[path]
                    for number in lines_meant(entry, texts)}
        for line in one["lines"]:
            if line.get("gcovr/noncode"):
                continue
            number = line["line_number"]
            text = texts[number - 1].strip()
            is_excepted = number in entry_of
            if is_excepted:
                used.add((path, entry_of[number]))
            if line["count"] == 0 and is_excepted:
                excepted[folder] += 1
                continue
            lines_in[folder] += 1
            lines_run[folder] += line["count"] > 0
            if line["count"] == 0:
                faults.append("%s:%d was not run: %s" % (path, number, text))
                continue
            # What is excepted may be run in parts.
            counts = DECIDES.search(text) and not is_excepted
            for branch in line["branches"] if counts else []:
                branches_in[folder] += 1
                branches_run[folder] += branch["count"] > 0
    faults += ["tests/coverage/exceptions: is gone: %s: %s" % (path, entry)
               for path in listed for entry in listed[path] if (path, entry) not in used]
    print("%-26s %21s %21s %s" % ("folder", "lines run", "branches run", "lines excepted"))
    for folder in sorted(lines_in):
        print("%-26s %5d of %5d %6.1f%% %5d of %5d %6.1f%% %4d" % (
            folder, lines_run[folder], lines_in[folder],
            100 * lines_run[folder] / lines_in[folder], branches_run[folder],
            branches_in[folder], 100 * branches_run[folder] / max(1, branches_in[folder]),
            excepted[folder]))
    above = [folder for folder in lines_in if not folder.startswith("platform")]
    of_branches = 100 * (sum(branches_run[folder] for folder in above)
                         / sum(branches_in[folder] for folder in above))
    print("above the platform layer: %.1f %% of the branches" % of_branches)
    if of_branches < LEAST_BRANCHES:
        faults.append("less than %d %% of the branches were run" % LEAST_BRANCHES)
    print("\n".join(faults))
    sys.exit(1 if faults and not only_print else 0)


if __name__ == "__main__":
    main()
