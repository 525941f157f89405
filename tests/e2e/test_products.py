"""The product switches against a live Master."""

import json
import os
import resource
import shutil
import signal
import subprocess

from farm import TREE, FarmTest, finish
from proxy import ANSWER, Proxy

NULL = "00000000-0000-0000-0000-000000000000"
FLUID = "7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c03"
OWN = "11111111-2222-3333-4444-555555555555"


class Products(FarmTest):
    def own(self, **changes):
        path = self.farm.folder / "own.json"
        path.write_text(json.dumps({"id": OWN, "name": "Own Tool", "aliases": ["own"], **changes}))
        return path

    def products(self):
        return {p["name"]: p["origin"] for p in self.farm.state()["products"]}

    def export(self, product, name):
        path = self.farm.folder / name
        self.assertDone(self.farm.run("-ExportProduct", product, path))
        return path

    def test_export_edit_import_export(self):
        first = self.export("fluid", "first.json")
        document = json.loads(first.read_text())
        self.assertEqual(document, json.loads((TREE / "samples/products/driftwater-simulation.json").read_text()))
        document["version"] = "3.0"
        document["new member"] = {"deep": [1, 2.50, 123456789012345678901234567890, None, "ü\u0000"]}
        edited = self.farm.folder / "edited.json"
        edited.write_text(json.dumps(document))
        self.assertDone(self.farm.run("-ImportProduct", edited))
        second = self.export(FLUID, "second.json")
        self.assertEqual(json.loads(second.read_text()), document)
        self.assertDone(self.farm.run("-ImportProduct", second))
        third = self.export("DRIFTWATER fluid simulation", "third.json")
        self.assertEqual(second.read_bytes(), third.read_bytes())
        self.assertEqual(self.products()["Driftwater Fluid Simulation"], "custom")

    def test_an_extension_is_added_where_there_is_none(self):
        self.export("fluid", "plain")
        self.assertTrue((self.farm.folder / "plain.json").exists())
        self.export("fluid", "kept.txt")
        self.assertTrue((self.farm.folder / "kept.txt").exists())

    def test_a_failed_export_leaves_the_earlier_file(self):
        small = self.farm.folder / "small"
        small.mkdir()
        mount = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "none", small], capture_output=True)
        if mount.returncode != 0:
            self.skipTest(f"no small file system: {mount.stderr.decode()}")
        try:
            path = small / "kept.json"
            path.write_text("earlier")
            (small / "filler").write_bytes(b"x" * 12 * 1024)
            result = self.farm.run("-ExportProduct", "fluid", path)
            self.assertDone(result, 1)
            self.assertOneLine(result.out, "Could not export product: ", "No space left on device")
            self.assertEqual(path.read_text(), "earlier")
            self.assertEqual(sorted(p.name for p in small.iterdir()), ["filler", "kept.json"])
            subprocess.run(["mount", "-o", "remount,ro", small], check=True)
            result = self.farm.run("-ExportProduct", "fluid", path)
            self.assertDone(result, 1)
            self.assertOneLine(result.out, "Could not export product: ", "Read-only file system")
            self.assertEqual(path.read_text(), "earlier")
        finally:
            subprocess.run(["umount", small], check=True)

    def test_a_file_in_a_folder_that_may_not_be_written_is_written_in_place(self):
        folder = self.farm.folder / "shared"
        folder.mkdir()
        path = folder / "fluid.json"
        path.write_text("earlier")
        path.chmod(0o666)
        folder.chmod(0o555)
        result = self.farm.run("-ExportProduct", "fluid", path, **self.farm.ordinary_user())
        self.assertDone(result)
        self.assertEqual(json.loads(path.read_text())["id"], FLUID)
        result = self.farm.run("-ExportProduct", "fluid", folder / "new", **self.farm.ordinary_user())
        self.assertDone(result, 1)
        self.assertOneLine(result.out, "Could not export product: ", "Permission denied")
        folder.chmod(0o755)

    def test_a_limit_of_the_size_of_files_is_an_error(self):
        path = self.farm.folder / "fluid.json"
        path.write_text("earlier")

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, resource.RLIM_INFINITY))

        result = self.farm.run("-ExportProduct", "fluid", path, "-LogFileLevel", "0", preexec_fn=limit)
        self.assertDone(result, 1)
        self.assertOneLine(result.out, "Could not export product: ", "File too large")
        self.assertEqual(path.read_text(), "earlier")

    def test_errors_are_told_and_the_rest_is_done(self):
        result = self.farm.run("-ExportProduct", "nothing", self.farm.folder / "x", "-RemoveProduct", "nothing",
                               "-ImportProduct", "-Info")
        self.assertDone(result, 1)
        self.assertEqual(result.out.splitlines()[:3], [
            "Could not export product: Product not installed: nothing",
            "Could not export product: Product not installed: nothing",
            "Could not import product: Not enough arguments"])
        self.assertIn("Master Name:", result.out)
        self.assertEqual(self.farm.audit(), [])

    def test_what_is_no_product_is_not_sent(self):
        folder = self.farm.folder
        os.mkfifo(folder / "fifo.json")
        bad = [folder / "fifo.json", folder]
        for name, text in (("text", "hello"), ("list", "[]"), ("shape", '{"id": 5, "name": []}'),
                           ("id", '{"id": "1234", "name": "n"}'), ("null", '{"id": "%s", "name": "n"}' % NULL),
                           ("twice", '{"id": "%s", "id": "%s", "name": "n"}' % (OWN, OWN)),
                           ("deep", "[" * 100_000), ("large", '"' + "x" * 100_000_000 + '"'), ("empty", "")):
            path = folder / f"{name}.json"
            path.write_text(text)
            bad.append(path)
        for path in bad:
            result = self.farm.run("-ImportProduct", path)
            self.assertDone(result, 1)
            self.assertEqual(result.out, f"Could not import product: Failed to load product file: {path}\n")
            self.assertOneLine(result.err, f"Product file '{path}': ")
        missing = folder / "missing.json"
        result = self.farm.run("-ImportProduct", missing)
        self.assertDone(result, 1)
        self.assertEqual(result.out, f"Could not import product: Filename does not exist: {missing}\n")
        self.assertEqual(self.farm.audit(), [])
        log = (folder / "log/setwright.log").read_text()
        self.assertIn("twice.json", log)
        self.assertIn("stands twice", log)

    def test_why_a_file_is_no_product_is_told_with_its_place(self):
        path = self.own()
        for text, why in (('{\n  "id": "%s",\n  "name": "n",\n}' % OWN,
                           "line 4, column 1: a member's name in double quotes is expected"),
                          ('{\n  "id": "%s",\n  "name": "n",\n  "aliases": "n"\n}' % OWN,
                           'line 4, column 14: "aliases" is "n", where a list in [ ] is expected'),
                          ('{"id": "1234", "name": "n"}',
                           'line 1, column 8: "id" is "1234", where a non-null identifier like '
                           '3b5e9c20-7a41-4d0e-8f10-000000000001 is expected')):
            path.write_text(text)
            result = self.farm.run("-ImportProduct", path)
            self.assertDone(result, 1)
            self.assertEqual(result.err, f"Product file '{path}': {why}\n")

    def test_a_product_may_come_out_of_a_pipe(self):
        out, into = os.pipe()
        self.addCleanup(os.close, out)
        os.write(into, self.own().read_bytes())
        os.close(into)
        self.assertDone(self.farm.run("-ImportProduct", f"/dev/fd/{out}", pass_fds=[out]))
        self.assertEqual(self.products()["Own Tool"], "custom")

    def test_what_was_exported_can_be_imported(self):
        # Laid out, each number of two bytes takes a line of eight.
        self.assertDone(self.farm.run("-ImportProduct", self.own(**{"numbers": [1] * 300_000})))
        exported = self.export("own", "large.json")
        self.assertGreater(exported.stat().st_size, 2 * 1024 * 1024)
        self.assertDone(self.farm.run("-RemoveProduct", "own", "-ImportProduct", exported))
        self.assertEqual(self.export("own", "again.json").read_bytes(), exported.read_bytes())

    def test_a_name_that_is_a_trap_is_refused_unless_the_farm_has_it(self):
        for name in ("Limit", "-own", OWN, " Own", "O\u200bwn"):
            result = self.farm.run("-ImportProduct", self.own(name=name))
            self.assertDone(result, 1)
            self.assertOneLine(result.err, "The Master refused to install the product: The name '",
                               "; choose another one")
        self.assertNotIn(OWN, [p["id"] for p in self.farm.state()["products"]])
        self.own_defaults().joinpath("own.json").write_text(self.own(name="Limit").read_text())
        self.restart()
        self.assertEqual(self.products()["Limit"], "default")
        self.assertDone(self.farm.run("-ImportProduct", self.own(name="Limit", version="2")))
        self.assertEqual(self.products()["Limit"], "custom")

    def own_defaults(self):
        """A folder of its own for the default products, from the next start on."""
        folder = self.farm.folder / "products"
        shutil.copytree(self.farm.products, folder)
        self.farm.products = folder
        return folder

    def restart(self):
        self.farm.kill()
        self.farm.serve()

    def test_the_reset_reads_the_default_products_again(self):
        folder = self.own_defaults()
        self.restart()
        defaults = self.products()
        self.assertDone(self.farm.run("-ImportProduct", self.own(), "-RemoveProduct", "fluid"))
        (folder / "new.json").write_text(json.dumps({"id": OWN, "name": "New Tool"}))
        (folder / "driftwater-simulation.json").write_text("{")
        self.assertDone(self.farm.run("-RemoveProduct", NULL))
        expected = {**defaults, "New Tool": "default"}
        del expected["Driftwater Fluid Simulation"]
        self.assertEqual(self.products(), expected)
        self.assertIn("Left out the product of", (self.farm.data / "log/brenic-master.log").read_text())
        change = self.farm.audit()[-1]["change"]["defaultProducts"]
        self.assertEqual([(step["type"], (step["before"] or {}).get("name"), (step["after"] or {}).get("name"))
                          for step in change],
                         [(OWN, None, "New Tool"), (FLUID, "Driftwater Fluid Simulation", None)])
        self.export("new tool", "new.json")
        self.restart()
        self.assertEqual(self.products(), expected)

    def test_a_folder_that_cannot_be_read_is_not_taken_for_an_empty_one(self):
        folder = self.own_defaults()
        self.restart()
        self.assertDone(self.farm.run("-ImportProduct", self.own()))
        before = self.products()
        folder.rename(self.farm.folder / "away")
        result = self.farm.run("-RemoveProduct", NULL)
        self.assertDone(result, 1)
        self.assertOneLine(result.err, "The Master refused to remove the product: Cannot read the folder of products",
                           "; nothing was changed")
        self.assertEqual(self.products(), before)
        self.assertIn("Cannot read the folder", (self.farm.data / "log/brenic-master.log").read_text())

    def test_a_name_that_another_product_has_is_refused(self):
        for changes in ({"name": "driftwater fluid simulation"}, {"aliases": ["FLUID"]}):
            result = self.farm.run("-ImportProduct", self.own(**changes))
            self.assertDone(result, 1)
            self.assertOneLine(result.err, "The Master refused to install the product", "Driftwater Fluid Simulation")
        self.assertEqual([r["result"] for r in self.farm.audit()], ["refused", "refused"])
        self.assertNotIn("Own Tool", self.products())

    def test_a_refusal_speaks_of_products_by_their_names(self):
        result = self.farm.run("-Limit", "fluid", "-5")
        self.assertDone(result, 1)
        self.assertEqual(result.err, "The Master refused to set limits: The limit -5 of the product 'Driftwater Fluid "
                                     "Simulation' is below -1, which lifts it\n")

    def test_a_product_is_replaced_by_another_of_its_name(self):
        self.assertDone(self.farm.run("-RemoveProduct", "fluid", "-ImportProduct", self.own(aliases=["fluid"])))
        self.assertEqual(self.products()["Own Tool"], "custom")
        self.assertNotIn("Driftwater Fluid Simulation", self.products())
        self.assertEqual([r["message"]["class"] for r in self.farm.audit()], ["RemoveProductMsg", "ProductMsg"])

    def test_removal_lasts_until_the_reset(self):
        def restart():
            self.farm.kill()
            self.farm.serve()

        defaults = self.products()
        self.assertDone(self.farm.run("-ImportProduct", self.own(), "-TypeOption", "fluid", "Resolution", "7"))
        self.assertEqual(self.products(), {**defaults, "Own Tool": "custom"})
        self.assertDone(self.farm.run("-RemoveProduct", "own", "-RemoveProduct", "fluid"))
        restart()
        expected = dict(defaults)
        del expected["Driftwater Fluid Simulation"]
        self.assertEqual(self.products(), expected)
        self.assertEqual(self.farm.state()["typeOptions"], {FLUID: {"Resolution": "7"}})
        self.assertDone(self.farm.run("-ImportProduct", self.own()))
        self.assertEqual(self.products(), {**expected, "Own Tool": "custom"})
        self.assertDone(self.farm.run("-ImportProduct", TREE / "samples/products/driftwater-simulation.json"))
        self.assertEqual(self.products()["Driftwater Fluid Simulation"], "custom")
        self.assertDone(self.farm.run("-RemoveProduct", NULL))
        self.assertEqual(self.products(), defaults)
        restart()
        self.assertEqual(self.products(), defaults)

    def test_the_reset_brings_back_a_default_product_that_gave_way(self):
        # Own has the default's alias while the Master is started with that default for the first time.
        self.assertDone(self.farm.run("-RemoveProduct", "fluid", "-ImportProduct", self.own(aliases=["fluid"])))
        self.farm.kill()
        self.farm.serve()
        self.assertDone(self.farm.run("-RemoveProduct", NULL))
        self.assertEqual(self.products()["Driftwater Fluid Simulation"], "default")

    def test_a_connected_client_learns_of_changes(self):
        watcher = self.farm.start("-Products", program="watcher")
        self.assertEqual(watcher.stdout.readline(), b"ready\n")
        for args, line in ((("-ImportProduct", self.own()), "installed Own Tool, now 7\n"),
                           (("-RemoveProduct", "fluid"), f"removed {FLUID}, now 6\n")):
            self.assertDone(self.farm.run(*args))
            self.assertEqual(watcher.stdout.readline().decode(), line)
        # The reset comes as a whole list; the next change tells how many there are then.
        self.assertDone(self.farm.run("-RemoveProduct", NULL))
        self.assertDone(self.farm.run("-ImportProduct", self.own()))
        self.assertEqual(watcher.stdout.readline().decode(), "installed Own Tool, now 7\n")
        watcher.send_signal(signal.SIGINT)
        self.assertDone(finish(watcher), 130)

    def test_a_request_whose_answer_is_lost_is_applied_once(self):
        proxy = Proxy(self.farm.folder / "proxy.sock", self.farm.socket,
                      lambda connection, from_client, kind:
                      "cut" if connection == 0 and not from_client and kind == ANSWER else "pass")
        self.addCleanup(proxy.close)
        self.assertDone(self.farm.run("-ImportProduct", self.own(), address=proxy.address))
        self.assertEqual([r["result"] for r in self.farm.audit()], ["committed"])
