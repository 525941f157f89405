"""What the manual pages give as examples, as man(1) shows it: the Master's stand in docs/operations.md, every command of which
scripts/test-operations runs; tests/e2e/test_manual.py runs the tool's."""

import pathlib
import re
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
ESCAPES = {"\\-": "-", "\\e": "\\", "\\(aq": "'"}


def examples(page):
    """The lines of the page's examples. An escape that is not known shows as something else than it seems."""
    section = (TREE / "docs/man" / page).read_text().split(".SH EXAMPLES\n")[1].split("\n.SH ")[0]
    lines = [line for block in re.findall(r"\.EX\n(.*?)\n\.EE", section, re.DOTALL) for line in block.splitlines()]
    return [re.sub(r"\\(\(..|.)", lambda escape: ESCAPES[escape[0]], line) for line in lines]


class ManualExamples(unittest.TestCase):
    def test_the_masters_are_commands_of_the_operations_document(self):
        document = re.sub(r"^(brenic\$|\$) ", "# ", (TREE / "docs/operations.md").read_text(), flags=re.M).splitlines()
        found = examples("brenic-master.8")
        self.assertGreater(len(found), 8)
        for line in found:
            self.assertIn(line, document)
