"""From Connect to a page through the link, in user-mode Linux: row "link"."""

import json
import os
import re
import shutil
import subprocess

from figures import Line, ratio_line, spread
from processes import BIN, TOP, Failed

SHARE = TOP / "build/bench/link"
SECONDS = 900  # at most
# What the phone's transcript shows of a call.
NAME, DONE, DIAL, PAGE = "AT+CGDCONT=", r"\r\nOK\r\n", "ATD*99#", "This page came"


def calls(transcript):
    """When the phone, in seconds since its start, took the access point's name (None when
    it got none), was told to dial, and passed the page on: for each call."""
    result = []
    is_named = False
    taken = dialled = None
    for line in transcript.splitlines():
        seconds = float(re.match(r"\S+ (\S+)", line)[1])
        if NAME in line:
            is_named = True
        elif is_named and DONE in line:
            taken, is_named = seconds, False
        elif DIAL in line:
            dialled = seconds
        elif dialled and PAGE in line:
            result.append((taken, dialled, seconds))
            taken = dialled = None
    return result


def parts(times, transcript):
    """Where the time goes, by what the phone saw. The first call of each is no sample."""
    found = calls(transcript)
    ours = [call for call in found if call[0] is not None][1:]
    theirs = [call for call in found if call[0] is None][1:]
    if not len(ours) == len(theirs) == len(times["program"]):
        raise Failed(f"{len(found)} calls in the phone's transcript")
    started = [page - total for (_, _, page), total in zip(theirs, times["pppd"])]
    before = [total - (page - taken)
              for (taken, _, page), total in zip(ours, times["program"])]
    return [Line("of it until the phone has the name", spread(before, " s"),
                 samples={"ours": before}),
            ratio_line("from there to the dial, pppd from its start",
                       [dialled - taken for taken, dialled, _ in ours],
                       [dialled - begin for (_, dialled, _), begin in zip(theirs, started)],
                       None, "s"),
            ratio_line("from the dial to the page",
                       [page - dialled for _, dialled, page in ours],
                       [page - dialled for _, dialled, page in theirs], None, "s")]


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
                                 times["pppd"], 1.1, "s"),
                      *parts(times, (SHARE / "phone.txt").read_text())])]
