"""Runs in user-mode Linux: how long it takes from Connect to a page through the link, by
the program and by pppd itself, in turn. Prints one line of JSON."""

import json
import os
import select
import subprocess
import sys
import time
import urllib.request

LINE = "/dev/ttyS0"
ENTRY = "tolvane-TolvaneModem_1"
PAGE = "http://10.9.0.1/"
PROGRAM = "/usr/lib/tolvane-modem-connector/linkconnect"
PATIENCE = 120


def wait_for(what, condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"{what}: not in time")
        time.sleep(0.05)


def fetch_page():
    with urllib.request.urlopen(PAGE, timeout=PATIENCE) as page:
        if b"through the phone" not in page.read():
            sys.exit("another page came")


def let_line_settle():
    """The cable keeps what the phone says while nobody has the port open, where a real
    port would lose it."""
    def is_free():
        status = subprocess.run(["/share/virtual-phone", "--bus", "/tmp/bus", "--send", "status"],
                                stdout=subprocess.PIPE, text=True, check=True).stdout
        return "carrier=no" in status and not os.path.exists(f"/run/ppp-{ENTRY}.pid")

    wait_for("The end of the call", is_free)
    line = os.open(LINE, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
    while select.select([line], [], [], 1)[0] and os.read(line, 256):
        pass
    os.close(line)


class Program:
    def __init__(self):
        self._process = subprocess.Popen([PROGRAM], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True, errors="replace")

    def press(self, word, expected):
        self._process.stdin.write(word + "\n")
        self._process.stdin.flush()
        line = None
        while line not in ("connected", "disconnected"):
            answer = self._process.stdout.readline()
            if not answer:
                sys.exit("the program has ended")
            line = answer.strip()
        if line != expected:
            sys.exit(f"{word}: {line}")

    def connect(self):
        self.press("connect", "connected")

    def disconnect(self):
        self.press("disconnect", "disconnected")


class ByHand:
    def connect(self):
        subprocess.run(["pppd", "call", ENTRY, LINE, "updetach"], check=True,
                       stdout=subprocess.DEVNULL)

    def disconnect(self):
        subprocess.run(["poff", ENTRY], check=True, stdout=subprocess.DEVNULL)


def main():
    rounds = int(sys.argv[1])
    ways = {"program": Program(), "pppd": ByHand()}
    times = {name: [] for name in ways}
    for round_number in range(rounds + 1):
        for name, way in ways.items():
            let_line_settle()
            begin = time.monotonic()
            way.connect()
            fetch_page()
            if round_number > 0:  # the first fills the caches
                times[name].append(time.monotonic() - begin)
            way.disconnect()
    print(json.dumps(times))


if __name__ == "__main__":
    main()
