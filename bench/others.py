"""Debian's programs for the same purpose, as they are measured beside this one."""

import contextlib
import shutil
import subprocess
import tempfile

from figures import Line
from processes import end, wait_for

NAMES = ("modem-manager-gui", "nm-connection-editor")
SERVICE = "org.freedesktop.ModemManager1"


def installed():
    return [name for name in NAMES if shutil.which(name)]


def missing_lines():
    return [Line(f"against {name}", "not installed") for name in NAMES if not shutil.which(name)]


def _is_on_bus(environment):
    return subprocess.run(["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
                           "/", "org.freedesktop.DBus.GetNameOwner", f"string:{SERVICE}"],
                          env=environment, check=False, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode == 0


@contextlib.contextmanager
def program(name, base):
    """Command and environment of one of them. It gets a bus of its own for session and
    system. On it is a ModemManager that looks at no device, without which one of them
    shows an error only; both show their first window without NetworkManager."""
    with tempfile.TemporaryDirectory(prefix="bench-other-") as home:
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        service = None
        try:
            address = bus.stdout.readline().strip()
            environment = dict(base, HOME=home, DBUS_SESSION_BUS_ADDRESS=address,
                               DBUS_SYSTEM_BUS_ADDRESS=address,
                               # The helpers for the disabled would outlive the program.
                               NO_AT_BRIDGE="1", GTK_A11Y="none")
            service = subprocess.Popen(["ModemManager", "--test-session", "--test-no-udev",
                                        "--test-no-qrtr", "--no-auto-scan"], env=environment,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            wait_for("ModemManager", lambda: _is_on_bus(environment))
            yield [name], environment
        finally:
            end(service)
            end(bus)
