"""What becomes of the database of a Master of layout 1, in real processes."""

import contextlib
import json
import os
import resource
import select
import shutil
import signal
import socket
import sqlite3
import subprocess
import unittest

from farm import BIN, LONGEST, TREE, Farm, FarmTest
from frames import answer, framed

LIBRARY = os.environ.get("BRENIC_POWERCUT")
NOW = 4  # the layout
BACKUP = "master.db.layout1"
LAYOUT1 = TREE / "tests/master/store/layout1"


def database(file):
    return contextlib.closing(sqlite3.connect(f"file:{file}?mode=ro", uri=True))


def layout(file):
    with database(file) as connection:
        return connection.execute("PRAGMA user_version").fetchone()[0]


def contents(file):
    """Every table, with its rows, but for the time of the last start."""
    with database(file) as connection:
        connection.text_factory = os.fsdecode  # not all texts are UTF-8
        return [line for line in connection.iterdump() if not line.startswith('INSERT INTO "clock"')]


def products_of(file, folder):
    """The default products that the database holds, as files."""
    folder.mkdir()
    with database(file) as connection:
        documents = connection.execute("SELECT document FROM product WHERE origin = 'default'").fetchall()
    for number, (document,) in enumerate(documents):
        (folder / f"{number}.json").write_text(document)
    return folder


def printed(folder, *arguments):
    """What a subcommand of brenic-master prints, in bytes: not all of it is UTF-8."""
    return subprocess.run([BIN / "brenic-master", *arguments, "--data-dir", folder], stdout=subprocess.PIPE,
                          check=True, timeout=LONGEST).stdout


class Earlier(FarmTest):
    """The database of layout 1 in a folder of its own."""

    def setUp(self):
        self.farm = Farm(serve=False)
        self.addCleanup(self.farm.close)
        self.farm.data = self.farm.folder / "earlier"
        self.prepare(self.farm.data)
        self.earlier = contents(self.file)
        self.farm.products = products_of(self.file, self.farm.folder / "products")
        self.farm.config.write_text("[Master]\nLogFolder = log-of-master\n")

    def tearDown(self):
        if self.farm.master:
            super().tearDown()

    @property
    def file(self):
        return self.farm.data / "master.db"

    def prepare(self, folder):
        folder.mkdir(mode=0o700, exist_ok=True)
        shutil.copyfile(LAYOUT1 / "master.db", folder / "master.db")
        (folder / "master.db").chmod(0o600)

    def serve(self, folder, **options):
        """Starts a Master that is not expected to serve for long."""
        return subprocess.Popen(
            [BIN / "brenic-master", "serve", "--data-dir", folder, "--listen", "127.0.0.1:0", "--config",
             self.farm.config, "--products", self.farm.products],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def ended(self, process):
        try:
            out, err = process.communicate(timeout=LONGEST)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise
        return process.returncode, out.decode(), err.decode()

    def tried(self, folder, **options):
        """Runs a Master to its end, which is now if it serves; whether it did, its status and errors."""
        process = self.serve(folder, **options)
        ready = process.stdout.readline()
        if ready:
            process.terminate()
        status, _, err = self.ended(process)
        return bool(ready), status, err

    def copy_of(self, folder):
        """The database in another folder, so that nothing that looks at it mends the original."""
        copy = self.farm.folder / "copy"
        shutil.rmtree(copy, ignore_errors=True)
        shutil.copytree(folder, copy, ignore=shutil.ignore_patterns("manage.sock"))
        return copy / "master.db"

    def assertTold(self, err, folder):
        self.assertOneLine(err, f"brought from layout 1 to layout {NOW}", f"is kept in '{folder / BACKUP}'")

    def assertKept(self, folder):
        """The earlier layout stands beside it, complete."""
        self.assertEqual(contents(folder / BACKUP), self.earlier)
        self.assertEqual((folder / BACKUP).stat().st_mode & 0o777, 0o600)
        self.assertFalse((folder / (BACKUP + ".new")).exists())

    def assertBrought(self, folder):
        """A start makes this layout of it, unless it is of it, and the trail is all there."""
        is_earlier = layout(self.copy_of(folder)) != NOW
        ready, status, err = self.tried(folder)
        self.assertEqual((ready, status), (True, 0), err)
        if is_earlier:
            self.assertTold(err, folder)
        else:
            self.assertEqual(err, "")
        self.assertEqual(layout(folder / "master.db"), NOW)
        self.assertKept(folder)
        self.assertEqual(printed(folder, "audit"), (LAYOUT1 / "audit.txt").read_bytes())
        self.assertEqual(printed(folder, "state"), (LAYOUT1 / "state.txt").read_bytes())


class Upgrade(Earlier):
    def refused(self, *args):
        done = subprocess.run([BIN / "brenic-master", *args, "--data-dir", self.farm.data], capture_output=True,
                              timeout=LONGEST)
        self.assertEqual((done.returncode, done.stdout), (1, b""), done)
        self.assertOneLine(done.stderr.decode(), "brenic-master: The database has layout")
        return done.stderr.decode()

    def test_everything_is_there_after_the_first_start(self):
        for command in (["state"], ["audit"], ["client", "x", "--role", "component", "--out", self.farm.folder / "x"]):
            self.assertIn("layout 1; 'brenic-master serve' brings it to layout 4", self.refused(*command))
        for _ in range(2):
            self.farm.serve()
            state = json.loads(printed(self.farm.data, "state", "--json"))
            expected = json.loads((LAYOUT1 / "state.json").read_bytes())
            state["master"]["version"] = expected["master"]["version"]
            self.assertEqual(state, expected)
            for name, *arguments in (("state.ini", "state", "--ini"), ("state.txt", "state"),
                                     ("audit.txt", "audit"), ("audit.jsonl", "audit", "--json")):
                self.assertEqual(printed(self.farm.data, *arguments).splitlines(), (LAYOUT1 / name).read_bytes().splitlines())
            self.assertEqual(self.farm.stop(), 0, self.farm.log())
            self.assertTold(self.farm.log(), self.farm.data)  # once
            self.assertKept(self.farm.data)
        log = (self.farm.folder / "log-of-master/brenic-master.log").read_text()
        self.assertEqual(log.count("Bringing the database from layout 1 to layout 4"), 1)
        self.assertEqual(log.count(f"The database was brought from layout 1 to layout {NOW}"), 1)
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)

    @unittest.skipUnless(os.geteuid() == 0, "the requests to be sent again came from root")
    def test_what_was_sent_to_the_earlier_master_is_recognised(self):
        self.farm.serve()
        with socket.socket(socket.AF_UNIX) as stream:
            stream.settimeout(LONGEST)
            stream.connect(str(self.farm.socket))
            greeting = b"\x08\x01\x12\x10" + bytes(16) + b"\x18\x01\x22\x03raw\x28\x01"
            stream.sendall(framed(1, greeting))
            sent = [r for r in json.loads((LAYOUT1 / "resend.json").read_text()) if r["client_key"] == "uid:0"]
            self.assertGreater(len(sent), 10)
            for request in sent:
                stream.sendall(framed(7, bytes.fromhex(request["envelope"])))
                self.assertEqual(answer(stream), (request["answer"], request["answer_reason"]), request["sequence"])
        self.assertEqual(len(self.farm.audit()), 123)
        self.assertDone(self.farm.run("-Option", "MaxJobs", "9", address=f"unix:{self.farm.socket}"))
        self.assertEqual(self.farm.audit()[123]["message"]["m_Options"], {"MaxJobs": "9"})
        self.assertEqual(self.farm.state()["options"]["MaxJobs"], "9")

    def test_a_later_layout_is_refused(self):
        connection = sqlite3.connect(self.file)
        connection.execute("PRAGMA user_version = 5")
        connection.close()
        for command in (["state"], ["audit"], ["serve", "--listen", "127.0.0.1:0", "--config", self.farm.config]):
            self.assertIn("layout 5, made by a newer brenic-master", self.refused(*command))


class Failing(Earlier):
    """Layout 1 stays whole whatever happens on the way."""

    def setUp(self):
        super().setUp()
        self.whole = {1: self.earlier}
        brought = self.farm.folder / "brought"
        self.prepare(brought)
        self.assertBrought(brought)
        self.whole[NOW] = contents(brought / "master.db")

    def assertWhole(self, folder):
        """One layout as it was or the other as it should be, and either becomes the other; returns which."""
        copy = self.copy_of(folder)
        found = layout(copy)
        self.assertEqual(contents(copy), self.whole[found])
        self.assertBrought(folder)
        self.assertEqual(contents(folder / "master.db"), self.whole[NOW])
        return found

    def limited(self, size):
        """Options of a process that can make no file longer than `size`."""
        def prepare():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)  # a sanitizer writes a file before the Master ignores it
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))

        return {"preexec_fn": prepare}

    def small_disk(self, size):
        folder = self.farm.folder / f"disk-{size}"
        folder.mkdir()
        mount = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size},mode=700", "none", folder], capture_output=True)
        if mount.returncode != 0:
            self.skipTest(f"no small file system: {mount.stderr.decode()}")
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        self.prepare(folder)
        return folder

    def test_on_a_full_disk_it_stays_and_with_room_it_works(self):
        page = 4096
        taken = -(-(LAYOUT1 / "master.db").stat().st_size // page) * page
        failed = served = 0
        for room in range(0, 200, 8):
            folder = self.small_disk(taken + room * page)
            ready, status, err = self.tried(folder)
            self.assertEqual(status, 0 if ready else 1, err)
            if ready:
                served += 1
                self.assertEqual(layout(folder / "master.db"), NOW)
                continue
            failed += 1
            if layout(self.copy_of(folder)) == 1:
                self.assertOneLine(err, "brenic-master: The database cannot be ", "make room on its disk")
                self.assertEqual(contents(self.copy_of(folder)), self.whole[1])
            else:  # it is all in the log, for which there is no room in the database
                told, failure = err.splitlines()
                self.assertTold(told, folder)
                self.assertOneLine(failure, "brenic-master: Cannot write the database: the disk is full")
            subprocess.run(["mount", "-o", f"remount,size={taken + 600 * page}", folder], check=True)
            self.assertWhole(folder)
        self.assertGreater(failed, 2)
        self.assertGreater(served, 2)

    def test_when_a_write_fails_it_stays(self):
        for limit in range(0, 60_000, 8 * 1024):
            folder = self.farm.folder / f"failed-{limit}"
            self.prepare(folder)
            ready, status, err = self.tried(folder, **self.limited(limit))
            self.assertEqual((ready, status), (False, 1), err)
            self.assertOneLine(err, "brenic-master: The database cannot be ", "make room on its disk")
            self.assertEqual(self.assertWhole(folder), 1)
            shutil.rmtree(folder)

    @unittest.skipUnless(LIBRARY, "a sanitizer's runtime does not go with a preloaded library")
    def test_ended_by_any_write_it_is_whole(self):
        self.assertEqual(set(self.ended_by_writes(range(0, 280_000, 40_000))), {1})  # of the copy beside it
        found = self.ended_by_writes(range(0, 230_000, 4120), POWERCUT_SPARED=BACKUP + ".new")  # a page in the log
        self.assertGreater(found.count(1), 5)
        self.assertGreater(found.count(NOW), 5)
        self.assertEqual(found, sorted(found))

    def ended_by_writes(self, limits, **settings):
        """Which layout is found after a start that was ended when a file would have got longer than that."""
        found = []
        for limit in limits:
            folder = self.farm.folder / f"ended-{limit}"
            self.prepare(folder)
            ready, status, _ = self.tried(
                folder, env={**os.environ, "LD_PRELOAD": LIBRARY, "POWERCUT_LONGEST": str(limit), **settings})
            self.assertEqual((ready, status), (False, -signal.SIGKILL))
            found.append(self.assertWhole(folder))
            shutil.rmtree(folder)
        return found

    def test_killed_at_any_moment_it_is_whole(self):
        for size in range(0, 110_000, 4120):
            folder = self.farm.folder / f"killed-{size}"
            self.prepare(folder)
            process = self.serve(folder)
            while process.poll() is None and length(folder / "master.db-wal") < size and not readable(process.stdout):
                pass
            process.kill()
            self.assertEqual(self.ended(process)[0], -signal.SIGKILL)
            self.assertWhole(folder)
            shutil.rmtree(folder)


def length(file):
    """In bytes; 0 as long as there is none."""
    try:
        return file.stat().st_size
    except FileNotFoundError:
        return 0


def readable(stream):
    return bool(select.select([stream], [], [], 0)[0])
