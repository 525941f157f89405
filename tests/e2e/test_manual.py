"""The examples of setwright(1) do what they say."""

import os
import re
import subprocess
import sys
import unittest

from farm import BIN, LONGEST, TREE, FarmTest

sys.path.insert(0, str(TREE / "tests/documents"))

from manual_examples import examples  # noqa: E402


class Manual(FarmTest):
    def test_every_example_is_done(self):
        folder = self.farm.folder
        (folder / "samples").symlink_to(TREE / "samples")
        configuration = self.farm.credentials
        text = configuration.read_text()
        configuration.write_text(re.sub("^Master.*", f"Master = {self.farm.address}", text, flags=re.M))
        environment = {**self.farm.environment(), "PATH": f"{BIN}:{os.environ['PATH']}"}
        commands = [line.removeprefix("$ ") for line in examples("setwright.1")]
        self.assertGreater(len(commands), 7)
        for command in commands:
            done = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, capture_output=True,
                                  timeout=LONGEST)
            self.assertEqual((done.returncode, done.stderr), (0, b""), command)
        state = self.farm.state()
        self.assertEqual(state["pathTranslations"][-1],
                         {"0": "P:\\projects", "1": "/mnt/projects", "2": "/Volumes/projects"})
        self.assertEqual(state["options"]["UserLimits"], "ann=20;")


if __name__ == "__main__":
    unittest.main()
