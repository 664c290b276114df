"""testers add, list and delete."""

import json
import unittest

from cli import CommandTest, DAMAGED_TABLE


class Testers(CommandTest):
    def listed(self):
        rows = json.loads(self.tessaly("testers", "list", "shop.tsl", "--format", "json").out)
        return [(row["個人情報ID"], row["メールアドレス"], row["名前(姓)"]) for row in rows]

    def test_testers_come_and_go(self):
        self.new_shop()
        self.assertEqual(self.listed(), [])
        for name in ("表", "ソ", "林"):
            self.tessaly("testers", "add", "shop.tsl", f"メールアドレス={name.encode().hex()}@example.jp", "名前(姓)=" + name)
        self.tessaly("testers", "delete", "shop.tsl", 1)
        self.assertEqual([row[::2] for row in self.listed()], [("0", "表"), ("2", "林")])
        self.assertIn("番号は 3 です", self.tessaly("testers", "add", "shop.tsl", "メールアドレス=x@example.jp").out)
        before = self.listed()
        for values, says in ((["名前(姓)=表"], "メールアドレスが必要です"), (["メールアドレス=x"], "メールアドレスの形が正しくありません"),
                             (["無い列=1"], "そういう列はありません")):
            self.refused("testers", "add", "shop.tsl", *values, says=says)
        self.refused("testers", "delete", "shop.tsl", 0, 1, says="その番号のテスト送信の相手はいません: 1")
        self.assertEqual(self.listed(), before)

    def test_a_damaged_file_is_not_written_over(self):
        self.new_shop()
        (self.folder / "shop/DB/testmailinginfo.dat").write_bytes(DAMAGED_TABLE)
        self.refused("testers", "add", "shop.tsl", "メールアドレス=x@example.jp", says="テスト送信の相手を読めません")
        self.assertEqual((self.folder / "shop/DB/testmailinginfo.dat").read_bytes(), DAMAGED_TABLE)


if __name__ == "__main__":
    unittest.main()
