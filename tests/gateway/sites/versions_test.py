"""Gateways of two versions of the messages between sites at one broker: each tells the other one as stale, asks it for
nothing, and goes on with its own routers and with those it understands."""

import sys

import sites_fixture
from sites_fixture import simulated, wait_until


class Versions(sites_fixture.SitesTest):
    next_gateway = ""  # set by main()
    north_peers = ("control", "east")
    words = r"Site {} speaks version {} of the messages between sites, this gateway version {}\."

    def setUp(self):
        super().setUp()
        self.east = self.add_site("east", ["north"], {"gallery": simulated()})
        self.north.wait_for_state("east:gallery", "up")
        self.east.wait_for_state("north:studio", "up")

    def run_again(self, site, program):
        site.stop_gateway()
        site.program = program
        site.start_gateway()

    def expect_apart(self):
        self.north.wait_for_state("east:gallery", "stale")
        reason = self.words.format("east", 2, 1)
        wait_until("it is told why", lambda: self.north.row("east:gallery")["reason"] == reason.replace("\\", ""))
        wait_until("both tell it", lambda: "speaks version 2" in self.north.errors() and "speaks version 1" in self.east.errors())
        self.assertRegex(self.north.errors(), reason)
        self.assertRegex(self.east.errors(), self.words.format("north", 1, 2))
        said = self.north.taken("east:gallery", 1, 5)
        self.assertEqual((said["result"], said["reason"]), ("unavailable", reason.replace("\\", "")))
        # It has heard of no router there since it was started.
        self.assertEqual(self.east.take([{"output": 1, "input": 5}], "north:studio").status, 404)

    def expect_own_routers(self, source):
        for site, router in ((self.north, "studio"), (self.east, "gallery")):
            site.wait_for_up(router)
            self.assertEqual(site.taken(router, 2, source)["result"], "confirmed")
            self.expect_sources(site, router, 2, source)

    def test_versions_stay_apart_and_each_goes_on(self):
        self.north.take_until_confirmed("east:gallery", 1, 3)
        self.run_again(self.east, self.next_gateway)
        self.expect_apart()
        self.expect_own_routers(6)
        self.control.take_until_confirmed("north:studio", 3, 7)
        self.expect_sources(self.north, "studio", 3, 7)
        self.assertEqual(self.east.sources(1, "gallery"), {"video": 3, "audio": 3})
        self.assertEqual(self.north.sources(1, "studio"), {"video": 1, "audio": 1})

        self.run_again(self.east, "")
        self.north.wait_for_state("east:gallery", "up")
        self.east.wait_for_state("north:studio", "up")
        self.expect_sources(self.north, "east:gallery", 2, 6)
        self.north.take_until_confirmed("east:gallery", 1, 4)
        self.east.take_until_confirmed("north:studio", 1, 4)
        self.expect_own_routers(7)


def main():
    """The programs to test are the first three arguments: vrdx_routedriver, vrdx_gateway, and one of the next version."""
    Versions.next_gateway = sys.argv.pop(3)
    sites_fixture.main()


if __name__ == "__main__":
    main()
