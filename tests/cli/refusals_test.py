"""refusals and suppressed: the lists of those to whom nothing is sent, and what else obeys them."""

import json
import unittest

from cli import CommandTest


class Lists(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,姓{i},,Y" for i in range(4)))

    def rows(self, family, *options):
        listed = json.loads(self.tessaly(family, "list", "shop.tsl", "--format", "json", *options).out)
        return [(row["メールアドレス"], row.get("方法") or row["理由"], row["メモ"]) for row in listed]

    def test_they_are_shown_changed_exported_and_imported(self):
        self.assertEqual(self.tessaly("refusals", "add", "shop.tsl", "N1@example.jp", "x@example.jp", "--note", "電話\tで").out,
                         "2件を配信停止にしました。\n")
        self.assertEqual(self.tessaly("refusals", "add", "shop.tsl", "n1@example.jp").out, "0件を配信停止にしました。\n")
        self.put("no.csv", "名前,メール\n甲,n2@example.jp\n乙,bad\n丙,N1@EXAMPLE.JP\n")
        told = self.tessaly("refusals", "import", "shop.tsl", "no.csv")
        self.assertEqual((told.out, told.err), ("1件を配信停止にしました。\n", "3行: メールアドレスの形が正しくありません: bad\n"))
        both = [("N1@example.jp", "手で登録", "電話 で"), ("x@example.jp", "手で登録", "電話 で")]
        self.assertEqual(self.rows("refusals"), [*both, ("n2@example.jp", "取り込み", "no.csv")])
        self.assertEqual(self.tessaly("customers", "list", "shop.tsl", "--columns", "DM送付可否", "--format", "csv").out.splitlines()[1:],
                         ["Y", "N", "N", "Y"])
        self.refused("refusals", "remove", "shop.tsl", "n2@example.jp", says="--consent")
        self.refused("refusals", "remove", "shop.tsl", "n3@example.jp", "--consent", "x", says="一覧にありません")
        self.tessaly("refusals", "remove", "shop.tsl", "N2@example.jp", "--consent", "会員ページで")
        self.assertEqual(self.rows("refusals"), both)
        self.assertEqual(self.rows("refusals", "--history")[2:], [("n2@example.jp", "取り込み", "no.csv"), ("n2@example.jp", "同意により解除", "会員ページで")])
        self.tessaly("suppressed", "add", "shop.tsl", "n3@example.jp", "--note", "転居")
        self.assertEqual(self.rows("suppressed"), [("n3@example.jp", "手で登録", "転居")])
        for family, count in (("refusals", 2), ("suppressed", 1)):
            self.tessaly(family, "export", "shop.tsl", "out.csv", "--force")
            self.assertEqual((self.folder / "out.csv").stat().st_mode & 0o777, 0o600)
            self.assertEqual(self.text("out.csv").splitlines()[1:], self.tessaly(family, "list", "shop.tsl", "--format", "csv").out.splitlines()[1:])
            self.refused(family, "export", "shop.tsl", "out.csv", says="ファイルがもうあります")
            self.refused(family, "export", "shop.tsl", "shop/x.csv", says="環境のファイルとディレクトリの外")
            self.refused(family, "add", "shop.tsl", "no address", says="メールアドレスの形が正しくありません")
            self.tessaly("env", "new", f"{family}.tsl")
            if family == "refusals":
                self.tessaly("refusals", "import", "refusals.tsl", "out.csv")
        self.tessaly("suppressed", "remove", "shop.tsl", "n3@example.jp")
        self.assertEqual(self.rows("suppressed"), [])

    def test_drafts_go_to_nobody_on_a_list(self):
        self.tessaly("refusals", "add", "shop.tsl", "n1@example.jp")
        self.tessaly("suppressed", "add", "shop.tsl", "n2@example.jp")
        self.put("draft.txt", "Subject: x\n\ny\n")
        dry = self.tessaly("send", "shop.tsl", "--draft", "draft.txt", "--dry-run")
        self.assertEqual(dry.out.splitlines()[:-1], ["0 n0@example.jp", "3 n3@example.jp"])
        for line in ("DMを受け取らない顧客 1人には送りません。", "届かないので止めている 1人には送りません"):
            self.assertIn(line, dry.err)
        self.refused("send", "shop.tsl", "--draft", "draft.txt", "--to", "1,2", "--dry-run", says="送る相手がいません")

    def test_consent_of_one_customer(self):
        told = self.tessaly("customers", "set", "shop.tsl", 1, "DM送付可否=N")
        self.assertEqual(self.rows("refusals"), [("n1@example.jp", "手で登録", "")])
        told = self.tessaly("customers", "set", "shop.tsl", 1, "DM送付可否=Y", "名前(姓)=変")
        self.assertIn("配信停止の申し出のある宛先 1件 は、停止のままにしました", told.err)
        self.assertIn("名前(姓): 変\n", told.out)
        self.assertIn("DM送付可否: N\n", told.out)
        told = self.tessaly("customers", "set", "shop.tsl", 1, "DM送付可否=Y", "--consent", "店頭で")
        self.assertIn("DM送付可否: Y\n", told.out)
        self.assertEqual(self.rows("refusals"), [])

    def test_the_lists_go_into_a_new_environment_with_the_backup(self):
        self.tessaly("refusals", "add", "shop.tsl", "n1@example.jp")
        self.tessaly("suppressed", "add", "shop.tsl", "n2@example.jp")
        self.tessaly("backup", "shop.tsl", "all.tar")
        self.tessaly("restore", "other.tsl", "all.tar")
        for family in ("refusals", "suppressed"):
            shown = [self.tessaly(family, "list", env, "--format", "csv").out for env in ("shop.tsl", "other.tsl")]
            self.assertEqual(shown[0], shown[1])
            self.assertEqual(len(shown[0].splitlines()), 2)


if __name__ == "__main__":
    unittest.main()
