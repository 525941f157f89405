"""Path translations against a live Master."""

import signal

from farm import FarmTest, finish
from proxy import ANSWER, MESSAGE, Proxy


class Translations(FarmTest):
    def translations(self):
        return [(t["0"], t["1"], t["2"]) for t in self.farm.state()["pathTranslations"]]

    def add(self, *roots):
        self.assertDone(self.farm.run("-PathTranslation", *roots))

    def classes(self):
        return [r["message"]["class"] for r in self.farm.audit()]

    def test_the_table_and_the_line(self):
        self.assertEqual(self.farm.run("-GetPathTranslations").out, "\n\n")
        self.assertEqual(self.farm.run("-GetPathTranslations", "-json").out, "[]\n")
        self.assertEqual(self.classes(), [])
        self.assertDone(self.farm.run("-PathTranslation", "X:", "/mnt/x", "/Volumes/x",
                                      "-PathTranslation", "P:\\proj", "/mnt/proj", ""))
        result = self.farm.run("-GetPathTranslations")
        self.assertDone(result)
        self.assertEqual(result.out, "\n"
                                     "Windows | * Linux *   | Mac       \n"
                                     "--------+-------------+-----------\n"
                                     "X:      | (/mnt/x)    | /Volumes/x\n"
                                     "P:\\proj | (/mnt/proj) |           \n"
                                     "\n")
        self.assertEqual(self.farm.run("-GetPathTranslations", "-JSON").out,
                         '[["X:","/mnt/x","/Volumes/x"],["P:\\proj","/mnt/proj",""]]\n')
        self.assertEqual(self.farm.run("-Info", "-JSON").out.count("["), 0)

    def test_removal_by_the_root_of_each_platform(self):
        sets = [("A:", "/a", "/Va"), ("B:", "/b", "/Vb"), ("C:", "/c", "/Vc"), ("D:", "/d", "")]
        for roots in sets:
            self.add(*roots)
        self.assertEqual(self.translations(), sets)
        for root, left in (("A:", sets[1:]), ("/b", sets[2:]), ("/Vc", sets[3:]), ("/D", sets[3:]),
                           ("/d/", sets[3:]), ("", [])):
            self.assertDone(self.farm.run("-RemovePathTranslation", root))
            self.assertEqual(self.translations(), left)
        # Even what matches nothing sends the list.
        self.assertEqual(self.classes(), ["PathTranslationsMsg"] * 10)

    def test_additions_removals_and_display_go_together(self):
        self.add("A:", "/a", "/Va")
        result = self.farm.run("-PathTranslation", "A:", "/a2", "/Va2", "-RemovePathTranslation", "A:",
                               "-GetPathTranslations", "-JSON", "-PathTranslation", "A:", "/a2", "/Va2")
        self.assertDone(result)
        self.assertEqual(result.out, '[["A:","/a","/Va"]]\n')  # as it was before
        self.assertEqual(self.translations(), [("A:", "/a2", "/Va2")] * 2)

    def test_any_root_is_kept_byte_for_byte(self):
        roots = ("\\\\server\\share\\", "/mnt/with space/\"quoted\"'", "-Ünï/%s%n")
        self.add(*roots)
        self.assertEqual(self.translations(), [roots])
        self.assertIn(f"{roots[0]} | ({roots[1]}) | {roots[2]}", self.farm.run("-GetPathTranslations").out)
        self.assertEqual(self.farm.run("-GetPathTranslations", "-JSON").out,
                         "[[" + ",".join(f'"{root}"' for root in roots) + "]]\n")
        self.assertDone(self.farm.run("-RemovePathTranslation", roots[2]))
        self.assertEqual(self.translations(), [])

    def test_too_few_roots(self):
        result = self.farm.last("-PathTranslation", "X:")
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "Not enough roots supplied to add a path translation")
        self.assertEqual(self.classes(), [])

    def test_a_stale_list_is_refused_and_can_be_repeated(self):
        self.add("A:", "/a", "/Va")
        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket,
                      lambda connection, from_client, kind: "hold" if from_client and kind == MESSAGE else "pass")
        self.addCleanup(proxy.close)
        slow = self.farm.start("-PathTranslation", "B:", "/b", "/Vb", address=proxy.address)
        self.assertTrue(proxy.held.wait(30))
        self.add("C:", "/c", "/Vc")
        proxy.release()
        result = finish(slow)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "The Master refused to change the path translations", "can be repeated")
        self.assertEqual([t[0] for t in self.translations()], ["A:", "C:"])
        self.add("B:", "/b", "/Vb")
        self.assertEqual([t[0] for t in self.translations()], ["A:", "C:", "B:"])

    def test_an_edit_whose_answer_is_lost_is_applied_once_and_not_stale(self):
        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket,
                      lambda connection, from_client, kind:
                      "cut" if connection == 0 and not from_client and kind == ANSWER else "pass")
        self.addCleanup(proxy.close)
        self.assertDone(self.farm.run("-PathTranslation", "A:", "/a", "/Va", address=proxy.address))
        self.assertEqual(len(self.translations()), 1)
        self.assertEqual([r["result"] for r in self.farm.audit()], ["committed"])

    def test_a_connected_client_gets_the_newest_list(self):
        watcher = self.farm.start(program="watcher")
        self.assertEqual(watcher.stdout.readline(), b"ready\n")
        for count in range(1, 4):
            self.add(f"{count}:", "/a", "/b")
            self.assertDone(self.farm.run("-RemovePathTranslation", "matches nothing"))  # no change, no news
            self.assertEqual(watcher.stdout.readline().decode(), f"{count} translations\n")
        watcher.send_signal(signal.SIGINT)
        self.assertDone(finish(watcher), 130)
