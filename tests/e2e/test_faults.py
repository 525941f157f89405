"""What is lost on the way: connections, answers, the Master itself."""

import signal
import unittest

from farm import FarmTest, finish
from proxy import ANSWER, MESSAGE, PRODUCTS, WELCOME, Proxy


class Proxied(FarmTest):
    def proxy(self, rule):
        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket, rule)
        self.addCleanup(proxy.close)
        return proxy


class Faults(Proxied):
    def options(self):
        return [(r["message"]["m_Options"], r["result"]) for r in self.farm.audit()
                if r["message"]["class"] == "SetMasterOptionsMsg"]

    def once(self, kind, client):
        """Cuts the first connection at the first frame of that kind."""
        return lambda connection, from_client, k: \
            "cut" if connection == 0 and from_client == client and k == kind else "pass"

    def test_a_request_that_is_lost_is_sent_again(self):
        result = self.farm.run("-Option", "a", "1", address=self.proxy(self.once(MESSAGE, True)).address)
        self.assertDone(result)
        self.assertOneLine(result.err, "Lost the connection")
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])

    def test_a_request_whose_answer_is_lost_is_applied_once(self):
        result = self.farm.run("-Option", "a", "1", "-DumpLogs", address=self.proxy(self.once(ANSWER, False)).address)
        self.assertDone(result)
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])
        self.assertEqual(len(self.farm.audit()), 2)

    def test_a_connection_lost_before_the_products_is_made_again(self):
        for kind in (WELCOME, PRODUCTS):
            proxy = Proxy(self.farm.folder / f"proxy{kind}.sock", self.farm.socket, self.once(kind, False))
            self.addCleanup(proxy.close)
            self.assertDone(self.farm.run("-Info", address=proxy.address))

    def test_the_master_is_killed_before_it_gets_the_request(self):
        self.restart("hold", from_client=True, kind=MESSAGE)

    def test_the_master_is_killed_after_it_has_committed(self):
        self.restart("hold", from_client=False, kind=ANSWER)

    def restart(self, fate, from_client, kind):
        proxy = self.proxy(lambda connection, client, k:
                           fate if connection == 0 and client == from_client and k == kind else "pass")
        process = self.farm.start("-Option", "a", "1", address=proxy.address)
        self.assertTrue(proxy.held.wait(30))
        self.farm.kill()
        self.farm.serve()
        self.assertDone(finish(process))
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])
        self.assertEqual(self.farm.state()["options"], {"a": "1"})

    def test_over_tls_a_restarted_master_is_found_again(self):
        self.farm.kill()
        process = self.farm.start("-Option", "a", "1")
        self.assertIn("Connection refused", process.stderr.readline().decode())
        self.farm.serve()
        self.assertDone(finish(process))
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])

    def test_a_master_that_never_answers_a_request_ends_the_run_with_4(self):
        proxy = self.proxy(lambda connection, from_client, k: "cut" if not from_client and k == ANSWER else "pass")
        result = self.farm.run("-Option", "a", "1", address=proxy.address)
        self.assertDone(result, 4)
        self.assertIn("outcome of 1 request(s) is unknown", result.err)
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])

    def test_a_stopped_master_that_goes_on_loses_nothing(self):
        self.farm.master.send_signal(signal.SIGSTOP)
        process = self.farm.start("-Option", "a", "1")
        self.assertIn("no answer within 5 s", process.stderr.readline().decode())
        self.farm.master.send_signal(signal.SIGCONT)
        self.assertDone(finish(process))
        self.assertEqual(self.options(), [({"a": "1"}, "committed")])


class Operations(Proxied):
    CONFIG = "[Master]\nRebootCommand = true\n"

    def test_an_operation_is_not_repeated_by_a_later_master(self):
        proxy = self.proxy(lambda connection, client, k:
                           "hold" if connection == 0 and not client and k == ANSWER else "pass")
        process = self.farm.start("-Reboot", address=proxy.address)
        self.assertTrue(proxy.held.wait(30))
        self.farm.kill()
        self.farm.serve()
        result = finish(process)
        self.assertDone(result, 4)
        self.assertIn("unknown", result.err)
        self.assertEqual(len(self.farm.audit()), 1)


if __name__ == "__main__":
    unittest.main()
