"""preview and send, against the built-in post box and against servers that behave badly."""

import csv
import io
import re
import signal
import socket
import threading
import unittest

from cli import SAMPLE, CommandTest, Running, wait_for
from smtp_server import SmtpServer

DRAFT = "Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%> <%名前(名)%> 様\n.\n本文①\n"
CUSTOMERS = ("a@example.jp,表,花子,Y", "b@example.jp,髙山,ｱｲ,N", "c@example.jp,林,,Y", "d@example.jp,﨑ソ,~\\,Y")


class Send(CommandTest):
    def send(self, *options, code=0, draft="draft.txt"):
        return self.tessaly("send", "shop.tsl", "--draft", draft, "--force", *options, code=code)

    def report(self, name="report.csv"):
        return list(csv.DictReader(io.StringIO(self.text(name))))

    def outcomes(self):
        return {row["メールアドレス"]: row["結果"] for row in self.report()}

    def new_mailing(self, *customers):
        self.new_shop(*(customers or CUSTOMERS))
        self.put("draft.txt", DRAFT)

    def test_preview(self):
        self.new_mailing()
        self.put("draft.txt", "Reply-To: 受付 <desk@example.jp>\n" + DRAFT)
        self.assertEqual(self.tessaly("preview", "shop.tsl", "--draft", "draft.txt", "--customer", 1).out,
                         "差出人: みどり野の店 <shop@example.jp>\n返信先: 受付 <desk@example.jp>\n"
                         "宛先: 髙山 アイ <b@example.jp>\n件名: 髙山様へ\n\n髙山 アイ 様\n.\n本文①\n")
        self.refused("preview", "shop.tsl", "--draft", "draft.txt", "--customer", "9", says="その個人情報IDの顧客はいません: 9")

    def test_each_customer_gets_a_mail_of_her_own(self):
        self.new_mailing()
        self.tessaly("settings", "shop.tsl", "mailer=表")
        self.postbox()
        result = self.send("--smtp", self.server, "--report", "report.csv", "--threads", 1)
        self.assertIn("DMを受け取らない顧客 1人には送りません。\n", result.err)
        self.assertRegex(result.out, r"^送信 3通、送れず 0通 \([0-9.]+秒、毎秒[0-9,]+通\)\n$")
        mails = self.mails()
        self.assertEqual([(mail.recipient, mail.to, mail.subject, mail.body) for mail in mails], [
            ("a@example.jp", "表 花子 <a@example.jp>", "表様へ", "表 花子 様\n.\n本文①\n\n"),
            ("c@example.jp", "林 <c@example.jp>", "林様へ", "林  様\n.\n本文①\n\n"),
            ("d@example.jp", "﨑ソ ~\\ <d@example.jp>", "﨑ソ様へ", "﨑ソ ~\\ 様\n.\n本文①\n\n")])
        for mail in mails:
            self.assertEqual(mail.sender, "みどり野の店 <shop@example.jp>")
            self.assertEqual(mail.message["Return-Path"], "<shop@example.jp>")
            self.assertRegex(mail.message["Date"], r" \+0900$")
            self.assertTrue(mail.message["X-Mailer"].isascii())
        self.assertEqual([(row["個人情報ID"], row["メールアドレス"], row["結果"], row["応答"], row["Message-ID"])
                          for row in self.report()],
                         [(str(id), mail.recipient, "送信", "", mail.id) for id, mail in zip((0, 2, 3), mails)])
        self.assertEqual(len({mail.id for mail in mails}), 3)

    def test_what_customers_are_called_stays_a_name(self):
        names = ["\"<x@y>, \"\"\\\"", "\"a\r\nBcc: evil@example.jp\n\n.\"", "=?ISO-2022-JP?B?GyRCJCIbKEI=?=", "\x1b$B\x07",
                 "x" * 3000, "表" * 1000]
        self.new_mailing(*(f"n{i}@example.jp,{name},,Y" for i, name in enumerate(names)))
        self.postbox()
        self.send("--smtp", self.server, "--threads", 1)
        shown = ["<x@y>, \"\\", "a Bcc: evil@example.jp  .", *names[2:3], " $B ", *names[4:]]
        for mail, name in zip(self.mails(), shown, strict=True):
            self.assertEqual(mail.subject, name + "様へ")
            self.assertEqual(re.sub("[ \n]", "", mail.body.split("様\n.")[0]), name.replace(" ", ""))
            self.assertEqual(mail.message.keys(), ["Return-Path", "Delivered-To", "From", "To", "Date", "Subject", "List-Unsubscribe",
                                                   "Message-Id", "X-Mailer", "Content-Type", "Mime-Version",
                                                   "Content-Transfer-Encoding"])
            self.assertLess(max(map(len, mail.message.as_bytes().split(b"\n"))), 998)
        self.assertEqual(self.mails()[0].message["To"], r'"<x@y>, \"\\" <n0@example.jp>')

    def test_the_sample_list_with_threads_refusals_and_resume(self):
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "from.address=shop@example.jp", "smtp.host=127.0.0.1")
        self.tessaly("customers", "import", "shop.tsl", SAMPLE / "customers.csv")
        post = self.postbox("--refuse", "*.00?@*", "--refuse", "*@EXAMPLE.NET")
        self.tessaly("settings", "shop.tsl", "smtp.port=" + self.server.split(":")[1])
        sample = SAMPLE / "draft.txt"
        result = self.send("--threads", 8, "--report", "report.csv", code=1, draft=sample)
        outcomes = self.outcomes()
        refused = {address for address in outcomes if ".00" in address or address.endswith("@example.net")}
        self.assertEqual({address for address, outcome in outcomes.items() if outcome == "拒否"}, refused)
        self.assertEqual(len(outcomes), 288)
        self.assertRegex(result.out, f"^送信 {288 - len(refused)}通、送れず {len(refused)}通 ")
        self.assertTrue(result.err.endswith("\n送れなかった宛先があります。\n"))
        self.assertIn("拒否 3 <omote.004@mail.example.jp>: 送信サーバーから送信を拒否されました. "
                      "[550 5.1.1 <omote.004@mail.example.jp>: Recipient address rejected]\n", result.err)
        self.assertEqual({mail.recipient for mail in self.mails()}, outcomes.keys() - refused)
        # The report holds every recipient once, so another run has nothing left to do.
        self.refused("send", "shop.tsl", "--draft", sample, "--report", "report.csv", says="もうあります: report.csv")
        again = self.send("--report", "report.csv", "--resume", draft=sample)
        self.assertIn(f"届かないので止めている {len(refused)}人には送りません", again.err)
        self.assertIn(f"前回までに済んだ {288 - len(refused)}通は送りません。", again.err)
        self.assertEqual(post.stop().out.splitlines()[-1], f"終わりました。{288 - len(refused)}通が届きました。")
        log = list((self.folder / "shop" / "LOG").iterdir())
        self.assertTrue(log)

    def test_a_killed_run_is_gone_on_with_and_mails_nobody_twice(self):
        self.new_mailing(*(f"n{i}@example.jp,表{i},,Y" for i in range(300)))
        hold = threading.Event()
        server = SmtpServer(self, {".": lambda mail: hold.wait(30) and None if "n7@" in mail.split("Subject")[0] else ""})
        options = ("--smtp", server.address, "--report", "report.csv")
        run = Running(self, "send", "shop.tsl", "--draft", "draft.txt", "--force", *options, "--threads", "4")
        self.assertTrue(wait_for(lambda: len(server.mails) >= 40))
        run.stop(signal.SIGKILL)
        hold.set()
        # A power cut would have taken the rows of the report as well.
        self.put("report.csv", b"\r\n".join((self.folder / "report.csv").read_bytes().split(b"\r\n")[:20]) + b"\r\n")
        self.send(*options, "--resume")
        outcomes = self.outcomes()
        unknown = [address for address, outcome in outcomes.items() if outcome == "不明"]
        self.assertEqual(len(outcomes), 300)
        self.assertIn("n7@example.jp", unknown)
        self.assertLessEqual(len(unknown), 4)
        to = [re.search(rb"(?m)^To: .*?(\w+@[\w.]+)", mail)[1].decode() for mail in server.mails]
        self.assertEqual(len(set(to)), len(to))
        self.assertLessEqual(outcomes.keys() - set(unknown), set(to))
        self.assertFalse((self.folder / "report.csv.journal").exists())
        self.assertIn("前回までに済んだ 300通は送りません。", self.send(*options, "--resume").err)

    def test_who_and_whether(self):
        self.new_mailing()
        dry = self.send("--dry-run", "--to", "3,0,1,3")
        self.assertEqual(dry.out, "0 a@example.jp\n3 d@example.jp\n2通を送ります (--dry-run なので送っていません)。\n")
        self.tessaly("customers", "delete", "shop.tsl", "0")
        self.put("bad.txt", "Subject: 件\n\n<%なまえ%>\n")
        for options, says, code in ((["--to", "0"], "その個人情報IDの顧客はいません: 0", 1), (["--to", "1"], "送る相手がいません", 1),
                                    (["--to", "x"], "--to は all か、", 2), (["--to", ""], "送る相手がいません", 1),
                                    ([], "送信サーバーがありません", 1), (["--smtp", "h:x"], "ポート番号が正しくありません", 2),
                                    (["--smtp", "[::1]:65536"], "ポート番号が正しくありません", 2),
                                    (["--smtp", "表💌"], "サーバーの名前に使えない文字", 1)):
            self.refused("send", "shop.tsl", "--draft", "draft.txt", "--force", *options, says=says, code=code)
        self.refused("send", "shop.tsl", "--draft", "bad.txt", "--dry-run",
                     says="下書き 3行1文字目: 知らない差し込み文字です: <%なまえ%>\n下書きに直すところがあります。")
        self.tessaly("settings", "shop.tsl", "from.address=")
        self.refused("send", "shop.tsl", "--draft", "draft.txt", "--force", "--dry-run", says="差出人がありません")

    def test_authentication(self):
        self.new_mailing()
        self.put("password", "pass word~\n")
        self.postbox("--user", "shop@example.jp", "--password-file", "password")
        for number, method in enumerate(("cram-md5", "login", "plain", "any"), 1):
            with self.subTest(method=method):
                self.tessaly("settings", "shop.tsl", "smtp.auth=" + method, "smtp.user=shop@example.jp",
                             "smtp.password=pass word")
                wrong = self.send("--smtp", self.server, "--threads", 1, code=1)
                self.assertIn("SMTP認証に失敗しました", wrong.err)
                self.assertIn("送信 0通、送れず 1通、残り 2通", wrong.out)  # ended at once
                self.tessaly("settings", "shop.tsl", "smtp.password=pass word~")
                self.send("--smtp", self.server)
                self.assertEqual(len(self.mails()), 3 * number)
        self.tessaly("settings", "shop.tsl", "smtp.auth=none")
        self.assertIn("[530 5.7.0 Authentication required]", self.send("--smtp", self.server, code=1).err)

    def test_a_check_and_a_mailing_agree(self):
        self.new_mailing()
        plain, login = "250-here\r\n250 AUTH PLAIN", "250-here\r\n250 AUTH LOGIN"
        for auth, answers, works in (("none", {"HELO": "502 no"}, False), ("any", {"EHLO": "502 no"}, False),
                                     ("any", {"EHLO": plain, "AUTH": "334 ", "DQB1AHA=": "235 in"}, True),
                                     ("any", {"EHLO": login, "AUTH": "334 bm8=", "DQ==": "334 bm8=", "CA==": "235 in"}, False)):
            server = SmtpServer(self, answers)
            self.tessaly("settings", "shop.tsl", "smtp.auth=" + auth, *(() if auth == "none" else ("smtp.user=u", "smtp.password=p")))
            checked = self.tessaly("check", "shop.tsl", "--smtp", server.address, code=0 if works else 1).out
            sent = self.send("--smtp", server.address, "--threads", 1, code=0 if works else 1)
            if not works:
                reason = checked.split("つながりません: ")[1].splitlines()[0]
                self.assertIn(reason, sent.err)

    def test_a_server_that_is_not_there(self):
        self.new_mailing(*(f"n{i}@example.jp,表,,Y" for i in range(40)))
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
        result = self.send("--smtp", f"127.0.0.1:{port}", "--report", "report.csv", "--threads", 2, code=1)
        self.assertIn("\n送信サーバーが受け付けないので止めました: ", result.err)
        self.assertIn("--resume をつけると、続きを送れます", result.err)
        self.assertLessEqual(len(self.report()), 2)
        self.assertEqual(set(self.outcomes().values()), {"失敗"})
        self.postbox()
        self.send("--smtp", self.server, "--report", "report.csv", "--resume")
        self.assertEqual(len(self.mails()), 40)

    def test_refusals_for_now_are_tried_again(self):
        self.new_mailing(*(f"n{i}@example.jp,表,,Y" for i in range(4)))
        server = SmtpServer(self, {"RCPT": lambda command: "450 4.2.0 later" if "n1@" in command else
                                   "550 5.1.1 \x1b[2Jnever" if "n2@" in command else ""})
        result = self.send("--smtp", server.address, "--report", "report.csv", code=1)
        self.assertEqual(sorted(self.outcomes().items()), [("n0@example.jp", "送信"), ("n1@example.jp", "失敗"),
                                                           ("n2@example.jp", "拒否"), ("n3@example.jp", "送信")])
        self.assertIn("[550 5.1.1  [2Jnever]", result.err)
        server.answers = {}
        self.send("--smtp", server.address, "--report", "report.csv", "--resume")
        self.assertEqual(len(server.mails), 3)
        self.assertEqual(self.report()[-1]["メールアドレス"], "n1@example.jp")

    def test_a_server_that_fails_everyone_is_left_in_peace(self):
        self.new_mailing(*(f"n{i}@example.jp,表,,Y" for i in range(60)))
        for answers in ({"": "421 busy"}, {"MAIL": "554 no"}, {"DATA": "554 no"}, {".": "554 no"},
                        {"HELO": None}, {".": None}):
            with self.subTest(answers=answers):
                server = SmtpServer(self, answers)
                result = self.send("--smtp", server.address, "--threads", 2, code=1)
                self.assertIn("送信サーバーが受け付けないので止めました", result.err)
                self.assertRegex(result.out, r"^送信 0通、送れず ([5-9]|10)通、残り ")

    def test_two_mailings_at_once_keep_apart(self):
        self.new_mailing(*(f"n{i}@example.jp,表,,Y" for i in range(20)))
        self.postbox()
        command = ["send", "shop.tsl", "--draft", "draft.txt", "--force", "--smtp", self.server]
        both = [Running(self, *command), Running(self, *command)]
        self.assertEqual([one.result().code for one in both], [0, 0])
        self.assertEqual(len({mail.id for mail in self.mails()}), 40)

    def test_a_report_that_cannot_be_written_ends_the_mailing(self):
        self.new_mailing()
        self.postbox()
        self.refused("send", "shop.tsl", "--draft", "draft.txt", "--force", "--smtp", self.server,
                     "--report", "no/report.csv", says="レポートを書けません: no/report.csv")
        self.assertEqual(self.mails(), [])


if __name__ == "__main__":
    unittest.main()
