"""Processor time and wake-ups while nobody does anything: row "at rest"."""

import re
import signal
import subprocess
import tempfile
import time
from contextlib import ExitStack
from dataclasses import dataclass

import states
from desktop import Display
from figures import Line
from processes import end, processor_time, ticks, wait_until_quiet, wait_until_shown, wake_ups
from start import EMPTY

# Seconds of a countdown that are watched: it ends after ten.
COUNTING_SECONDS = 6
# Timer intervals in seconds; a state that has none is left alone.
TIMERS = {"waiting for the port": 5, "connected": 10, "counting down again": 0.1,
          "counting down": 0.1}


@dataclass
class Watched:
    seconds: float
    ticks: int
    milliseconds: float
    threads: list
    loop: tuple = (0, 0)  # by timers, by events


def watch(pids, seconds):
    """What each of the processes did meanwhile."""
    before = {name: (wake_ups(pid), ticks(pid), processor_time(pid))
              for name, pid in pids.items()}
    time.sleep(seconds)
    found = {}
    for name, pid in pids.items():
        old_wakes, old_ticks, old_time = before[name]
        threads = [count - old_wakes.get(task, 0) for task, count in wake_ups(pid).items()]
        found[name] = Watched(seconds, ticks(pid) - old_ticks,
                              processor_time(pid) - old_time, threads)
    return found


def loop_wake_ups(pids, seconds):
    """How often the event loop of each woke up: because a timer had run out, and because
    something had come. Asked apart from the rest: being traced costs wake-ups."""
    with tempfile.TemporaryDirectory() as folder:
        tracers = [subprocess.Popen(["strace", "-q", "-e", "trace=poll,ppoll", "-p", str(pid),
                                     "-o", f"{folder}/{pid}"], stderr=subprocess.DEVNULL)
                   for pid in pids.values()]
        time.sleep(seconds)
        for tracer in tracers:
            tracer.send_signal(signal.SIGINT)
            tracer.wait()
        found = {}
        for name, pid in pids.items():
            with open(f"{folder}/{pid}", encoding="utf-8") as trace:
                # Sleeps of the loop. It does not sleep when it only looks (0), and
                # what waits for the display to take more (POLLOUT) is not the loop.
                ends = re.findall(r"^p?poll\(((?!.*POLLOUT).*), (?!0\))-?\d+\)\s+= (\d+)",
                                  trace.read(), re.MULTILINE)
            counts = [int(count) for _, count in ends]
            found[name] = counts.count(0), len(counts) - counts.count(0)
        return found


def measure(settings):
    found = {}
    with ExitStack() as stack:
        display = stack.enter_context(Display())
        made = states.prepared(stack)
        for name in states.COUNTING:
            with ExitStack() as one:
                pid = states.STATES[name](one, made, display).pid()
                wait_until_shown(pid, display)
                # The countdown would end during a second watching.
                found |= watch({name: pid}, COUNTING_SECONDS / 2)
                found[name].loop = loop_wake_ups({name: pid}, COUNTING_SECONDS / 2)[name]
        empty = subprocess.Popen([str(EMPTY)], env=display.environment())
        stack.callback(end, empty)
        pids = {"empty": empty.pid}
        for name, enter in states.STATES.items():
            if name not in states.COUNTING:
                pids[name] = enter(stack, made, display).pid()
        for pid in pids.values():
            wait_until_shown(pid, display)
            wait_until_quiet(pid)
        found |= watch(pids, settings.seconds)
        for name, loop in loop_wake_ups(pids, settings.seconds).items():
            found[name].loop = loop
    return found


def line(name, watched, empty):
    """Each timeout may wake the window's thread once. What it then does wakes others,
    such as the one that writes the log, and they wake it: such a handing over counts
    among a thread's wake-ups, though nobody has slept."""
    timeouts, events = watched.loop
    text = (f"window woken by timers {timeouts}, by events {events}; "
            f"all threads {sum(watched.threads)}; {watched.ticks} ticks, "
            f"{watched.milliseconds:.1f} ms")
    interval = TIMERS.get(name)
    samples = {"threads": watched.threads, "ticks": watched.ticks,
               "milliseconds": watched.milliseconds, "loop": watched.loop}
    case = f"{name}, {watched.seconds:g} s"
    if interval is None:
        most = max(1, round(watched.seconds / 20)) + sum(empty.threads)
        reached = sum(watched.threads) <= most and watched.ticks == 0
        return Line(case, text, f"≤ {most} of all threads, 0 ticks", reached, samples)
    most = int(watched.seconds / interval) + 1
    return Line(case, text, f"≤ {most} by timers, {sum(empty.loop)} by events",
                timeouts <= most and events <= sum(empty.loop), samples)


def rows(settings):
    found = measure(settings)
    empty = found["empty"]
    lines = [Line("the empty window",
                  f"window woken {sum(empty.loop)}; all threads {sum(empty.threads)}; "
                  f"{empty.ticks} ticks", samples={"threads": empty.threads})]
    lines += [line(name, found[name], empty) for name in states.STATES]
    return [("at rest", lines)]
