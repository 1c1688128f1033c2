#!/usr/bin/env python3
"""Prints how much of each file was run, and what was not. Called by ./test and
scripts/coverage.

check.py [--only-print]: reads what gcovr wrote. Ends with 1 when a line was not
run that "exceptions" does not name, when it names one that is gone, or when less than
93 % of the branches were run. The platform layer is only printed: what is not
run there is mostly calls of the system that fail, and what user-mode Linux and Wine run.
"""
import collections
import json
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(os.path.dirname(HERE))
# Per cent. The rest is mostly the compiler's: on a line with a condition, too, it branches
# to destroy what was made for it.
LEAST_BRANCHES = 93
# On other lines the only branches are the compiler's own: when something is destroyed.
DECIDES = re.compile(r'\b(?:if|while|for|switch|case)\b|&&|\|\||\?')


def exceptions():
    """What need not be run: {path: {line's text: reason}}; "*" stands for the whole file."""
    result = collections.defaultdict(dict)
    reason = ""
    with open(os.path.join(HERE, "exceptions"), encoding="utf-8") as file:
        for line in file.read().split("\n"):
            if line.startswith("##"):
                continue
            if line.startswith("# "):
                reason = line[2:]
            elif line:
                path, _, text = line.partition(": ")
                result[path][text.strip()] = reason
    return result


def main():
    only_print = "--only-print" in sys.argv
    with open(os.path.join(TOP, "build/coverage/coverage.json"), encoding="utf-8") as file:
        files = json.load(file)["files"]
    allowed = exceptions()
    used = set()
    faults = []
    lines_in = collections.Counter()
    lines_run = collections.Counter()
    branches_in = collections.Counter()
    branches_run = collections.Counter()
    excepted = collections.Counter()
    for one in sorted(files, key=lambda entry: entry["file"]):
        path = one["file"]
        parts = path.split("/")
        folder = "/".join(parts[:2]) if parts[0] == "platform" and len(parts) > 2 else parts[0]
        with open(os.path.join(TOP, path), encoding="utf-8") as source:
            texts = [text.strip() for text in source.read().split("\n")]
        for line in one["lines"]:
            if line.get("gcovr/noncode"):
                continue
            text = texts[line["line_number"] - 1]
            known = next((key for key in ("*", text) if key in allowed[path]), None)
            if known is not None:
                used.add((path, known))
            if line["count"] == 0 and known is not None:
                excepted[folder] += 1
                continue
            lines_in[folder] += 1
            lines_run[folder] += line["count"] > 0
            if line["count"] == 0 and parts[0] != "platform":
                faults.append("%s:%d was not run: %s" % (path, line["line_number"], text))
            if line["count"] == 0:
                continue
            # What stands alone in an exception may be run in parts.
            counts = DECIDES.search(text) and known is None
            for branch in line["branches"] if counts else []:
                branches_in[folder] += 1
                branches_run[folder] += branch["count"] > 0
    faults += ["tests/coverage/exceptions: is gone: %s: %s" % (path, text)
               for path in allowed for text in allowed[path] if (path, text) not in used]
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
