"""A virtual display, and programs that are started in it."""

import os
import subprocess
import tempfile

from processes import BIN, Failed, clean_environment, end, output_of

WATCH = BIN / "startwatch"


class Display:
    """An X server of its own, without a window manager: what a window costs is the
    program's and the toolkit's then."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="bench-display-")
        reading, writing = os.pipe()
        self._server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", "1600x1200x24", "-dpi", "96",
             "-nolisten", "tcp", "-noreset"],
            pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as numbers:
            number = numbers.readline().strip()
        if not number:
            raise Failed("Xvfb ended at once")
        self.name = ":" + number

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end(self._server)
        self._folder.cleanup()

    def environment(self):
        environment = clean_environment()
        environment.update(DISPLAY=self.name, HOME=self._folder.name,
                           XDG_RUNTIME_DIR=self._folder.name)
        return environment

    def time_to_window(self, command, environment):
        """Starts a program; milliseconds until something was painted in its first
        window, and of processor time until then. The program is killed then."""
        _, painted, used = output_of([WATCH, *command], environment).split()
        return float(painted), float(used)
