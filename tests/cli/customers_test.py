"""customers list, show, add, set, delete, restore and erase."""

import csv
import io
import json
import unittest

from cli import CommandTest, Running


class Customers(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("a@example.jp,表,花子,Y", "b@example.jp,髙山,ｱｲ,N", "c@example.jp,\"林,\"\"x\"\"\",,")

    def run_on(self, command, *arguments, **options):
        return self.tessaly("customers", command, "shop.tsl", *arguments, **options)

    def refuse(self, command, *arguments, says):
        before = (self.folder / "shop/DB/database.dat").read_bytes()
        self.refused("customers", command, "shop.tsl", *arguments, says=says)
        self.assertEqual((self.folder / "shop/DB/database.dat").read_bytes(), before)

    def test_list(self):
        self.assertEqual(self.run_on("list", "--limit", "2").out,
                         "個人情報ID  メールアドレス  名前(姓)  名前(名)  都道府県  DM送付可否\n"
                         "0           a@example.jp    表        花子                Y\n"
                         "1           b@example.jp    髙山      ｱｲ                  N\n"
                         "3件のうち 2件\n")
        columns = ["--columns", "1,名前(姓),拡張属性A"]
        rows = list(csv.DictReader(io.StringIO(self.run_on("list", *columns, "--format", "csv").out)))
        self.assertEqual(rows, json.loads(self.run_on("list", *columns, "--format", "json").out))
        self.assertEqual(rows[2], {"メールアドレス": "c@example.jp", "名前(姓)": "林,\"x\"", "拡張属性A": ""})
        self.refuse("list", "--columns", "1,氏名", says="そういう列はありません: 氏名\n使える列: 個人情報ID、メールアドレス、")
        self.refuse("list", "--columns", "", says="そういう列はありません")

    def test_add_and_set(self):
        added = self.run_on("add", "メールアドレス=d@example.jp", "名前(姓)=山﨑=", "生年月日=1990/4/1").out
        self.assertTrue(added.startswith("個人情報ID: 3\nメールアドレス: d@example.jp\n名前(姓): 山﨑=\n"
                                         "生年月日: 1990/04/01 00:00:00\nDM送付可否: Y\n"), added)
        self.run_on("set", "3", "都道府県=東京都", "郵便番号=150-0001")
        self.assertIn("郵便番号: 1500001\n都道府県: 東京都\n", self.run_on("show", "3").out)
        self.run_on("set", "3", "DM送付可否=N", "名前(姓)=", "都道府県=", "郵便番号=", "メールアドレス=D@example.jp")
        shown = self.run_on("show", "3").out
        self.assertIn("メールアドレス: D@example.jp\n生年月日: 1990/04/01 00:00:00\nDM送付可否: N\n", shown)
        for arguments, says in ((["add", "名前(姓)=山田"], "メールアドレスが必要です"),
                                (["add", "メールアドレス=A@example.jp"], "もういます: 個人情報ID 0"),
                                (["add", "メールアドレス=a@b@c"], "メールアドレスの形が正しくありません: a@b@c"),
                                (["set", "0", "メールアドレス=b@example.jp"], "もういます: 個人情報ID 1"),
                                (["set", "0", "メールアドレス="], "メールアドレス: メールアドレスがありません"),
                                (["set", "0", "名前(姓)=良", "生年月日=2023/2/29"], "生年月日: 日付が正しくありません"),
                                (["set", "0", "郵便番号=〒1"], "郵便番号: 数字とハイフンのほかは使えません"),
                                (["set", "0", "郵便番号=150-000"], "郵便番号: 7桁の数字ではありません (例: 150-0001): 150-000"),
                                (["set", "0", "都道府県=東京", "電話番号=+81-3", "名前(名)=a\nb", "名前(姓)=良"],
                                 "都道府県: 都道府県の名前ではありません (例: 東京都): 東京\n"
                                 "電話番号: 数字とハイフンのほかは使えません: +81-3\n"
                                 "名前(名): 改行などの使えない文字があります: a b"),
                                (["set", "0", "DM送付可否=はい"], "DM送付可否: Y か N のどちらかです"),
                                (["set", "0", "DM送付可否="], "DM送付可否: Y か N のどちらかです"),
                                (["set", "0", "名前(姓)=💌"], "名前(姓)に使えない文字があります: 1行1文字目の「💌」"),
                                (["set", "0", "個人情報ID=9"], "この列は変えられません: 個人情報ID"),
                                (["set", "0", "削除フラグ=Y"], "この列は変えられません: 削除フラグ"),
                                (["set", "0", "名前"], "「列=値」の形で書いてください: 名前"),
                                (["set", "9", "名前(姓)=x"], "その個人情報IDの顧客はいません: 9"),
                                (["show", "9"], "その個人情報IDの顧客はいません: 9")):
            self.refuse(*arguments, says=says)

    def test_a_sequence_behind_its_customers(self):
        self.put("list.csv", "メールアドレス\n" + "".join(f"n{i}@example.jp\n" for i in range(250)))
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        for number, content in enumerate(("0", None, "", "-5", "いくつ", "252"), 253):
            (self.folder / "shop/DB/dbseq.dat").unlink()
            if content is not None:
                self.put("shop/DB/dbseq.dat", content)
            added = self.run_on("add", f"メールアドレス=later{number}@example.jp").out
            self.assertTrue(added.startswith(f"個人情報ID: {number}\n"), (content, added))
        self.put("shop/DB/dbseq.dat", "9999999")
        self.refuse("add", "メールアドレス=last@example.jp", says="顧客を書き込めません")

    def test_delete_restore_and_erase(self):
        self.refuse("delete", "0", "9", says="その個人情報IDの顧客はいません: 9")
        self.assertEqual(self.addresses(), ["a@example.jp", "b@example.jp", "c@example.jp"])
        self.run_on("delete", "0", "2")
        self.assertEqual(self.addresses(), ["b@example.jp"])
        self.assertEqual(self.addresses("--deleted"), ["a@example.jp", "c@example.jp"])
        self.refuse("add", "メールアドレス=a@example.jp", says="個人情報ID 0 (削除済み。customers restore で戻せます)")
        self.run_on("restore", "0")
        self.assertEqual(self.addresses(), ["a@example.jp", "b@example.jp"])
        self.refuse("erase", "2", says="--yes をつけてください")
        self.run_on("erase", "2", "1", "--yes")
        self.assertEqual(self.addresses("--all"), ["a@example.jp", "", ""])
        self.refuse("restore", "0", "2", says="消去された顧客は戻せません: 2")
        self.assertEqual(self.run_on("add", "メールアドレス=c@example.jp").out.split("\n")[0], "個人情報ID: 3")

    def test_two_at_once_both_count(self):
        writers = [Running(self, "customers", "add", "shop.tsl", f"メールアドレス=new{i}@example.jp") for i in range(6)]
        writers.append(Running(self, "customers", "import", "shop.tsl", "list.csv"))
        for writer in writers:
            self.assertEqual(writer.result().code, 0)
        self.assertEqual(sorted(self.addresses()), ["a@example.jp", "b@example.jp", "c@example.jp"] +
                         [f"new{i}@example.jp" for i in range(6)])


if __name__ == "__main__":
    unittest.main()
