"""A configuration that is exchanged while the gateway runs, for wrong ones, for ones that would open it."""

import signal

from hostile_case import HostileCase

from gateway_fixture import main, wait_until  # isort: skip


class Reload(HostileCase):
    def reload(self, text):
        if isinstance(text, str):
            text = text.encode()
        (self.folder / "gateway.toml").write_bytes(text)
        self.gateway.send_signal(signal.SIGHUP)

    def test_wrong_files_change_nothing(self):
        before = self.open_descriptors()
        for count, text in enumerate((b"hosts = 5", b"\x00" * 1000, b"x = " + b"[" * 100000, b"\xff\xfe", b'anonymous = "god"')):
            self.reload(text)
            wait_until("it is told", lambda most=count: self.errors().count("before stays") > most)
            self.expect_others_served()
        (self.folder / "gateway.toml").unlink()
        (self.folder / "gateway.toml").mkdir()
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("it is told", lambda: self.errors().count("before stays") == 6)
        self.wait_for_descriptors(before)

    def test_addresses_of_a_new_file_wait_for_the_next_start(self):
        self.wait_for_up()
        self.reload('listen = ["127.0.0.1:1", "127.0.0.1:2", "127.0.0.1:3"]\n')
        wait_until("it is read", lambda: "read anew" in self.errors())
        self.expect_others_served()
        self.reload("")
        wait_until("it is read", lambda: self.errors().count("read anew") == 2)
        self.expect_others_served()

    def test_anonymous_readers_end_when_nobody_is_anonymous_any_more(self):
        self.reload('anonymous = "view"\n')
        wait_until("it holds", lambda: self.get("/api/v1/routers", token=None).status == 200)
        reader = self.events(token=None, headers=[("Origin", self.own_origin())])
        self.assertEqual(reader.read_event()["type"], "picture")
        self.reload("")
        self.assertEqual(reader.read_until_closed().code, 1008)
        self.assertEqual(self.get("/api/v1/routers", token=None).status, 401)


class Bared(HostileCase):
    """Served beyond this machine: without TLS only where that was said."""

    configuration = 'listen = "0.0.0.0:0"\ninsecure = true\nhosts = "127.0.0.1"\n'

    def start_gateway(self):
        super().start_gateway()
        self.address = ("127.0.0.1", self.address[1])

    def test_file_that_would_leave_it_bare_changes_nothing(self):
        (self.folder / "gateway.toml").write_text('listen = "127.0.0.1:0"\n', encoding="utf-8")
        self.gateway.send_signal(signal.SIGHUP)
        wait_until("it is told", lambda: "TLS cannot be left off" in self.errors())
        self.expect_others_served()


if __name__ == "__main__":
    main()
