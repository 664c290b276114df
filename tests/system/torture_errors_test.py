"""Commands on a disk that is full or broken (tests/torture/errors.py)."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "torture"))
import errors  # noqa: E402
from shop import PART  # noqa: E402


class Errors(unittest.TestCase):
    def test_a_failure_is_told_and_changes_nothing_by_half(self):
        tried, faults = errors.run(120 // PART)
        self.assertEqual(faults, [])
        self.assertEqual(tried, 120 // PART)


if __name__ == "__main__":
    unittest.main()
