"""Two processes at random on one environment (tests/torture/pair.py)."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "torture"))
import pair  # noqa: E402


class Pair(unittest.TestCase):
    def test_nothing_is_lost_and_nobody_mailed_twice(self):
        done, taken, faults = pair.run(6)
        self.assertEqual(faults, [])
        self.assertGreater(taken, 0)
        self.assertIn("customers set", done)


if __name__ == "__main__":
    unittest.main()
