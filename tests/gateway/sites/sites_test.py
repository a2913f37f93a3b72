"""Routers of another site: shown, taken on, refused, locked."""

import sites_fixture
from sites_fixture import simulated, wait_until


class FarRouters(sites_fixture.SitesTest):
    def test_take_from_the_control_room_is_confirmed_and_shown_at_both_sites(self):
        self.control.take_until_confirmed("north:studio", 1, 3)
        self.expect_sources(self.control, "north:studio", 1, 3)
        self.expect_sources(self.north, "studio", 1, 3)
        output = self.north.picture("studio")["outputs"][0]
        self.assertEqual(output["taken_by"]["by"], "control:boss")


if __name__ == "__main__":
    sites_fixture.main()
