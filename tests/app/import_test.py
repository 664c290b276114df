"""customers import: what files it takes, what it refuses and how it says so."""

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
                         "3行: メールアドレス: メールアドレスの形が正しくありません: b@\n"
                         "4行: 使えない文字: 4行15文字目の「💌」\n"
                         "5行: 生年月日: 日付が正しくありません (例: 1990/04/01): 1990/13/1\n"
                         "7行: DM送付可否: Y か N のどちらかです: X\n"
                         "8行: メールアドレス: メールアドレスがありません\n"
                         "取り込めなかった行はここにあります (直して、もう一度取り込めます): list.csv.refused.csv\n"
                         "1行で、引用符の中の改行を空白にしました。\n")
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
        self.assertIn("2行: 使えない文字: 2行14文字目の「\\x85\\x40」\n3行: メールアドレス: ", result.err)
        self.assertEqual((self.folder / "list.csv.refused.csv").read_bytes(), lines.replace(b"\n", b"\r\n"))

    def test_columns_by_option(self):
        self.put("list.csv", "addr;nm;x\n表;z@example.jp;1\n")
        self.refuse("list.csv", says="メールアドレスの列が分かりません")
        semicolon = ["--delimiter", ";"]
        self.take("list.csv", *semicolon, "--columns", "メールアドレス=nm,名前(姓)=addr", new=1)
        self.take("list.csv", *semicolon, "--columns", "1=2,3=1", "--no-header", changed=1, refused=1)
        self.assertEqual(self.listed("1,2,3"), ["z@example.jp,表,表"])
        for columns, says, code in (("1=nope", "ファイルにそういう列はありません", 1), ("1=0", "ファイルにそういう列", 1),
                                    ("nope=1", "そういう列はありません: nope", 1), ("56=1", "そういう列はありません: 56", 1),
                                    ("1", "--columns は「顧客の列=ファイルの列」の形です: 1", 2)):
            self.refuse("list.csv", *semicolon, "--columns", columns, says=says, code=code)
        for option, value in (("--delimiter", ";;"), ("--delimiter", "あ"), ("--delimiter", ""), ("--quote", "''"),
                              ("--encoding", "euc-jp")):
            self.refuse("list.csv", option, value, says=option, code=2)
        self.put("tab.csv", "メールアドレス\t会社名\n'y@example.jp'\t'a\t''b'\n")
        self.take("tab.csv", "--delimiter", "\\t", "--quote", "'", new=1)
        self.assertEqual(self.listed("1,6")[1], "y@example.jp,a\t'b")
        self.take(self.put("bare.csv", "メールアドレス,会社名\nx@example.jp,\"a\n"), "--quote", "", new=1)
        self.assertEqual(self.listed("6")[2], '"""a"')

    def test_known_customers(self):
        self.take(self.put("list.csv", "メールアドレス,名前(姓)\na@example.jp,旧\nb@example.jp,旧\n"), new=2)
        self.put("list.csv", "名前(姓),メールアドレス\n新,A@EXAMPLE.JP\n新,c@example.jp\n")
        kept = self.tessaly("customers", "import", "shop.tsl", "list.csv", "--keep-existing")
        self.assertEqual(kept.out, "新規 1件、更新 0件、そのまま 1件、取り込めず 0件\n")
        self.take("list.csv", changed=2)
        self.assertEqual(self.listed(), ["0,A@EXAMPLE.JP,新", "1,b@example.jp,旧", "2,c@example.jp,新"])
        # A deleted customer who is on the list again is live again.
        self.tessaly("customers", "delete", "shop.tsl", "2")
        self.take("list.csv", changed=2)
        self.assertEqual(len(self.listed()), 3)

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
                ("binary.csv", binary, [], "見出しの行に使えない文字があります: 1行1文字目の「\\x00」"),
                ("utf16.csv", TITLES.encode("utf-16"), [], "見出しの行に使えない文字があります: 1行1文字目の「\\xFF」"),
                ("titles.csv", b"a,b\nc,d\n", [], "メールアドレスの列が分かりません")):
            if content is not None:
                self.put(name, content)
            self.refuse(name, *options, says=says)
        self.take("binary.csv", "--no-header", "--columns", "1=1", refused=101, code=1)
        # One record of a megabyte, and one of ten thousand fields.
        self.put("long.csv", "メールアドレス,会社名\na@example.jp," + "表" * 500000 + "\nb@example.jp" + "," * 10000 + "\n")
        self.take("long.csv", new=2)
        self.assertEqual(len(self.listed("6")[0]), 500000)


if __name__ == "__main__":
    unittest.main()
