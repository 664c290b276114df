"""Commands whose power is cut (tests/torture/power.py)."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "torture"))
import power  # noqa: E402
from shop import PART  # noqa: E402


class Power(unittest.TestCase):
    def test_everything_is_as_before_or_as_after(self):
        cuts, faults = power.run(200 // PART)
        self.assertEqual(faults, [])
        self.assertEqual(cuts, 200 // PART)

    def test_a_change_that_is_not_brought_to_the_disk_is_seen(self):
        faults = power.run(20, only="customers set", no_sync=True)[1]
        self.assertIn("customers set", "".join(faults))


if __name__ == "__main__":
    unittest.main()
