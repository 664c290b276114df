"""customers import --from: the files of other programs, their logs, and what is asked on the way."""

import os
import unittest

from cli import CommandTest

CORVANE = "顧客ID,ユーザーID,アクセスコード,顧客名(姓),顧客名(名),顧客名よみ(姓),顧客名よみ(名),郵便番号,都道府県,住所,電話番号,メールアドレス,配信希望"
CONVERTER = "#!/bin/sh\n[ -f \"$1\" ] && cp \"$1\" \"${2#/d:}\"\n"


class FromPrograms(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("k@example.jp,旧,,N")

    def put_sjis(self, name, text):
        return self.put(name, text.replace("\n", "\r\n").encode("cp932"))

    def take(self, program, name, text, *options, **expected):
        self.put_sjis(name, text)
        return self.tessaly("customers", "import", "shop.tsl", name, "--from", program, *options, **expected)

    def listed(self):
        rows = self.tessaly("customers", "list", "shop.tsl", "--columns", "メールアドレス,名前(姓),DM送付可否", "--format", "csv").out
        return rows.splitlines()[1:]

    def test_address_books(self):
        becky = "a@example.jp,,,山田,,,,,,,\nbad,,,①,,,,,,,\nK@example.jp,,,新,,,,,,,\n"
        result = self.take("becky", "b.csv", becky)
        self.assertEqual(result.out, "新規 1件、更新 1件、取り込めず 1件\nくわしい記録: b.csv.log\n")
        log = self.text("b.csv.log")
        self.assertIn("2行目のお客様(メールアドレス:bad)は、[メール アドレス]に不正なメールアドレスが設定されている、"
                      "[姓]に機種依存文字「①」が含まれている、ためインポート出来ませんでした。\n", log)
        self.assertIn("インポートは2件(及びデータエラー1件)をインポートして、正常終了しました。", log)
        self.assertEqual(self.listed(), ["K@example.jp,新,N", "a@example.jp,山田,Y"])
        self.take("outlook", "o.csv", "姓,電子メール アドレス\n\"鈴\n木\",o@example.jp\n", "--dm", "no", "--log", "my.log")
        self.assertIn("正常終了", self.text("my.log"))
        self.put("convert.sh", CONVERTER)
        os.chmod(self.folder / "convert.sh", 0o755)
        titles = "No.,e-mail,氏名,ﾌﾘｶﾞﾅ,会社名,部署名１,誕生日,〒,住所１,TEL.,TEL.2:FAX.,TEL.3:携帯,性別\n"
        self.take("fudemame", "住所 録.fwa", "x\n" + titles + "1,f@example.jp,筆,,,,,,,,,,\n", "--converter", "convert.sh", "--dm", "yes")
        self.assertEqual(self.listed()[2:], ["o@example.jp,鈴木,N", "f@example.jp,筆,Y"])
        self.put("convert.sh", "#!/bin/sh\nexit 3\n")
        failed = self.take("fudemame", "f.fwa", "x", "--converter", "convert.sh", code=1)
        self.assertIn("理由は記録の終わりにあります。", failed.err)
        self.assertIn("Fwaファイルの解析ができません。", self.text("f.fwa.log"))
        self.assertEqual([], [file for file in (self.folder / "shop").rglob("*") if file.suffix in (".tmp", ".log")])

    def test_shop_exports(self):
        row = "1,u,c,田中,,,,,,,,k@example.jp,希望する"
        dated = CORVANE + ",更新日時\n" + row + ",2001/1/1 00:00:00\n"
        self.assertEqual(self.take("corvane", "c.csv", dated).out, "新規 0件、更新 0件、取り込めず 0件\nくわしい記録: c.csv.log\n")
        self.assertIn("既存データの方が新しい", self.text("c.csv.log"))
        self.take("corvane", "c.csv", dated, "--existing", "overwrite")
        self.assertEqual(self.listed(), ["k@example.jp,田中,Y"])
        without = CORVANE + "\n" + row.replace("田中", "佐藤") + "\n"
        asked = self.take("corvane", "c.csv", without, code=1)
        self.assertIn("更新日時がデータに含まれていないため、全て上書きにて", asked.err)
        self.assertIn("「いいえ」とします。よければ --yes", asked.err)
        self.assertEqual(self.listed(), ["k@example.jp,田中,Y"])
        self.take("corvane", "c.csv", without, "--yes")
        self.assertEqual(self.listed(), ["k@example.jp,佐藤,Y"])
        titles = ["メールアドレス", "姓", "名", "姓（ふりがな）", "名（ふりがな）", "会社名", "部署名", "生年月日", "郵便番号", "都道府県", "市区町村", "番地以下",
                  "電話番号", "FAX番号", "携帯番号", "DM配信", *(f"項目{i}" for i in range(19)), "登録日時", "最終更新日時"]
        line = ["b@example.jp", "別", *[""] * 34, "2030/1/1 00:00"]
        belmora = ",".join(titles) + "\n" + ",".join(line) + "\n"
        self.take("belmora", "b.csv", belmora, code=1)
        self.assertIn("理由[拡張属性の項目Bが数値型ではありません。]", self.text("b.csv.log"))
        self.take("belmora", "b.csv", belmora, "--take-attributes")
        self.assertEqual(self.listed()[1], "b@example.jp,別,Y")
        self.assertIn("attribute.A.name=項目0\n", self.tessaly("settings", "shop.tsl").out)

    def test_options_that_do_not_go_together(self):
        self.put("x.csv", "x")
        for options, says in ((["--from", "word"], "--from は becky、outlook、fudemame、corvane、belmora のどれかです: word"),
                              (["--from", "becky", "--existing", "keep"], "--existing は corvane と belmora"),
                              (["--from", "corvane", "--dm", "yes"], "--dm は住所録のため"), (["--from", "becky", "--dm", "all"], "--dm は new-no"),
                              (["--from", "fudemame"], "--converter は fudemame で必要"), (["--from", "corvane", "--take-attributes"], "belmora で"),
                              (["--from", "becky", "--replace"], "--replace"), (["--dm", "yes"], "--from")):
            self.assertIn(says, self.tessaly("customers", "import", "shop.tsl", "x.csv", *options, code=2).err, options)
        self.refused("customers", "import", "shop.tsl", "none.csv", "--from", "becky", says="ファイルを開けません: none.csv")
        self.refused("customers", "import", "shop.tsl", "x.csv", "--from", "fudemame", "--converter", "none", says="プログラムがありません")


if __name__ == "__main__":
    unittest.main()
