"""vrdx_gateway backup and restore: the whole state in one file, while the gateway serves; back only when none does."""

import ctypes
import os
import pathlib
import signal
import struct
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from history_test import HistoryCase  # noqa: E402

from gateway_fixture import PATIENCE, Programs, main, wait_until  # isort: skip


class NameChanges:
    """What becomes of the names in a folder, in its order: removed, or moved here."""

    KINDS = {0x80: "moved here", 0x200: "removed"}  # IN_MOVED_TO, IN_DELETE

    def __init__(self, folder):
        libc = ctypes.CDLL(None, use_errno=True)
        self.descriptor = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self.descriptor < 0 or libc.inotify_add_watch(self.descriptor, os.fsencode(folder), sum(self.KINDS)) < 0:
            raise OSError(ctypes.get_errno(), "the folder cannot be watched")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.descriptor)

    def read(self):
        events = os.read(self.descriptor, 1 << 16)
        changes = []
        while events:
            _, mask, _, size = struct.unpack_from("iIII", events)
            changes.append((self.KINDS[mask], os.fsdecode(events[16 : 16 + size].rstrip(b"\0"))))
            events = events[16 + size :]
        return changes


class Backup(HistoryCase):
    def setUp(self):
        super().setUp()
        self.wait_for_up()
        self.file = self.folder / "backup"

    def command(self, what, *arguments):
        return subprocess.run(
            [Programs.gateway, what, *arguments, "--state", str(self.folder / "state")],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=False,
        )

    def expect_done(self, said):
        self.assertEqual((said.returncode, said.stdout, said.stderr), (0, "", ""))

    def expect_refused(self, said, *words):
        self.assertEqual((said.returncode, said.stdout, said.stderr.count("\n")), (1, "", 1), said.stderr)
        for word in words:
            self.assertIn(word, said.stderr)

    def lock(self, output, state="lock"):
        self.assertEqual(self.ask("POST", f"/api/v1/routers/studio/outputs/{output}/lock", {"state": state}).status, 200)

    def locked(self):
        return [output["number"] for output in self.picture()["outputs"] if output["lock"]]

    def names_in_state(self):
        return sorted(path.name for path in (self.folder / "state").iterdir() if path.suffix not in (".db-wal", ".db-shm"))

    def test_what_was_there_at_the_backup_is_there_again(self):
        self.take([{"output": 2, "input": 3}])
        self.wait_for_takes(1)
        self.lock(1)
        self.expect_done(self.command("backup", str(self.file)))
        self.lock(1, "unlock")
        self.lock(4)
        self.take([{"output": 2, "input": 5}])
        self.wait_for_takes(2)
        later = self.add_token("later", "view")
        wait_until("the token is known", lambda: self.get("/api/v1/routers", token=later).status == 200)
        self.stop_gateway()
        # A driver of a new start: what happened since the backup is in no record.
        self.stop_driver("studio")
        self.start_driver("studio")
        self.expect_done(self.command("restore", str(self.file)))
        self.assertEqual(self.names_in_state(), ["access.db", "history.db"])
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual(self.locked(), [1])
        self.assertEqual([each["after"] for each in self.takes()], [{"all": 3}])
        self.assertEqual(self.get("/api/v1/routers", token=later).status, 401)

    def test_nothing_is_put_back_while_a_gateway_serves(self):
        self.expect_done(self.command("backup", str(self.file)))
        self.lock(1)
        self.expect_refused(self.command("restore", str(self.file)), "another vrdx_gateway serves")
        self.assertEqual(self.locked(), [1])
        self.lock(2)

    def test_file_that_is_there_is_not_written_over(self):
        self.file.write_bytes(b"precious")
        self.expect_refused(self.command("backup", str(self.file)), "is there already")
        self.assertEqual(self.file.read_bytes(), b"precious")

    def test_file_that_was_changed_or_cut_changes_nothing(self):
        self.lock(1)
        self.expect_done(self.command("backup", str(self.file)))
        self.stop_gateway()
        whole = self.file.read_bytes()
        middle = len(whole) // 2
        changed = {
            "cut": whole[:middle],
            "cut before its end": whole[:-1],
            "one bit": whole[:middle] + bytes([whole[middle] ^ 1]) + whole[middle + 1 :],
            "no backup": b"something else\n" * 100,
            "empty": b"",
            "only a beginning": b"vrdx_gateway backup 1\n",
            "a name of elsewhere": b"vrdx_gateway backup 1\n../passwd 1\nx",
            "a size beyond all": b"vrdx_gateway backup 1\naccess.db 99999999999999999999\nx",
        }
        for what, text in changed.items():
            with self.subTest(what):
                self.file.write_bytes(text)
                self.expect_refused(self.command("restore", str(self.file)), str(self.file))
                self.assertEqual(self.names_in_state(), ["access.db", "history.db"])
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual(self.locked(), [1])

    def test_restore_leaves_a_database_there_at_any_moment(self):
        self.lock(1)
        self.expect_done(self.command("backup", str(self.file)))
        self.lock(4)
        self.stop_gateway(signal.SIGKILL)
        self.assertTrue((self.folder / "state" / "access.db-wal").exists(), "a killed gateway leaves it")
        with NameChanges(self.folder / "state") as changes:
            self.expect_done(self.command("restore", str(self.file)))
            happened = changes.read()
        for name in ("access.db", "history.db"):
            with self.subTest(name):
                of_it = [what for what, changed in happened if changed == name]
                self.assertEqual(of_it, ["moved here"], "never removed")
                self.assertLess(happened.index(("removed", f"{name}-wal")), happened.index(("moved here", name)))
                later = happened[happened.index(("moved here", name)) :]
                self.assertEqual([each for each in later if each[1].startswith(f"{name}-")], [])
        self.assertEqual(self.names_in_state(), ["access.db", "history.db"])
        self.start_gateway()
        self.wait_for_up()
        self.assertEqual(self.locked(), [1])

    def test_state_directory_without_a_database_has_nothing_to_keep(self):
        empty = self.folder / "empty"
        empty.mkdir()
        said = subprocess.run(
            [Programs.gateway, "backup", str(self.file), "--state", str(empty)], capture_output=True, text=True, timeout=PATIENCE, check=False
        )
        self.expect_refused(said, "there is no database in")
        self.assertFalse(self.file.exists())

    def test_backup_while_takes_are_recorded_is_whole(self):
        for turn in range(5):
            self.take([{"output": output, "input": (turn + output) % 8 + 1} for output in range(1, 9)])
            self.expect_done(self.command("backup", str(self.folder / f"backup{turn}")))
        self.stop_gateway()
        for turn in range(5):
            self.expect_done(self.command("restore", str(self.folder / f"backup{turn}")))


if __name__ == "__main__":
    main()
