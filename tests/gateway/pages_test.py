"""docs/api.md: its requests are sent, its answers and events compared, its limits and paths held against the code."""

import json
import pathlib
import re

from api_test import DescribedTest
from gateway_fixture import main, simulated, wait_until

SOURCE = pathlib.Path(__file__).parent.parent.parent
PAGE = (SOURCE / "docs" / "api.md").read_text(encoding="utf-8")
BLOCK = re.compile(r"^```(http|json|event) ?(\d*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def fits(expected, value):
    """"*" stands for anything; as the last element of a list, for all that follows."""
    if expected == "*":
        return True
    if isinstance(expected, dict):
        return isinstance(value, dict) and set(expected) == set(value) and all(fits(expected[k], value[k]) for k in expected)
    if isinstance(expected, list):
        if expected and expected[-1] == "*":
            expected, value = expected[:-1], value[: len(expected) - 1]
        return isinstance(value, list) and len(expected) == len(value) and all(map(fits, expected, value))
    return expected == value and isinstance(expected, bool) == isinstance(value, bool)


class ApiPage(DescribedTest):
    items = {"studio": simulated(8, 2)}

    def setUp(self):
        super().setUp()
        self.desk = self.add_token("desk", "lock")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=self.desk).status == 200)
        wait_until("the router has reported", self.has_reported)

    def has_reported(self):
        picture = self.picture()
        return picture["state"] == "up" and [each["sources"]["video"] for each in picture["outputs"]] == [1, 2]

    def send(self, text):
        text = text.replace("ADMIN_TOKEN", self.token).replace("TOKEN", self.desk)
        head, _, body = text.partition("\n\n")
        line, *fields = head.replace("ORIGIN", f"http://{self.address[0]}:{self.address[1]}").strip().split("\n")
        method, path = line.split(" ")
        headers = dict(field.split(": ", 1) for field in fields)
        return self.ask(method, path, body.strip() or None, None, headers)

    def test_examples_are_answered_as_the_page_says(self):
        reader = self.events("?router=studio")
        answer, counts = None, {"http": 0, "json": 0, "event": 0}
        for kind, status, text in BLOCK.findall(PAGE):
            counts[kind] += 1
            with self.subTest(kind=kind, text=text[:100]):
                if kind == "http":
                    answer = self.send(text)
                elif kind == "json":
                    self.assertEqual(answer.status, int(status))
                    self.assertTrue(fits(json.loads(text), answer.json), answer.json)
                else:
                    expected = json.loads(text)
                    while not fits(expected, reader.read_event()):
                        pass
        self.assertEqual(counts["http"], counts["json"])
        self.assertGreaterEqual(min(counts.values()), 2)

    def test_each_path_and_event_is_in_the_page(self):
        document = self.get("/api/v1/openapi.json").json
        for path, methods in document["paths"].items():
            for method in methods:
                self.assertIn(f"`{method.upper()} {path}`", PAGE)
        for schema in document["components"]["schemas"]["Event"]["oneOf"]:
            name = schema["$ref"].rsplit("/", 1)[1]
            kind = document["components"]["schemas"][name]["properties"]["type"]["const"]
            self.assertRegex(PAGE, rf"(?m)^\| `{kind}` \|")
        for result in document["components"]["schemas"]["Result"]["enum"]:
            self.assertRegex(PAGE, rf"(?m)^\| (`[a-z ]+`, )?`{result}`")

    def test_limits_are_those_of_the_code(self):
        code = (SOURCE / "gateway" / "settings" / "limits.h").read_text(encoding="utf-8")
        rows = re.findall(r"^\| `([a-z_]+)` \| (\d+) \|", PAGE, re.MULTILINE)
        self.assertGreaterEqual(len(rows), 15)
        for name, value in rows:
            self.assertRegex(code, rf"\b{name} = {value};")


if __name__ == "__main__":
    main()
