"""What plan says of an options file, against what setwright -CopyFile then does."""

import os
import random
import subprocess

from farm import BIN
from looking import LookingTest, lines, master

NULL = "00000000-0000-0000-0000-000000000000"
RAYMARCH, LUMEN, DRIFTWATER = (f"7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c0{n}" for n in (1, 2, 3))


class Plan(LookingTest):
    def test_tells_what_each_line_would_do(self):
        self.assertDone(self.farm.run("-Option", "MaxJobs", "4", "-Option", "Message", "hi", "-Limit", "fluid", "3",
                                      "-AddRestriction", "NoPause", "-AddRestriction", "NoEdit",
                                      "-Option", "UserLimits", "ann=2;bob=3;"))
        path = self.write(f"""Stray = 1
[distribution]
maxjobs = 4
MAXJOBS = 5
Message = hi
New = "say "hi""
UserLimits = "ann=4;bob=3;"
[Limit]
fluid = 4x
nobody = 1
raymarch =
[Restrictions]
NoPause = no
NoEdit = yes
NoSubmit = 1
NoThing = 0
[fluid]
Resolution = 192
Viscosity = 0.5
Resume = false
[{NULL}]
A = 1
[No such product]
A = 1
B = 2
""")
        before = self.farm.state()
        planned = self.plan(path)
        self.assertEqual(planned.out, f"""\
Line 1: skipped section '' with 1 pair: no product has this identifier, name or alias
Line 3: skipped option 'maxjobs': line 4 sets it again
Line 4: changed option 'MAXJOBS' from '4' to '5'
Line 5: unchanged option 'Message': 'hi'
Line 6: added option 'New': 'say "hi"'
Line 7: changed option 'UserLimits': without 'ann=2', with 'ann=4'
Line 9: changed limit of product 'Driftwater Fluid Simulation' from 3 to 4
Line 10: skipped limit of product 'nobody': no product has this identifier, name or alias
Line 11: added limit of product 'Raymarch Still Renderer': 0
Line 13: changed restriction 'NoPause': removed
Line 14: unchanged restriction 'NoEdit'
Line 15: added restriction 'NoSubmit'
Line 16: unchanged restriction 'NoThing': not there
Line 18: skipped option 'Resolution' of product 'Driftwater Fluid Simulation': '192' is the product's default, which is not sent
Line 19: skipped option 'Viscosity' of product 'Driftwater Fluid Simulation': a request carries one option of a product, and line 20 has a later one; send this one with a file, or a -TypeOption, of its own
Line 20: added option 'Resume' of product 'Driftwater Fluid Simulation': 'false'
Line 21: skipped section '{NULL}' with 1 pair: the null identifier is that of no product
Line 23: skipped section 'No such product' with 2 pairs: no product has this identifier, name or alias
4 added, 4 changed, 3 unchanged, 7 skipped
""")
        self.assertEqual((planned.status, planned.err), (2, ""))
        self.assertEqual(self.farm.state(), before)

    def test_exits_0_when_nothing_would_change(self):
        path = self.write("[Distribution]\nA = 1\n")
        self.assertDone(self.plan(path), 2)
        self.assertDone(self.farm.run("-CopyFile", path))
        planned = self.plan(path, "--json")
        self.assertDone(planned, 0)
        self.assertEqual(lines(planned), [{"line": 2, "result": "unchanged", "what": "option", "name": "A",
                                           "from": "1", "to": "1"}])

    def test_exits_1_when_nothing_would_change_and_setwright_would_tell_of_errors(self):
        for text in ("[Distribution]\njunk\n", '[Distribution]\nA = 1\n"" = 1\n', "[Limit] x\nfluid = 1\n"):
            path = self.write(text)
            planned = self.plan(path)
            self.assertDone(planned, 1)
            self.assertIn("setwright would tell of errors", planned.out)
            self.assertDone(self.farm.run("-CopyFile", path), 1)
            self.assertEqual(self.farm.state()["options"], {})

    def test_tells_an_absent_file_from_one_that_cannot_be_read(self):
        absent = self.farm.folder / "absent.ini"
        fifo = self.farm.folder / "fifo"
        os.mkfifo(fifo)
        for path, why in ((absent, "No such file"), (self.farm.folder, "it is a folder"),
                          (fifo, "it is not a regular file"), ("", "no file name"),
                          (self.write("[Distribution]\na = 1\n".encode("utf-16")), "UTF-16")):
            planned = self.plan(path)
            self.assertDone(planned, 1)
            self.assertEqual(planned.out, "")
            self.assertOneLine(planned.err, "Cannot read options file", str(path), why)
        planned = master("plan", self.write("[Distribution]\n"), "--data-dir", self.farm.folder / "nowhere")
        self.assertDone(planned, 1)
        self.assertOneLine(planned.err, "nowhere")

    def test_is_clean_whatever_it_quotes(self):
        path = self.write("[Distribution]\nA\u202e = \x1b[2J\n[\x1bsection]\nB = 1\n")
        for args in ((), ("--json",)):
            planned = self.plan(path, *args)
            self.assertNotIn("\x1b", planned.out)
            self.assertNotIn("\u202e", planned.out)

    def test_takes_a_million_pairs(self):
        path = self.farm.folder / "large.ini"
        with open(path, "w") as out:
            out.write("[Distribution]\n")
            for i in range(200_000):
                out.write(f"Option{i} = {i}\n")
            out.write("[fluid]\n")
            for i in range(800_000):
                out.write(f"Parameter{i} = {i}\n")
        report = self.farm.folder / "report"
        with open(report, "wb") as out:
            process = subprocess.Popen([BIN / "brenic-master", "plan", path, "--data-dir", self.farm.data], stdout=out)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 2)
        count, last = 0, ""
        with open(report) as text:
            for last in text:
                count += 1
        self.assertEqual((count, last), (1_000_001, "200001 added, 0 changed, 0 unchanged, 799999 skipped\n"))
        if "BRENIC_CHANGES" not in os.environ:  # a sanitizer's build takes more
            self.assertLess(usage.ru_maxrss, 800 * 1024, "KiB")


def random_farm(rng):
    """Arguments that give a farm settings."""
    args = []
    for _ in range(rng.randrange(12)):
        args += rng.choice([
            lambda: ["-Option", name(rng), value(rng)],
            lambda: ["-TypeOption", rng.choice(TYPES), "A", rng.choice("12")],
            lambda: ["-Limit", rng.choice(TYPES), str(rng.choice([-1, 0, 1, 7]))],
            lambda: ["-AddRestriction", name(rng)],
            lambda: ["-Option", "UserLimits", user_limits(rng)]])()
    return args


TYPES = ["raymarch", "Raymarch Still Renderer", RAYMARCH, LUMEN.upper(), "FLUID", DRIFTWATER]
SECTIONS = ["Distribution", "DISTRIBUTION", "restrictions", "Restrictions", "Limit", "limit", *TYPES, NULL, "limits"]
NAMES = ["A", "A", "a", "b", "B c", "Resolution", "resume", "Samples", "samples", "Message", "UserLimits", "ünï",
         "x" * 256, "say \"hi\"", "[x]"]


def name(rng):
    return rng.choice(NAMES) if rng.random() < 0.98 else "DefaultIdleTimeout"


def value(rng):
    if rng.random() < 0.01:
        return "-7"
    return rng.choice(["", "1", "2", "192", "192", "256", "true", "TRUE", "false", "no", "-1", "12abc", "on", " spaced ",
                       "ü", "99999999999", '"', "C:\\dir\\", "16.0"])


def user_limits(rng):
    return "".join(f"{rng.choice(['ann', 'bob', 'jimbob'])}={rng.randrange(4)};" for _ in range(rng.randrange(4)))


def quoted(rng, text):
    return f'"{text}"' if text != text.strip() or text.startswith(("[", '"')) or rng.random() < 0.5 else text


def random_file(rng):
    out = [b"\xef\xbb\xbf"] if rng.random() < 0.2 else []
    end = rng.choice([b"\n", b"\r\n"])
    for _ in range(rng.randrange(1, 40)):
        kind = rng.random()
        if kind < 0.25:
            line = f"[{rng.choice(SECTIONS)}]" + rng.choice(["", " ; comment", "", " junk"] if rng.random() < 0.3 else [""])
        elif kind < 0.9:
            key = rng.choice([name(rng), name(rng), rng.choice(TYPES), "nobody" if rng.random() < 0.5 else "fluid"])
            if rng.random() < 0.01:
                key = rng.choice(["", "x" * 257, "a\x01b", NULL])
            text = user_limits(rng) if key == "UserLimits" else value(rng)
            line = (quoted(rng, key) or '""') + " = " + quoted(rng, text)
        else:
            line = rng.choice(["; comment", "# comment", "", "junk", "= 1", "[open", "a" * (1 << 20) + " = 1"])
        out.append(line.encode() + end)
    if rng.random() < 0.02:
        out.append(b"bad = \xff\xfe" + end)
    return b"".join(out)


def states(state):
    """Every setting of a farm by its key."""
    found = {("option", n.lower()): v for n, v in state["options"].items()}
    for product, options in state["typeOptions"].items():
        found |= {("typeOption", product, n.lower()): v for n, v in options.items()}
    found |= {("limit", product): v for product, v in state["limits"].items()}
    found |= {("restriction", n): True for n in state["restrictions"]}
    return found


def key_of(line):
    what = line["what"]
    if what == "option":
        return (what, line["name"].lower())
    if what == "typeOption":
        return (what, line["product"], line["name"].lower())
    return (what, line["product"] if what == "limit" else line["name"])


class PlanAgreesWithSetwright(LookingTest):
    """For random farms and files. BRENIC_SEED has one tried alone."""

    SEEDS = range(80)

    def check(self, seed):
        rng = random.Random(seed)
        if args := random_farm(rng):
            self.farm.run(*args)  # what is refused of it is of no interest
        path = self.write(random_file(rng))
        before = states(self.farm.state())
        planned = self.plan(path, "--json")
        predicted = lines(planned)
        self.seen |= {line.get("reason", line["result"] + " " + line["what"]) for line in predicted}
        applied = self.farm.run("-CopyFile", path)
        after = states(self.farm.state())

        expected = dict(before)
        for line in predicted:
            if line["result"] == "skipped":
                continue
            key = key_of(line)
            absent = False if line["what"] == "restriction" else None
            self.assertEqual(before.get(key, absent), line["from"], line)
            self.assertEqual(line["result"], "unchanged" if line["from"] == line["to"] else
                             "added" if line["from"] is absent else "changed", line)
            if line["to"] is absent:
                expected.pop(key, None)
            else:
                expected[key] = line["to"]
        self.assertEqual(expected, after)
        changes = before != after
        fails = any(line.get("reason") in ("refused", "malformed") for line in predicted)
        self.assertEqual(applied.status, 1 if fails else 0, applied)
        self.assertEqual(planned.status, 2 if changes else 1 if fails else 0, planned)
        for line in predicted:
            if line.get("reason") == "refused":
                self.assertIn(line["why"].split(": ", 1)[1], applied.err)
        malformed = [line for line in predicted if line.get("reason") == "malformed"]
        if malformed:
            self.assertIn(f"skipped {len(malformed)} line", applied.err)
        again = self.plan(path, "--json")
        self.assertEqual([l for l in lines(again) if l["result"] in ("added", "changed")], [])

    def test_for_random_farms_and_files(self):
        self.seen = set()
        alone = os.environ.get("BRENIC_SEED")
        for seed in [int(alone)] if alone else self.SEEDS:
            with self.subTest(seed=seed):
                self.check(seed)
        if not alone:
            whats = ("option", "typeOption", "limit", "restriction")
            self.assertEqual(self.seen, {f"{result} {what}" for result in ("added", "changed", "unchanged")
                                         for what in whats} | {
                "unknown product", "null identifier", "default value", "set again", "later option", "refused",
                "malformed"}, "all that can become of a line was tried")
