#!/usr/bin/env python3
"""Plants one-line defects in the program, one at a time, and lets the tests find them.

Called by scripts/mutants, which builds what is needed. Works in a copy of the sources.
A defect that no test finds must stand in the file "survivors" with the reason why it
changes nothing that matters.
"""
import argparse
import filecmp
import os
import random
import re
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(os.path.dirname(HERE))
FOLDERS = ["app", "mainwindow", "dialup", "serial", "install", "wizard", "dialogs", "operators"]
# What only the whole program shows: the end-to-end tests start it.
LEFT_OUT = {"app/main.cpp", "app/operatorsmain.cpp", "app/helper.cpp"}
# Folders whose tests look at the others' work, too; not at the second program's.
WIDER = ["app", "mainwindow", "wizard", "install", "dialup", "operators"]
ALONE = "operators"
TEST_LIMIT = 20  # seconds for one test: a defect may make it wait for ever
COMPILE_LIMIT = 300

TOKEN = re.compile(
    r'(?P<comment>//.*|/\*.*?\*/)'
    r'|(?P<text>(?:u8?|L)?"(?:[^"\\]|\\.)*")'
    r"|(?P<letter>'(?:[^'\\]|\\.)+')"
    r'|(?P<number>\b(?:0x[0-9A-Fa-f]+|\d+)[uUlL]*\b)'
    r'|(?P<word>\b[A-Za-z_]\w*\b)'
    r'|(?P<operator> (?:==|!=|<=|>=|&&|\|\||<|>|\+|-|\*|/|&|\|) |\+\+|--|!(?=[\w(])| \+= | -= )')

OPERATORS = {
    " == ": [" != "], " != ": [" == "], " <= ": [" < ", " > "], " >= ": [" > ", " < "],
    " < ": [" <= ", " >= "], " > ": [" >= ", " <= "], " && ": [" || "], " || ": [" && "],
    " + ": [" - "], " - ": [" + "], " * ": [" / "], " / ": [" * "], " | ": [" & "],
    " & ": [" | "], "++": ["--"], "--": ["++"], "!": [""], " += ": [" -= "], " -= ": [" += "],
}
WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break"}
# Lines on which a change either does not compile or is not the program's.
PASSED_OVER = re.compile(r'^\s*(?:#|//|\*|/\*|using |namespace |class |struct |enum |template|'
                         r'static_assert|Q_OBJECT|Q_DECLARE|public|private|protected|explicit )')
CALL = re.compile(r'^\s+(?!return\b|delete\b|throw\b|using\b|const\b|auto\b|static\b)'
                  r'[\w:]+(?:(?:\.|->|::)\w+|\([^()]*\)|\[[^\]]*\])*\(.*\);$')


def lines_of(path):
    with open(os.path.join(TOP, path), encoding="utf-8") as file:
        return file.read().split("\n")


def mutants_of(path):
    """All defects of a file: (line number, line, changed line), in order."""
    lines = lines_of(path)
    result = []
    in_comment = False
    for number, line in enumerate(lines):
        if in_comment:
            in_comment = "*/" not in line
            continue
        if line.lstrip().startswith("/*") and "*/" not in line:
            in_comment = True
            continue
        if PASSED_OVER.match(line):
            continue
        changed = []
        for token in TOKEN.finditer(line):
            text = token.group()
            before, after = line[:token.start()], line[token.end():]
            if token.lastgroup == "operator":
                if text in (" < ", " > ") and ("template" in line or "<<" in line):
                    continue
                if text in (" & ", " * ") and re.search(r'\b(const )?[A-Z]\w*$', before):
                    continue  # a declaration
                changed += [before + new + after for new in OPERATORS[text]]
            elif token.lastgroup == "number":
                digits = re.match(r'0x[0-9A-Fa-f]+|\d+', text).group()
                changed.append(before + str(int(digits, 0) + 1) + text[len(digits):] + after)
            elif token.lastgroup == "word" and text in WORDS:
                changed.append(before + WORDS[text] + after)
            elif token.lastgroup == "text" and len(text) > 2:
                at = token.end() - 1
                changed.append(line[:at] + "~" + line[at:])
        previous = next((one.strip() for one in reversed(lines[:number]) if one.strip()), "")
        if CALL.match(line) and re.search(r'(?:[;{}:]|^//.*|\))$', previous):
            changed.append(re.match(r'\s*', line).group() + ";")
        result += [(number, line, new) for new in changed if new != line]
    return result


def all_mutants():
    files = subprocess.run(["git", "ls-files", "--"] + [folder + "/*.cpp" for folder in FOLDERS],
                           cwd=TOP, check=True, capture_output=True, text=True).stdout.split()
    return [(path,) + mutant for path in sorted(files) if path not in LEFT_OUT
            for mutant in mutants_of(path)]


def block_of(mutant):
    """A defect as the file "survivors" names it. A line that its file has more than once
    is told apart by the one before it."""
    path, number, line, changed = mutant
    lines = [one.strip() for one in lines_of(path)]
    before = next((one for one in reversed(lines[:number]) if one not in ("", "{")), "")
    after = "after: %s\n" % before if lines.count(line.strip()) > 1 else ""
    return "file: %s\n%sline: %s\nbecomes: %s\n" % (path, after, line.strip(), changed.strip())


def blocks_in(name):
    """The blocks of a file beside this one."""
    with open(os.path.join(HERE, name), encoding="utf-8") as file:
        text = re.sub(r'^#.*\n', "", file.read(), flags=re.MULTILINE)
    return [block.strip("\n") + "\n" for block in text.split("\n\n") if block.strip()]


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, folder):
        self.source = os.path.join(folder, "source")
        # As deep as the trees of a developer: so ccache may have its files.
        self.build = os.path.join(self.source, "build", "tree")
        self.sound = set()  # folders whose tests are known to pass without a defect
        self.copy()

    def copy(self):
        """Writes only what differs, so that a later run builds only that."""
        listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=TOP,
                                check=True, capture_output=True, text=True).stdout
        wanted = {path for path in listed.split("\0")
                  if path and os.path.isfile(os.path.join(TOP, path))}
        for folder, folders, names in os.walk(self.source):
            if folder == self.source and "build" in folders:
                folders.remove("build")
            for name in names:
                there = os.path.join(folder, name)
                if os.path.relpath(there, self.source) not in wanted:
                    os.remove(there)
        for path in wanted:
            source, target = os.path.join(TOP, path), os.path.join(self.source, path)
            if not os.path.exists(target) or not filecmp.cmp(source, target, shallow=False):
                os.makedirs(os.path.dirname(target), exist_ok=True)
                shutil.copy(source, target)

    def command(self, command, limit):
        """The exit status and what was printed; None when it had to be ended."""
        try:
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True, errors="replace", timeout=limit)
        except subprocess.TimeoutExpired:
            return None, ""
        return done.returncode, done.stdout

    def configure(self, preset="debug", *options):
        subprocess.run(["cmake", "--preset", preset, "-B", self.build] + list(options),
                       cwd=self.source, check=True, stdout=subprocess.DEVNULL)

    def make(self, targets, limit=COMPILE_LIMIT):
        return self.command(["cmake", "--build", self.build, "--target"] + targets, limit)

    def make_folders(self, folders, limit=COMPILE_LIMIT):
        """Builds the tests of these folders."""
        return self.make(["tests/%s/all" % folder for folder in folders], limit)

    def failing_test(self, folders):
        """The first test that fails; an empty text when none does. Each takes two of
        CTest's slots."""
        for folder in folders:
            status, output = self.command(
                ["ctest", "--test-dir", os.path.join(self.build, "tests", folder), "--parallel",
                 str(2 * (os.cpu_count() or 1)), "--stop-on-failure", "--no-tests=error"], None)
            if status != 0:
                failed = re.search(r'^\s+\d+ - (\S+) \((.*)\)$', output, re.MULTILINE)
                return "%s (%s)" % failed.groups() if failed else folder
        return ""

    def ensure_sound(self, folders):
        """Builds the tests of these folders and runs them without a defect; ends the
        program when one fails."""
        missing = [folder for folder in folders if folder not in self.sound]
        if not missing:
            return
        status, output = self.make_folders(missing, None)
        if status != 0:
            sys.exit(output[-3000:] + "\nscripts/mutants: does not compile without a defect")
        failing = self.failing_test(missing)
        if failing:
            sys.exit("scripts/mutants: fails without a defect: " + failing)
        self.sound.update(missing)

    def write(self, path, text):
        target = os.path.join(self.source, path)
        with open(target, "w", encoding="utf-8") as file:
            file.write(text)
        now = time.time_ns()
        os.utime(target, ns=(now, now))


def known_defects():
    """All defects, by their blocks. Ends the program when the lists name one that can no
    longer be planted."""
    known = {block_of(mutant): mutant for mutant in all_mutants()}
    named = blocks_in("survivors") + [defect for defect, _ in fixed_sample()]
    gone = [block for block in named if block not in known]
    if gone:
        sys.exit("\n".join(gone) + "scripts/mutants: there are no such lines any more")
    return known


def fixed_sample():
    """The defects of the file "sample", as blocks, and the test of each."""
    parts = [block.partition("test: ") for block in blocks_in("sample")]
    return [(defect, test.strip()) for defect, _, test in parts]


def sound_and_defective(mutant):
    """The file's text without the defect and with it."""
    path, number, _, changed = mutant
    lines = lines_of(path)
    sound = "\n".join(lines)
    lines[number] = changed
    return sound, "\n".join(lines)


def try_mutant(tree, mutant):
    """What comes of a defect: "caught by ...", "does not compile" or "survives"."""
    path = mutant[0]
    sound, defective = sound_and_defective(mutant)
    own = path.split("/")[0]
    others = [folder for folder in WIDER if folder != own and own != ALONE]
    for folders in filter(None, ([own], others)):
        tree.ensure_sound(folders)
        tree.write(path, defective)
        try:
            status, _ = tree.make_folders(folders)
            if status != 0:
                return "does not compile"
            failing = tree.failing_test(folders)
        finally:
            tree.write(path, sound)
        if failing:
            return "caught by " + failing
    return "survives"


def try_fixed_sample():
    """The defects of the file "sample", each with the one test that finds it. Returns how
    many are not found. ./test has built with the sanitizers before, so nearly all of the
    tree comes from ccache."""
    tree = Tree(os.path.join(TOP, "build", "mutants-fixed"))
    tree.configure("asan")
    known = known_defects()
    sample = [(known[defect], test) for defect, test in fixed_sample()]

    def run(test):
        return tree.command(["ctest", "--test-dir", tree.build, "--output-on-failure",
                             "--no-tests=error", "-R", r"^asan\.%s$" % test], None)

    status, output = tree.make([test for _, test in sample], None)
    if status != 0:
        sys.exit(output[-3000:] + "\nscripts/mutants: does not compile without a defect")
    for _, test in sample:
        status, output = run(test)
        if status != 0:
            sys.exit(output[-3000:] + "\nscripts/mutants: fails without a defect: " + test)
    missed = 0
    for mutant, test in sample:
        sound, defective = sound_and_defective(mutant)
        tree.write(mutant[0], defective)
        try:
            status, output = tree.make([test], None)
            if status != 0:
                sys.exit(output[-3000:] + "\nscripts/mutants: does not compile: "
                         + block_of(mutant))
            is_found = run(test)[0] != 0
        finally:
            tree.write(mutant[0], sound)
        missed += not is_found
        print("%s:%d %s" % (mutant[0], mutant[1] + 1,
                            "is found" if is_found else "is not found by " + test))
        sys.stdout.flush()
    print("%d planted defects: %d found, %d not" % (len(sample), len(sample) - missed, missed))
    return missed


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutants", description=(
        "Plants one-line defects in the program, one at a time: operators, constants, texts, "
        "left-out calls. Lets the tests that concern them run and prints how many were found."))
    parser.add_argument("--sample", type=int, metavar="N",
                        help="only N of them, spread over all files; the same each time")
    parser.add_argument("--seed", type=int, default=1, help="for another sample")
    parser.add_argument("--fixed", action="store_true", help=(
        "those of tests/mutants/sample, each with the test that finds it, as ./test does"))
    parser.add_argument("--list", action="store_true", help="only print them")
    parser.add_argument("path", nargs="*", help=(
        "only files that begin like this: install/port; or one line: app/messagelog.cpp:45"))
    options = parser.parse_args()
    if options.fixed:
        sys.exit(1 if try_fixed_sample() else 0)

    known_defects()
    mutants = all_mutants()
    total = len(mutants)
    if options.path:
        mutants = [one for one in mutants if one[0].startswith(tuple(options.path))
                   or "%s:%d" % (one[0], one[1] + 1) in options.path]
    if options.sample:
        mutants = sorted(random.Random(options.seed).sample(mutants,
                                                            min(options.sample, len(mutants))))
    if not mutants:
        sys.exit("scripts/mutants: there is no such file or line")
    if options.list:
        for path, number, line, changed in mutants:
            print("%s:%d\n-%s\n+%s" % (path, number + 1, line.strip(), changed.strip()))
        return

    tree = Tree(os.path.join(TOP, "build", "mutants"))
    # A defect that the compiler only warns of is one.
    tree.configure("debug", "-DTMC_WERROR=OFF", "-DTMC_TEST_TIMEOUT=%d" % TEST_LIMIT)
    accepted = set(blocks_in("survivors"))
    counts = {"caught": 0, "does not compile": 0, "survives": 0, "accepted": 0}
    for at, mutant in enumerate(mutants, 1):
        path, number, _, _ = mutant
        if block_of(mutant) in accepted:
            counts["accepted"] += 1
            continue
        result = try_mutant(tree, mutant)
        counts["caught" if result.startswith("caught") else result] += 1
        print("[%d/%d] %s:%d %s" % (at, len(mutants), path, number + 1, result))
        if result == "survives":
            print(block_of(mutant))
        sys.stdout.flush()
    print("%d of %d defects tried: %d caught, %d do not compile, %d change nothing (see "
          "tests/mutants/survivors), %d survive"
          % (len(mutants), total, counts["caught"], counts["does not compile"],
             counts["accepted"], counts["survives"]))
    sys.exit(1 if counts["survives"] else 0)


if __name__ == "__main__":
    main()
