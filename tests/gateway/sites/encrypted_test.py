"""The way to the broker, encrypted."""

import pathlib
import tempfile
import unittest

import sites_fixture
from sites_fixture import wait_until

from certificates import make_certificate  # isort: skip


class EncryptedBroker(unittest.TestCase):
    def setUp(self):
        keys = tempfile.TemporaryDirectory(prefix="vrdx_test.", ignore_cleanup_errors=True)
        self.addCleanup(keys.cleanup)
        self.keys = pathlib.Path(keys.name)

    def add_broker(self, certificate, key):
        broker = sites_fixture.Broker(f'tls {{ cert_file: "{certificate}", key_file: "{key}" }}\n')
        self.addCleanup(broker.close)
        return broker

    def add_site(self, broker, further):
        site = sites_fixture.Site("north", broker, [], {}, further)
        self.addCleanup(site.doCleanups)
        site.setUp()
        return site

    def test_certificate_that_is_trusted_is_connected_to(self):
        certificate, key = make_certificate(self.keys, "right")
        site = self.add_site(self.add_broker(certificate, key), f'tls = "{certificate}"')
        wait_until("it is connected", lambda: "connected to the broker as site north" in site.errors())

    def expect_not_connected(self, site):
        wait_until("it is told", lambda: "cannot connect to the broker" in site.errors())
        self.assertNotIn("connected to the broker as", site.errors())

    def test_certificate_of_somebody_else_is_not(self):
        certificate, key = make_certificate(self.keys, "right")
        other, _ = make_certificate(self.keys, "other")
        broker = self.add_broker(certificate, key)
        self.expect_not_connected(self.add_site(broker, f'tls = "{other}"'))
        self.expect_not_connected(self.add_site(broker, "tls = true"))

    def test_certificate_for_another_name_is_not(self):
        certificate, key = make_certificate(self.keys, "elsewhere", "DNS:elsewhere.example,IP:192.0.2.1")
        self.expect_not_connected(self.add_site(self.add_broker(certificate, key), f'tls = "{certificate}"'))

    def test_plain_text_is_not_fallen_back_to(self):
        certificate, _ = make_certificate(self.keys, "right")
        broker = sites_fixture.Broker()
        self.addCleanup(broker.close)
        self.expect_not_connected(self.add_site(broker, f'tls = "{certificate}"'))


if __name__ == "__main__":
    sites_fixture.main()
