"""What the tests of the programs' files share: norvex_read from the tools, the programs, and a home of their own.
Arguments of every test: TOOLS_FOLDER PROGRAMS_FOLDER [...]"""

import os
import subprocess
import sys
import tempfile
import unittest

tools, folder = sys.argv[1:3]
sys.path.insert(0, tools)
sys.dont_write_bytecode = True
import norvex_read  # noqa: E402,F401


def program(name):
    return os.path.join(folder, name + (".exe" if os.name == "nt" else ""))


def run_cli(*arguments, code=0):
    """The finished norvex-cli, which must have ended with this code."""
    result = subprocess.run([program("norvex-cli"), *arguments], capture_output=True, timeout=60)
    if result.returncode != code:
        raise AssertionError(f"norvex-cli {arguments}: {result.returncode}\n{result.stderr.decode()}")
    return result


class SessionCase(unittest.TestCase):
    """Tests of one session: `home`, an empty place of their own, and `folder` in it, where setUpClass makes one."""
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.home = temporary.name
        # Settings and locks of the programs stay below it.
        os.environ.update(HOME=cls.home, XDG_DATA_HOME=cls.home + "/data", XDG_CONFIG_HOME=cls.home + "/config")
        cls.folder = os.path.join(cls.home, "session")
