#!/usr/bin/env python3
"""Plants one defect for each of the long tests and sees that the test finds it.

Called by scripts/planted, which builds what is needed. Works in a copy of the sources.
"""
import os
import subprocess
import sys

from mutants import TOP, Tree

# Test, the defect's file, what stands there, what is planted, the command.
PLANTED = [
    ("the fault matrix", "dialup/phonebookentry.cpp", "    if (!entry) {",
     "    if (!entry && size == 1) {", ["faultmatrix", "scripted", "entry, HeapAlloc"]),
    ("the soak, for a timer that goes on", "mainwindow/mainwindow.cpp",
     "    statusTimer->stop();\n", "", ["soak", "scripted", "1"]),
    ("the soak, for memory that grows", "mainwindow/mainwindow.cpp",
     "    if (!isDialupConnectionConnected(connectionName))\n",
     "    new QTimer(qApp);\n    if (!isDialupConnectionConnected(connectionName))\n",
     ["soak", "scripted", "24"]),
    ("the pulled phone", "mainwindow/mainwindow.cpp",
     "    if (!SetCurrentPortSettings())\n        return;\n    portTimer->stop();\n",
     "    portTimer->stop();\n    if (!SetCurrentPortSettings())\n        return;\n",
     ["phonepulled", "--every", "3", "scripted"]),
    ("two at once", "platform/linux/helper/service.cpp", "!(present == seen)", "false",
     ["together"]),
]


class SanitizedTree(Tree):
    """With the address sanitizer, as most of the long tests need it."""

    def configure(self):
        subprocess.run(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=Debug", "-DTMC_LINUX_BACKEND=ON",
                        "-DTMC_SANITIZE=address,undefined",
                        "-DCMAKE_CXX_COMPILER_LAUNCHER=env;CCACHE_BASEDIR=%s;"
                        "CCACHE_NOHASHDIR=true;ccache" % self.source],
                       check=True, stdout=subprocess.DEVNULL)

    def run(self, command):
        """Builds a test and runs it; its exit status and what it said."""
        status, output = self.command(["cmake", "--build", self.build, "--target", command[0],
                                       "standin_helper"], None)
        if status != 0:
            sys.exit(output[-3000:] + "\nscripts/planted: does not compile")
        program = os.path.join(self.build, "bin", command[0])
        return self.command([program] + command[1:], 300)


def main():
    os.environ["LSAN_OPTIONS"] = "suppressions=%s/tests/support/lsan.supp" % TOP
    tree = SanitizedTree(os.path.join(TOP, "build", "planted"))
    tree.configure()
    failed = 0
    for test, path, sound, defect, command in PLANTED:
        with open(os.path.join(TOP, path), encoding="utf-8") as file:
            original = file.read()
        if original.count(sound) != 1:
            sys.exit("scripts/planted: %s has no such line any more: %s" % (path, sound.strip()))
        status, output = tree.run(command)
        if status != 0:
            sys.exit(output[-3000:] + "\nscripts/planted: fails without a defect: " + test)
        tree.write(path, original.replace(sound, defect))
        try:
            status, output = tree.run(command)
        finally:
            tree.write(path, original)
        is_found = status is not None and status != 0
        failed += not is_found
        print("%s: %s" % (test, "finds its defect" if is_found else "finds nothing"))
        sys.stdout.flush()
    print("%d passed, %d failed" % (len(PLANTED) - failed, failed))
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
