"""Measures the panel in a real browser. Usage: run.py BIN CACHE [--rounds N] [--markdown]; bench.sh starts it."""

import os
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).parent
TESTS = HERE.parent.parent / "tests"
sys.path[:0] = [str(TESTS / each) for each in ("support", "videohub", "gateway/panel")]
from panel_test import CannotBeHad, browser_environment  # noqa: E402


def main():
    os.environ["VRDX_BIN"], os.environ["VRDX_PEERS"] = sys.argv[1], sys.argv[2]
    try:
        with browser_environment("chromium") as environment:
            script = str(HERE / "measure_panel.mjs")
            return subprocess.run(["node", script, *sys.argv[3:]], env=environment, check=False).returncode
    except CannotBeHad as reason:
        print(f"bench.sh: {reason}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
