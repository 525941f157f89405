"""What the tests of the commands share that look and change nothing."""

import json
import subprocess

from farm import BIN, FarmTest, finish


def master(*args):
    """Runs a subcommand whose status is of interest."""
    return finish(subprocess.Popen([BIN / "brenic-master", *map(str, args)], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE))


def lines(result):
    return [json.loads(line) for line in result.out.splitlines()]


class LookingTest(FarmTest):
    maxDiff = None  # all of what was printed

    def write(self, text, name="options.ini"):
        path = self.farm.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def plan(self, path, *args):
        return master("plan", path, "--data-dir", self.farm.data, *args)

    def import_product(self, **document):
        self.assertDone(self.farm.run("-ImportProduct", self.write(json.dumps(document), "product.json")))
