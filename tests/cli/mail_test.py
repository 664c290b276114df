"""mail new, edit, list, show, copy, delete and restore, and what of a stored mail a customer gets."""

import json
import shutil
import unittest

from cli import DAMAGED_TABLE, CommandTest, Running

DRAFT = "Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%> 様\n本文①\n"
MOBILE = "Subject: 携帯\n\n<%名前(姓)%>様 短い本文\n"
CUSTOMERS = ("a@example.jp,表,花子,Y", "b@docomo.ne.jp,山田,,Y", "c@softbank.ne.jp,林,,Y")


class Mails(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*CUSTOMERS)
        self.put("pc.txt", DRAFT)
        self.put("nd.txt", MOBILE)

    def new(self, *options):
        return self.tessaly("mail", "new", "shop.tsl", "--draft", "pc.txt", "--force", *options)

    def edit(self, mail, *options, **more):
        return self.tessaly("mail", "edit", "shop.tsl", mail, "--force", *options, **more)

    def shown(self, mail=0):
        return self.tessaly("mail", "show", "shop.tsl", mail).out

    def listed(self, *options):
        return json.loads(self.tessaly("mail", "list", "shop.tsl", "--format", "json", *options).out)

    def stored(self):
        return {file.relative_to(self.folder): file.read_bytes() for file in (self.folder / "shop").rglob("*")
                if file.is_file() and file.name != ".lock"}

    def test_a_mail_with_texts_and_attachments_for_terminals(self):
        every_byte = bytes(range(256)) * 41
        self.put("案内 ソ.pdf", every_byte)
        self.put("空.txt", b"")
        self.assertIn("番号は 0 です", self.new("--attach", "案内 ソ.pdf", "--attach", "空.txt", "--honorific", "様").out)
        self.edit(0, "--terminal", "nd", "--draft", "nd.txt")
        self.assertEqual(self.shown(), "0: <%名前(姓)%>様へ\n状態: 下書き\n敬称: 様\n宛先: 0人\n\n--- pc ---\n"
                         "件名: <%名前(姓)%>様へ\n添付: 案内 ソ.pdf (application/pdf)\n"
                         "添付: 空.txt (application/octet-stream)\n\n<%名前(姓)%> 様\n本文①\n\n--- nd ---\n件名: 携帯\n\n"
                         "<%名前(姓)%>様 短い本文\n")
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.postbox()
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server, "--threads", 1)
        self.assertEqual([(mail.to, mail.subject, mail.body.split()[-1]) for mail in self.mails()],
                         [("表 花子様 <a@example.jp>", "表様へ", "本文①"), ("山田様 <b@docomo.ne.jp>", "携帯", "短い本文"),
                          ("林様 <c@softbank.ne.jp>", "林様へ", "本文①")])
        for mail in self.mails():
            self.assertEqual(mail.files, [("案内 ソ.pdf", every_byte), ("空.txt", b"")])
            self.assertEqual(mail.message.defects, [])
        # A text and an attachment of the same name replace what was there; the text goes and the PC's stands.
        self.put("空.txt", b"new")
        self.edit(0, "--attach", "空.txt", "--detach", "案内 ソ.pdf")
        self.edit(0, "--terminal", "nd", "--clear-text", "--honorific", "")
        self.assertEqual(self.shown().count("添付: "), 1)
        preview = self.tessaly("preview", "shop.tsl", 0, "--customer", 1).out
        self.assertEqual(preview, "差出人: みどり野の店 <shop@example.jp>\n宛先: 山田 <b@docomo.ne.jp>\n件名: 山田様へ\n\n"
                         "山田 様\n本文①\n添付: 空.txt\n")

    def test_the_longest_text(self):
        self.new()
        self.edit(0, "--terminal", "nd", "--draft", "nd.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")
        sizes = self.tessaly("preview", "shop.tsl", 0, "--size").out
        self.assertIn("pc 件名: 最長 6バイト (個人情報ID 0 <a@example.jp>、1人中)\n", sizes)
        self.assertIn("nd 本文: 最長 17バイト (個人情報ID 1 <b@docomo.ne.jp>、1人中)\n", sizes)

    def test_copy_delete_and_restore(self):
        self.put("a.bin", b"\0\xff")
        self.new("--attach", "a.bin")
        self.tessaly("target", "shop.tsl", 0, "--where", "名前(姓)=表")
        self.assertIn("新しい番号は 1 です", self.tessaly("mail", "copy", "shop.tsl", 0).out)
        self.assertEqual(self.shown(1).replace("宛先: 0人", "宛先: 1人"), self.shown(0).replace("0: ", "1: ", 1))
        self.assertIn("宛先は 1件", self.tessaly("target", "shop.tsl", 1, "--apply").out)
        self.tessaly("mail", "delete", "shop.tsl", 0)
        self.assertEqual([row["番号"] for row in self.listed()], ["1"])
        self.assertEqual([row["状態"] for row in self.listed("--deleted")], ["削除"])
        self.refused("send", "shop.tsl", 0, says="削除したメールです: 0")
        self.refused("mail", "delete", "shop.tsl", 1, 9, says="その番号のメールはありません: 9")
        self.tessaly("mail", "restore", "shop.tsl", 0)
        self.assertEqual([(row["番号"], row["状態"]) for row in self.listed()], [("0", "下書き"), ("1", "下書き")])

    def test_what_is_refused(self):
        self.new()
        self.put("bad.txt", "Subject: 件\n\n<%なまえ%>\n")
        self.put("large.bin", b"x" * (2 << 20) + b"y")
        for options, says, code in ((["--attach", "large.bin"], "large.bin: ファイルサイズが大きすぎます", 1),
                                    (["--draft", "bad.txt"], "知らない差し込み文字です: <%なまえ%>", 1),
                                    ([], "変えるものを指定してください", 2), (["--terminal", "xx", "--clear-text"], "--terminal は", 2),
                                    (["--clear-text"], "--clear-text は", 2)):
            self.refused("mail", "edit", "shop.tsl", 0, *options, says=says, code=code)

    def test_a_change_that_was_cut_off_is_put_back(self):
        self.new()
        before = self.stored()
        shop = self.folder / "shop"
        # As a process leaves it that was killed while it wrote.
        shutil.copytree(shop / "MAIL/0/ATTACH", shop / ".undo/2")
        for number, name in enumerate(("MAIL/maillist.dat", "MAIL/0/mail0.dat")):
            shutil.copy(shop / name, shop / ".undo" / str(number))
            (shop / name).write_bytes((shop / name).read_bytes()[:7])
        (shop / ".undo/list").write_text("MAIL/maillist.dat\nMAIL/0/mail0.dat\nMAIL/0/ATTACH\n")
        self.assertIn("本文①", self.shown())
        self.assertEqual({name: content for name, content in self.stored().items() if ".undo" not in str(name)}, before)

    def test_a_lost_list_comes_back(self):
        self.new()
        self.tessaly("mail", "new", "shop.tsl", "--draft", "nd.txt")
        (self.folder / "shop/MAIL/maillist.dat").unlink()
        self.refused("mail", "list", "shop.tsl", says="ファイルがありません。")
        (self.folder / "shop/MAIL/maillist.dat.record").unlink()  # an older environment has none
        told = self.tessaly("mail", "list", "shop.tsl", "--format", "json")
        self.assertIn("メール一覧にエラーがありました: メールID: 0, 1 を復旧しました", told.err)
        self.assertEqual([row["件名"] for row in json.loads(told.out)], ["<%名前(姓)%>様へ", "携帯"])
        self.assertEqual(self.tessaly("mail", "list", "shop.tsl").err, "")

    def test_a_repair_that_cannot_be_written_loses_no_row(self):
        self.new("--honorific", "様")
        self.new()
        lost = self.folder / "shop/MAIL/maillist.dat"
        with_one = lost.read_bytes().splitlines(keepends=True)[0]
        lost.write_bytes(with_one)
        full = self.limited(0, "mail", "list", "shop.tsl")
        self.assertEqual((full.returncode, full.stdout), (1, b""), full.stderr.decode())
        self.assertEqual(lost.read_bytes(), with_one)
        self.assertEqual(len(self.listed()), 2)
        self.assertIn("敬称: 様", self.shown(0))

    def test_a_damaged_list_is_not_written_over(self):
        self.new()
        damaged = self.folder / "shop/MAIL/maillist.dat"
        damaged.write_bytes(DAMAGED_TABLE)
        for command in (["list"], ["new", "--draft", "nd.txt"], ["delete", "0"]):
            self.refused("mail", command[0], "shop.tsl", *command[1:], says="1行のうち、0行が読めます。")
        self.assertEqual(damaged.read_bytes(), DAMAGED_TABLE)

    def test_a_new_mail_that_fails_leaves_nothing(self):
        self.put("large.bin", b"x" * 30_000)  # its Base64 form is beyond the limit
        before = self.stored()
        failed = self.limited(32 << 10, "mail", "new", "shop.tsl", "--draft", "nd.txt", "--attach", "large.bin")
        self.assertIn("前の状態のままです", failed.stderr.decode())
        self.assertEqual({name: content for name, content in self.stored().items() if name.name != "mailseq.dat"}, before)
        self.put("a\nb", b"x")
        self.refused("mail", "new", "shop.tsl", "--draft", "nd.txt", "--attach", "a\nb", says="改行など")

    def test_two_at_once_lose_nothing(self):
        commands = [Running(self, "mail", "new", "shop.tsl", "--draft", "pc.txt", "--force") for _ in range(6)]
        self.assertEqual([one.result().code for one in commands], [0] * 6)
        self.assertEqual(sorted(row["番号"] for row in self.listed()), list("012345"))


if __name__ == "__main__":
    unittest.main()
