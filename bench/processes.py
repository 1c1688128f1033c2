"""Starting programs, waiting for them, and what /proc says of them."""

import os
import subprocess
import time
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
BIN = TOP / "build/bench/bin"
PATIENCE = 60  # seconds


class Failed(Exception):
    """What is measured does not work as it should."""


def wait_for(what, condition, patience=PATIENCE, pause=0.02):
    """Waits until the condition holds; returns what it gave."""
    end = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise Failed(f"{what}: not within {patience} s")
        time.sleep(pause)


def output_of(command, environment=None):
    done = subprocess.run([str(part) for part in command], env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise Failed(f"{' '.join(map(str, command))}: {done.stdout}{done.stderr}")
    return done.stdout


def end(process):
    """Ends a program that this run started."""
    if process is not None:
        process.kill()
        process.wait()


def clean_environment():
    """Nothing of the user's desktop; no bus that a toolkit could wait for."""
    names = [name for name in os.environ
             if not name.startswith(("QT_", "XDG_", "LC_", "GTK_"))
             and name not in ("WAYLAND_DISPLAY", "LANGUAGE", "DISPLAY")]
    environment = {name: os.environ[name] for name in names}
    environment.update(LANG="C.UTF-8", QT_QPA_PLATFORM="xcb", GDK_BACKEND="x11",
                       DBUS_SESSION_BUS_ADDRESS="disabled:")
    return environment


def _fields(path):
    values = {}
    for line in path.read_text().splitlines():
        name, _, value = line.partition(":")
        values[name] = value.split()
    return values


def tasks(pid):
    return [task for task in Path(f"/proc/{pid}/task").iterdir()]


def memory(pid):
    """In kB: the most that was resident, and what the process has written to. What it
    only reads is others', too, as soon as they run."""
    status = _fields(Path(f"/proc/{pid}/status"))
    rollup = _fields(Path(f"/proc/{pid}/smaps_rollup"))
    return {"peak": int(status["VmHWM"][0]), "private": int(rollup["Private_Dirty"][0])}


def wake_ups(pid):
    """How often each thread went to sleep, by its number."""
    counts = {}
    for task in tasks(pid):
        counts[task.name] = int(_fields(task / "status")["voluntary_ctxt_switches"][0])
    return counts


def ticks(pid):
    """Processor time of all threads, user and system, in hundredths of a second."""
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


def processor_time(pid):
    """The same in milliseconds, of all threads that there are."""
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks(pid)) / 1e6


def wait_until_shown(pid, display):
    """Waits until a window of the process is on the display."""
    wait_for("a window", lambda: subprocess.run(
        ["xdotool", "search", "--onlyvisible", "--pid", str(pid)], env=display.environment(),
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0)


def wait_until_quiet(pid):
    """Waits until the process has used no processor time for half a second."""
    last = None

    def is_quiet():
        nonlocal last
        before, last = last, processor_time(pid)
        return before == last

    wait_for("a quiet program", is_quiet, pause=0.5)
