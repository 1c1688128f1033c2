"""From Connect to the last byte of the access point name at the phone: rows "APN"."""

import shutil
import subprocess
import time
from contextlib import ExitStack

import states
from desktop import Display
from figures import Line, digits, median, ratio_line, spread
from pc import Pc
from processes import BIN, Failed, clean_environment, end

APN = "internet"
WITHOUT_WINDOW = "without the window"
DELAYS = (0, 10, 100, 1000)  # milliseconds
NOISE = 2  # milliseconds that two medians may differ by on a busy machine


class Phone:
    """Tells when it received the last byte."""

    def __init__(self, pc, delay):
        self._process = subprocess.Popen([str(BIN / "answeringphone"), str(pc.path / "pc"),
                                          str(delay)], stdout=subprocess.PIPE, text=True)
        self.terminal = self._process.stdout.readline().strip()

    def received(self):
        line = self._process.stdout.readline()
        if not line:
            raise Failed("The phone has ended")
        return int(line)

    def close(self):
        end(self._process)


class Lasting:
    """A program that writes the name whenever it is asked to."""

    def __init__(self, command, environment):
        self._process = subprocess.Popen([str(part) for part in command], env=environment,
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.DEVNULL, text=True)

    def write(self, phone, word="connect"):
        """Milliseconds until the last byte."""
        self._process.stdin.write(word + "\n")
        self._process.stdin.flush()
        received = phone.received()
        # The program prints what the modem answers, too.
        line = ""
        while not line.startswith("begun "):
            line = self._process.stdout.readline()
            if not line:
                raise Failed("The program has ended")
        return (received - int(line.split()[1])) / 1e6

    def close(self):
        end(self._process)


class Started:
    """A program that is started anew for each name, as a dial program is."""

    def __init__(self, command, terminal=None):
        self._command = command
        self._terminal = terminal

    def write(self, phone):
        with ExitStack() as stack:
            line = stack.enter_context(open(self._terminal, "r+b", buffering=0))
            started = time.monotonic_ns()
            process = subprocess.Popen(self._command, stdin=line, stdout=line,
                                       stderr=subprocess.DEVNULL)
            received = phone.received()
            process.wait() if self._command[0] == "chat" else end(process)
            return (received - started) / 1e6

    def close(self):
        pass


def dial_programs(folder, terminal):
    command = f'AT+CGDCONT=1,"IP","{APN}"'
    found = {"chat": Started(["chat", "-t", "10", "", "AT", "OK", command, "OK"], terminal)}
    if shutil.which("wvdial"):
        config = folder / "wvdial.conf"
        config.write_text(f"[Dialer Defaults]\nModem = {terminal}\nBaud = 9600\nInit1 = AT\n"
                          f"Init2 = {command}\nPhone = *99#\nUsername = x\nPassword = x\n"
                          "Stupid Mode = yes\nCarrier Check = no\n")
        found["wvdial"] = Started(["wvdial", "--config", str(config)], terminal)
    return found


def measure(made, display, delay, rounds, with_others):
    """Milliseconds of each program, by its name."""
    with ExitStack() as stack:
        pc = stack.enter_context(Pc(made))
        phone = Phone(pc, delay)
        stack.callback(phone.close)
        programs = {"the program": Lasting([BIN / "apnconnect"],
                                           pc.environment(display.environment())),
                    "the loop in C": Lasting([BIN / "apnloop", phone.terminal],
                                             clean_environment())}
        if with_others:
            programs |= dial_programs(pc.path, phone.terminal)
        for program in programs.values():
            stack.callback(program.close)
        samples = {name: [] for name in [*programs, WITHOUT_WINDOW]}
        for round_number in range(rounds + 1):
            for name, program in programs.items():
                # wvdial takes seconds.
                if name == "wvdial" and round_number > 3:
                    continue
                milliseconds = program.write(phone)
                if round_number > 0:
                    samples[name].append(milliseconds)
            milliseconds = programs["the program"].write(phone, "write")
            if round_number > 0:
                samples[WITHOUT_WINDOW].append(milliseconds)
        return samples


def rows(settings):
    with ExitStack() as stack:
        display = stack.enter_context(Display())
        made = states.prepared(stack)
        found = {delay: measure(made, display, delay,
                                settings.rounds if delay < 1000 else min(5, settings.rounds),
                                delay == 0) for delay in DELAYS}
    loop = found[0]["the loop in C"]
    ours = found[0]["the program"]
    lines = [ratio_line("phone answers at once, the loop in C", ours, loop, 1.5, "ms"),
             ratio_line("the same, from the opening of the port on", found[0][WITHOUT_WINDOW],
                        loop, None, "ms")]
    for name in ("chat", "wvdial"):
        if name in found[0]:
            lines.append(ratio_line(f"phone answers at once, {name}", ours, found[0][name], 1,
                                    "ms", below=True))
    # The phone is late by itself, too: by as much for the loop.
    added = {delay: [a - b for a, b in zip(found[delay]["the program"],
                                           found[delay]["the loop in C"])] for delay in DELAYS}
    most = median(added[0]) + NOISE
    for delay in DELAYS:
        lines.append(Line(f"phone takes {delay} ms: more than the loop", spread(added[delay], " ms"),
                          f"≤ {digits(most)} ms", median(added[delay]) <= most,
                          {"added": added[delay]}))
    return [("APN written", lines)]
