"""The switches against a live Master."""

import os
import signal
import subprocess
import unittest

from farm import BIN, TREE, Farm, FarmTest, finish


class Help(FarmTest):
    def test_is_exact_and_needs_no_connection(self):
        # A Master that is stopped answers nobody: whoever tried to connect would wait.
        self.farm.master.send_signal(signal.SIGSTOP)
        for args in (["-h"], ["-Info", "-H"], ["-Option", "a", "-h"]):
            result = self.farm.run(*args)
            self.assertDone(result, 2)
            self.assertEqual(result.out, (TREE / "tests/app/help.txt").read_text())
            self.assertEqual(result.err, "")
        self.farm.master.send_signal(signal.SIGCONT)
        self.assertEqual(self.farm.audit(), [])

    def test_is_shown_with_status_1_when_nothing_valid_was_asked_for(self):
        result = self.farm.run("-Unknown", "-Switch")
        self.assertDone(result, 1)
        self.assertEqual(result.out, (TREE / "tests/app/help.txt").read_text())


class Info(FarmTest):
    def test_shows_what_the_master_says_of_itself(self):
        self.assertDone(self.farm.run("-option", "defaultidletimeout", "45", "-Option", "Message", "Back at noon"))
        result = self.farm.run("-INFO", "-JSON", "-Nonsense")
        self.assertDone(result)
        self.assertEqual(result.err, "")
        lines = dict(line.split("\t") for line in result.out.splitlines())
        self.assertEqual(list(lines), ["Master ID:", "Master Name:", "Master Version:", "Master Released:",
                                       "Master Started:", "Default Idle Timeout:", "Message:"])
        self.assertEqual(lines["Master ID:"], self.farm.state()["master"]["id"])
        self.assertEqual(lines["Master Name:"], "Test farm")
        self.assertEqual(lines["Default Idle Timeout:"], "45 minutes")
        self.assertEqual(lines["Message:"], "Back at noon")
        self.assertRegex(lines["Master Version:"], r"^\d+\.\d+\.\d+$")
        self.assertRegex(lines["Master Released:"], r"^\d{4}-\d\d-\d\d$")
        self.assertRegex(lines["Master Started:"], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$")


class Options(FarmTest):
    def test_two_spellings_of_a_name_are_one_option_and_survive_a_crash_of_the_master(self):
        self.assertDone(self.farm.run("-Option", "a", "1", "-Option", "A", "2"))
        records = self.farm.audit()
        self.assertEqual(len(records), 1, records)
        message = records[0]["message"]
        self.assertEqual((message["class"], message["m_Section"], message["m_Options"]),
                         ("SetMasterOptionsMsg", "Distribution", {"a": "2"}))
        self.assertEqual((records[0]["result"], records[0]["reason"]), ("committed", ""))
        self.assertEqual(records[0]["client"]["name"], "admin")
        self.assertEqual(records[0]["client"]["kind"], 3)
        self.farm.kill()
        self.farm.serve()
        self.assertEqual(self.farm.state()["options"], {"a": "2"})

    def test_bad_values_are_reported_and_the_rest_is_done(self):
        result = self.farm.run("-Option", "", "x", "-Option", "b", "", "-Info", "-Option")
        self.assertDone(result)  # one valid switch makes a valid line
        self.assertEqual(result.err.splitlines(), [
            "Empty option names are not allowed for commandline switch -Option"])
        self.assertIn("b", self.farm.state()["options"])

    def test_a_missing_name_is_an_error(self):
        # Everything after the switch counts as its value, so nothing may follow it.
        process = subprocess.Popen([BIN / "setwright", "-Master", self.farm.address, "-LogFolder", self.farm.folder,
                                    "-Option"], env=self.farm.environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        result = finish(process)
        self.assertDone(result, 1)
        self.assertEqual(result.err.splitlines(), ["Not enough parameters for commandline switch -Option"])
        self.assertEqual(self.farm.audit(), [])

    def test_what_the_master_refuses_changes_nothing_and_says_why(self):
        result = self.farm.run("-Option", "n" * 300, "x", "-Info")
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "The Master refused to set options", "256")
        self.assertEqual(self.farm.state()["options"], {})
        self.assertEqual([record["result"] for record in self.farm.audit()], ["refused"])

    def test_any_text_reaches_the_master_unchanged(self):
        value = 'quotes " backslash \\ percent %n%s ünï ; = [x] \'`$('
        self.assertDone(self.farm.run("-Option", "Ümläut name", value))
        self.assertEqual(self.farm.state()["options"], {"Ümläut name": value})

    def test_invalid_utf_8_is_refused(self):
        result = finish(self.farm.start("-Option", os.fsdecode(b"a"), os.fsdecode(b"\xff\xfe")))
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "UTF-8")


class SeveralRequests(FarmTest):
    def test_the_last_line_says_what_stands_when_one_is_refused(self):
        result = self.farm.run("-Option", "a", "1", "-Reboot", "-GetUserLimits")
        self.assertDone(result, 1)
        self.assertEqual(result.err.splitlines()[1:],
                         ["Committed: the options of the section Distribution. Refused: the reboot of the Master's "
                          "machine. Repeat only what was not committed"])
        self.assertEqual(result.out, "\n\n")
        self.assertEqual(self.farm.state()["options"], {"a": "1"})

    def test_one_that_is_too_large_to_be_sent_does_not_keep_the_others_back(self):
        file = self.farm.folder / "large.ini"
        with file.open("w") as ini:
            ini.write("[Distribution]\n")
            for number in range(66):
                ini.write(f"o{number}={'x' * ((1 << 20) - 100)}\n")
        result = self.farm.run("-CopyFile", str(file), "-AddRestriction", "r", "-DumpLogs")
        self.assertDone(result, 1)
        lines = result.err.splitlines()
        self.assertEqual(len(lines), 2, lines)
        self.assertIn("Cannot send the options of the section Distribution: a request has at most 67108864 bytes",
                      lines[0])
        self.assertEqual(lines[1], "Committed: the restrictions, the log dump. Refused: the options of the section "
                         "Distribution. Repeat only what was not committed")
        self.assertEqual(result.out, "")
        self.assertEqual(self.farm.state()["restrictions"], ["r"])


class SystemOperations(FarmTest):
    def test_the_log_dump_is_awaited_and_made_by_everybody(self):
        watcher = self.farm.start(program="watcher")
        self.assertEqual(watcher.stdout.readline(), b"ready\n")
        self.assertDone(self.farm.run("-DumpLogs", "-DumpLogs"))
        self.assertEqual(watcher.stdout.readline(), b"dump\n")
        self.assertEqual([r["message"]["class"] for r in self.farm.audit()], ["LogDumpMsg"])
        self.assertTrue(list(self.farm.data.rglob("*dump*")), "the Master's dump")
        self.assertTrue(list((self.farm.folder / "log").glob("watcher*dump*")), "the client's dump")
        watcher.terminate()
        finish(watcher)

    def test_reboot_and_shutdown_are_refused_without_commands(self):
        result = self.farm.run("-Shutdown", "-Reboot")
        self.assertDone(result, 1)
        lines = result.err.splitlines()
        self.assertEqual(len(lines), 3, result)
        self.assertIn("RebootCommand", lines[0])
        self.assertIn("ShutdownCommand", lines[1])
        self.assertIn("Committed: nothing. Refused: ", lines[2])
        records = self.farm.audit()
        self.assertEqual([(r["message"]["class"], r["message"]["command"], r["result"]) for r in records],
                         [("MachineMsg", 1, "refused"), ("MachineMsg", 2, "refused")])
        self.assertEqual(records[0]["message"]["machine"], "00000000-0000-0000-0000-000000000000")

    def test_super_exit_ends_everything_with_0(self):
        watcher = self.farm.start(program="watcher")
        self.assertEqual(watcher.stdout.readline(), b"ready\n")
        result = self.farm.run("-SuperExit")
        self.assertDone(result)
        self.assertEqual(result.err, "")
        self.assertEqual(self.farm.master.wait(30), 0)
        ended = finish(watcher)
        self.assertDone(ended)
        self.assertEqual(ended.err, "")
        self.assertEqual([r["result"] for r in self.farm.audit()], ["committed"])


class ConfiguredCommands(unittest.TestCase):
    def test_both_run_in_order(self):
        import tempfile
        with tempfile.TemporaryDirectory() as folder:
            done = os.path.join(folder, "done")
            os.mkfifo(done)
            farm = Farm(f"[Master]\nRebootCommand = echo reboot > {folder}/reboot\n"
                        f"ShutdownCommand = cat {folder}/reboot > {done}\n")
            self.addCleanup(farm.close)
            result = farm.run("-Shutdown", "-Reboot")
            self.assertEqual(result.status, 0, result)
            with open(done) as fifo:  # blocks until the second command has run
                self.assertEqual(fifo.read(), "reboot\n")
            self.assertEqual([(r["message"]["command"], r["result"]) for r in farm.audit()],
                             [(1, "committed"), (2, "committed")])


if __name__ == "__main__":
    unittest.main()
