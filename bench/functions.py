"""Functions that are measured alone, by Google Benchmark: rows "port discovery" and
"connection status"."""

import json
import subprocess

from figures import Line, digits, median, quartiles
from processes import BIN, Failed, clean_environment

PROCESSES = 10000
BACKENDS = {"inMemory": "in memory", "onSimulatedPc": "simulated PC", "onLinux": "Linux"}
# How much dearer one more device may be among the most than among a few: the machine's
# caches do not hold them all.
MOST_GROWTH = 2


def run(program, settings, *wrapper):
    """Milliseconds by (backend, number): what each repetition took."""
    repetitions = max(3, settings.rounds // 3)
    done = subprocess.run(
        [*wrapper, str(BIN / program), "--benchmark_format=json",
         f"--benchmark_repetitions={repetitions}",
         "--benchmark_enable_random_interleaving=true"],
        env=clean_environment(), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != 0:
        raise Failed(f"{program} ended with {done.returncode}")
    found = {}
    for result in json.loads(done.stdout)["benchmarks"]:
        if result["run_type"] != "iteration":
            continue
        if result.get("error_occurred"):
            raise Failed(f"{program}: {result['error_message']}")
        backend, number = result["run_name"].split("/")[:2]
        samples = found.setdefault((backend, int(number)), {"time": [], "processor": []})
        samples["time"].append(result["real_time"] / 1e6)
        samples["processor"].append(result["cpu_time"] / 1e6)
    return found


def growth(found, backend, numbers):
    """What one more costs among the most, against what it costs among fewer, by
    processor time: a machine that does something else as well does not disturb it."""
    few, some, most = numbers[0], numbers[-2], numbers[-1]

    def of(number):
        return median(found[backend, number]["processor"])

    cheap = (of(some) - of(few)) / (some - few)
    dear = (of(most) - of(some)) / (most - some)
    return cheap, dear


def times(found, backend, numbers):
    parts = []
    for number in numbers:
        low, middle, high = quartiles(found[backend, number]["time"])
        parts.append(f"{number}: {digits(middle)} ms ({digits(low)} to {digits(high)})")
    return ", ".join(parts)


def numbers_of(found, backend):
    return sorted(number for name, number in found if name == backend)


def samples_of(found, backend):
    return {str(number): found[backend, number] for number in numbers_of(found, backend)}


def growth_line(found, backend, what):
    numbers = numbers_of(found, backend)
    cheap, dear = growth(found, backend, numbers)
    return Line(f"{BACKENDS[backend]}, by number of {what}s",
                f"{times(found, backend, numbers)}; one {what} costs {digits(cheap * 1000)} µs, "
                f"among the most {digits(dear * 1000)} µs of processor time",
                f"linear: ≤ {MOST_GROWTH} × as much", dear <= MOST_GROWTH * cheap,
                samples_of(found, backend))


def status_lines(found, note=""):
    lines = []
    for backend in sorted({name for name, _ in found}):
        line = growth_line(found, backend, "connection")
        most = median(found[backend, 100]["time"])
        line.case += note
        line.to_reach += ", < 1 ms at 100"
        line.reached = line.reached and most < 1
        line.measured += f"; processor time at 100 {digits(median(found[backend, 100]['processor']))} ms"
        lines.append(line)
    return lines


def with_crowd(settings):
    """The same on Linux while thousands of other processes are there."""
    crowd = subprocess.Popen([str(BIN / "crowd"), str(PROCESSES)], stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, text=True)
    try:
        count = int(crowd.stdout.readline())
        found = run("status_benchmark", settings)
    finally:
        crowd.stdin.close()
        crowd.wait()
    linux = {key: value for key, value in found.items() if key[0] == "onLinux"}
    return status_lines(linux, f", beside {count} processes")


def rows(settings):
    discovery = run("discovery_benchmark", settings, "umockdev-wrapper")
    status = run("status_benchmark", settings)
    return [("port discovery", [growth_line(discovery, backend, "device")
                                for backend in BACKENDS]),
            ("connection status", status_lines(status) + with_crowd(settings))]
