"""Damaged files of an environment (tests/torture/damage.py)."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "torture"))
import damage  # noqa: E402
from shop import PART  # noqa: E402


class Damage(unittest.TestCase):
    def test_no_row_is_lost_without_a_word_and_nobody_mailed_again(self):
        tried, faults = damage.run(80 // PART)
        self.assertEqual(faults, [])
        self.assertEqual(tried, 80 // PART)


if __name__ == "__main__":
    unittest.main()
