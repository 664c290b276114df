"""report: the outcomes of each mail and each recipient, and the refusal of a damaged history."""

import csv
import io
import json
import re
import unittest

from cli import CommandTest, DAMAGED_TABLE

DATE = r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d"


class HistoryReport(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("n0@example.jp,表,花子,Y", "n1@example.jp,ソ,,Y", "n2@example.jp,,次郎,Y")
        self.put("draft.txt", "Subject: 表,\"ソ\"\n\ny\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")

    def rows(self, *options):
        return json.loads(self.tessaly("report", "shop.tsl", *options, "--format", "json").out)

    def totals(self, *options):
        return [[row[name] for name in ("番号", "状態", "宛先", "送信", "宛先なし", "その他エラー", "待ち", "送信回数")] for row in self.rows(*options)]

    def journal(self, *lines):
        """What a run that was killed leaves behind: newer than the history file."""
        text = "".join(f"{line}\t2026/11/23 01:02:03\n" for line in lines)
        self.put("shop/MAIL/0/hist0.journal", text.encode("latin-1"))

    def test_each_recipient(self):
        self.assertEqual(self.rows(0), [])
        self.assertIn("宛先 3人: 送信 0人、宛先なし 0人、その他エラー 0人、不明 0人、待ち 3人。開封 0人、送信回数 0回\n", self.tessaly("report", "shop.tsl", 0).out)
        self.postbox()
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server)
        rows = self.rows(0)
        self.assertEqual([row["名前"] for row in rows], ["表 花子", "ソ", "次郎"])
        self.assertEqual({row["メールアドレス"]: row["Message-ID"] for row in rows}, {mail.recipient: mail.id for mail in self.mails()})
        for row in rows:
            self.assertRegex(row["最終送信日時"], f"^{DATE}$")
        self.journal("0\tE\t2\tid0@x", "1\tW\t-1\tid1@x", "2\t\xff\t1\tid2@x")
        seen = [list(row.values())[3:9] for row in self.rows(0)]
        self.assertEqual(seen, [["エラー", "3", "3", "N", "id0@x", "2026/11/23 01:02:03"], ["待ち", "0", "0", "N", "id1@x", ""],
                                ["\ufffd", "2", "2", "N", "id2@x", "2026/11/23 01:02:03"]])
        self.assertEqual(self.totals(), [["0", "完了", "3", "0", "0", "2", "1", "5"]])
        self.tessaly("customers", "erase", "shop.tsl", 0, "--yes")
        table = self.tessaly("report", "shop.tsl", 0).out.splitlines()
        self.assertRegex(table[1], r"^0 +エラー +3 +3 +N +id0@x +2026")
        self.assertEqual(table[4:], ["宛先 3人: 送信 0人、宛先なし 0人、その他エラー 2人、不明 0人、待ち 1人。開封 0人、送信回数 5回"])
        self.journal("0\tC\t2147483647\tid0@x", "1\tW\t2147483647\tid1@x", "2\tC\t-2147483648\tid2@x")  # without sense
        self.assertEqual([(row["送信回数"], row["エラー"]) for row in self.rows(0)],
                         [("2147483648", "2147483647"), ("2147483648", "2147483648"), ("-2147483647", "-2147483648")])
        self.assertEqual(self.totals(), [["0", "完了", "3", "2", "0", "0", "1", "2147483649"]])

    def test_all_mails(self):
        for _ in range(2):
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
        self.tessaly("target", "shop.tsl", 1, "--where", "名前(姓)=ソ")
        self.tessaly("mail", "delete", "shop.tsl", 0)
        live = [["1", "下書き", "1", "0", "0", "0", "1", "0"], ["2", "下書き", "0", "0", "0", "0", "0", "0"]]
        self.assertEqual(self.totals(), live)
        self.assertEqual(self.totals("--deleted"), [["0", "削除", "3", "0", "0", "0", "3", "0"]] + live)
        self.assertEqual(self.rows(0), [])  # a deleted mail too
        listed = list(csv.DictReader(io.StringIO(self.tessaly("report", "shop.tsl", "--format", "csv").out)))
        self.assertEqual([row["件名"] for row in listed], ["表,\"ソ\""] * 2)
        self.assertTrue(re.fullmatch(DATE, listed[0]["更新日時"]), listed)
        self.assertTrue(self.tessaly("report", "shop.tsl").out.endswith("\n2件\n"))

    def test_what_cannot_be_told(self):
        self.refused("report", "shop.tsl", 9, says="その番号のメールはありません: 9")
        self.refused("report", "shop.tsl", 0, "--deleted", says="--deleted", code=2)
        self.refused("report", "shop.tsl", "--format", "xml", says="xml", code=2)
        (self.folder / "shop/MAIL/0/hist0.dat").write_bytes(DAMAGED_TABLE)
        for mail in ([], [0]):
            self.refused("report", "shop.tsl", *mail, says="送信履歴を読めません")
        self.assertEqual((self.folder / "shop/MAIL/0/hist0.dat").read_bytes(), DAMAGED_TABLE)


if __name__ == "__main__":
    unittest.main()
