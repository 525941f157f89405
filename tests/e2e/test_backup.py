"""Backups under load, and Masters that were restored from them."""

import getpass
import json
import pathlib
import queue
import re
import shutil
import sqlite3
import subprocess
import threading

from farm import BIN, LONGEST, FarmTest, Result


def run(*args):
    done = subprocess.run([BIN / "brenic-master", *map(str, args)], capture_output=True, timeout=LONGEST)
    return Result(done, done.stdout, done.stderr)


def settings_after(records):
    """The settings that follow from the records, option by option and list by list."""
    options, translations = {}, []
    for record in records:
        if record["result"] != "committed":
            continue
        message = record["message"]
        if message["class"] == "SetMasterOptionsMsg":
            for name, value in message["m_Options"].items():
                kept = next((other for other in options if other.lower() == name.lower()), name)
                options[kept] = value
        elif message["class"] == "PathTranslationsMsg":
            translations = message["m_Translations"]
    return options, translations


class Load:
    """Several connections that change settings, one after the other each, until it is left."""

    def __init__(self, farm):
        self.farm, self.enough, self.done = farm, threading.Event(), queue.Queue()
        self.failures = []
        self.threads = [threading.Thread(target=self.change, args=(number,)) for number in range(3)]

    def change(self, number):
        count = 0
        while not self.enough.is_set():
            count += 1
            if number == 0:
                roots = (f"P{count}:", f"/mnt/{count}", f"/Volumes/{count}")
                result = self.farm.run("-PathTranslation", *roots, "-Option", "Translations", count)
            else:
                result = self.farm.run("-Option", f"of-{number}-{count % 7}", "x" * 3000 + str(count),
                                       "-Option", f"Count-{number}", count)
            if result.status != 0:
                self.failures.append(result)
            self.done.put(result)

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self.enough.set()
        for thread in self.threads:
            thread.join()


class UnderLoad(FarmTest):
    def test_each_backup_is_the_state_at_one_commit(self):
        backups = [self.farm.folder / f"backup-{number}" for number in range(20)]
        with Load(self.farm) as load:
            for backup in backups:
                load.done.get(timeout=LONGEST)  # something has changed since the last one
                self.farm.admin("backup", backup, "--data-dir", self.farm.data)
        self.assertEqual(load.failures, [])
        records = self.farm.audit()
        lengths = set()
        for number, backup in enumerate(backups):
            folder = self.farm.folder / f"restored-{number}"
            self.farm.admin("restore", backup, "--accept", "--data-dir", folder)
            restored = [json.loads(line) for line in
                        self.farm.admin("audit", "--json", "--data-dir", folder).splitlines()]
            self.assertEqual(restored.pop()["message"]["class"], "RestoreMsg")
            self.assertEqual(restored, records[:len(restored)])
            state = json.loads(self.farm.admin("state", "--json", "--data-dir", folder))
            self.assertEqual((state["options"], state["pathTranslations"]), settings_after(restored))
            lengths.add(len(restored))
        self.assertGreater(len(lengths), 10)
        self.farm.admin("check", "--data-dir", self.farm.folder / "restored-19")

    def test_neither_backup_nor_check_holds_up_a_writer(self):
        with Load(self.farm) as load:
            for number in range(3):
                load.done.get(timeout=LONGEST)
                self.farm.admin("backup", self.farm.folder / f"backup-{number}", "--data-dir", self.farm.data)
                checked = json.loads(self.farm.admin("check", "--json", "--data-dir", self.farm.data))
                self.assertEqual(checked["problems"], [])
        self.assertEqual(load.failures, [])
        self.assertEqual([record["result"] for record in self.farm.audit() if record["result"] == "refused"], [])


class Restored(FarmTest):
    def setUp(self):
        super().setUp()
        self.backup, self.other = self.farm.folder / "backup", self.farm.folder / "other"

    def restore(self, *args):
        return run("restore", self.backup, "--data-dir", self.other, *args)

    def serve_other(self):
        """Serves the restored folder in place of the other, with the same credentials."""
        self.farm.stop()
        self.farm.data, self.farm.port = self.other, 0
        return self.farm.try_to_serve()

    def test_a_master_is_the_same_for_its_clients(self):
        self.assertDone(self.farm.run("-Option", "MaxJobs", "5"))
        told = self.farm.admin("backup", self.backup, "--data-dir", self.farm.data)
        self.assertIn("It holds private keys", told)
        self.assertEqual(self.backup.stat().st_mode & 0o777, 0o600)
        before = self.farm.state()
        self.assertDone(self.farm.run("-Option", "MaxJobs", "6"))
        restored = self.restore("--accept")
        self.assertDone(restored)
        self.assertOneLine(restored.out, "Restored the Master 'Test farm'", "after request 1 of")
        self.assertTrue(self.serve_other())
        self.assertEqual(self.farm.state(), before)
        self.assertDone(self.farm.run("-Option", "MaxJobs", "7"))

    def test_a_master_serves_only_when_what_was_revoked_is_known(self):
        self.farm.admin("backup", self.backup, "--data-dir", self.farm.data)
        restored = self.restore()
        self.assertDone(restored)
        self.assertIn("It does not serve yet", restored.out)
        self.assertRegex(restored.out, r"(?m)^  admin, administrator, serial number [0-9a-f]+")
        self.assertFalse(self.serve_other())
        command = re.search(r"run: brenic-master (restore --accept --data-dir \S+)", self.farm.log()).group(1)
        self.assertDone(run(*command.split()))
        self.assertTrue(self.farm.try_to_serve())
        self.assertDone(self.farm.run("-Info"))

    def test_a_certificate_that_was_revoked_since_stays_revoked(self):
        laptop, data = self.farm.folder / "laptop", self.farm.data
        self.farm.admin("client", "laptop", "--role", "administrator", "--data-dir", data, "--out", laptop)
        self.farm.admin("backup", self.backup, "--data-dir", data)
        self.assertFalse((data / "revoked").exists())
        self.farm.admin("revoke", "laptop", "--data-dir", data)
        self.assertRegex((data / "revoked").read_text(), r"^\d{4}-\d\d-\d\dT\S+Z [0-9a-f]+ laptop\n$")
        self.farm.admin("check", "--data-dir", data)
        with open(data / "revoked", "a") as copy:
            copy.write("2026-01-31T12:00")
        restored = self.restore("--revoked", data / "revoked")
        self.assertDone(restored)
        self.assertIn("Read 1 revocation: 1 newly revoked, 0 already revoked in the backup, 0 of certificates that the "
                      "backup does not hold\n", restored.out)
        self.assertIn(f"The last line of '{data / 'revoked'}' is incomplete and was left out; it says no more than "
                      "'2026-01-31T12:00'.", restored.out)
        (data / "revoked").write_text((data / "revoked").read_text().removesuffix("2026-01-31T12:00"))
        self.assertEqual((self.other / "revoked").read_text(), (data / "revoked").read_text())
        self.assertTrue(self.serve_other())
        refused = self.farm.run("-Info", credentials=laptop / "brenic.conf")
        self.assertEqual(refused.status, 3, refused)
        self.assertIn("revoked", refused.err)
        self.assertDone(self.farm.run("-Info"))
        self.farm.admin("check", "--data-dir", self.other)

    def test_a_certificate_is_not_revoked_where_a_restore_could_not_be_told(self):
        (self.farm.data / "revoked").mkdir()
        refused = run("revoke", "admin", "--data-dir", self.farm.data)
        self.assertEqual(refused.status, 1)
        self.assertOneLine(refused.err, "Nothing was revoked")
        self.assertDone(self.farm.run("-Info"))

    def test_a_master_moves_to_another_host(self):
        self.farm.admin("backup", self.backup, "--data-dir", self.farm.data)
        self.assertDone(self.restore("--accept", "--host", "render.example", "--name", "Second"))
        history = run("history", "--data-dir", self.other)
        self.assertOneLine(history.out, f" {getpass.getuser()}: Restored from a backup; the Master is called 'Second' "
                           "from now on, no longer 'Test farm'; its certificate is valid for render.example, ",
                           "; accepted: it may serve")
        audited = run("audit", "--data-dir", self.other)
        self.assertIn("RestoreMsg", audited.out)
        self.assertTrue(self.serve_other())
        result = self.farm.run("-Info", "-JSON")  # over 127.0.0.1, which the new certificate is valid for as well
        self.assertDone(result)
        self.assertIn("Second", result.out)

    def test_a_backup_without_keys_says_what_it_needs(self):
        told = self.farm.admin("backup", self.backup, "--without-keys", "--data-dir", self.farm.data)
        self.assertIn("It holds no private keys", told)
        self.assertNotIn(b"PRIVATE KEY", self.backup.read_bytes())
        self.assertDone(self.restore("--accept"))
        self.assertFalse(self.serve_other())
        self.assertIn("run: brenic-master authority --import", self.farm.log())
        key = self.farm.folder / "authority.pem"
        self.farm.admin("authority", "--export", key, "--data-dir", self.farm.folder / "master")
        self.farm.admin("authority", "--import", key, "--data-dir", self.other)
        self.assertTrue(self.farm.try_to_serve())
        self.assertDone(self.farm.run("-Info"))

    def test_which_keys_are_there_is_told(self):
        self.farm.admin("authority", "--export", self.farm.folder / "authority.pem", "--forget", "--data-dir",
                        self.farm.data)
        told = self.farm.admin("backup", self.backup, "--data-dir", self.farm.data)
        self.assertIn("It holds private keys (the Master's own, not that of authority 1), with which anybody can pose "
                      "as this Master: keep it", told)
        restored = self.restore("--accept")
        self.assertIn("It holds private keys (the Master's own, not that of authority 1); it serves, but ", restored.out)
        self.assertIn("; run: brenic-master authority --import FILE --data-dir", restored.out)
        refused = run("restore", self.backup, "--data-dir", self.farm.folder / "third", "--host", "render.example")
        self.assertEqual(refused.status, 1)
        self.assertOneLine(refused.err, "The backup does not hold the private key of authority 1")
        self.assertTrue(self.serve_other())

    def test_a_check_of_an_earlier_layout_is_done_with_a_note(self):
        shutil.copy(pathlib.Path(__file__).parents[1] / "master/store/layout3/master.db", self.backup)
        checked = run("check", self.backup)
        self.assertDone(checked)
        self.assertIn("Note: The database has layout 3", checked.out)
        self.assertDone(self.restore())
        self.assertDone(run("check", "--data-dir", self.other))

    def test_a_check_says_what_is_in_place_of_a_folder(self):
        absent = run("check", "--data-dir", self.other)
        self.assertEqual(absent.status, 1)
        self.assertOneLine(absent.err, f"There is no folder '{self.other}' to check")
        absent = run("check", self.other)
        self.assertEqual(absent.status, 1)
        self.assertOneLine(absent.err, f"There is no file '{self.other}'\n")

    def test_an_earlier_layout_is_brought_to_this_one_when_it_serves(self):
        shutil.copy(pathlib.Path(__file__).parents[1] / "master/store/layout1/master.db", self.backup)
        self.assertDone(self.restore())
        with sqlite3.connect(self.other / "master.db") as database:
            self.assertEqual(database.execute("PRAGMA user_version").fetchone(), (1,))
        accepted = run("restore", "--accept", "--data-dir", self.other)
        self.assertDone(accepted)
        self.assertIn(f"it is kept in '{self.other / 'master.db.layout1'}'", accepted.err)
        self.assertTrue(self.serve_other())
        self.assertGreater(len(self.farm.audit()), 0)

    def test_an_earlier_layout_moves_to_another_host_in_this_one(self):
        shutil.copy(pathlib.Path(__file__).parents[1] / "master/store/layout1/master.db", self.backup)
        restored = self.restore("--accept", "--host", "render.example")
        self.assertDone(restored)
        self.assertEqual(restored.err, "")
        self.assertIn("The backup has layout 1 and stays as it is; ", restored.out)
        self.assertFalse((self.other / "master.db.layout1").exists())

    def test_a_check_tells_what_is_wrong_and_fails(self):
        self.farm.stop()
        with sqlite3.connect(self.farm.data / "master.db") as database:
            database.execute("INSERT INTO option VALUES (zeroblob(16), 'Ghost', '1')")
        checked = run("check", "--data-dir", self.farm.data)
        self.assertEqual(checked.status, 1)
        self.assertIn("No record of the audit trail tells of the option 'Ghost'; ", checked.out)
        self.assertEqual(checked.err, "")
        self.assertIn("found 1 problem", checked.out.splitlines()[-1])
        self.farm.serve()
