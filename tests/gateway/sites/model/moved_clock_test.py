"""A clock of the day that is put back or forth does not keep a site at a broker that stands still."""

import contextlib
import pathlib
import random
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from faults import HOUR  # noqa: E402
from programs import wait_until  # noqa: E402
from relays import Relays  # noqa: E402
from world import Size, World  # noqa: E402


class MovedClock(unittest.TestCase):
    programs = ()  # set by main()

    def expect_other_broker(self, moved):
        world = World(self.programs, Size(gateways=2, routers=2, brokers=2, inputs=8, outputs=2), Relays, random.Random(0))
        with contextlib.closing(world):
            world.start()
            site = world.gateways["g0"]
            site.move_clock(moved, 0)
            ends = site.errors().count("connection to the broker has ended")
            world.brokers[0].stop()
            wait_until("it leaves the broker that stands still", lambda: site.errors().count("connection to the broker has ended") > ends)
            wait_until("it shows the other site's router again", lambda: not world.not_up(site))

    def test_put_back_by_an_hour(self):
        self.expect_other_broker(-HOUR)

    def test_put_forth_by_an_hour(self):
        self.expect_other_broker(HOUR)


def main():
    """The first three arguments: vrdx_routedriver, vrdx_gateway, and the library that moves clocks."""
    MovedClock.programs = tuple(sys.argv.pop(1) for _ in range(3))
    unittest.main()


if __name__ == "__main__":
    main()
