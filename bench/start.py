"""From the start of the program to its window, and its memory then: rows "start"."""

from contextlib import ExitStack

import others
from desktop import Display
from figures import Line, digits, median, ratio_line, ratios, spread
from pc import PROGRAM, Pc
from processes import BIN

EMPTY = BIN / "emptywindow"
PATHS = ("wizard", "waiting for the port", "counting down", "already connected")


def paths(stack):
    """The four ways in which the program starts, each with its PC."""
    new = stack.enter_context(Pc())
    made = stack.enter_context(Pc())
    made.start_phone()
    made.set_up()
    waiting = stack.enter_context(Pc(made))
    counting = stack.enter_context(Pc(made))
    counting.start_phone()
    connected = stack.enter_context(Pc(made))
    connected.start_phone()
    connected.connect()
    return dict(zip(PATHS, (new, waiting, counting, connected)))


def commands(stack, base):
    """What starts, by name: command and environment."""
    found = {"empty": ([EMPTY], base),
             "the empty window with a line of text": ([EMPTY, "--text"], base),
             "defaults": ([EMPTY, "--defaults"], base)}
    for name, pc in paths(stack).items():
        found[name] = ([PROGRAM], pc.environment(base))
    for name in others.installed():
        found[name] = stack.enter_context(others.program(name, base))
    return found


def measure(settings):
    with ExitStack() as stack:
        display = stack.enter_context(Display())
        programs = commands(stack, display.environment())
        times = {name: [] for name in programs}
        used = {name: [] for name in programs}
        # The first round only fills the caches.
        for round_number in range(settings.rounds + 1):
            for name, (command, environment) in programs.items():
                time, processor = display.time_to_window(command, environment)
                if round_number > 0:
                    times[name].append(time)
                    used[name].append(processor)
        return times, used


def rows(settings):
    times, used = measure(settings)

    def line(name, other, limit, below=False):
        case = name if other == "empty" else f"{name}, against {other}"
        result = ratio_line(case, times[name], times[other], limit, "ms", below)
        result.measured += (f"; processor time {median(ratios(used[name], used[other])):.2f} ×,"
                            f" {digits(median(used[name]))} ms")
        result.samples.update(our_processor_time=used[name], their_processor_time=used[other])
        return result

    own = [Line("the empty window, no OpenGL",
                f"{spread(times['empty'], ' ms')}; processor time "
                f"{digits(median(used['empty']))} ms")]
    own += [line(name, "empty", 1.2) for name in PATHS]
    own.append(line("the empty window with a line of text", "empty", None))
    against = [line(name, "defaults", 0.5, below=True) for name in PATHS]
    slowest = max(PATHS, key=lambda name: median(times[name]))
    against += [line(slowest, name, 1, below=True) for name in others.installed()]
    against += others.missing_lines()
    return [("start to window shown", own), ("start, and others", against)]
