"""User limits against a live Master."""

import concurrent.futures
import os

from farm import FarmTest, finish
from proxy import ANSWER, MESSAGE, Proxy


class UserLimits(FarmTest):
    def limits(self):
        return self.farm.state()["options"].get("UserLimits")

    def set(self, text):
        self.assertDone(self.farm.run("-Option", "UserLimits", text))

    def after(self, *args):
        self.set("ann=2;bob=5;")
        self.assertDone(self.farm.run(*args))
        return self.limits()

    def test_the_edits(self):
        self.assertEqual(self.after("-SetUserLimit", "bob", "7"), "ann=2;bob=7;")
        self.assertEqual(self.after("-SetUserLimit", "cat", "1"), "ann=2;bob=5;cat=1;")
        self.assertEqual(self.after("-RemoveUserLimit", "ann"), "bob=5;")
        self.assertEqual(self.after("-RemoveUserLimit", "dan"), "ann=2;bob=5;")
        self.assertEqual(self.after("-SetUserLimit", "ann", "0"), "ann=0;bob=5;")

    def test_an_edit_is_one_reading_and_one_write_and_is_waited_for_once(self):
        self.assertDone(self.farm.run("-SetUserLimit", "ann", "1"))
        self.assertEqual([r["message"]["class"] for r in self.farm.audit()],
                         ["GetMasterOptionsMsg", "SetMasterOptionsMsg"])
        # Asked again, as after a slice of the wait that ended without an answer, the line would stand twice.
        log = (self.farm.folder / "log/setwright.log").read_text()
        self.assertEqual(log.count("Wait For Messages"), 1)

    def test_the_display(self):
        self.set("ann=2;bob=5;12;50%n%s%d=5;\"a;b\"=4;c\\;d=x;")
        result = self.farm.run("-GetUserLimits")
        self.assertDone(result)
        self.assertEqual(result.out, "\n"
                                     "User: 'ann' with a worker limit of '2'\n"
                                     "User: 'bob' with a worker limit of '5'\n"
                                     "User: '12' with a worker limit of '12'\n"
                                     "User: '50%n5%d' with a worker limit of '%d'\n"
                                     "User: 'a;b' with a worker limit of '4'\n"
                                     "User: 'c;d' with a worker limit of '0'\n"
                                     "\n")
        self.assertEqual(result.err, "")

    def test_the_plain_search(self):
        self.set("jimbob=2;")
        self.assertDone(self.farm.run("-SetUserLimit", "bob", "4"))
        self.assertEqual(self.limits(), "jimbob=4;")
        self.set("bob=3")
        self.assertDone(self.farm.run("-RemoveUserLimit", "bob"))
        self.assertEqual(self.limits(), "bob=3")

    def test_awkward_names(self):
        expected = ""
        for name in ("Ann Lee", "%n%s%d", 'quo"te', "back\\slash", "ünï"):
            self.assertDone(self.farm.run("-SetUserLimit", name, "3"))
            expected += f"{name}=3;"
            self.assertEqual(self.limits(), expected)
        self.assertDone(self.farm.run("-RemoveUserLimit", "%n%s%d"))
        self.assertEqual(self.limits(), expected.replace("%n%s%d=3;", ""))

    def test_a_master_without_limits(self):
        result = self.farm.run("-GetUserLimits")
        self.assertDone(result)
        self.assertEqual((result.out, result.err), ("\n\n", ""))
        self.assertDone(self.farm.run("-RemoveUserLimit", "ann"))
        self.assertDone(self.farm.run("-SetUserLimit", "ann", "1"))
        self.assertEqual(self.limits(), "ann=1;")

    def test_errors(self):
        for args, line in ((("-SetUserLimit", "", "5"), "Cannot set limits for empty Creator user names"),
                           (("-SetUserLimit", "ann", "-1"),
                            "Cannot set limits without a valid (positive) limit value"),
                           (("-RemoveUserLimit", ""), "Cannot remove limits for empty Creator user names")):
            result = self.farm.run("-Info", *args)
            self.assertDone(result)
            self.assertEqual(result.err, line + "\n")
        self.assertEqual(self.farm.audit(), [])

    def test_a_stale_edit_is_refused_and_can_be_repeated(self):
        writes = []  # the client's second request is its write

        def rule(connection, from_client, kind):
            if from_client and kind == MESSAGE:
                writes.append(kind)
            return "hold" if from_client and kind == MESSAGE and len(writes) == 2 else "pass"

        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket, rule)
        self.addCleanup(proxy.close)
        slow = self.farm.start("-SetUserLimit", "ann", "1", address=proxy.address)
        self.assertTrue(proxy.held.wait(30))
        self.assertDone(self.farm.run("-SetUserLimit", "bob", "2"))
        proxy.release()
        result = finish(slow)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "The Master refused to set options", "can be repeated")
        self.assertEqual(self.limits(), "bob=2;")
        self.assertDone(self.farm.run("-SetUserLimit", "ann", "1"))
        self.assertEqual(self.limits(), "bob=2;ann=1;")

    def lose_answer(self, which, *args):
        answers = []

        def rule(connection, from_client, kind):
            if not from_client and kind == ANSWER:
                answers.append(kind)
                return "cut" if len(answers) == which else "pass"
            return "pass"

        proxy = Proxy(self.farm.folder / f"proxy{which}.sock", self.farm.socket, rule)
        self.addCleanup(proxy.close)
        return self.farm.run(*args, address=proxy.address)

    def test_a_connection_cut_between_reply_and_answer(self):
        self.set("ann=2;")
        result = self.lose_answer(1, "-GetUserLimits")
        self.assertDone(result)
        self.assertEqual(result.out.count("ann"), 1)

    def test_a_connection_cut_before_either_answer_of_an_edit(self):
        self.set("ann=2;")
        for which in (1, 2):  # of the read, of the write
            self.assertDone(self.lose_answer(which, "-SetUserLimit", f"user{which}", "1"))
        self.assertEqual(self.limits(), "ann=2;user1=1;user2=1;")
        self.assertTrue(all(r["result"] in ("committed", "answered") for r in self.farm.audit()))

    def test_sixteen_tools_lose_nothing(self):
        changes = int(os.environ.get("BRENIC_CHANGES", "50"))  # of each; a sanitizer's build takes its time

        def change(tool):
            refused = 0
            for number in range(changes):
                while True:
                    result = self.farm.run("-SetUserLimit", f"t{tool}-{number}", str(number)) if tool % 2 else \
                        self.farm.run("-PathTranslation", f"{tool}:", f"/{number}", "")
                    if result.status == 0:
                        break
                    self.assertDone(result, 1)
                    self.assertIn("can be repeated", result.err)
                    refused += 1
            return refused

        with concurrent.futures.ThreadPoolExecutor(16) as tools:
            refused = sum(tools.map(change, range(16)))
        print(f"{refused} refused and repeated", end=" ", flush=True)
        limits = set(filter(None, self.limits().split(";")))
        self.assertEqual(limits, {f"t{t}-{n}={n}" for t in range(1, 16, 2) for n in range(changes)})
        translations = {(t["0"], t["1"]) for t in self.farm.state()["pathTranslations"]}
        self.assertEqual(translations, {(f"{t}:", f"/{n}") for t in range(0, 16, 2) for n in range(changes)})
        self.assertEqual(len(self.farm.state()["pathTranslations"]), 8 * changes)
