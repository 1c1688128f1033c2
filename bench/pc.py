"""Simulated PCs, each in a folder of its own, with a virtual phone."""

import json
import shutil
import subprocess
import tempfile
from pathlib import Path

from processes import BIN, Failed, clean_environment, end, output_of, wait_for

PROGRAM = BIN / "TolvaneDialler-simulated"
ENTRY = "TolvaneModem 1"


class Pc:
    """A PC with nothing installed; `like` makes it a copy of another one, phone apart."""

    def __init__(self, like=None):
        self._folder = tempfile.TemporaryDirectory(prefix="bench-pc-")
        self.path = Path(self._folder.name)
        self._phone = None
        self._program = None
        self.log_path = self.path / "program.log"
        if like is not None:
            for part in ("pc", "profile"):
                shutil.copytree(like.path / part, self.path / part,
                                ignore=shutil.ignore_patterns("usb"))
        for part in ("pc/usb", "profile"):
            (self.path / part).mkdir(parents=True, exist_ok=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end(self._program)
        if self._state().get("connections"):
            self.command("hangup", ENTRY)
        end(self._phone)
        self._folder.cleanup()

    def environment(self, base):
        environment = dict(base)
        environment.update(SIMULATED_PC=str(self.path / "pc"),
                           XDG_CONFIG_HOME=str(self.path / "profile"),
                           XDG_DATA_HOME=str(self.path / "data"),
                           # With a journal at hand the toolkit would log there.
                           QT_FORCE_STDERR_LOGGING="1")
        return environment

    def _state(self):
        path = self.path / "pc/pc.json"
        return json.loads(path.read_text()) if path.exists() else {}

    def set_up(self):
        """As the wizard does it. The phone must be plugged in."""
        self.command("set", "installer-duration", 0)
        self.command("set", "rescan-duration", 0)
        # Nobody waits for the driver installer, so the search for the port may be ahead
        # of it. A person would press Retry.
        wait_for("the set-up", lambda: self._setuppc() == 0)

    def _setuppc(self, *words):
        return subprocess.run([str(BIN / "setuppc"), *words], check=False,
                              env=self.environment(clean_environment()),
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode

    def command(self, *words):
        return output_of([BIN / "simulated-pc", "--state", self.path / "pc", *words])

    def start_phone(self, *options):
        self._phone = subprocess.Popen(
            [str(part) for part in (BIN / "virtual-phone", "--bus", self.path / "pc/usb",
                                    "--delay", 0, *options)],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        # It prints one line once it is ready.
        if not self._phone.stdout.readline():
            raise Failed("The virtual phone ended at once")

    def phone(self, command):
        return output_of([BIN / "virtual-phone", "--bus", self.path / "pc/usb",
                          "--send", command])

    def connect(self):
        """Connects as the system does it, without the program."""
        if self._setuppc("internet") != 0:
            raise Failed("The access point name cannot be written")
        self.command("dial", ENTRY)

    def start_program(self, display):
        with open(self.log_path, "w", encoding="utf-8") as log:
            self._program = subprocess.Popen(
                [str(PROGRAM)], env=self.environment(display.environment()), cwd=self.path,
                stdout=subprocess.DEVNULL, stderr=log)

    def pid(self):
        return self._program.pid

    def wait_for_log(self, text):
        wait_for(f'"{text}" in the log', lambda: text in self.log_path.read_text())
