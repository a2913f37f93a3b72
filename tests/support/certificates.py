"""Certificates for tests that encrypt."""

import subprocess

from running_driver import PATIENCE


def make_certificate(folder, name, names="DNS:localhost,IP:127.0.0.1"):
    """A certificate that trusts itself, valid for `names`, and its key: (certificate, key)."""
    certificate, key = folder / f"{name}.pem", folder / f"{name}.key"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
         "-subj", f"/CN={name}", "-addext", f"subjectAltName={names}", "-keyout", str(key), "-out", str(certificate)],
        check=True,
        capture_output=True,
        timeout=PATIENCE,
    )  # fmt: skip
    return certificate, key
