"""The same thing over and over in one process: rows "growth" and "window blocked"."""

import subprocess
from contextlib import ExitStack

import states
from desktop import Display
from figures import Line, digits, median, quartiles
from pc import Pc
from processes import BIN, Failed

HUNDRED = 100
FRAME = 16  # milliseconds
# What is done how often, and how many bytes it may keep each time, and why. None: what
# the serial line's event objects take, of which each connection leaves four open.
CASES = {
    "event": ("event object made", 1000, 512, "it is never closed"),
    "connect": ("connect and disconnect", 1000, None, "four event objects stay open"),
    "wizard": ("wizard opened and closed", 1000, 80 * 1024, "closed wizards stay alive"),
    "poll": ("connection looked at", 10000, 16, "nothing is kept"),
}
EVENTS_KEPT = 4
SLACK = 1.3  # the allocator's and the tables' own
SLOWER = 1.2  # how much slower the last hundred may be
# Microseconds by which each wizard that is kept may slow the next: the toolkit goes through
# all windows that there are when one is shown.
EACH_WIZARD = 3


def run(command, made, display, patience):
    """The lines that begin with a mark, without it."""
    with Pc(made) as pc:
        pc.command("set", "hang-up-guard", 40)
        pc.start_phone("--guard-time", 20, "--accept-apn", "blweb")
        done = subprocess.run([str(part) for part in command], check=False, timeout=patience,
                              env=pc.environment(display.environment()), text=True,
                              errors="replace", stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE)
        if done.returncode != 0:
            raise Failed(f"{command[0]} ended with {done.returncode}: {done.stderr[-500:]}")
        return [line[1:].split() for line in done.stderr.splitlines() if line.startswith("#")]


def bytes_each(samples):
    """By how much the heap grew each time, from the first hundred to the last."""
    heap = [sample[1] for sample in samples]
    hundred = min(HUNDRED, len(heap) // 2)
    return (median(heap[-hundred:]) - median(heap[:hundred])) / (len(heap) - hundred)


def growth_line(name, found):
    case, _, kept, reason = CASES[name]
    samples = found[name]
    if kept is None:
        kept = round(EVENTS_KEPT * bytes_each(found["event"]) * SLACK)
    times, heap, descriptors, threads = zip(*samples)
    hundred = min(HUNDRED, len(samples) // 2)
    first, last = slice(hundred), slice(-hundred, None)
    # What takes less than a microsecond cannot be compared.
    slower = median(times[last]) / median(times[first]) if median(times[first]) else 1
    each = bytes_each(samples)
    more_open = max(descriptors[last]) - max(descriptors[first])
    more_threads = max(threads[last]) - max(threads[first])
    text = (f"processor time in the first hundred {digits(median(times[first]) / 1000)} ms, last "
            f"{digits(median(times[last]) / 1000)} ms ({slower:.2f} ×); {digits(each)} bytes "
            f"more each time; {more_open} descriptors and {more_threads} threads more")
    most = SLOWER * median(times[first])
    in_time = f"{SLOWER} ×"
    if name == "wizard":
        most += EACH_WIZARD * len(samples)
        in_time += f" and {EACH_WIZARD} µs for each"
    reached = median(times[last]) <= max(most, 1) and each <= kept and more_open <= 0 and more_threads <= 0
    return Line(f"{case}, {len(samples)} times", text,
                f"≤ {in_time}; ≤ {kept} bytes: {reason}; no others", reached,
                {"microseconds": times, "heap": heap, "descriptors": descriptors,
                 "threads": threads})


def blocked_line(name, milliseconds):
    low, middle, high = quartiles(milliseconds)
    most = max(milliseconds)
    return Line(name, f"{digits(middle)} ms ({digits(low)} to {digits(high)}); longest "
                f"{digits(most)} ms", f"< {FRAME} ms", middle < FRAME,
                {"milliseconds": milliseconds})


def rows(settings):
    share = min(1, settings.rounds / 20)
    with ExitStack() as stack:
        display = stack.enter_context(Display())
        made = states.prepared(stack)
        grown = {}
        for name, (_, number, _, _) in CASES.items():
            lines = run([BIN / "growth", name, int(number * share)], made, display, 900)
            grown[name] = [[int(part) for part in line] for line in lines]
        found = {}
        for name, microseconds in run([BIN / "slots", settings.rounds], made, display, 300):
            found.setdefault(name, []).append(int(microseconds) / 1000)
    return [("window blocked", [blocked_line(name, found[name]) for name in found]),
            ("growth", [growth_line(name, grown) for name in CASES])]
