"""From Connect to a page through the link, in user-mode Linux: row "link"."""

import json
import os
import shutil
import subprocess

from figures import Line, ratio_line
from processes import BIN, TOP, Failed

SHARE = TOP / "build/bench/link"
SECONDS = 900  # at most


def rows(settings):
    if os.geteuid() != 0:
        return [("link", [Line("Connect to a page", "not measured: needs root")])]
    shutil.rmtree(SHARE, ignore_errors=True)
    SHARE.mkdir(parents=True)
    parts = [*(TOP / "build/linux-package").glob("tolvane-modem-connector_*.deb"),
             *(BIN / name for name in ("virtual-phone", "setuplinux", "linkconnect")),
             *(TOP / "bench" / name for name in ("guest", "guestlink.py")),
             TOP / "tests/linux/uml/network"]
    for part in parts:
        shutil.copy(part, SHARE)
    boot = [TOP / "tests/linux/uml/boot", SHARE, SECONDS, "bash", "/share/guest",
            max(2, settings.rounds // 2)]
    done = subprocess.run([str(word) for word in boot], check=False, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL)
    if done.returncode != 0:
        raise Failed(f"user-mode Linux ended with {done.returncode}; see "
                     f"{SHARE.relative_to(TOP)}")
    times = json.loads((SHARE / "times.json").read_text())
    return [("link", [ratio_line("Connect to a page, pppd call by hand", times["program"],
                                 times["pppd"], 1.1, "s")])]
