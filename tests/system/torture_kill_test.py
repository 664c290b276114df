"""Mailings that are killed at random instants (tests/torture/kill.py)."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "torture"))
import kill  # noqa: E402


class Kill(unittest.TestCase):
    def test_nobody_is_mailed_twice_or_missed(self):
        total, faults = kill.run(25)
        self.assertEqual(faults, [])
        self.assertGreaterEqual(total.kills, 25)
        self.assertGreater(total.taken, 0)


if __name__ == "__main__":
    unittest.main()
