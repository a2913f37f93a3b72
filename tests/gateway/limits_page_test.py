"""docs/gateway.md: the numbers of its table of limits are those of the code."""

import pathlib
import re
import unittest

SOURCE = pathlib.Path(__file__).parent.parent.parent
PAGE = (SOURCE / "docs" / "gateway.md").read_text(encoding="utf-8")
HEADERS = ("gateway/settings/limits.h", "gateway/routers/board_limits.h", "packet_client/client_limits.h")
UNITS = {"KiB": 1024, "MiB": 1024**2, "GiB": 1024**3, "s": 1000, "ms": 1}
SETTINGS = ("MemoryMax", "LimitNOFILE")  # of the service


def constants():
    """All numbers of the headers by their names; those that are made of others, too."""
    known = {}
    for header in HEADERS:
        text = (SOURCE / header).read_text(encoding="utf-8")
        for name, value in re.findall(r"^constexpr [a-z_:0-9 ]+? ([a-z_0-9]+)\s*=\s*([^;]+);", text, re.MULTILINE):
            parts = [known[part] if part in known else int(part) for part in value.split(" + ")]
            known[name] = sum(parts)
    return known


def in_bytes(text):
    number, unit = re.fullmatch(r"(\d+)([KMG]?)", text).groups()
    return int(number) * {"": 1, "K": 1024, "M": 1024**2, "G": 1024**3}[unit]


def settings_of_the_service():
    unit = SOURCE / "packaging" / "systemd" / "vrdx-gateway.service"
    found = dict(re.findall(r"^([A-Za-z]+)=(.*)$", unit.read_text(encoding="utf-8"), re.MULTILINE))
    return {name: in_bytes(found[name]) for name in SETTINGS}


def numbers_in(text):
    """"16 KiB of headers in 10 s" is 16384 and 10000."""
    words = re.findall(r"(\d[\d,]*)(?: (KiB|MiB|GiB|ms|s)\b)?", text)
    return [int(number.replace(",", "")) * UNITS.get(unit, 1) for number, unit in words]


class GatewayPage(unittest.TestCase):
    def rows(self):
        section = PAGE.split("\n## Limits\n")[1].split("\n## ")[0]
        rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in section.splitlines() if line.startswith("|")]
        self.assertEqual(rows[0], ["of", "limit", "there", "beyond it"])
        return rows[2:]

    def test_limits_are_those_of_the_code(self):
        known = {**constants(), **settings_of_the_service()}
        rows = self.rows()
        self.assertGreaterEqual(len(rows), 12)
        for what, limit, names, _ in rows:
            with self.subTest(what):
                values = [known[name] for name in re.findall(r"`([A-Za-z_]+)`", names)]
                self.assertTrue(values)
                self.assertEqual(numbers_in(limit), values)

    def test_pages_give_the_gateway_up_after_three_signs_of_life_that_did_not_come(self):
        store = (SOURCE / "gateway" / "panel" / "static" / "store.js").read_text(encoding="utf-8")
        silence = int(re.search(r"^const silence = (\d+);", store, re.MULTILINE).group(1))
        self.assertEqual(silence, 3 * constants()["event_alive_period_ms"])

    def test_service_gives_as_many_descriptors_as_the_code_uses(self):
        self.assertEqual(settings_of_the_service()["LimitNOFILE"], constants()["descriptors_limit"])


if __name__ == "__main__":
    unittest.main()
