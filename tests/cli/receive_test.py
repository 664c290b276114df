"""receive and inbox: every answer finds its mail and its customer, once, and what has no effect is kept."""

import email.message
import email.policy
import json
import re
import shutil
import unittest

from cli import Running, wait_for
from way_back import WayBackTest, bounce, receipt

CUSTOMERS = [f"n{i}@example.jp,表{i},,Y" for i in range(6)]


def answer(sender, subject, text, **headers):
    mail = email.message.EmailMessage(policy=email.policy.SMTP)
    mail["From"], mail["To"], mail["Subject"] = sender, "shop@example.jp", subject
    for name, value in headers.items():
        mail[name.replace("_", "-")] = value
    mail.set_content(text, charset="iso-2022-jp", cte="7bit")
    return mail


class Receive(WayBackTest):
    def setUp(self):
        super().setUp()
        self.set_up_shop(CUSTOMERS, ["Subject: x\n\ny\n"])
        self.ids = {name: mail.id for name, mail in self.sent[0].items()}

    def test_what_a_mail_asks_for(self):
        header = self.mails()[0].message
        self.assertRegex(header["List-Unsubscribe"], r"^<mailto:shop@example\.jp\?subject=unsubscribe%20(m0-c\d-[a-z2-7]{16})"
                                                     r"&body=%3CREFUSE%3E%20\1>$")
        self.assertEqual(header["Disposition-Notification-To"], "shop@example.jp")

    def test_every_kind_takes_effect_once(self):
        self.tessaly("settings", "shop.tsl", "receive.register=tagged", "receive.refuse-keyword=配信停止")
        self.add(bounce(self.ids["n0"]), bounce(self.ids["n0"]), bounce(self.ids["n1"], "4.4.1"), bounce(self.ids["n2"], "4.0.0", "delayed"),
                 receipt(self.ids["n2"]), receipt(self.ids["n3"], "automatic-action/MDN-sent-automatically; deleted"),
                 answer("n3@example.jp", "Re: x", "もう配信停止してください\n", In_Reply_To=f"<{self.ids['n3']}>"),
                 answer("n4@example.jp", "unsubscribe", "<REFUSE>\n"),
                 answer("new@example.jp", "登録", "<REGISTER>\n<EMAIL>new@example.jp</EMAIL><NAME_SEI>新</NAME_SEI>\n"),
                 answer("n5@example.jp", "登録", "<REGISTER><EMAIL>n5@example.jp</EMAIL><NAME_SEI>変</NAME_SEI>\n"),
                 answer("who@example.com", "<REFUSE>?", "<REFUSE>\n"), answer("n5@example.jp", "質問", "いつですか\n"),
                 bounce("unknown@example.com"), b"garbage \0\xff")
        dry = self.receive("--from-dir", "answers", "--dry-run")
        self.assertEqual(set(self.history().values()), {("完了", "0", "N")})
        told = self.receive()
        self.assertEqual(told.out, "エラー 3通、遅延 1通、開封 1通、未開封削除 1通、配信停止 2通、要確認 1通、登録 2通、読めないメール 1通、その他 1通 "
                         "(受け取り済みで飛ばしたもの 1通)\n")
        self.assertEqual(dry.out, told.out[:-1] + " (--dry-run なので何も変えていません)\n")
        self.assertIn("エラー(宛先) メール0 顧客0 <MAILER-DAEMON@mx.example.com>: エラーにしました: smtp; 550 no such user。この宛先には、これから送りません\n", told.err)
        after = {"n0": ("エラー", "1", "N"), "n1": ("待ち", "1", "N"), "n2": ("完了", "0", "Y"), "n3": ("完了", "0", "N"),
                 "n4": ("完了", "0", "N"), "n5": ("完了", "0", "N")}
        self.assertEqual(self.history(), after)
        customers = self.direct_mail()
        self.assertEqual([customers[f"n{i}@example.jp"][1] for i in range(5)], ["Y", "Y", "Y", "N", "N"])
        self.assertEqual(customers["new@example.jp"], ("新", "Y"))
        self.assertEqual(customers["n5@example.jp"], ("変", "Y"))
        self.assertEqual(self.kept(), ["<REFUSE>?", "質問", "report", ""])
        self.assertIn("件名: 質問\n", self.tessaly("inbox", "show", "shop.tsl", 2).out)
        self.assertIn("いつですか", self.tessaly("inbox", "show", "shop.tsl", 2).out)
        self.refused("inbox", "show", "shop.tsl", 9, says="その番号の受信メールはありません: 9")
        self.assertEqual(self.receive().out, "エラー 0通、遅延 0通、開封 0通、配信停止 0通、登録 0通、その他 0通 (受け取り済みで飛ばしたもの 14通)\n")
        (self.folder / "shop/INBOX/seen").unlink()  # even if that is lost, nothing happens twice
        self.receive()
        self.assertEqual((self.history(), self.direct_mail()), (after, customers))
        row, = json.loads(self.tessaly("report", "shop.tsl", "--format", "json").out)
        self.assertEqual([row[name] for name in ("状態", "宛先なし", "開封", "待ち", "配信停止")], ["送信待ち", "1", "1", "1", "1"])

    def test_a_mail_stays_deleted_or_a_draft(self):
        self.put("new.txt", "Subject: 新しい\n\nz\n")
        for change, option, status in ((("edit", "shop.tsl", 0, "--draft", "new.txt"), (), "下書き"),
                                       (("delete", "shop.tsl", 0), ("--deleted",), "削除")):
            self.tessaly("mail", *change)
            self.add(receipt(self.ids["n1"], "manual-action/MDN; displayed; " + status.encode().hex()))
            self.receive()
            listed = json.loads(self.tessaly("mail", "list", "shop.tsl", "--format", "json", *option).out)
            self.assertEqual([(row["状態"], row["開封"]) for row in listed], [(status, "1")])

    def test_registrations_as_the_settings_allow(self):
        self.tessaly("customers", "delete", "shop.tsl", 5)
        mails = [answer("n5@example.jp", "a", "<REGISTER><EMAIL>n5@example.jp</EMAIL>\n"), answer("e@example.jp", "b", "\n"),
                 answer("bad", "c", "<REGISTER><EMAIL>bad</EMAIL>\n")]
        for mode, added in (("off", 0), ("tagged", 1), ("empty", 2)):
            shutil.rmtree(self.folder / "shop/INBOX", ignore_errors=True)
            self.tessaly("settings", "shop.tsl", "receive.register=" + mode)
            for file in self.answers.iterdir():
                file.unlink()
            self.add(*mails)
            self.receive()
            self.assertEqual(len(self.direct_mail()), 5 + added, mode)

    def test_an_mbox_and_a_reply_to_an_earlier_attempt(self):
        self.put("box.mbox", b"From x Mon\r\n" + bounce(self.ids["n0"], "4.4.1") + b"\n\nFrom y Tue\nFrom: a@b\nSubject: q\n\n>From me\n")
        self.receive("--mbox", "box.mbox")
        self.assertEqual(self.kept(), ["q"])
        self.assertIn("\nFrom me\n", self.tessaly("inbox", "show", "shop.tsl", 1).out)
        self.assertEqual(self.history()["n0"][0], "待ち")
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server)
        self.put("late.mbox", b"From x Mon\n" + bounce(self.ids["n0"], "4.4.1").replace(b"<r", b"<late"))
        self.assertIn("前の送信への返事です", self.receive("--mbox", "late.mbox").err)
        self.assertEqual(self.history()["n0"], ("完了", "1", "N"))
        self.refused("receive", "shop.tsl", "--mbox", "draft.txt", says="mboxファイルではありません")

    def test_who_refuses_must_be_the_customer_or_have_the_token(self):
        token = re.search(r"m0-c3-[a-z2-7]{16}", self.sent[0]["n3"].message["List-Unsubscribe"])[0]
        forged = "m0-c4-" + token[-16:]
        self.add(answer("n0@example.jp", "配信停止", "\n"), answer("x@example.com", "unsubscribe " + token, "<REFUSE> " + token + "\n"),
                 answer("x@example.com", "unsubscribe " + forged, "<REFUSE> " + forged + "\n"),
                 answer("x@example.com", "Re: x", "<REFUSE>\n", References="<0.m0.tessaly-00000000@x>"),
                 answer("x@example.com", "Re: x", "<REFUSE>\n", References=f"<{self.ids['n1']}>"),
                 receipt("20261123100000000.00000.2.m0.tessaly-00000000@x"), bounce("0.m0.tessaly-00000000@x"))
        told = self.receive()
        self.assertIn("配信停止 2通、要確認 3通、登録 0通", told.out)
        self.assertIn("tessaly inbox resolve shop.tsl", told.err)
        flags = [flag for _, flag in self.direct_mail().values()]
        self.assertEqual(flags, ["N", "Y", "Y", "N", "Y", "Y"])
        self.assertEqual(set(self.history().values()), {("完了", "0", "N")})
        rows = json.loads(self.tessaly("inbox", "list", "shop.tsl", "--unclear", "--format", "json").out)
        first, second, third = (row["番号"] for row in rows)
        self.refused("inbox", "resolve", "shop.tsl", first, says="--refuse か --ignore", code=2)
        self.refused("inbox", "resolve", "shop.tsl", first, "--refuse", says="どの顧客のものか分かりません")
        self.assertIn("DMを送らないようにしました", self.tessaly("inbox", "resolve", "shop.tsl", first, "--refuse", "--customer", 5).out)
        self.assertIn("顧客1: DMを送らないようにしました", self.tessaly("inbox", "resolve", "shop.tsl", third, "--refuse").out)
        self.tessaly("inbox", "resolve", "shop.tsl", second, "--ignore")
        self.assertIn("\n0件\n", "\n" + self.tessaly("inbox", "list", "shop.tsl", "--unclear").out)
        self.put("list.csv", "メールアドレス,DM送付可否\n" + "".join(f"n{i}@example.jp,Y\n" for i in range(6)))
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.assertEqual([flag for _, flag in self.direct_mail().values()], ["N", "N", "Y", "N", "Y", "N"])

    def test_what_cannot_be_read_registers_nobody(self):
        self.tessaly("settings", "shop.tsl", "receive.register=empty", "receive.largest=1")
        self.add(b"\0\xff\r\n\r\n", b"From: a@example.jp\nContent-Type: image/png\nContent-Transfer-Encoding: base64\n\niVBORw0KGgo=\n",
                 answer("e@example.jp", "b", "\n"), answer("big@example.jp", "c", "x\n" * 600000), answer("MAILER-DAEMON@example.jp", "d", "\n"))
        told = self.receive()
        self.assertIn("登録 1通", told.out)
        self.assertIn("大きすぎて受け取らなかったもの 1通", told.out)
        self.assertIn("answers/003.eml (1 MiB", told.err)
        self.assertEqual(set(self.direct_mail()) - {f"n{i}@example.jp" for i in range(6)}, {"e@example.jp"})

    def test_from_a_server(self):
        self.put("password", "pass word\n")
        server = Running(self, "postbox", "answers", "--smtp", "0", "--pop", "0", "--port-file", "ports", "--user", "shop",
                         "--password-file", "password")
        self.assertTrue(wait_for((self.folder / "ports").exists))
        pop = "127.0.0.1:" + self.text("ports").split()[1]
        self.add(bounce(self.ids["n0"]), receipt(self.ids["n2"]), answer("a@b.jp", "q", ".\n..dots\n"))
        self.refused("receive", "shop.tsl", "--pop", pop, says="pop.user")
        self.tessaly("settings", "shop.tsl", "pop.user=shop", "pop.password=wrong")
        self.refused("receive", "shop.tsl", "--pop", pop, says="受信サーバーにログインできません")
        self.tessaly("settings", "shop.tsl", "pop.password=pass word", "pop.auth=apop")
        self.assertIn("エラー 1通、遅延 0通、開封 1通", self.receive("--pop", pop).out)
        self.assertEqual(self.history()["n0"], ("エラー", "1", "N"))
        self.assertIn("\n.\n..dots\n", self.tessaly("inbox", "show", "shop.tsl", 1).out)
        self.assertIn("エラー 0通、遅延 0通、開封 0通", self.receive("--pop", pop).out)
        self.add(receipt(self.ids["n3"]))
        self.tessaly("settings", "shop.tsl", "pop.auth=user")
        self.assertIn("開封 1通", self.receive("--pop", pop, "--delete").out)
        self.assertEqual(list(self.answers.glob("*.eml")), [])
        server.stop()
        self.refused("receive", "shop.tsl", "--pop", pop, says="受信サーバーにログインできません")


if __name__ == "__main__":
    unittest.main()
