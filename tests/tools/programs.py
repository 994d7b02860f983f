"""What the tests of the programs' files share: norvex_read from the tools, the programs, and a home of their own.
Arguments of every test: TOOLS_FOLDER PROGRAMS_FOLDER [...]"""

import os
import subprocess
import sys

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


def live_in(home):
    """Settings and locks of the programs stay below this folder."""
    os.environ.update(HOME=home, XDG_DATA_HOME=home + "/data", XDG_CONFIG_HOME=home + "/config")
