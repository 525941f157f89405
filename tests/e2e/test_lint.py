"""What lint and product check find, and whether what they say helps."""

import json
import os
import random
import re
import shlex

from farm import TREE
from looking import LookingTest, lines, master

DRIFTWATER = "7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c03"


class Lint(LookingTest):
    def lint(self, *args):
        return master("lint", "--data-dir", self.farm.data, *args)

    def mend(self, finding):
        command = shlex.split(finding["command"])
        self.assertEqual(command[0], "setwright")
        self.assertDone(self.farm.run(*command[1:]))

    def folders(self):
        """What the translations name, without what lint takes for the same."""
        return {tuple(re.sub("(?<=.)/+", "/", t.get(str(n), "").lower().replace("\\", "/")).rstrip("/")
                      for n in range(3)) for t in self.farm.state()["pathTranslations"]}

    def test_a_clean_farm(self):
        self.assertDone(self.farm.run("-CopyFile", TREE / "samples/farm.ini", "-PathTranslation", "X:", "/mnt/x", ""))
        found = self.lint()
        self.assertDone(found, 0)
        self.assertEqual((found.out, found.err), ("Nothing was found\n", ""))
        self.assertEqual(self.lint("--json").out, "")

    def test_what_is_found_is_mended_by_its_command(self):
        self.assertDone(self.farm.run(
            "-PathTranslation", "X:", "/mnt", "", "-PathTranslation", "Y:", "/mnt/y", "", "-PathTranslation", "X:", "/mnt",
            "", "-PathTranslation", "/srv/it's", "Z:\\", "", "-PathTranslation", "", "/MNT/Y/", "/Volumes/y",
            "-Option", "UserLimits", "jimbob=5;bob=3;ann=x", "-Limit", "fluid", "3", "-TypeOption", "fluid", "A", "1"))
        self.assertDone(self.farm.run("-RemoveProduct", "fluid"))
        found = self.lint()
        self.assertDone(found, 2)
        self.assertEqual([line.split(":")[0] for line in found.out.splitlines()], [
            "The translations 1 and 3 are the same. Mend", "The translation 1 stands before 2 and shadows it",
            "The translations 2 and 5 have a root that differs only in case, slash or trailing separator",
            "The translation 4 has a root that looks like another platform's", "User limits", "User limits",
            "User limits",
            f"There is a limit, 3, of the product 'Driftwater Fluid Simulation' ({DRIFTWATER}), which is not "
            "installed. Mend",
            f"There is an option, 'A', of the product 'Driftwater Fluid Simulation' ({DRIFTWATER}), which is not "
            "installed. Mend"])
        for _ in range(20):
            findings = lines(self.lint("--json"))
            if not findings:
                break
            self.mend(findings[0])
        self.assertEqual(findings, [])
        state = self.farm.state()
        self.assertEqual(state["options"]["UserLimits"], "bob=3;ann=0;jimbob=5;")
        self.assertIn({"0": "Z:\\", "1": "/srv/it's", "2": ""}, state["pathTranslations"])
        self.assertIn({"0": "Y:", "1": "/mnt/y", "2": "/Volumes/y"}, state["pathTranslations"])

    def test_says_what_helps_where_no_command_does(self):
        self.import_product(id="11111111-2222-3333-4444-555555555555", name="Own Tool")
        self.assertDone(self.farm.run("-Limit", "Own Tool", "3"))
        self.assertDone(self.farm.run("-RemoveProduct", "Own Tool"))
        [finding] = lines(self.lint("--json"))
        self.assertNotIn("command", finding)
        self.assertIn("setwright -ImportProduct", finding["otherwise"])

    def test_errors(self):
        found = master("lint", "--data-dir", self.farm.folder / "nowhere")
        self.assertDone(found, 1)
        self.assertOneLine(found.err, "nowhere")

    def random_translation(self, rng):
        folder = rng.choice(["", "a", "a/b", "a/b/c", "A/B", "b", "b'b"])
        mounts = [rng.choice(["X:", "x:\\", "\\\\s\\t"]), rng.choice(["/mnt", "/mnt/", "/srv", "/x y"]),
                  rng.choice(["/Volumes", "/Volumes/v"])]
        roots = [(m + ("/" + folder if folder else "")) if rng.random() < 0.8 else "" for m in mounts]
        if rng.random() < 0.2:
            rng.shuffle(roots)
        return roots

    def check(self, seed):
        rng = random.Random(seed)
        args = ["-RemovePathTranslation", ""]
        for translation in self.farm.state()["pathTranslations"]:
            args += ["-RemovePathTranslation", next(iter(translation.values()))]
        for _ in range(rng.randrange(2, 7)):
            args += ["-PathTranslation", *self.random_translation(rng)]
        names = ["ann", "bob", "jimbob", "b", "x ", "", "a\\b", "%d", "n\"q", "m=1"]
        limits = "".join(rng.choice(names) + rng.choice(["=", "=", "=", ""]) + rng.choice(["1", "07", "x", "-1", "2 "]) +
                         ";" for _ in range(rng.randrange(6)))
        self.assertDone(self.farm.run(*args, "-Option", "UserLimits", limits[:-1] if rng.random() < 0.2 else limits))
        for _ in range(100):
            findings = lines(self.lint("--json"))
            mendable = [finding for finding in findings if "command" in finding]
            if not mendable:
                break
            finding = rng.choice(mendable)
            before = self.folders()
            self.mend(finding)
            if finding["kind"] == "duplicate translation" or "moves it behind" in finding["text"]:
                self.assertEqual(self.folders(), before, finding)
        self.assertEqual(findings, [], args)

    def test_commands_make_random_farms_clean(self):
        alone = os.environ.get("BRENIC_SEED")
        for seed in [int(alone)] if alone else range(12):
            with self.subTest(seed=seed):
                self.check(seed)


class ProductCheck(LookingTest):
    def test_needs_no_master(self):
        samples = sorted((TREE / "samples/products").iterdir())
        checked = master("product", "check", *samples)
        self.assertDone(checked)
        self.assertEqual((checked.out, checked.err), (f"Checked: {len(samples)}; errors: 0; warnings: 0\n", ""))

    def test_tells_what_the_master_then_refuses(self):
        for parameters, part in (([{"name": "a", "minimum": 5, "default": 4}], "below its minimum"),
                                 ([{"name": "a", "choices": []}], "choices"), ([{"name": "a"}, {"name": "A"}], "case")):
            document = {"id": "11111111-2222-3333-4444-555555555555", "name": "Own Tool", "parameters": parameters}
            path = self.write(json.dumps(document, indent=1), "own.json")
            checked = master("product", "check", path)
            self.assertDone(checked, 1)
            self.assertIn(part, checked.out)
            imported = self.farm.run("-ImportProduct", path)
            self.assertDone(imported, 1)
            self.assertIn(part, imported.err)

    def test_warnings_alone_are_no_failure(self):
        path = self.write(json.dumps({"id": "11111111-2222-3333-4444-555555555555", "name": "Own", "alias": []}), "o.json")
        checked = master("product", "check", "--json", path)
        self.assertDone(checked, 0)
        [remark] = lines(checked)
        self.assertEqual((remark["severity"], remark["line"], remark["column"]), ("warning", 1, 63))

    def test_a_product_that_the_farm_holds_stays_importable(self):
        """One from before the members had a meaning: a default product, then imported again and again."""
        document = {"id": "11111111-2222-3333-4444-555555555555", "name": "Own", "parameters": [
            {"name": "a", "type": "integer", "default": 1, "required": "maybe", "choices": {}, "minimum": 9,
             "label": 5, "group": None}]}
        folder = self.farm.folder / "products"
        folder.mkdir()
        (folder / "own.json").write_text(json.dumps(document))
        self.farm.stop()
        self.farm.products = folder
        self.farm.serve()
        out = self.farm.folder / "out.json"
        self.assertDone(self.farm.run("-ExportProduct", "Own", out))
        self.assertEqual(json.loads(out.read_text()), document)
        document["version"] = "2"
        self.assertDone(self.farm.run("-ImportProduct", self.write(json.dumps(document), "own.json")))
        document["parameters"][0]["maximum"] = 3
        imported = self.farm.run("-ImportProduct", self.write(json.dumps(document), "own.json"))
        self.assertDone(imported, 1)
        self.assertIn("above its maximum", imported.err)
