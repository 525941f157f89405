"""The settings switches and option files against a live Master."""

import json
import os

from farm import TREE, Farm, FarmTest, finish

NULL = "00000000-0000-0000-0000-000000000000"
RAYMARCH, LUMEN, DRIFTWATER = (f"7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c0{n}" for n in (1, 2, 3))


class Settings(FarmTest):
    def messages(self, name):
        return [r["message"] for r in self.farm.audit() if r["message"]["class"] == name]

    def write(self, text, name="options.ini"):
        path = self.farm.folder / name
        path.write_text(text)
        return path

    def test_two_options_of_one_type_leave_the_last(self):
        self.assertDone(self.farm.run("-TypeOption", RAYMARCH, "A", "1", "-TypeOption", RAYMARCH, "B", "2"))
        messages = self.messages("SetMasterOptionsMsg")
        self.assertEqual([(m["m_Section"], m["m_Options"]) for m in messages], [(RAYMARCH, {"B": "2"})])
        self.assertEqual(self.farm.state()["typeOptions"], {RAYMARCH: {"B": "2"}})

    def test_options_of_two_types_go_in_the_order_of_their_identifiers(self):
        self.assertDone(self.farm.run("-TypeOption", DRIFTWATER, "A", "1", "-TypeOption", RAYMARCH, "A", "2",
                                      "-TypeOption", LUMEN, "A", "3"))
        self.assertEqual([m["m_Section"] for m in self.messages("SetMasterOptionsMsg")],
                         [RAYMARCH, LUMEN, DRIFTWATER])

    def test_a_default_value_is_not_sent(self):
        # Driftwater's Resolution is 192, Resume is true.
        self.assertDone(self.farm.run("-TypeOption", "driftwater", "Resolution", "192", "-TypeOption", "FLUID",
                                      "resume", "True"))
        self.assertEqual(self.farm.audit(), [])
        self.assertDone(self.farm.run("-TypeOption", "fluid", "Resolution", "193"))
        self.assertEqual(self.farm.state()["typeOptions"], {DRIFTWATER: {"Resolution": "193"}})

    def test_limits(self):
        self.assertDone(self.farm.run("-Limit", "Driftwater Fluid Simulation", "3", "-Limit", DRIFTWATER.upper(), "5",
                                      "-Limit", "raymarch", "0"))
        self.assertEqual([m["m_Limits"] for m in self.messages("SetMasterLimitsMsg")], [{RAYMARCH: 0, DRIFTWATER: 5}])
        self.assertDone(self.farm.last("-Limit", "fluid"))
        self.assertEqual(self.messages("SetMasterLimitsMsg")[1]["m_Limits"], {DRIFTWATER: -1})
        self.assertEqual(self.farm.state()["limits"], {RAYMARCH: 0, DRIFTWATER: -1})
        result = self.farm.last("-Limit")
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "Not enough parameters for commandline switch -TypeOption")

    def test_a_limit_that_is_no_number_changes_nothing(self):
        result = self.farm.run("-Limit", "fluid", "1O")
        self.assertDone(result, 1)
        self.assertIn("Not a whole number", result.err)
        self.assertIn("below -1", result.err)
        self.assertEqual(self.farm.state()["limits"], {})

    def test_restrictions(self):
        self.assertDone(self.farm.run("-AddRestriction", "X", "-AddRestriction", "x", "-AddRestriction", "no rights",
                                      "-RemoveRestriction", "X"))
        self.assertEqual([m["m_Restrictions"] for m in self.messages("SetMasterRestrictionsMsg")],
                         [{"X": False, "no rights": True, "x": True}])
        self.assertEqual(self.farm.state()["restrictions"], ["no rights", "x"])

    def test_all_routes_of_an_option_file(self):
        path = self.write(f"""; a farm
[DISTRIBUTION]
MaxJobs = 5
maxjobs = 6
"a = b" = "say "hi" \\ "
share = "\\\\server\\share\\"
[Restrictions]
NoDelete = yes
NoSubmit = off
[limit] ; of workers
raymarch = 12abc
{LUMEN} =
nobody = 7
[{DRIFTWATER}]
Resolution = 192
Viscosity = 0.5
Resume = false
[{NULL}]
Ignored = 1
[No such product]
Ignored = 2
[Distribution]
Message = again
""")
        result = self.farm.run("-CopyFile", path)
        self.assertDone(result)
        self.assertEqual((result.out, result.err), ("", ""))
        state = self.farm.state()
        self.assertEqual(state["options"], {"a = b": 'say "hi" \\ ', "MaxJobs": "6", "Message": "again",
                                            "share": "\\\\server\\share\\"})
        self.assertEqual(state["restrictions"], ["NoDelete"])
        self.assertEqual(state["limits"], {RAYMARCH: 12, LUMEN: 0})
        self.assertEqual(state["typeOptions"], {DRIFTWATER: {"Resume": "false"}})
        self.assertEqual([m["class"] for m in (r["message"] for r in self.farm.audit())],
                         ["SetMasterOptionsMsg", "SetMasterOptionsMsg", "SetMasterLimitsMsg",
                          "SetMasterRestrictionsMsg"])
        self.assertEqual(self.messages("SetMasterRestrictionsMsg")[0]["m_Restrictions"],
                         {"NoDelete": True, "NoSubmit": False})
        self.assertEqual(self.messages("SetMasterLimitsMsg")[0]["m_Limits"], {RAYMARCH: 12, LUMEN: 0})
        self.assertEqual([(m["m_Section"], m["m_Options"]) for m in self.messages("SetMasterOptionsMsg")],
                         [("Distribution", state["options"]), (DRIFTWATER, {"Resume": "false"})])

    def test_pairs_behind_a_malformed_header_are_skipped_and_counted(self):
        path = self.write("[Distribution]\na = 1\n[Limit] per type\nraymarch = 5\n[Distribution]\nb = 2\n")
        result = self.farm.run("-CopyFile", path)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, str(path), "skipped 2 lines")
        self.assertEqual(self.farm.state()["options"], {"a": "1", "b": "2"})
        self.assertEqual(self.farm.state()["limits"], {})

    def test_of_many_malformed_lines_the_first_are_logged(self):
        path = self.write("[Distribution]\n" + "junk\n" * 100 + "a = 1\n")
        result = self.farm.run("-CopyFile", path)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "skipped 100 lines")
        self.assertEqual((self.farm.folder / "log/setwright.log").read_text().count(" skipped: "), 20)
        self.assertEqual(self.farm.state()["options"], {"a": "1"})

    def test_an_empty_name_is_refused_by_the_master(self):
        result = self.farm.run("-CopyFile", self.write('[Distribution]\n"" = 1\n'))
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "The Master refused", "empty")

    def test_a_file_that_is_no_text_is_refused_whole(self):
        for name, content, part in (("utf16.ini", "[Distribution]\na = 1\n".encode("utf-16"), "UTF-16"),
                                    ("nul.ini", b"[Distribution]\na = 1\n\0\n", "line 3")):
            path = self.farm.folder / name
            path.write_bytes(content)
            result = self.farm.run("-CopyFile", path)
            self.assertDone(result, 1)
            self.assertOneLine(result.err, str(path), part)
        self.assertEqual(self.farm.audit(), [])

    def test_a_file_that_cannot_be_read_does_not_stop_the_rest(self):
        fifo = self.farm.folder / "fifo"
        os.mkfifo(fifo)
        for path in (self.farm.folder / "nowhere.ini", self.farm.folder, fifo):
            result = self.farm.run("-CopyFile", path, "-Option", "a", path)
            self.assertDone(result, 1)
            self.assertOneLine(result.err, str(path))
            self.assertEqual(self.farm.state()["options"], {"a": str(path)})
        result = self.farm.last("-Option", "b", "1", "-CopyFile")
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "no file name")

    def test_a_line_of_100_mb_is_skipped(self):
        path = self.farm.folder / "long.ini"
        with open(path, "wb") as out:
            out.write(b"[Distribution]\nbefore = 1\nlong = ")
            for _ in range(100):
                out.write(b"x" * 1_000_000)
            out.write(b"\nafter = 2\n")
        process = self.farm.start("-CopyFile", path)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        result = finish(process)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "skipped 1 line")
        self.assertEqual(self.farm.state()["options"], {"before": "1", "after": "2"})
        if "BRENIC_CHANGES" not in os.environ:  # a sanitizer's build takes more
            self.assertLess(usage.ru_maxrss, 50 * 1024, "KiB")

    def test_sections_that_nobody_asked_for_take_no_memory(self):
        path = self.farm.folder / "large.ini"
        with open(path, "wb") as out:
            for _ in range(1000):
                out.write(b"[No such product]\n" + b"name = value of some length\n" * 3000)
            out.write(b"[Distribution]\na = 1\n")
        process = self.farm.start("-CopyFile", path)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertDone(finish(process))
        self.assertEqual(self.farm.state()["options"], {"a": "1"})
        if "BRENIC_CHANGES" not in os.environ:  # a sanitizer's build takes more
            self.assertLess(usage.ru_maxrss, 50 * 1024, "KiB")

    def test_state_ini_makes_the_same_master_again(self):
        awkward = ["plain", " spaces ", "a=b", "[x]", ";c", "#d", '"quoted"', "back\\slash\\", "ünï", "'", "\"", "\\"]
        args = []
        for text in awkward:
            args += ["-Option", text, text, "-AddRestriction", text]
        self.assertDone(self.farm.run(*args, "-Option", "empty", "", "-Limit", "fluid", "4", "-Limit", "raymarch",
                                      "-1", "-TypeOption", "fluid", awkward[4], awkward[7]))
        ini = self.write(self.farm.admin("state", "--data-dir", self.farm.data, "--ini"))
        other = Farm()
        self.addCleanup(other.close)
        result = other.run("-CopyFile", ini)
        self.assertDone(result)
        self.assertEqual(result.err, "")
        mine, theirs = self.farm.state(), other.state()
        for part in ("options", "typeOptions", "limits", "restrictions"):
            self.assertEqual(mine[part], theirs[part])

    def test_state_ini_says_what_a_copy_would_lose(self):
        def ini():
            return self.farm.admin("state", "--data-dir", self.farm.data, "--ini")

        self.assertDone(self.farm.run("-TypeOption", "fluid", "Resolution", "7", "-Limit", "fluid", "3"))
        self.assertDone(self.farm.run("-TypeOption", "fluid", "second", "2"))
        self.assertIn("; setwright sends only the last option", ini())
        document = json.loads((TREE / "samples/products/driftwater-simulation.json").read_text())
        document["parameters"][0]["default"] = 7
        self.assertDone(self.farm.run("-ImportProduct", self.write(json.dumps(document), "fluid.json")))
        self.assertIn("; setwright does not send Resolution: the product has this value by default", ini())
        self.assertDone(self.farm.run("-RemoveProduct", "fluid"))
        self.assertIn("; There is no product of this type: setwright skips the limit", ini())
        self.assertIn("; There is no product of this type: setwright skips the section", ini())

    def test_the_sample_farm_is_taken_whole(self):
        result = self.farm.run("-CopyFile", TREE / "samples/farm.ini")
        self.assertDone(result)
        self.assertEqual(result.err, "")
        state = self.farm.state()
        self.assertGreater(len(state["options"]), 250)
        self.assertEqual(len(state["limits"]), 6)
        self.assertTrue(state["restrictions"])
        self.assertTrue(all(r["result"] == "committed" for r in self.farm.audit()))
