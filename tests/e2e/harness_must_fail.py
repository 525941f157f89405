"""Fails, to prove that a wrong exit status of the tool is noticed; the test that runs this expects it."""

from farm import FarmTest


class WrongExpectation(FarmTest):
    def test_a_wrong_status_is_noticed(self):
        self.assertDone(self.farm.run("-Info"), 4)
