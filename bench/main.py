"""Measures everything, prints the table and keeps it as JSON. See scripts/bench."""

import argparse
import importlib
import json
import platform
import sys
import time

from figures import Line, table
from processes import TOP, Failed

# Each is a module with rows(settings).
ROWS = ("start", "memory", "wakeups", "apn", "functions",
        "repeated", "link", "sizes")
KEPT = TOP / "build/bench/figures.json"


def parsed():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("row", nargs="*", choices=[[], *ROWS], help="measure these only")
    parser.add_argument("--rounds", type=int, default=21, help="how often programs alternate")
    parser.add_argument("--seconds", type=int, default=60, help="how long a state is watched")
    return parser.parse_args()


def measure(names, settings):
    results = {}
    for name in names:
        begin = time.monotonic()
        print(f"==> Measuring: {name}", flush=True)
        try:
            results[name] = importlib.import_module(name).rows(settings)
        except Failed as error:
            results[name] = [(name, [Line("not measured", str(error), "", False)])]
        print(f"==> {name} took {time.monotonic() - begin:.0f} s", flush=True)
    return results


def keep(results):
    as_json = {name: [{"row": title, "lines": [line.as_json() for line in lines]}
                      for title, lines in rows] for name, rows in results.items()}
    KEPT.parent.mkdir(parents=True, exist_ok=True)
    KEPT.write_text(json.dumps({"machine": platform.platform(), "rows": as_json}, indent=1))


def main():
    settings = parsed()
    results = measure(settings.row or ROWS, settings)
    keep(results)
    rows = [row for part in results.values() for row in part]
    print(table(rows))
    missed = sum(line.reached is False for _, lines in rows for line in lines)
    print(f"==> {missed} of the lines are not reached; the samples are in "
          f"{KEPT.relative_to(TOP)}")
    return int(any(line.case == "not measured" for _, lines in rows for line in lines))


if __name__ == "__main__":
    sys.exit(main())
