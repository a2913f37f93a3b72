"""How the pages and their files are served: by hash, with a strict content policy, complete."""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from gateway_fixture import GatewayTest, main  # noqa: E402

PAGES = ("/", "/routers", "/panel", "/matrix", "/history", "/presets")
POLICY = (
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "frame-ancestors 'none'; base-uri 'none'; form-action 'self'"
)
LARGEST_SCRIPTS = 150 * 1024
STATIC = pathlib.Path(__file__).resolve().parents[3] / "gateway" / "panel" / "static"
IMPORTS = re.compile(r'^(?:import|\} from|.* from) "\./([^"]+)";$', re.MULTILINE)


class ServedPages(GatewayTest):
    items = {}

    def build(self):
        return self.get("/static/build", token=None).json["build"]

    def file(self, name):
        return self.get(f"/static/{self.build()}/{name}", token=None)

    def test_pages_are_public_and_never_older_than_the_gateway(self):
        for path in PAGES:
            with self.subTest(path=path):
                page = self.get(path, token=None)
                self.assertEqual((page.status, page.headers["content-type"]), (200, "text/html; charset=utf-8"))
                self.assertEqual(page.headers["content-security-policy"], POLICY)
                self.assertEqual(page.headers["cache-control"], "no-cache")
                again = self.get(path, token=None, headers={"If-None-Match": page.headers["etag"]})
                self.assertEqual((again.status, again.body), (304, b""))
                other = self.get(path, token=None, headers={"If-None-Match": '"another"'})
                self.assertEqual(other.status, 200)

    def test_files_are_kept_for_ever_at_the_address_of_their_hash(self):
        for name, kind in (("panel.css", "text/css; charset=utf-8"), ("store.js", "text/javascript; charset=utf-8")):
            answer = self.file(name)
            self.assertEqual((answer.status, answer.headers["content-type"]), (200, kind))
            self.assertIn("immutable", answer.headers["cache-control"])
            self.assertEqual(answer.headers["x-content-type-options"], "nosniff")
        self.expect_problem(self.get("/static/0000000000000000/store.js", token=None), 404, "anew")
        self.expect_problem(self.file("embed_files.cmake"), 404)

    def test_all_that_pages_load_is_there_and_nothing_comes_from_elsewhere(self):
        wanted, scripts, seen = [], 0, set()
        for path in PAGES:
            text = self.get(path, token=None).body.decode()
            self.assertNotRegex(text, r"<script(?![^>]*\bsrc=)|\son\w+=|<style|\sstyle=")
            addresses = re.findall(r'(?:src|href)="([^"]+)"', text)
            self.assertTrue(addresses)
            for address in addresses:
                if not address.startswith("data:"):
                    self.assertTrue(address.startswith(f"/static/{self.build()}/"), address)
                    wanted.append(address.rpartition("/")[2])
        while wanted:
            name = wanted.pop()
            if name in seen:
                continue
            seen.add(name)
            answer = self.file(name)
            self.assertEqual(answer.status, 200, name)
            text = answer.body.decode()
            self.assertNotRegex(text.replace("http://www.w3.org/2000/svg", ""), r"https?://[a-z]", name)
            if name.endswith(".js"):
                scripts += len(answer.body)
                wanted += IMPORTS.findall(text)
        self.assertIn("qr.js", seen)
        self.assertLessEqual(scripts, LARGEST_SCRIPTS)

    def test_a_page_asks_at_once_for_all_modules_that_it_needs(self):
        for path in PAGES[1:]:
            text = self.get(path, token=None).body.decode()
            asked = set(re.findall(r'modulepreload" href="[^"]*/([^"/]+)"', text))
            wanted, needed = re.findall(r'<script type="module" src="[^"]*/([^"/]+)"', text), set()
            while wanted:
                name = wanted.pop()
                if name not in needed:
                    needed.add(name)
                    wanted += IMPORTS.findall(self.file(name).body.decode())
            begins = [name for name in needed if f"/{name}" in text and name not in asked]
            with self.subTest(path=path):
                self.assertEqual(len(begins), 1)
                self.assertGreater(len(needed), 10)
                self.assertEqual(needed - asked, set(begins))

    def test_scripts_are_served_as_they_were_written_but_for_comments(self):
        comment = re.compile(r"(^| +)// .*")
        for path in STATIC.glob("*.js"):
            written, served = path.read_text().split("\n"), self.file(path.name).body.decode().split("\n")
            with self.subTest(script=path.name):
                self.assertEqual(served, [comment.sub("", line) for line in written])
                # No text of the program is taken for a comment.
                for line in served:
                    self.assertEqual([line.count(quote) % 2 for quote in "\"`"], [0, 0], line)


if __name__ == "__main__":
    main()
