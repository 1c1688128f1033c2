"""The most memory that the program had in each state: rows "memory"."""

import subprocess
from contextlib import ExitStack

import others
import states
from desktop import Display
from figures import Line, digits, median, ratio_line, spread
from processes import end, memory, wait_for, wait_until_shown
from start import EMPTY


def settled(pid, display):
    """What it had once its window shows and its peak grows no more."""
    wait_until_shown(pid, display)
    last = None

    def grows_no_more():
        nonlocal last
        before, last = last, memory(pid)
        return before and before["peak"] == last["peak"]

    wait_for("an end of growing", grows_no_more, pause=0.5)
    return last


def of_program(command, environment, display):
    process = subprocess.Popen([str(part) for part in command], env=environment,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return settled(process.pid, display)
    finally:
        end(process)


def measure(settings):
    found = {}

    def add(name, figures):
        found.setdefault(name, []).append(figures)

    for _ in range(max(2, settings.rounds // 7)):
        with ExitStack() as stack:
            display = stack.enter_context(Display())
            base = display.environment()
            made = states.prepared(stack)
            for name, options in (("empty", []), ("with text", ["--text"]),
                                  ("defaults", ["--defaults"])):
                add(name, of_program([EMPTY, *options], base, display))
            for name in others.installed():
                with others.program(name, base) as (command, environment):
                    add(name, of_program(command, environment, display))
            for name, enter in states.STATES.items():
                with ExitStack() as one:
                    add(name, settled(enter(one, made, display).pid(), display))
    return found


def rows(settings):
    found = measure(settings)

    def samples(name, kind="peak"):
        return [figures[kind] / 1024 for figures in found[name]]

    def line(case, name, other, limit, below=False):
        result = ratio_line(case, samples(name), samples(other), limit, "MB", below)
        result.measured += (f"; its own {digits(median(samples(name, 'private')))} and "
                            f"{digits(median(samples(other, 'private')))} MB")
        return result

    own = [Line("the empty window, no OpenGL",
                f"{spread(samples('empty'), ' MB')}; its own "
                f"{digits(median(samples('empty', 'private')))} MB")]
    own += [line(name, name, "empty", 1.2) for name in states.STATES]
    own.append(line("the empty window with a line of text", "with text", "empty", None))
    most = max(states.STATES, key=lambda name: median(samples(name)))
    against = [line(f"{most}, against defaults", most, "defaults", 0.5, below=True)]
    against += [line(f"{most}, against {name}", most, name, 1, below=True)
                for name in others.installed()]
    against += others.missing_lines()
    return [("peak memory", own), ("memory, and others", against)]
