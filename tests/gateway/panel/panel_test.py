"""The web pages in a real browser, against the real gateway, driver and simulated router.

Usage: panel_test.py SCRIPT.mjs. Needs node, npm and chromium, and the network once. Exit code 77: left out, because one
of them cannot be had here. Chromium without its windows, where it is installed: the same pages for half of the work.
"""

import contextlib
import os
import shutil
import subprocess
import sys
import tempfile

from independent_peers import CannotBeHad, Package

SKIPPED = 77
PACKAGES = {
    "playwright-core": Package(
        "playwright-core",
        "1.65.1",
        "sha512-hqPpz7blSMPxWVdoeE1yiBSzXsKiVOd2k+kjCvmUywD2GPO2Dd9HfcWnq9NN0GHbNZDFgZ9JfBFr+X5/BLo0qw==",
    ),
    "@axe-core/playwright": Package(
        "@axe-core/playwright",
        "4.14.0",
        "sha512-SGUhG5PIHd2eMdpgBF2PyQLOhX+qyDR2PT4cmoS4Qk2ak+jX/rrSvst9l0PGv5WTHolKpUMvVmoHpr4cZgf1RQ==",
    ),
    "axe-core": Package(
        "axe-core",
        "4.14.0",
        "sha512-9WTZxEjsZ7b13TH8JPmbV2z8CHbl80/2hm3XPEG4JgNdQLK81IBRXmSxHfMAOkSqQeRxT/0dwNDz2GOm3zzpcQ==",
    ),
    "jsqr": Package(
        "jsqr",
        "1.4.0",
        "sha512-dxLob7q65Xg2DvstYkRpkYtmKm2sPJ9oFhrhmudT1dZvNFFTlroai3AWSpLey/w5vMcLBXRgOJsbXpdN9HzU/A==",
    ),
}


def install(cache, modules):
    """The packages, each checked by its hash, as node finds them in `modules`."""
    for name, package in PACKAGES.items():
        unpacked = package.fetch(cache)
        os.makedirs(os.path.dirname(os.path.join(modules, name)), exist_ok=True)
        shutil.move(os.path.join(unpacked, "package"), os.path.join(modules, name))
        shutil.rmtree(unpacked)


@contextlib.contextmanager
def browser_environment(*browsers):
    """What a script for node needs to open pages in the first of these browsers, as variables of its environment."""
    chromium = next(filter(None, map(shutil.which, browsers)), None)
    if chromium is None:
        raise CannotBeHad("chromium is not installed")
    cache = os.environ["VRDX_PEERS"]
    os.makedirs(cache, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="panel.", dir=cache) as folder:
        modules = os.path.join(folder, "node_modules")
        install(cache, modules)
        # Chromium keeps what it needs in a home of its own.
        yield {**os.environ, "VRDX_NODE_MODULES": modules, "VRDX_CHROMIUM": chromium, "HOME": folder}


def main():
    try:
        with browser_environment("chromium-headless-shell", "chromium") as environment:
            script = os.path.join(os.path.dirname(os.path.abspath(__file__)), sys.argv[1])
            return subprocess.run(["node", "--test", script], env=environment, check=False).returncode
    except CannotBeHad as reason:
        print(f"left out: {reason}")
        return SKIPPED


if __name__ == "__main__":
    sys.exit(main())
