"""The way to the broker, encrypted."""

import pathlib
import subprocess
import tempfile
import unittest

import sites_fixture
from sites_fixture import PATIENCE, wait_until


def make_certificate(folder, name, names):
    """A certificate and its key: (certificate, key)."""
    certificate, key = folder / f"{name}.pem", folder / f"{name}.key"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
         "-subj", f"/CN={name}", "-addext", f"subjectAltName={names}", "-keyout", str(key), "-out", str(certificate)],
        check=True,
        capture_output=True,
        timeout=PATIENCE,
    )  # fmt: skip
    return certificate, key


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
        certificate, key = make_certificate(self.keys, "right", "DNS:localhost,IP:127.0.0.1")
        site = self.add_site(self.add_broker(certificate, key), f'tls = "{certificate}"')
        wait_until("it is connected", lambda: "connected to the broker as site north" in site.errors())

    def expect_not_connected(self, site):
        wait_until("it is told", lambda: "cannot connect to the broker" in site.errors())
        self.assertNotIn("connected to the broker as", site.errors())

    def test_certificate_of_somebody_else_is_not(self):
        certificate, key = make_certificate(self.keys, "right", "DNS:localhost,IP:127.0.0.1")
        other, _ = make_certificate(self.keys, "other", "DNS:localhost,IP:127.0.0.1")
        broker = self.add_broker(certificate, key)
        self.expect_not_connected(self.add_site(broker, f'tls = "{other}"'))
        self.expect_not_connected(self.add_site(broker, "tls = true"))

    def test_certificate_for_another_name_is_not(self):
        certificate, key = make_certificate(self.keys, "elsewhere", "DNS:elsewhere.example,IP:192.0.2.1")
        self.expect_not_connected(self.add_site(self.add_broker(certificate, key), f'tls = "{certificate}"'))

    def test_plain_text_is_not_fallen_back_to(self):
        certificate, _ = make_certificate(self.keys, "right", "DNS:localhost,IP:127.0.0.1")
        broker = sites_fixture.Broker()
        self.addCleanup(broker.close)
        self.expect_not_connected(self.add_site(broker, f'tls = "{certificate}"'))


if __name__ == "__main__":
    sites_fixture.main()
