#!/usr/bin/env python3
"""Plants one defect for each test that looks for mistakes of its own, and sees that the test
finds it.

Called by scripts/planted, which installs what is needed. Works in a copy of the sources. The
defects are in tests/planted/defects.json.
"""
import json
import os
import sys
import tempfile

from mutants import TOP, Tree

DEFECTS = os.path.join(TOP, "tests", "planted", "defects.json")
FUZZ_RUNS = 1000  # from the seeds on, the same ones each time; a defect may name fewer
LONGEST = 300  # seconds for a test


class SanitizedTree(Tree):
    """The copy, built as one of the presets."""

    def __init__(self, folder, preset):
        super().__init__(folder)
        self.preset = preset
        self.build = os.path.join(self.source, "build", preset)

    def run(self, defect):
        """Builds a test and runs it; its exit status and what it said."""
        if "fuzz" in defect:
            words = ["fuzz_" + defect["fuzz"]]
        else:
            words = defect["command"]
        targets = [words[0]] + (["standin_helper"] if self.preset == "asan" else [])
        status, output = self.make(targets, None)
        if status != 0:
            sys.exit(output[-3000:] + "\nscripts/planted: does not compile")
        command = [os.path.join(self.build, "bin", words[0])]
        if "fuzz" in defect:
            tests = os.path.join(self.source, "tests", "fuzz")
            command = [os.path.join(tests, "run"), command[0],
                       os.path.join(tests, "seeds", defect["fuzz"]), "-seed=1",
                       "-runs=%d" % defect.get("runs", FUZZ_RUNS), "-exact_artifact_path=/dev/null"]
        with tempfile.TemporaryDirectory() as scratch:
            command += [word.replace("SCRATCH", scratch) for word in words[1:]]
            return self.command(command, LONGEST)


def finds(tree, defect):
    """Whether the test passes without the defect, and fails with it for the right reason."""
    path = defect["file"]
    with open(os.path.join(TOP, path), encoding="utf-8") as file:
        original = file.read()
    if original.count(defect["sound"]) != 1:
        sys.exit("scripts/planted: %s has no such line any more: %s"
                 % (path, defect["sound"].strip()))
    status, output = tree.run(defect)
    if status != 0:
        sys.exit(output[-3000:] + "\nscripts/planted: fails without a defect: " + defect["finder"])
    tree.write(path, original.replace(defect["sound"], defect["defect"]))
    try:
        status, output = tree.run(defect)
    finally:
        tree.write(path, original)
    is_found = status is not None and status != 0 and defect["says"] in output
    if not is_found:
        print(output[-2000:])
    return is_found


def main():
    suppressions = os.path.join(TOP, "tests", "support")
    os.environ["LSAN_OPTIONS"] = "suppressions=%s/lsan.supp" % suppressions
    os.environ["TSAN_OPTIONS"] = ("halt_on_error=1:ignore_noninstrumented_modules=1:"
                                  "suppressions=%s/tsan.supp" % suppressions)
    with open(DEFECTS, encoding="utf-8") as file:
        defects = [one for one in json.load(file)
                   if any(word in one["finder"] for word in sys.argv[1:] or [""])]
    if not defects:
        sys.exit("scripts/planted: there is no such test")
    trees = {}
    failed = 0
    for defect in defects:
        preset = defect["preset"]
        if preset not in trees:
            trees[preset] = SanitizedTree(os.path.join(TOP, "build", "planted"), preset)
            trees[preset].configure(preset)
        is_found = finds(trees[preset], defect)
        failed += not is_found
        print("%s: %s" % (defect["finder"], "finds its defect" if is_found else "finds nothing"))
        sys.stdout.flush()
    print("%d passed, %d failed" % (len(defects) - failed, failed))
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
