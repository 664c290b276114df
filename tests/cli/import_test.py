"""customers import: which files it reads, and which it refuses with which message."""

import unittest

from cli import SAMPLE, CommandTest

TITLES = "メールアドレス,名前(姓),生年月日,DM送付可否,備考\n"


class Import(CommandTest):
    def setUp(self):
        super().setUp()
        self.tessaly("env", "new", "shop.tsl")

    def take(self, file, *options, new=0, changed=0, refused=0, code=0):
        result = self.tessaly("customers", "import", "shop.tsl", file, *options, code=code)
        self.assertEqual(result.out.splitlines()[-1],
                         f"新規 {new}件、更新 {changed}件、取り込めず {refused}件")
        return result

    def listed(self, columns="0,1,2", *options):
        listed = self.tessaly("customers", "list", "shop.tsl", "--columns", columns, "--format", "csv", *options)
        return listed.out.splitlines()[1:]

    def test_the_sample_list(self):
        self.take(SAMPLE / "customers.csv", new=300)
        self.take(SAMPLE / "customers.csv", changed=300)
        wanted = (SAMPLE / "customers.csv").read_bytes().decode("cp932").splitlines()[1:]
        columns = "1,2,3,4,5,6,7,8,9,11,12,13,15,19,21,28,29"  # those of the file, in its order
        got = self.tessaly("customers", "list", "shop.tsl", "--columns", columns, "--format", "csv").out
        self.assertEqual(got.replace(" 00:00:00", "").splitlines()[1:], wanted)

    def test_encodings(self):
        text = "備考,名前(姓),メールアドレス\r\nx,髙﨑ソ表,a@example.jp\r\n"
        for content in (text.encode("cp932"), text.encode(), b"\xef\xbb\xbf" + text.encode()):
            self.take(self.put("list.csv", content), "--replace", new=1)
            self.assertIn("a@example.jp,髙﨑ソ表", self.listed()[0])
        self.refuse("list.csv", "--encoding", "cp932", says="見出しの行に使えない文字があります: 1行")
        self.take(self.put("wide.csv", text.encode("utf-16")), changed=1)
        self.take(self.put("list.csv", text.replace("髙", "高").encode("cp932")), "--encoding", "cp932", changed=1)
        self.assertEqual(self.listed("2"), ["高﨑ソ表"])

    def refuse(self, file, *options, says, code=1):
        self.refused("customers", "import", "shop.tsl", file, *options, says=says, code=code)

    def test_refused_lines_are_named_and_can_be_taken_later(self):
        self.put("list.csv", TITLES + "a@example.jp,山田,1990/4/1,Y,x\n" + "b@,田中,,Y,y\n" +
                 "c@example.jp,ま💌,,Y,z\n" + "d@example.jp,\"二\n行\",1990/13/1,Y,\n" + "e@example.jp,,,X,\n" +
                 ",\x1b[1m,,,\n" + "\n" + "f@example.jp\n" + "g@example.jp,\"a,\"\"b\"\"\",,,\n" +
                 "a@example.jp,山本,,N,\n")
        result = self.take("list.csv", new=3, changed=1, refused=5)
        self.assertEqual(result.err,
                         "list.csv: UTF-8、コンマ区切り、1行目は見出し、5列\n"
                         "使う列: メールアドレス、名前(姓)、生年月日、DM送付可否\n使わない列: 備考\n"
                         "3行: メールアドレス: メールアドレスの形が正しくありません: b@\n"
                         "4行: 使えない文字: 4行15文字目の「💌」\n"
                         "5行: 生年月日: 日付が正しくありません (例: 1990/04/01): 1990/13/1\n"
                         "7行: DM送付可否: Y か N のどちらかです: X\n"
                         "8行: メールアドレス: メールアドレスがありません\n"
                         "取り込めなかった行はここにあります (直して、もう一度取り込めます): list.csv.refused.csv\n"
                         "注意: 1行は取り込みましたが、確かめてください (--strict を付けると、こういう行を取り込みません)。\n"
                         "10行: 列が4つ足りない行です (5列のはずが1列)\n"
                         "引用符の中の改行を空白にして、1行として読みました: 5〜6行\n"
                         "使った列: メールアドレス、名前(姓)、生年月日、DM送付可否\n使わなかった列: 備考\n")
        self.assertEqual(self.listed("0,1,2,8,21"), ["0,a@example.jp,山本,,N", "1,f@example.jp,,,Y",
                                                     "2,g@example.jp,\"a,\"\"b\"\"\",,Y"])
        left = self.text("list.csv.refused.csv")
        self.assertEqual(left, TITLES.replace("\n", "\r\n") + "b@,田中,,Y,y\r\n" + "c@example.jp,ま💌,,Y,z\r\n" +
                         "d@example.jp,\"二\n行\",1990/13/1,Y,\r\n" + "e@example.jp,,,X,\r\n" + ",\x1b[1m,,,\r\n")
        self.put("list.csv", left.replace("b@", "b@example.jp").replace("💌", "").replace("13", "12")
                 .replace("X", "N").replace(",\x1b", "h@example.jp,\x1b"))
        self.take("list.csv", new=5)
        self.assertFalse((self.folder / "list.csv.refused.csv").exists())
        self.assertIn("二 行", self.listed("2"))

    def test_a_cp932_file_is_refused_in_cp932(self):
        lines = "メールアドレス,会社名\na@example.jp,".encode("cp932") + b"\x85\x40" + "\n表@例,ソ\n".encode("cp932")
        result = self.take(self.put("list.csv", lines), refused=2, code=1)
        self.assertIn("2行: 文字になっていないバイト: 2行14文字目の「\\x85\\x40」\n3行: メールアドレス: ", result.err)
        self.assertEqual((self.folder / "list.csv.refused.csv").read_bytes(), lines.replace(b"\n", b"\r\n"))

    def test_columns_by_option(self):
        self.put("list.csv", "addr;nm;x\n表;z@example.jp;1\n")
        self.refuse("list.csv", says="メールアドレスの列が分かりません")
        semicolon = ["--delimiter", ";"]
        self.take("list.csv", *semicolon, "--columns", "メールアドレス=nm,名前(姓)=addr", new=1)
        self.take("list.csv", *semicolon, "--columns", "1=2,3=1", "--no-header", changed=1, refused=1)
        for word in ("auto", "semicolon"):
            self.take("list.csv", "--delimiter", word, "--columns", "メールアドレス=ＮＭ", changed=1)
        self.assertEqual(self.listed("1,2,3"), ["z@example.jp,表,表"])
        for columns, says, code in (("1=nope", "ファイルにそういう列はありません", 1), ("1=0", "ファイルにそういう列", 1),
                                    ("1=2,名前(名)=4", "そういう列はありません (見出し、または1からの番号): 4\nファイルの列: 1 addr、2 nm、3 x\n", 1),
                                    ("nope=1", "そういう列はありません: nope", 1), ("56=1", "そういう列はありません: 56", 1),
                                    ("1", "--columns は「顧客の列=ファイルの列」の形です: 1", 2)):
            self.refuse("list.csv", *semicolon, "--columns", columns, says=says, code=code)
        for option, value in (("--delimiter", ";;"), ("--delimiter", "あ"), ("--delimiter", ""), ("--delimiter", "\r"),
                              ("--delimiter", "\n"), ("--quote", "''"), ("--encoding", "euc-jp")):
            self.refuse("list.csv", option, value, says=option, code=2)
        self.put("tab.csv", "メールアドレス\t会社名\n'y@example.jp'\t'a\t''b'\n")
        self.take("tab.csv", "--delimiter", "\\t", "--quote", "'", new=1)
        self.assertEqual(self.listed("1,6")[1], "y@example.jp,a\t'b")
        self.take(self.put("bare.csv", "メールアドレス,会社名\nx@example.jp,\"a\n"), "--quote", "", new=1)
        self.assertEqual(self.listed("6")[2], '"""a"')

    def test_titles_are_known_by_other_names(self):
        self.tessaly("settings", "shop.tsl", "attribute.A.name=2024年購入", "attribute.B.name=5")
        self.put("list.csv", "氏名;ＭＡＩＬ;名前（姓）;名前（名）;県;〒郵便番号;ﾌｧｯｸｽ;電話;誕生日;ＦＡＸ;2024年購入;5;9;メール;個人情報ID;;備考\n"
                 "x;a@example.jp;山田;太郎;東京都;150-0001;03-2;03-1;1988-07-26;1;12,000円;6;7;z;99;;\n")
        result = self.take("list.csv", new=1)
        self.assertIn("セミコロン区切り", result.err)
        self.assertIn("使う列: ＭＡＩＬ → メールアドレス、名前（姓） → 名前(姓)、名前（名） → 名前(名)、県 → 都道府県、〒郵便番号 → 郵便番号、"
                      "ﾌｧｯｸｽ → FAX番号、電話 → 電話番号、誕生日 → 生年月日、2024年購入、5\n"
                      "使わない列: 氏名、ＦＡＸ、9、メール、個人情報ID、16列目、備考\n", result.err)
        self.assertIn("使わなかった列: 氏名、ＦＡＸ、9、", result.err)
        self.assertEqual(self.listed("0,1,2,3,8,9,11,15,17,28,29"),
                         ["0,a@example.jp,山田,太郎,1988/07/26 00:00:00,150-0001,東京都,03-1,03-2,\"12,000円\",6"])

    def test_values_in_other_forms_and_values_to_look_at(self):
        self.put("list.csv", "メール\t生年月日\t郵便番号\t都道府県\t電話番号\tDM送付可否\tDM以外送付可否\n"
                 "a@example.jp\t19880726\t〒123-4567\tトーキョー\t+81-3\tｙ\t\n"
                 "b@example.jp\t1988-07-26\t\"１２３－４５６７\"\t東京都\t\tN\tmaybe\n"
                 "c@example.jp\t1988/13/1\t〒12\t東京都\t(03)1\tZ\tN\tx\n"
                 "d@example.jp\t\t\t\t\t\tY\t\t\n")
        result = self.take("list.csv", new=3, refused=1)
        self.assertIn("タブ区切り", result.err)
        self.assertIn("4行: 列が1つ多い行です (7列のはずが8列)\n4行: 生年月日: 日付が正しくありません (例: 1990/04/01): 1988/13/1\n"
                      "4行: 電話番号: 数字とハイフンのほかは使えません: (03)1\n4行: DM送付可否: Y か N のどちらかです: Z\n取り込めなかった", result.err)
        doubts = ("2行: 都道府県: 都道府県の名前ではありません (例: 東京都): トーキョー\n2行: 電話番号: 数字とハイフンのほかは使えません: +81-3\n"
                  "3行: DM以外送付可否: Y か N のどちらかです: maybe\n")
        self.assertIn("注意: 2行は取り込みましたが、確かめてください", result.err)
        self.assertIn(doubts + "5個の値の書き方をそろえました: 2行 生年月日: 19880726 → 1988/07/26 など\n", result.err)
        self.assertEqual(self.listed("1,8,9,21")[:2], ["a@example.jp,1988/07/26 00:00:00,123-4567,Y",
                                                       "b@example.jp,1988/07/26 00:00:00,123-4567,N"])
        self.take("list.csv", "--columns", "FAX番号=郵便番号", changed=3, refused=1)  # one column for two elements
        self.assertEqual(self.listed("9,17")[:2], ["123-4567,123-4567"] * 2)
        strict = self.take("list.csv", "--strict", changed=1, refused=3)
        self.assertIn(doubts + "4行: 列が1つ多い", strict.err)
        self.assertIn("4行: 郵便番号: 7桁の数字ではありません (例: 150-0001): 12\n4行: 電話番号: ", strict.err)
        self.put("list.csv", "メール,DM送付可否,削除フラグ,会社名\na@example.jp,bad,,店\x1b[1m\nb@example.jp,bad,N,\n\"\",bad,,\n")
        result = self.take("list.csv", changed=1, refused=2)
        self.assertIn("3行: 削除フラグ: Y か空のどちらかです: N\n4行: メールアドレス: メールアドレスがありません\n4行: DM送付可否: ", result.err)
        self.assertIn("2行: DM送付可否: Y か N のどちらかです: bad (前の値のままにしました)\n"
                      "2行: 会社名: 改行などの使えない文字があります: 店 [1m\n", result.err)
        self.assertEqual(self.listed("21")[:2], ["Y", "N"])
        self.assertIn("2行: メールアドレス: メールアドレスがありません", self.take(
            self.put("bad.csv", "メール,名\n,x\n"), "--strict", refused=1, code=1).err)

    def test_quotes_that_are_not_closed(self):
        self.put("list.csv", "メール,会社名\na@example.jp,\"い\nb@example.jp,\"ろ\"\nc@example.jp,\"は\nd@example.jp,に\n"
                 "e@example.jp,ほ\"\nf@example.jp,\"へ\nと, ち\"\ng@example.jp,\"り\n")
        result = self.take("list.csv", new=3, refused=2)
        self.assertIn("2行: 引用符 (\") が閉じていません\n9行: 引用符 (\") が閉じていません\n", result.err)
        self.assertIn("4行: 引用符の閉じ忘れかもしれません。引用符の中の5行も、顧客のように見えます\n引用符の中の改行を空白にして、1行として読みました: "
                      "4〜6行、7〜8行\n", result.err)
        self.take("list.csv", "--strict", changed=2, refused=3)
        self.assertEqual(self.text("list.csv.refused.csv").count("\n"), 6)

    def test_files_without_titles(self):
        self.take(self.put("list.csv", "a@example.jp\n b@example.jp\nbad\n"), new=2, refused=1)
        self.assertEqual(self.text("list.csv.refused.csv"), "bad\r\n")
        self.put("list.csv", "山田,c@example.jp,大阪府\n")
        result = self.take("list.csv", "--columns", "名前(姓)=1,都道府県=3", new=1)
        self.assertIn("見出しなし、3列\n使う列: 1列目 → 名前(姓)、2列目 → メールアドレス、3列目 → 都道府県\n", result.err)
        self.assertNotIn("使わない列", result.err)
        self.refuse("list.csv", "--columns", "名前(姓)=4", says="そういう列はありません (見出し、または1からの番号): 4")
        self.assertEqual(self.listed("1,2,11")[2], "c@example.jp,山田,大阪府")

    def test_a_broken_byte_does_not_make_another_code(self):
        content = "メールアドレス,名前(姓)\na@example.jp,山田\nb@example.jp,田?\n".encode().replace(b"?", b"\x93")
        result = self.take(self.put("list.csv", content), new=1, refused=1)
        self.assertIn("3行: 文字になっていないバイト: 3行15文字目の「\\x93」\n", result.err)
        self.assertEqual(self.listed("2"), ["山田"])

    def test_known_customers(self):
        self.take(self.put("list.csv", "メールアドレス,名前(姓)\na@example.jp,旧\nb@example.jp,旧\n"), new=2)
        self.put("list.csv", "名前(姓),メールアドレス\n新,A@EXAMPLE.JP\n新,c@example.jp\n")
        kept = self.tessaly("customers", "import", "shop.tsl", "list.csv", "--keep-existing")
        self.assertEqual(kept.out, "新規 1件、更新 0件、そのまま 1件、取り込めず 0件\n")
        self.take("list.csv", changed=2)
        self.assertEqual(self.listed(), ["0,A@EXAMPLE.JP,新", "1,b@example.jp,旧", "2,c@example.jp,新"])
        # A deleted customer who is on the list again comes back only when that is asked for.
        self.tessaly("customers", "delete", "shop.tsl", "2")
        deleted = self.listed("0,1,2", "--deleted")
        self.put("list.csv", "名前(姓),メールアドレス\n別,a@example.jp\n別,c@example.jp\n")
        for options in ([], ["--keep-existing"]):
            told = self.tessaly("customers", "import", "shop.tsl", "list.csv", *options)
            self.assertEqual("削除した顧客 1人 は、削除したままにしました" in told.err, not options)
            self.assertIn("更新 0件" if options else "更新 1件", told.out)
            self.assertEqual(self.listed("0,1,2", "--deleted"), deleted)
        self.take("list.csv", "--restore-deleted", changed=2)
        self.assertEqual(len(self.listed()), 3)
        self.tessaly("customers", "delete", "shop.tsl", "2")
        self.take("list.csv", "--replace", new=1)
        self.assertEqual(self.listed("1"), ["a@example.jp"])

    def test_replace_needs_something_to_replace_with(self):
        self.take(self.put("list.csv", "メールアドレス\na@example.jp\nb@example.jp\n"), new=2)
        result = self.take(self.put("bad.csv", "メールアドレス\nbad\n"), "--replace", refused=1, code=1)
        self.assertIn("取り込める行がないので、置き換えませんでした", result.err)
        result = self.take(self.put("bad.csv", "メールアドレス\n"), "--replace", code=1)
        self.assertEqual(self.listed("1"), ["a@example.jp", "b@example.jp"])
        self.take(self.put("bad.csv", "メールアドレス\nbad\nc@example.jp\n"), "--replace", new=1, refused=1)
        self.assertEqual(self.listed("0,1", "--all"), ["2,c@example.jp"])
        self.refuse("list.csv", "--replace", "--keep-existing", says="一緒に使えません", code=2)

    def test_files_that_are_no_lists(self):
        (self.folder / "folder.csv").mkdir()
        binary = bytes(range(256)) * 100
        for name, content, options, says in (
                ("missing.csv", None, [], "ファイルを開けません: missing.csv"), ("folder.csv", None, [], "ファイルを開けません"),
                ("empty.csv", b"", [], "ファイルが空です"), ("blank.csv", b"\r\n\n", [], "見出しの行がありません"),
                ("binary.csv", binary, [], "文字のファイルではありません"), ("book.xlsx", b"PK\3\4xl/", [], "CSVファイルではなく、Excelのブック"),
                ("euc.csv", TITLES.encode("euc-jp"), [], "見出しの行に使えない文字があります: 1行5文字目の「\\xEB"),
                ("quote.csv", b"email,\"a\nc@example.jp,d\n", [], "見出しの行の引用符が閉じていません"),
                ("bare.csv", "山田,a@example.jp\n".encode(), [], "--columns \"メールアドレス=2,名前(姓)=列の番号\"\nファイルの列: 1 山田、2 a@"),
                ("titles.csv", b"a,b\nc,d\n", [], "メールアドレスの列が分かりません")):
            if content is not None:
                self.put(name, content)
            self.refuse(name, *options, says=says)
        only = self.take(self.put("only.csv", "メール\n"))
        self.assertIn("顧客の行がありません。", only.err)
        # One record of a megabyte, and one of ten thousand fields.
        self.put("long.csv", "メールアドレス,会社名\na@example.jp," + "表" * 500000 + "\nb@example.jp" + "," * 10000 + "\n")
        self.take("long.csv", new=2)
        self.assertEqual(len(self.listed("6")[0]), 500000)


if __name__ == "__main__":
    unittest.main()
