"""How large what users download and install is: row "size"."""

import subprocess
import tempfile
import zipfile
from pathlib import Path

from figures import Line, digits
from processes import TOP, Failed, output_of

MEGABYTE = 1024 * 1024
DESKTOP = ("xfce4", "xserver-xorg")  # a bare desktop that has no Qt
LARGEST = 5


def megabytes(size):
    return f"{digits(size / MEGABYTE)} MB"


def largest(parts):
    """`parts` are (size, name)."""
    chosen = sorted(parts, reverse=True)[:LARGEST]
    return "largest: " + ", ".join(f"{name} {megabytes(size)}" for size, name in chosen)


def built(folder, pattern):
    """The newest; scripts/bench has just made it."""
    found = list((TOP / "build" / folder).glob(pattern))
    if not found:
        raise Failed(f"there is no {pattern} in build/{folder}; scripts/bench makes it")
    return max(found, key=lambda path: path.stat().st_mtime)


def executable():
    path = built("windows/bin", "TolvaneDialler.exe")
    sections = []
    for line in output_of(["x86_64-w64-mingw32-objdump", "-h", path]).splitlines():
        fields = line.split()
        if len(fields) == 7 and fields[0].isdigit():
            sections.append((int(fields[2], 16), fields[1]))
    return Line("Windows program", f"{megabytes(path.stat().st_size)}; {largest(sections)}")


def archive():
    path = built("windows-package", "*.zip")
    with zipfile.ZipFile(path) as content:
        parts = [(info.compress_size, Path(info.filename).name) for info in content.infolist()]
    return Line("Windows archive", f"{megabytes(path.stat().st_size)}; {largest(parts)}")


def installer():
    path = built("windows-package", "*-setup.exe")
    return Line("Windows installer", f"{megabytes(path.stat().st_size)}; holds the same files")


def debian_package(path):
    with tempfile.TemporaryDirectory() as folder:
        output_of(["dpkg-deb", "--extract", path, folder])
        parts = [(file.stat().st_size, file.name) for file in Path(folder).rglob("*")
                 if file.is_file() and not file.is_symlink()]
    installed = int(output_of(["dpkg-deb", "--field", path, "Installed-Size"])) * 1024
    return Line("Debian package", f"{megabytes(path.stat().st_size)}, installed "
                f"{megabytes(installed)}; {largest(parts)}")


def would_install(*packages):
    """What apt would install on a system that has nothing."""
    with tempfile.NamedTemporaryFile() as nothing:
        lines = output_of(["apt-get", "-s", "-q", "-o", f"Dir::State::status={nothing.name}",
                           "--no-install-recommends", "install", *DESKTOP, *packages])
    return {line.split()[1] for line in lines.splitlines() if line.startswith("Inst ")}


def pulled_in(path):
    packages = would_install(path) - would_install()
    packages.discard(output_of(["dpkg-deb", "--field", path, "Package"]).strip())
    shown = subprocess.run(["apt-cache", "show", "--no-all-versions", *sorted(packages)],
                           text=True, stdout=subprocess.PIPE, check=True).stdout
    sizes, downloads, name = [], 0, ""
    for line in shown.splitlines():
        field, _, value = line.partition(": ")
        if field == "Package":
            name = value
        elif field == "Installed-Size":
            sizes.append((int(value) * 1024, name))
        elif field == "Size":
            downloads += int(value)
    total = sum(size for size, _ in sizes)
    return Line("what it brings to a bare Xfce desktop",
                f"{len(packages)} packages, download {megabytes(downloads)}, installed "
                f"{megabytes(total)}; {largest(sizes)}")


def rows(_):
    path = built("linux-package", "tolvane-modem-connector_*.deb")
    return [("size", [executable(), archive(), installer(), debian_package(path),
                      pulled_in(path)])]
