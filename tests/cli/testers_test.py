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
        self.assertIn("番号は 0 です", self.tessaly("testers", "add", "shop.tsl", "メールアドレス=x@example.jp", "名前(姓)=表").out)
        self.assertEqual(self.listed(), [("0", "x@example.jp", "表")])
        self.refused("testers", "add", "shop.tsl", "名前(姓)=表", says="メールアドレスが必要です")
        self.refused("testers", "delete", "shop.tsl", 0, 1, says="その番号のテスト送信の相手はいません: 1")
        self.assertEqual(self.tessaly("testers", "delete", "shop.tsl", 0).out, "1件を削除しました。\n")

    def test_a_damaged_file_is_not_written_over(self):
        self.new_shop()
        (self.folder / "shop/DB/testmailinginfo.dat").write_bytes(DAMAGED_TABLE)
        self.refused("testers", "add", "shop.tsl", "メールアドレス=x@example.jp", says="テスト送信の相手を読めません")
        self.assertEqual((self.folder / "shop/DB/testmailinginfo.dat").read_bytes(), DAMAGED_TABLE)


if __name__ == "__main__":
    unittest.main()
