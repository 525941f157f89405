"""What scripts/test-operations does between the commands of docs/operations.md fits the document as it is now."""

import pathlib
import sys
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tests/operations"))

from document import Document  # noqa: E402
from story import BEFORE, SAYS_MORE, STATUS  # noqa: E402

DOCUMENT = Document(TREE / "docs/operations.md")


class StoryOfCommands(unittest.TestCase):
    def test_comes_to_its_end(self):
        left = [text for text, _ in BEFORE]
        for command in DOCUMENT.commands():
            if left and left[0] == command.text:
                left.pop(0)
        self.assertEqual(left, [], "these commands are not in the document, or in another order")

    def test_expects_nothing_of_commands_that_are_not_there(self):
        self.assertEqual({*STATUS, *SAYS_MORE} - {command.text for command in DOCUMENT.commands()}, set())

    def test_every_command_is_found(self):
        """One that stood behind no prompt would never be run."""
        text = (TREE / "docs/operations.md").read_text()
        shown = [line for line in text.splitlines() if line.startswith(("    brenic-master ", "    setwright ", "    # "))]
        self.assertEqual(shown, [])
        self.assertGreater(len(DOCUMENT.commands()), 40)
