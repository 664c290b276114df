"""group: recipients of a mail under a name, for other mails."""

import json
import unittest

from cli import CommandTest


class Group(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("a@example.jp,表,花子,Y", "b@example.jp,髙山,愛,Y", "c@example.jp,表,健,N")
        for _ in range(2):
            self.tessaly("mail", "new", "shop.tsl", "--draft", self.put("draft", "Subject: ご案内\n\n本文\n"))

    def group(self, command, *arguments, **options):
        return self.tessaly("group", command, "shop.tsl", *arguments, **options)

    def files(self):
        return {file: file.read_bytes() for folder in ("EXTRACT", "MAIL")
                for file in (self.folder / "shop" / folder).rglob("*.dat") if file.name != "extrseq.dat"}

    def refuse(self, command, *arguments, says):
        before = self.files()
        self.refused("group", command, "shop.tsl", *arguments, says=says)
        self.assertEqual(self.files(), before)

    def target(self, mail, *arguments):
        return self.tessaly("target", "shop.tsl", mail, *arguments)

    def listed(self, *options):
        rows = json.loads(self.group("list", "--format", "json", *options).out)
        for row in rows:
            self.assertRegex(row.pop("登録日時"), r"^\d{4}/\d\d/\d\d \d\d:\d\d:\d\d$")
        return [list(row.values()) for row in rows]

    def test_save_and_use(self):
        self.refuse("save", "0", "表さん", says="宛先はまだ選ばれていません")
        self.target("0", "--where", "名前(姓)=表", "--where", "名前(名)=", "--or", "名前(姓)=表")
        self.assertEqual(self.group("save", "0", "表さん, その他").out, "保存しました。 0: 表さん, その他 (宛先 1件)\n")
        self.target("0", "--all")
        self.group("save", "0", "全員")
        conditions = "(名前(姓)が「表」を含む かつ 名前(名)が空) または (名前(姓)が「表」を含む)"
        self.assertEqual(self.listed(), [["0", "表さん, その他", "1", conditions], ["1", "全員", "2", ""]])
        self.tessaly("customers", "add", "shop.tsl", "メールアドレス=d@example.jp", "名前(姓)=表")
        for arguments, count in ((["0", "--apply"], 2), (["表さん, その他"], 1)):
            said = self.group("use", arguments[0], "1", *arguments[1:])
            self.assertEqual(said.out, f"宛先は {count}件です (顧客 4件のうち)。\n")
        self.assertIn("条件: 名前(姓)が「表」を含む かつ 名前(名)が空\nまたは: 名前(姓)が「表」を含む\n", self.target("1").out)
        self.assertEqual(self.listed()[0][2], "1", "using a group changed it")

    def test_names_and_deletion(self):
        self.target("0", "--all")
        self.group("save", "0", "全員")
        for name, says in (("全員", "その名前の宛先はもうあります: 0: 全員"), ("12", "番号と見分けがつきません"),
                           ("", "空にできず"), ("a\nb", "改行なども"), ("💌", "名前に使えない文字")):
            self.refuse("save", "0", name, says=says)
            if name != "全員":
                self.refuse("rename", "全員", name, says=says)
        self.assertEqual(self.group("rename", "0", "みんな").out, "名前を変えました。 0: みんな\n")
        self.refuse("use", "全員", "1", says="その番号か名前の宛先はありません: 全員")
        self.refuse("restore", "みんな", says="この宛先は削除されていません: みんな")
        self.group("delete", "みんな")
        for command in (["use", "0", "1"], ["rename", "みんな", "x"], ["delete", "0"]):
            self.refuse(*command, says="(group restore で戻せます)")
        self.assertEqual((self.listed(), self.listed("--deleted")), ([], [["0", "みんな", "2", ""]]))
        self.assertEqual(self.group("restore", "みんな").out, "戻しました。 0: みんな\n")
        self.refuse("save", "7", "x", says="その番号のメールはありません: 7")

    def test_all_or_nothing_and_damage(self):
        self.target("0", "--all")
        self.in_the_way("shop/EXTRACT/exsl0.dat")  # the last of three files cannot be written
        self.refuse("save", "0", "全員", says="宛先を書き込めませんでした")
        self.assertEqual(self.listed(), [])
        self.group("save", "0", "一")
        self.group("save", "0", "二")
        (self.folder / "shop/EXTRACT/exsl1.dat").write_bytes(b"\xff,\x00\n" * 9)
        (self.folder / "shop/EXTRACT/exrd2.dat").write_bytes(b"\xff,\x00\n" * 9)
        self.assertEqual(self.listed(), [["1", "一", "読めません", ""], ["2", "二", "2", "読めません"]])
        self.refuse("use", "一", "1", says="shop/EXTRACT/exsl1.dat")


if __name__ == "__main__":
    unittest.main()
