"""target: conditions, the customers that they choose, and what is stored of them."""

import unittest
import unittest.mock

from cli import ENVIRONMENT, CommandTest

CUSTOMERS = '''\
メールアドレス,名前(姓),名前(名),会社名,都道府県,生年月日,DM送付可否,来店回数,入会日
a@Example.jp,表,花子,"A,B商事",東京都,1990/04/30,Y,5,2004/05/31 23:59:59
b@example.jp,髙山,,,東京都,1990/05/01,Y,05,2004/06/01
c@example.jp,林,愛,"林""x""",大阪府,,Y,15,2004/05/01
d@example.jp,森,一,A商事,東京都,1990/04/01,N,5,2004/05/01
e@example.org,,健,,北海道,1991/04/30,Y,,
'''


class Target(CommandTest):
    def setUp(self):
        super().setUp()
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "attribute.A.name=来店回数", "attribute.A.type=number",
                     "attribute.B.name=入会日", "attribute.B.type=date", "attribute.C.name=区分=x:y", "attribute.D.name=")
        self.tessaly("customers", "import", "shop.tsl", self.put("list.csv", CUSTOMERS))
        self.tessaly("mail", "new", "shop.tsl", "--draft", self.put("draft", "Subject: 春のご案内\n\n<%メールアドレス%>\n"))

    def target(self, *arguments, **options):
        return self.tessaly("target", "shop.tsl", "0", *arguments, **options)

    def ids(self):
        return [int(row.split(",")[0]) for row in self.target("--format", "csv").out.splitlines()[1:]]

    def files(self):
        return {name: (self.folder / "shop/MAIL" / name).read_bytes()
                for name in ("0/merd0.dat", "0/meli0.dat", "maillist.dat")}

    def refuse(self, *arguments, says, code=1):
        before = self.files()
        self.refused("target", "shop.tsl", "0", *arguments, says=says, code=code)
        self.assertEqual(self.files(), before)

    def test_whom_a_condition_chooses(self):
        for condition, ids in (("都道府県=東京,大阪", [0, 1, 2]), ("都道府県!=東京,大阪", [4]),
                               ('会社名="A,B",林', [0, 2]), ('会社名="林""x"""', [2]), ('会社名=林"x', [2]),
                               ("会社名=", [1, 4]), ("会社名!=", [0, 2]), ("会社名=,林", [1, 2, 4]),
                               ("会社名=林,", [1, 2, 4]), ("会社名!=林,", [0]), ("メールアドレス=EXAMPLE.ORG", [4]),
                               ("メールアドレス:B..C@EXAMPLE.JP", [1, 2]), ("来店回数=5", [0, 1]), ("来店回数:6..", [2]),
                               ("来店回数!:6..20", [0, 1]), ("拡張属性A:..", [0, 1, 2]), ("28!=5", [2, 4]),
                               ("入会日=2004/5", [0, 2]), ("入会日:2004/5..2004/5", [0, 2]),
                               ("入会日:2004/5/31..", [0, 1]), ("入会日:..2004/5/31 23", [0, 2]), ("入会日!=2004/05", [1, 4]),
                               ("生年月日=1990/4,1991", [0, 4]), ("生年月日:1990/5..1990", [1]),
                               ("個人情報ID:1..2", [1, 2]), ("拡張属性C=", [0, 1, 2, 4]), ("区分=x:y=", [0, 1, 2, 4])):
            with self.subTest(condition):
                said = self.target("--where", condition)
                self.assertEqual((said.out, said.err), (f"宛先は {len(ids)}件です (顧客 5件のうち)。\n", ""))
                self.assertEqual(self.ids(), ids)

    def test_tabs(self):
        self.target("--where", "都道府県=東京", "--where=会社名=", "--or", "来店回数=15", "--where", "会社名=林",
                    "--or", "個人情報ID:4..", "--where", "都道府県!:..あ")
        self.assertEqual(self.target("--limit", "2").out,
                         "メール 0: 春のご案内\n"
                         "条件: 都道府県が「東京」を含む かつ 会社名が空\n"
                         "または: 来店回数が「15」 かつ 会社名が「林」を含む\n"
                         "または: 個人情報IDが「4」以上 かつ 都道府県が「あ」以下の範囲の外\n"
                         "個人情報ID  メールアドレス  名前   会社名\n"
                         "1           b@example.jp    髙山   \n"
                         "2           c@example.jp    林 愛  林\"x\"\n"
                         "3件のうち 2件\n")
        self.assertIn("条件: 拡張属性Dが空 かつ 10が空\n", self.target("--where", "拡張属性D=", "--where", "10=", "--show").out)
        self.target("--or", "来店回数!=5,", "--where", "会社名!=A,\"a,b\"", "--or", "会社名=,林", "--where", "来店回数:..")
        self.assertEqual(self.ids(), [1, 2])
        self.assertIn("条件: 来店回数が空、または「5」の人を除く かつ 会社名が「A」か「a,b」を含む人を除く\n"
                      "または: 会社名が空、または「林」を含む かつ 来店回数が空でない\n", self.target().out)

    def test_apply_all_and_clear(self):
        self.refuse("--apply", says="まだ条件がありません")
        self.assertIn("条件: なし\n", self.target("--all", "--show").out)
        self.assertEqual(self.ids(), [0, 1, 2, 4])
        self.target("--where", "都道府県=東京")
        self.tessaly("customers", "add", "shop.tsl", "メールアドレス=f@example.jp", "都道府県=東京都")
        self.tessaly("customers", "delete", "shop.tsl", "1")
        self.assertEqual(self.ids(), [0, 1])
        self.assertEqual(self.target("--apply", "--show", "--format", "csv").out,
                         "個人情報ID,メールアドレス,名前,会社名\n0,a@Example.jp,表 花子,\"A,B商事\"\n5,f@example.jp,,\n")
        self.target("--clear")
        self.assertEqual(self.target("--format", "json").out, "[]\n")
        nobody = self.target("--where", "都道府県=沖縄")
        self.assertEqual(nobody.err, "条件に合って、DMを受け取る顧客はいません。\n")
        self.assertEqual(self.target("--apply").out, "宛先は 0件です (顧客 5件のうち)。\n")

    def test_refusals(self):
        self.target("--where", "都道府県=東京")
        for condition, says in (("県=東京", "そういう列はありません: 県\n使える列: 個人情報ID"), ("東京", "の形で書きます: 東京"),
                                ("都道府県!東京", "の形で書きます"), ("削除フラグ=Y", "この列は条件に使えません: 削除フラグ"),
                                ("23=x", "この列は条件に使えません: 23"), ("56=x", "そういう列はありません: 56"),
                                ("来店回数=5,五", "来店回数: 数 (9桁まで) ではありません: 五"),
                                ("来店回数:1..x", "ではありません: x"), ("来店回数:5", "「下限..上限」の形"),
                                ("来店回数!:..", "だれもいません"), ("生年月日=4月", "生年月日: 日付ではありません"),
                                ("入会日:2004/13..", "日付ではありません"), ("入会日:2004/2/30..", "日付ではありません"),
                                ("入会日=2004/", "日付ではありません"), ("入会日=2004/5/1 25", "日付ではありません"),
                                ('会社名="A', "閉じていません"), ('会社名="A"B', "カンマが要ります"),
                                ("会社名=💌", "会社名に使えない文字があります"), ("会社名=a\nb", "改行は入れられません")):
            with self.subTest(condition):
                self.refuse("--where", condition, says=says)
        self.refuse(*["--or", "会社名="] * 4, says="まとまりは3つまで")
        self.refuse(*["--where", "会社名="] * 6, says="条件は5つまで")
        self.refuse("--all", "--clear", says="一緒に使えません", code=2)
        self.refused("target", "shop.tsl", "9", "--all", says="その番号のメールはありません: 9")
        self.tessaly("mail", "delete", "shop.tsl", "0")
        self.refuse("--all", says="削除したメールです")
        self.assertEqual(self.ids(), [0, 1])

    def test_all_or_nothing(self):
        self.target("--where", "都道府県=東京")
        before = self.files()
        blocks = self.in_the_way("shop/MAIL/maillist.dat")  # the last file of the three cannot be written
        self.refuse("--all", says="メールの一覧を書き込めませんでした")
        for block in blocks:
            block.rmdir()
        with unittest.mock.patch.dict(ENVIRONMENT, TZ="UTC"):  # a time that stands out in the list of mails
            self.target("--all")
        for name, content in before.items():
            self.assertNotEqual(self.files()[name], content, name)

    def test_erased_and_unknown_customers_leave_the_list(self):
        table = self.folder / "shop/DB/database.dat"
        before = table.read_bytes()
        self.tessaly("customers", "add", "shop.tsl", "メールアドレス=f@example.jp")
        self.target("--all")
        listed = self.files()
        self.tessaly("customers", "erase", "shop.tsl", "0", "2", "--yes")
        self.assertEqual(self.ids(), [1, 4, 5])
        shorter = self.files()
        self.assertLess(len(shorter.pop("0/meli0.dat")), len(listed.pop("0/meli0.dat")))
        self.assertEqual(shorter, listed)
        table.write_bytes(before)  # an older copy, which has those two and lacks the last
        self.assertEqual(self.ids(), [1, 4])
        self.assertIn("顧客データにいない宛先が 1件あります", self.target().err)

    def test_damage_is_refused_until_it_is_repaired(self):
        damage = b"\xff,\x00\n" * 9
        for name in ("merd0.dat", "meli0.dat"):
            self.target("--all")
            file = self.folder / "shop/MAIL/0" / name
            file.write_bytes(damage)
            for options in (["--apply"], ["--all"]):
                self.refused("target", "shop.tsl", "0", *options, says=f"shop/MAIL/0/{name}")
            self.assertEqual(file.read_bytes(), damage)
            self.tessaly("env", "repair", "shop.tsl", "--yes")
            self.assertEqual((self.folder / "shop/MAIL/0" / f"{name}.damaged0").read_bytes(), damage)
            self.target("--all")
            self.assertEqual(self.ids(), [0, 1, 2, 4])
            file.unlink()
            self.assertIn("ファイルがありません。", self.tessaly("target", "shop.tsl", "0", code=1).err)
            file.with_suffix(".dat.record").unlink()  # an older environment has none
        self.assertEqual(self.ids(), [])


if __name__ == "__main__":
    unittest.main()
