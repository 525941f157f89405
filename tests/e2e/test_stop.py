"""How a Master ends, and what it leaves."""

import shutil
import socket
import sqlite3
import subprocess
import threading
import time

from farm import BIN, LONGEST, FarmTest

PROMISED = 5  # seconds


class Stop(FarmTest):
    def stop(self):
        """Ends it; the seconds that it took."""
        began = time.monotonic()
        self.assertEqual(self.farm.stop(), 0, self.farm.log())
        return time.monotonic() - began

    def state_of_the_database_alone(self):
        copy = self.farm.folder / "copy"
        copy.mkdir(mode=0o700)
        shutil.copy(self.farm.data / "master.db", copy)
        return self.farm.admin("state", "--data-dir", copy)

    def files(self):
        return sorted(file.name for file in self.farm.data.glob("master.db*"))

    def test_the_database_alone_is_complete(self):
        for number in range(5):
            self.assertDone(self.farm.run("-Option", f"option-{number}", "x" * 1000))
        self.stop()
        self.assertEqual(self.files(), ["master.db"])
        state = self.state_of_the_database_alone()
        self.assertEqual(state, self.farm.admin("state", "--data-dir", self.farm.data))
        self.assertIn("option-4", state)

    def test_a_reader_of_the_trail_that_stands_still_keeps_nothing_from_the_database(self):
        for number in range(40):
            self.assertDone(self.farm.run("-Option", f"option-{number}", "x" * 10_000))
        reader = subprocess.Popen([BIN / "brenic-master", "audit", "--json", "--data-dir", self.farm.data],
                                  stdout=subprocess.PIPE)
        self.assertTrue(reader.stdout.read(1))
        self.assertDone(self.farm.run("-Option", "last", "1"))
        self.stop()
        self.assertIn("last", self.state_of_the_database_alone())
        reader.stdout.read()
        reader.stdout.close()
        self.assertEqual(reader.wait(LONGEST), 0)

    def test_another_program_that_holds_the_database_does_not_delay_it(self):
        other = sqlite3.connect(self.farm.data / "master.db", isolation_level=None)
        other.execute("BEGIN IMMEDIATE")
        tool = self.farm.start("-Option", "a", "1")
        time.sleep(0.5)
        self.assertLess(self.stop(), PROMISED)
        other.execute("ROLLBACK")
        other.close()
        _, err = tool.communicate(timeout=LONGEST)
        self.assertEqual(tool.returncode, 1, err)
        self.assertIn(b"Another program holds the Master's database", err)

    def test_a_handshake_that_hangs_does_not_delay_it(self):
        with socket.create_connection(("127.0.0.1", self.farm.port)):
            time.sleep(0.2)
            self.assertLess(self.stop(), 1)

    def test_strangers_who_come_again_and_again_do_not_delay_it(self):
        enough = threading.Event()

        def come():
            while not enough.is_set():
                try:
                    socket.create_connection(("127.0.0.1", self.farm.port), timeout=1).close()
                except OSError:
                    pass

        visitors = [threading.Thread(target=come) for _ in range(4)]
        for visitor in visitors:
            visitor.start()
        try:
            time.sleep(0.3)
            self.assertLess(self.stop(), PROMISED)
        finally:
            enough.set()
            for visitor in visitors:
                visitor.join()


class FullDisk(FarmTest):
    def setUp(self):
        super().setUp()
        self.farm.stop()

    def test_a_start_without_room_says_so(self):
        folder = self.farm.folder / "disk"
        folder.mkdir(mode=0o700)
        size = (self.farm.data / "master.db").stat().st_size + 8192
        mount = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size},mode=0700", "none", folder], capture_output=True)
        if mount.returncode != 0:
            self.skipTest(f"no small file system: {mount.stderr.decode()}")
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        shutil.copy(self.farm.data / "master.db", folder)
        (folder / "filling").write_bytes(b"x" * 8192)
        done = subprocess.run([BIN / "brenic-master", "serve", "--data-dir", folder, "--listen", "127.0.0.1:0",
                               "--config", self.farm.config, "--products", self.farm.products],
                              capture_output=True, timeout=LONGEST)
        self.assertEqual(done.returncode, 1)
        self.assertOneLine(done.stderr.decode().splitlines(keepends=True)[-1], "brenic-master: ", "disk is full")
