"""What was answered survives a power cut, whatever happened before it."""

import os
import random
import shutil
import subprocess
import time
import unittest

from farm import BIN, LONGEST, Farm

LIBRARY = os.environ.get("BRENIC_POWERCUT")
CUTS = int(os.environ.get("BRENIC_CUTS", "20"))


@unittest.skipUnless(LIBRARY, "a sanitizer's runtime does not go with a preloaded library")
class PowerCut(unittest.TestCase):
    def setUp(self):
        self.farm = Farm(serve=False)
        self.addCleanup(self.farm.close)
        self.disk = self.farm.folder / "disk"
        self.disk.mkdir()
        shutil.copyfile(self.farm.data / "master.db", self.disk / "master.db")
        self.answered = []

    def environment(self, folder, **settings):
        names = {f"POWERCUT_{name.upper()}": str(value) for name, value in settings.items()}
        return {"LD_PRELOAD": LIBRARY, "POWERCUT_FOLDER": str(folder.resolve()), "POWERCUT_DISK": str(self.disk), **names}

    def serve(self, **settings):
        """Starts a Master over that disk; false when it ended before it was ready."""
        return self.farm.try_to_serve(**self.environment(self.farm.data, **settings))

    def end(self):
        self.farm.kill()

    def cut(self):
        """The power fails: what is on the disk is all there is."""
        self.end()
        for file in self.farm.data.glob("master.db*"):
            file.unlink()
        for file in self.disk.iterdir():
            if file.suffix == ".dirty":
                file.unlink()
            else:
                shutil.copyfile(file, self.farm.data / file.name)
                (self.farm.data / file.name).chmod(0o600)

    def write(self, name):
        """Sets an option. A Master that ends meanwhile is started again, on what the machine remembers."""
        tool = self.farm.start("-Option", name, "x" * random.choice((1, 5000)))
        while tool.poll() is None:
            if self.farm.master.poll() is not None:
                self.end()
                self.assertTrue(self.serve(), self.farm.log())
            time.sleep(0.002)
        out, err = tool.communicate()
        self.assertEqual(tool.returncode, 0, err)
        self.answered.append(name)

    def missing(self):
        """What was answered and is not there any more."""
        self.assertTrue(self.serve(), self.farm.log())
        options = self.farm.state()["options"]
        return [name for name in self.answered if name not in options]

    def run_cuts(self, **settings):
        for number in range(CUTS):
            if not self.serve(**{name: value() for name, value in settings.items()}):
                self.end()
                self.assertTrue(self.serve(), self.farm.log())
            for write in range(random.randrange(1, 6)):
                self.write(f"option-{number}-{write}")
            self.cut()
            self.assertEqual(self.missing(), [], f"cut {number}")
            self.end()

    def test_a_master_that_was_killed_while_it_synced(self):
        self.run_cuts(kill=lambda: random.randrange(1, 8))

    def test_a_sync_that_failed(self):
        self.run_cuts(fail=lambda: random.randrange(1, 8))

    def test_a_database_that_cannot_be_written_ends_the_master(self):
        self.assertTrue(self.serve(bad="master.db"))
        log = self.farm.data / "master.db-wal"
        for write in range(200):
            tool = self.farm.start("-Option", f"option-{write % 3}", str(write) * 15_000)
            while tool.poll() is None and self.farm.master.poll() is None:
                time.sleep(0.002)
            if tool.poll() is None:
                tool.kill()
            out, err = tool.communicate()
            if self.farm.master.poll() is not None:
                break
            self.assertEqual(tool.returncode, 0, err)
            self.assertLess(log.stat().st_size, 32 << 20)
        self.assertEqual(self.farm.master.wait(1), 1)
        self.assertIn("The Master ends, because its database failed: Cannot write the database", self.farm.log())
        self.end()

    def test_init_tells_every_sync_that_failed(self):
        for count in range(1, 100):
            folder = self.farm.folder / f"new-{count}"
            folder.mkdir(mode=0o700)
            for file in self.disk.iterdir():
                file.unlink()
            done = subprocess.run([BIN / "brenic-master", "init", "--data-dir", folder], capture_output=True,
                                  env={**os.environ, **self.environment(folder, fail=count)}, timeout=LONGEST)
            if done.returncode == 0:
                break
            self.assertFalse((folder / "master.db").exists(), count)
        self.assertGreater(count, 2)
        shutil.copyfile(self.disk / "master.db", folder / "master.db")  # as after a power cut
        state = subprocess.run([BIN / "brenic-master", "state", "--data-dir", folder], capture_output=True,
                               timeout=LONGEST)
        self.assertEqual(state.returncode, 0, state.stderr)

    def test_a_disk_that_does_not_sync_is_found_out(self):
        self.assertTrue(self.serve(lie=1))
        for write in range(3):
            self.write(f"option-{write}")
        self.cut()
        self.assertEqual(self.missing(), self.answered)
        self.end()


if __name__ == "__main__":
    unittest.main()
