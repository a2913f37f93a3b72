"""A Videohub router for the browser tests: prints its port, and lives until its standard input ends.

Lines on standard input change it: "silent" (it says yes to takes and switches nothing), "panel OUT IN" (0-based).
"""

import sys

from videohub_emulator import VideohubEmulator


def main():
    router = VideohubEmulator(8, 8).listen()
    print(router.port, flush=True)
    for line in sys.stdin:
        word, *numbers = line.split()
        if word == "silent":
            router.confirms = False
        elif word == "panel":
            router.take_at_panel(*map(int, numbers))
    router.close()


if __name__ == "__main__":
    main()
