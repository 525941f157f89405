"""Who changed what, and taking it back."""

import json
import re
import sqlite3
import subprocess

from farm import BIN, LONGEST, FarmTest
from looking import master

NULL = "00000000-0000-0000-0000-000000000000"
OWN = "11111111-2222-3333-4444-555555555555"


class HistoryTest(FarmTest):
    def setUp(self):
        super().setUp()
        self.assertEqual(self.history(), [], "the first default products are no change")

    def history(self, *args):
        return self.farm.admin("history", "--data-dir", self.farm.data, *args).splitlines()

    def newest(self):
        return int(self.history("--limit", 1)[0].split()[0])

    def revert(self, *args):
        """Standard output, standard error and exit status."""
        done = subprocess.run([BIN / "brenic-master", "revert", "--data-dir", self.farm.data, *map(str, args)],
                              capture_output=True, timeout=LONGEST)
        return done.stdout.decode(), done.stderr.decode(), done.returncode

    def change(self, *args):
        """What setwright did, as the number of the change."""
        self.assertDone(self.farm.run(*args))
        return self.newest()

    def own(self, **changes):
        path = self.farm.folder / f"own{len(changes)}.json"
        path.write_text(json.dumps({"id": OWN, "name": "Own Tool", "aliases": ["own"], **changes}))
        return path


class History(HistoryTest):
    def test_tells_who_changed_what_newest_first(self):
        self.change("-Option", "MaxJobs", "1")
        self.change("-Option", "MAXJOBS", "2")
        self.change("-SetUserLimit", "ann", "5", "-Limit", "fluid", "7")
        self.assertDone(self.farm.run("-Option", "a\n", "1"), 1)
        self.change("-PathTranslation", "P:", "/mnt/p", "/Volumes/p")
        self.change("-ImportProduct", self.own())
        self.change("-RemoveProduct", "own")
        lines = self.history()
        words = [re.sub(r"^\d+ \d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z admin: ", "", line) for line in lines]
        self.assertRegex(words[0], r"^product 'Own Tool': imported 'Own Tool' \([0-9a-f]{12}\) -> not imported$")
        self.assertRegex(words[1], r"^product 'Own Tool': not imported -> imported 'Own Tool' \([0-9a-f]{12}\)$")
        self.assertEqual(words[2], "path translation Windows 'P:', Linux '/mnt/p', Mac '/Volumes/p': added")
        self.assertEqual(set(words[3:5]), {"user limit of 'ann': none -> 5",
                                           "worker limit of 'Driftwater Fluid Simulation': not set -> 7"})
        self.assertEqual(words[5:], ["option 'MaxJobs': '1' -> '2'", "option 'MaxJobs': not set -> '1'"])
        self.assertEqual(self.history("--limit", 2), lines[:2])
        self.assertEqual(self.history("--option", "maxjobs"), lines[5:])
        self.assertEqual(len(self.history("--user", "ann")), 1)
        self.assertEqual(self.history("--user", "an"), [])
        self.assertEqual(self.history("--root", "Volumes"), [lines[2]])
        self.assertEqual(self.history("--product", "OWN"), lines[:2])
        self.assertEqual(self.history("--product", OWN), lines[:2])
        self.assertEqual(len(self.history("--product", "fluid")), 1)
        self.assertEqual(self.history("--who", "admin"), lines)
        self.assertEqual(self.history("--who", "bob"), [])
        self.assertEqual(self.history("--since", "2100-01-01"), [])
        records = [json.loads(line) for line in self.history("--json")]
        self.assertEqual([record["sequence"] for record in records], [int(line.split()[0]) for line in lines])
        self.assertEqual(records[-1]["change"], {"options": [{"name": "MaxJobs", "before": None, "after": "1"}]})

    def test_a_product_has_the_name_that_it_had(self):
        number = self.change("-ImportProduct", self.own(name="First Name"))
        self.change("-ImportProduct", self.own(name="Second Name"))
        self.change("-RemoveProduct", "fluid")
        self.change("-RemoveProduct", NULL)
        words = [line.split(" admin: ")[1] for line in self.history()]
        self.assertIn("product 'Second Name': imported 'Second Name' (", words[0])
        self.assertIn("product 'Driftwater Fluid Simulation': removed -> as by default", words[0])
        self.assertEqual(words[1], "product 'Driftwater Fluid Simulation': as by default -> removed")
        self.assertRegex(words[2], r"^product 'Second Name': imported 'First Name' \(\w+\) -> imported 'Second Name'")
        self.assertRegex(words[3], r"^product 'First Name': not imported -> imported 'First Name'")
        self.assertEqual(self.history("--limit", 1, "--since", "2000-01-01")[0].split()[0], str(number + 3))

    def test_says_that_there_is_no_such_change(self):
        self.change("-Option", "a", "1")
        for arguments in (("--who", "bob"), ("--who", "bob", "--json")):
            result = master("history", "--data-dir", self.farm.data, *arguments)
            self.assertDone(result, 0)
            self.assertEqual(result.out, "")
            self.assertEqual(result.err, "" if "--json" in arguments else "There is no such change\n")
        self.farm.stop()
        with sqlite3.connect(self.farm.data / "master.db") as database:
            database.execute("UPDATE audit SET sequence = 5, time = 1767225600000")
        result = master("history", "--data-dir", self.farm.data, "--who", "bob")
        self.assertEqual(result.err, "There is no such change; earlier records have left the trail, which begins at "
                                     "2026-01-01T00:00:00.000Z\n")

    def test_a_product_that_never_was_is_an_error(self):
        done = subprocess.run([BIN / "brenic-master", "history", "--data-dir", self.farm.data, "--product", "none"],
                              capture_output=True, timeout=LONGEST)
        self.assertEqual(done.returncode, 1)
        self.assertOneLine(done.stderr.decode(), "No product is called 'none'")

    def test_other_default_products_at_a_start_are_a_change(self):
        folder = self.farm.folder / "products"
        folder.mkdir()
        (folder / "own.json").write_text(json.dumps({"id": OWN, "name": "Own Tool"}))
        self.farm.products = folder
        self.farm.stop()
        self.farm.serve()
        line = self.history("--limit", 1)[0]
        self.assertIn(" brenic-master: default product ", line)
        self.assertIn("default product 'Own Tool': none -> 'Own Tool' (", line)
        self.assertEqual(self.farm.audit()[-1]["message"]["class"], "DefaultProducts")
        self.assertEqual(self.farm.audit()[-1]["client"]["name"], "brenic-master")
        records = len(self.farm.audit())
        self.farm.stop()
        self.farm.serve()
        self.assertEqual(len(self.farm.audit()), records)
        out, err, status = self.revert(self.newest())
        self.assertEqual((out, status), ("", 1))
        self.assertOneLine(err, "only read other default products, which are not reverted")


class Revert(HistoryTest):
    def test_every_kind_of_change_made_reverted_and_made_again(self):
        self.change("-ImportProduct", self.own())
        self.change("-Option", "set", "1")
        self.change("-SetUserLimit", "bob", "1")
        self.change("-AddRestriction", "NoPause")
        self.change("-Limit", "own", "1")
        self.change("-PathTranslation", "Q:", "/mnt/q", "/Volumes/q")
        for arguments in (("-Option", "new", ""), ("-Option", "SET", "2"), ("-TypeOption", "own", "x", "1"),
                          ("-SetUserLimit", "ann", "5"), ("-SetUserLimit", "bob", "5"), ("-RemoveUserLimit", "bob"),
                          ("-Limit", "own", "-1"), ("-Limit", "fluid", "5"),
                          ("-AddRestriction", "NoJobs"), ("-RemoveRestriction", "NoPause"),
                          ("-PathTranslation", "P:", "/mnt/p", "/Volumes/p"), ("-RemovePathTranslation", "/mnt/q"),
                          ("-ImportProduct", self.own(aliases=["own", "second"])), ("-RemoveProduct", "own"),
                          ("-RemoveProduct", "fluid"), ("-RemoveProduct", NULL)):
            with self.subTest(arguments):
                before = self.farm.state()
                number = self.change(*arguments)
                after = self.farm.state()
                self.assertNotEqual(after, before)
                out, err, status = self.revert(number, "--dry-run")
                self.assertEqual((err, status), ("", 0))
                self.assertTrue(out.startswith("Would change:\n  "), out)
                self.assertEqual(self.farm.state(), after)
                would = out.splitlines()
                out, err, status = self.revert(number)
                self.assertEqual((err, status), ("", 0))
                self.assertEqual(out.splitlines()[1:], would[1:])
                self.assertEqual(self.farm.state(), before)
                self.assertIn(f" reverted {number}: ", self.history("--limit", 1)[0])
                self.assertEqual(self.revert(self.newest())[2], 0, "a revert can be reverted")
                self.assertEqual(self.farm.state(), after)
                self.assertEqual(self.revert(self.newest())[2], 0)
                self.assertEqual(self.farm.state(), before)

    def test_several_go_back_together_or_not_at_all(self):
        first = self.farm.state()
        numbers = [self.change("-Option", "a", value) for value in "123"]
        before = self.farm.state()
        for arguments in ((numbers[0], numbers[2]), (*numbers, 99)):
            for dry_run in ((), ("--dry-run",)):
                out, err, status = self.revert(*arguments, *dry_run)
                self.assertEqual((out, status), ("", 1))
                self.assertOneLine(err, "Nothing was reverted: ")
                self.assertEqual(self.farm.state(), before)
        self.assertEqual(self.revert(*numbers)[1:], ("", 0))
        self.assertEqual(self.farm.state(), first)

    def test_against_a_newer_change_is_refused_and_says_whose(self):
        number = self.change("-Option", "a", "1")
        newer = self.change("-Option", "A", "2")
        time = self.history("--limit", 1)[0].split()[1]
        out, err, status = self.revert(number)
        self.assertEqual((out, status), ("", 1))
        self.assertIn(f"the option 'a' is not as change {number} left it: 'admin' changed it since, at {time} "
                      f"(change {newer})", err)

    def test_is_told_in_the_same_words_before_and_after(self):
        self.change("-ImportProduct", self.own(name="First Name"))
        number = self.change("-ImportProduct", self.own(name="Second Name"))
        would = self.revert(number, "--dry-run")[0].splitlines()
        did = self.revert(number)[0].splitlines()
        self.assertEqual(did[1:], would[1:])
        self.assertIn("product 'First Name': imported 'Second Name' (", did[1])

    def test_goes_to_the_database_when_no_master_serves(self):
        number = self.change("-Option", "a", "1")
        self.farm.stop()
        self.assertEqual(self.revert(number)[1:], ("", 0))
        self.farm.serve()
        self.assertEqual(self.farm.state()["options"], {})

    def test_tells_clients_of_products(self):
        number = self.change("-ImportProduct", self.own())
        self.assertEqual(self.revert(number)[1:], ("", 0))
        result = self.farm.run("-Limit", "own", "1")
        self.assertDone(result, 1)
        self.assertEqual(self.revert(self.newest())[1:], ("", 0))
        self.assertDone(self.farm.run("-Limit", "own", "1"))

    def test_operations_and_refused_requests_stay(self):
        self.assertDone(self.farm.run("-DumpLogs"))
        self.assertDone(self.farm.run("-Option", "a\n", "1"), 1)
        numbers = [record["sequence"] for record in self.farm.audit()]
        _, err, status = self.revert(*numbers)
        self.assertEqual(status, 1)
        self.assertIn("was an operation (to dump the logs)", err)
        self.assertIn("was refused and changed nothing", err)
