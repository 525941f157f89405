"""How a small change of a large value is shown and kept in the audit trail."""

import contextlib
import json
import os
import sqlite3
import subprocess
import time

from farm import BIN, LONGEST, FarmTest


def roots(number):
    return f"P:\\projects\\show{number:04}", f"/mnt/projects/show{number:04}", f"/Volumes/projects/show{number:04}"


class SmallChange(FarmTest):
    """Shown as what changed; the database grows by little more."""

    CHANGES = 16 if "BRENIC_CHANGES" in os.environ else 64  # fewer with a sanitizer
    MOST = 2048  # bytes a change
    PAGE = 4096  # by which the file grows

    def size(self):
        """Of the database, when nothing is left in the write-ahead log."""
        self.assertEqual(self.farm.stop(), 0)
        file = self.farm.data / "master.db"
        with contextlib.closing(sqlite3.connect(file)) as connection:
            connection.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        size = file.stat().st_size
        self.farm.serve()
        return size

    def assertSmall(self, before):
        grown = self.size() - before
        self.assertGreater(grown, 0)
        self.assertLess(grown / self.CHANGES, self.MOST)

    def last(self):
        return self.farm.audit()[-1]

    def add(self, first, end):
        arguments = [a for number in range(first, end) for a in ("-PathTranslation", *roots(number))]
        self.assertDone(self.farm.run(*arguments))

    def additions_to(self, count):
        self.add(0, count)
        before = self.size()
        self.add(count, count + 1)
        self.assertLessEqual(self.size() - before, self.PAGE)
        for number in range(count + 1, count + self.CHANGES):
            self.add(number, number + 1)
            self.assertEqual(self.last().get("change"), {
                "pathTranslations": [{"at": number, "removed": [], "added": [dict(zip("012", roots(number)))]}]})
        self.assertSmall(before)
        self.assertEqual(len(self.farm.state()["pathTranslations"]), count + self.CHANGES)

    def edits_of(self, users):
        self.assertDone(self.farm.run("-Option", "UserLimits", ";".join(users) + ";"))
        before = self.size()
        self.assertDone(self.farm.run("-SetUserLimit", users[0].partition("=")[0], "98"))
        self.assertLessEqual(self.size() - before, self.PAGE)
        for number in range(100, 100 + 70 * self.CHANGES, 70):
            name = users[number].partition("=")[0]
            self.assertDone(self.farm.run("-SetUserLimit", name, "99"))
            self.assertEqual(self.last().get("change"), {"userLimits": {
                "name": "UserLimits", "setBefore": True, "setAfter": True,
                "pieces": [{"at": number, "removed": [users[number]], "added": [f"{name}=99"]}]}})
        self.assertSmall(before)
        limits = self.farm.state()["options"]["UserLimits"].split(";")
        self.assertEqual(sum(limit.endswith("=99") for limit in limits), self.CHANGES)
        self.assertEqual(len(limits), len(users) + 1)

    def test_a_root_among_hundreds_is_shown_and_kept_as_that_root_alone(self):
        self.additions_to(800)

    def test_a_removed_root_is_shown_as_that_root_alone(self):
        self.add(0, 730)
        self.assertDone(self.farm.run("-RemovePathTranslation", roots(350)[1]))
        record = self.last()
        self.assertEqual(record["change"], {
            "pathTranslations": [{"at": 350, "removed": [dict(zip("012", roots(350)))], "added": []}]})
        self.assertEqual(sorted(record["message"]), ["class", "digest", "id", "size"])
        text = self.farm.admin("audit", "--data-dir", self.farm.data).splitlines()[-1]
        self.assertIn(" " + json.dumps(record["change"], separators=(",", ":")) + " committed", text)

    def test_a_limit_among_thousands_of_users_is_shown_and_kept_alone(self):
        self.edits_of([f"render.user{number:05}={number % 90 + 1}" for number in range(5000)])

    def test_a_root_among_seven_hundred_is_shown_and_kept_as_that_root_alone(self):
        self.additions_to(700)

    def test_a_limit_among_thousands_of_users_with_short_names_is_shown_and_kept_alone(self):
        self.edits_of([f"user{number:05}={number % 90 + 1}" for number in range(5000)])


class Oversize(FarmTest):
    def test_a_long_request_is_shown_with_its_small_options(self):
        self.assertDone(self.farm.run("-Option", "long", "x" * 70_000, "-Option", "short", "1"), 1)
        self.assertDone(self.farm.run("-Option", "one", "x" * 40_000, "-Option", "two", "x" * 40_000, "-Option", "b", "2"))
        for record, result, options in zip(self.farm.audit(), ("refused", "committed"), ({"short": "1"}, {"b": "2"})):
            message = record["message"]
            self.assertEqual((record["result"], message["m_Section"], message["m_Options"]),
                             (result, "Distribution", options))
            self.assertGreater(message["size"], 70_000)
        self.assertEqual(len(record["change"]["options"]), 3)
        for line in self.farm.admin("audit", "--data-dir", self.farm.data).splitlines():
            self.assertIn('"m_Section":"Distribution","m_Options":{', line)


class Terminal(FarmTest):
    WILD = "\x1b[2J\x7f\u009b\u202e\n"
    UNSAFE = set("\x1b\x7f\u009b\u202e")

    def test_gets_no_control_characters_from_the_trail_or_a_refusal(self):
        refused = self.farm.run("-Option", self.WILD, "1")
        self.assertDone(refused, 1)
        self.assertOneLine(refused.err, "The Master refused", "\\x1b[2J")
        self.assertDone(self.farm.run("-Option", "a", "\u202e\u2066"))
        for arguments in (("audit",), ("audit", "--json"), ("state",)):
            out = self.farm.admin(*arguments, "--data-dir", self.farm.data)
            self.assertEqual(self.UNSAFE & set(out), set(), arguments)
        self.assertEqual(self.farm.audit()[1]["message"]["m_Options"], {"a": "\u202e\u2066"})

    def test_gets_no_control_characters_from_an_argument(self):
        for arguments in (("-CopyFile", self.WILD), ("-Limit", self.WILD, "1"), ("-Limit", "fluid", self.WILD)):
            result = self.farm.run(*arguments)
            self.assertEqual(self.UNSAFE & set(result.err), set(), result)
            self.assertIn("\\x1b[2J", result.err)


class Keeping(FarmTest):
    """Old records leave while the Master serves."""

    CONFIG = "[Master]\nAuditKeep = 3\n"
    DAY = 24 * 60 * 60 * 1000

    def age(self, days, where):
        """Makes records of the trail older, while nobody serves."""
        with contextlib.closing(sqlite3.connect(self.farm.data / "master.db")) as connection:
            connection.execute(f"UPDATE audit SET time = time - {days * self.DAY} WHERE {where}")
            connection.commit()

    def first(self):
        with contextlib.closing(sqlite3.connect(f"file:{self.farm.data / 'master.db'}?mode=ro", uri=True)) as connection:
            return connection.execute("SELECT min(sequence) FROM audit").fetchone()[0]

    def test_what_is_older_leaves_and_the_log_says_so(self):
        for number in range(6):
            self.assertDone(self.farm.run("-Option", "MaxJobs", str(number)))
        before = self.farm.state()
        self.assertEqual(self.farm.stop(), 0)
        self.age(10, "sequence <= 2")
        self.age(1, "sequence IN (3, 4)")
        self.farm.serve()
        deadline = time.monotonic() + LONGEST
        while self.first() < 3:
            self.assertLess(time.monotonic(), deadline)
        self.assertDone(self.farm.run("-Option", "MaxJobs", "last"))
        self.assertEqual([record["sequence"] for record in self.farm.audit()], [3, 4, 5, 6, 7])
        before["options"]["MaxJobs"] = "last"
        self.assertEqual(self.farm.state(), before)
        self.assertEqual(self.farm.stop(), 0)
        log = (self.farm.data / "log/brenic-master.log").read_text()
        self.assertEqual(log.count("2 records up to "), 1)
        self.assertIn("which keeps 3 days (AuditKeep); what they changed can neither be looked up nor reverted", log)

    def test_a_number_of_days_below_two_is_refused(self):
        self.farm.stop()
        for days in ("1", "0", "-1", "400d", ""):
            self.farm.config.write_text(f"[Master]\nAuditKeep = {days}\n")
            ended = subprocess.run([BIN / "brenic-master", "serve", "--data-dir", self.farm.data, "--config",
                                    self.farm.config], capture_output=True, timeout=LONGEST)
            self.assertEqual(ended.returncode, 1)
            self.assertOneLine(ended.stderr.decode(), "AuditKeep must be a number of days from 2 to 36500, not '")
