"""What the Master tells systemd and the journal."""

import os

from configured import ConfigurationTest
from farm import LONGEST


class Systemd(ConfigurationTest):
    def test_the_watchdog_is_served_also_while_a_request_waits_for_the_database(self):
        self.configure()
        self.serve(WATCHDOG_USEC="40000")
        held = self.hold_database()
        tool = self.farm.start("-Option", "a", "1")
        for _ in range(20):
            self.told.next("WATCHDOG=1")
        held.execute("ROLLBACK")
        self.assertEqual(tool.wait(LONGEST), 0)
        tool.communicate()

    def test_nobody_is_pinged_who_did_not_ask(self):
        self.configure()
        self.serve()
        self.assertEqual(self.farm.stop(), 0)
        self.told.expect(self, "STOPPING=1")
        self.assertNotIn(["WATCHDOG=1"], self.told.seen)

    def journal(self):
        output = os.stat(self.farm.folder / "master.out")
        return {"JOURNAL_STREAM": f"{output.st_dev}:{output.st_ino}"}

    def test_the_journal_gets_priorities(self):
        (self.farm.folder / "master.out").touch()
        self.configure(LogDisplayLevel=3)
        self.serve(**self.journal())
        self.assertRegex(self.farm.log(), "^<5>.* SYSTEM Serving on")
        self.configure(LogDisplayLevel=3, Listen="127.0.0.1:1")
        self.reload()
        self.assertRegex(self.farm.log(), "\n<4>.* WARNING The configuration has changes")
        self.assertEqual([line for line in self.farm.log().splitlines() if not line.startswith("<")], [])

    def test_so_does_why_it_cannot_start(self):
        (self.farm.folder / "master.out").touch()
        self.configure(Nonsense=1)
        self.assertOneLine(self.failure(**self.journal()), "<3>brenic-master: Line 6 of the configuration '",
                           "the unknown name 'Nonsense'")

    def test_another_stream_gets_none(self):
        self.configure(LogDisplayLevel=3)
        self.serve(JOURNAL_STREAM="1:1")
        self.assertNotIn("<5>", self.farm.log())
