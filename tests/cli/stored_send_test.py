"""send, report and retry of a stored mail: its history after interruptions and failures."""

import csv
import io
import json
import re
import shutil
import signal
import threading
import time
import unittest

from certificates import Authority
from cli import PATIENCE, Running, wait_for
from smtp_server import SmtpServer
from stored_mail import StoredMailTest

class StoredSend(StoredMailTest):
    def test_retries_up_to_the_limit(self):
        self.new_mail()
        self.assertEqual(self.totals(), ["下書き", "6", "0", "0", "6"])
        server = SmtpServer(self, {"RCPT": lambda command: "450 no" if "n1@" in command or "n2@" in command else ""})
        to = ("--smtp", server.address)
        self.tessaly("settings", "shop.tsl", "retry.max=2")
        self.assertIn("送信 4通、送れず 2通", self.send(*to, "--report", "report.csv", code=1).out)
        self.assertEqual(len(list(csv.DictReader(io.StringIO(self.text("report.csv"))))), 6)
        expected = {f"n{i}": ("完了", "1", "0") for i in range(6)}
        self.assertEqual(self.history(), expected | dict.fromkeys(["n1", "n2"], ("待ち", "1", "1")))
        server.answers = {"RCPT": lambda command: "450 later" if "n1@" in command else ""}
        self.assertIn("送信 1通、送れず 1通", self.send(*to, "--retry", code=1).out)
        self.assertEqual(self.history(), expected | {"n1": ("待ち", "2", "2"), "n2": ("完了", "2", "1")})
        self.assertEqual(self.totals(), ["送信待ち", "6", "5", "0", "1"])
        self.assertIn("送信 0通、送れず 1通", self.send(*to, code=1).out)  # a plain send tries again too
        self.assertEqual(self.totals(), ["エラーあり", "6", "5", "1", "0"])
        self.assertIn("再送信する相手はいません", self.send(*to, "--retry").out)
        again = self.send(*to)
        self.assertIn("もう届いている 5人には送りません。\n再送信の上限に達した 1人には送りません。\n", again.err)
        self.assertIn("送る相手は残っていません", again.out)
        self.assertEqual(len(server.mails), 5)
        self.tessaly("settings", "shop.tsl", "retry.max=9")
        server.answers = {}
        self.send(*to)
        self.assertEqual(self.totals(), ["完了", "6", "6", "0", "0"])

    def test_a_recipient_who_is_refused_for_good_is_not_tried_again(self):
        """Who does not exist is in no mailing any more; who is refused for another reason is in the next one."""
        self.new_mail()
        refusals = {"n1@": "550 5.1.1 <n1@example.jp>: unknown", "n2@": "550 5.7.1 policy", "n3@": "552 5.2.2 full"}
        server = SmtpServer(self, {"RCPT": lambda command: next((refusals[name] for name in refusals if name in command), "")})
        to = ("--smtp", server.address)
        self.assertIn("これから送るのを止めた宛先 1件", self.send(*to, code=1).err)
        tried = len(server.commands)
        expected = {f"n{i}": ("完了", "1", "0") for i in range(6)} | dict.fromkeys(["n1", "n2", "n3"], ("エラー", "1", "1"))
        self.assertEqual(self.history(), expected)
        self.assertEqual(self.totals(), ["エラーあり", "6", "3", "3", "0"])
        self.assertIn("再送信する相手はいません", self.send(*to, "--retry").out)
        self.assertIn("サーバーが宛先を断った 3人には送りません。", self.send(*to).err)
        self.assertEqual((len(server.commands), self.history()), (tried, expected))
        row, = self.suppressed()
        self.assertEqual([row[name] for name in ("メールアドレス", "理由", "メール")], ["n1@example.jp", "宛先不明", "0"])
        for mail in (1, 2):  # the mailbox that is full bounces for the second and third time
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
            chosen = self.tessaly("target", "shop.tsl", mail, "--all")
            self.assertIn("届かないので止めている 1人には送りません", chosen.err)
            self.assertIn("宛先は 5件です", chosen.out)
            self.tessaly("send", "shop.tsl", mail, *to, code=1)
        self.assertEqual([row["メールアドレス"] for row in self.suppressed()], ["n1@example.jp", "n3@example.jp"])
        self.tessaly("customers", "set", "shop.tsl", 1, "メールアドレス=right@example.jp")
        self.assertEqual([row["メールアドレス"] for row in self.suppressed()], ["n3@example.jp"])

    def suppressed(self):
        return json.loads(self.tessaly("suppressed", "list", "shop.tsl", "--format", "json").out)

    def test_a_run_that_was_killed_counts_its_refusals_in_the_next(self):
        self.new_mail()
        asked = threading.Event()
        stall = lambda mail: asked.set() or time.sleep(30)
        server = SmtpServer(self, {"RCPT": lambda command: "550 5.1.1 unknown" if "n1@" in command else "",
                                   ".": lambda mail: stall(mail) if "n2@" in mail.split("Subject")[0] else ""})
        run = Running(self, "send", "shop.tsl", "0", "--smtp", server.address, "--threads", "1")
        self.assertTrue(asked.wait(PATIENCE))
        run.stop(signal.SIGKILL)
        self.assertEqual(self.suppressed(), [])
        server.answers.pop(".")
        self.send("--smtp", server.address)
        self.assertEqual([row["メールアドレス"] for row in self.suppressed()], ["n1@example.jp"])
        self.tessaly("suppressed", "remove", "shop.tsl", "n1@example.jp")
        self.send("--smtp", server.address)
        self.assertEqual(self.suppressed(), [])

    def test_a_refusal_counts_for_a_run_that_goes_on(self):
        self.new_mail()
        asked, go_on = threading.Event(), threading.Event()
        stall = lambda mail: asked.set() or go_on.wait(PATIENCE) and ""
        server = SmtpServer(self, {".": lambda mail: stall(mail) if "n1@" in mail.split("Subject")[0] else ""})
        run = Running(self, "send", "shop.tsl", "0", "--smtp", server.address, "--threads", "1")
        self.assertTrue(asked.wait(PATIENCE))
        self.tessaly("refusals", "add", "shop.tsl", "N3@example.jp", "--note", "電話で")
        self.tessaly("suppressed", "add", "shop.tsl", "n5@example.jp")
        go_on.set()
        told = run.result()
        self.assertEqual(told.code, 0)
        self.assertIn("見送り 3 <n3@example.jp>: DMを受け取らなくなりました", told.err)
        self.assertIn("見送り 5 <n5@example.jp>: 届かないので止めている宛先です", told.err)
        self.assertIn("送信 4通、送れず 0通、見送り 2通", told.out)
        self.assertEqual(len(server.mails), 4)

    def test_without_retries_a_failure_is_the_end(self):
        self.new_mail()
        self.tessaly("settings", "shop.tsl", "retry.allowed=N")
        server = SmtpServer(self, {"RCPT": lambda command: "450 later" if "n1@" in command else ""})
        self.send("--smtp", server.address, code=1)
        self.assertEqual(self.history()["n1"], ("エラー", "1", "1"))
        self.assertIn("再送信する相手はいません", self.send("--smtp", server.address, "--retry").out)
        self.assertEqual(self.totals(), ["エラーあり", "6", "5", "1", "0"])

    def test_a_server_that_is_not_there_costs_nobody_an_attempt(self):
        self.new_mail()
        server = SmtpServer(self, {"": "421 busy"})
        stopped = self.send("--smtp", server.address, "--threads", 1, code=1)
        self.assertIn("まだ届いていない人に続きを送ります", stopped.err)
        self.assertEqual(set(self.history().values()), {("待ち", "0", "0")})

    def test_killed_and_stopped_runs_send_nobody_twice(self):
        self.new_mail(*(f"n{i}@example.jp,表{i},,Y" for i in range(400)))
        server = SmtpServer(self, {})
        for number, end in enumerate((signal.SIGKILL, signal.SIGINT), 1):
            run = Running(self, "send", "shop.tsl", "0", "--smtp", server.address, "--threads", "4")
            self.assertTrue(wait_for(lambda: len(server.mails) >= 40 * number))
            stopped = run.stop(end)
        self.assertIn("同じコマンドをもう一度実行すると", stopped.err)
        states = [state for state, _, _ in self.history().values()]
        self.assertLess(states.count("完了"), 400)
        self.assertLessEqual(len(server.mails) - states.count("完了"), states.count("不明"))
        self.assertLessEqual(states.count("不明"), 4)  # the mails on the way when it was killed
        for again in ((), ("--retry",), ()):
            self.send("--smtp", server.address, *again)
        states = [state for state, _, _ in self.history().values()]
        self.assertEqual(states.count("完了") + states.count("不明"), 400)
        self.assertLessEqual(len(server.mails), 400)
        self.assertEqual(len({re.search(rb"(?m)^To: .*?(\w+)@", mail)[1] for mail in server.mails}), len(server.mails))

    def test_a_mail_without_a_reply_is_unknown_and_stays_so(self):
        authority = Authority(self.folder)
        context = authority.context("server")
        for security in ("none", "starttls", "tls"):
            self.new_mail()
            self.tessaly("settings", "shop.tsl", f"smtp.security={security}", f"smtp.ca-file={authority.file}")
            replies = {"n1": None, "n2": "554 5.6.0 no", "n3": None}
            silent = lambda mail: next((reply for name, reply in replies.items() if f"{name}@" in mail.split("Subject")[0]), "")
            server = SmtpServer(self, {"EHLO": "250-hi\r\n250 STARTTLS", ".": silent},
                                tls=None if security == "none" else context, upgrade=security == "starttls")
            to = ("--smtp", server.address)
            run = self.send(*to, "--threads", 1, "--report", "report.csv", code=1)
            self.assertIn("不明 1 <n1@example.jp>: ", run.err)
            expected = {f"n{i}": ("完了", "1", "0") for i in range(6)} | dict.fromkeys(["n1", "n3"], ("不明", "1", "0"))
            self.assertEqual(self.history(), expected | {"n2": ("待ち", "1", "1")}, security)
            rows = list(csv.DictReader(io.StringIO(self.text("report.csv"))))
            self.assertEqual([row["結果"] for row in rows], ["送信", "不明", "失敗", "不明", "送信", "送信"])
            for again in (("--dry-run",), ("--retry", *to), to):
                replies.clear()
                self.assertIn("届いたかどうか分からない 2人には送りません。", self.send(*again).err)
            self.assertEqual(self.history(), expected | {"n2": ("完了", "2", "1")})
            self.assertEqual(len(server.mails), 5)  # n2 twice
            shutil.rmtree(self.folder / "shop")
            for file in ("shop.tsl", "report.csv"):
                (self.folder / file).unlink()

    def test_an_outcome_is_on_record_before_anything_else_is_said(self):
        """The run is killed while the server has the reply to QUIT or RSET, or the next greeting, still to give."""
        authority = Authority(self.folder)
        context = authority.context("server")
        for security, kept in (("none", 1), ("starttls", 1), ("tls", 1), ("tls", 9)):
            self.new_mail()
            self.tessaly("settings", "shop.tsl", f"smtp.security={security}", f"smtp.ca-file={authority.file}",
                         f"smtp.mails-per-connection={kept}")
            asked = threading.Event()
            stall = lambda command: asked.set() or time.sleep(30)
            server = SmtpServer(self, {"EHLO": "250-hi\r\n250 STARTTLS", "QUIT": stall, "RSET": stall},
                                tls=None if security == "none" else context, upgrade=security == "starttls")
            run = Running(self, "send", "shop.tsl", "0", "--smtp", server.address, "--threads", "1")
            self.assertTrue(asked.wait(30))
            run.stop(signal.SIGKILL)
            # RSET belongs to the next mail already.
            states = sorted(state for state, _, _ in self.history().values())
            self.assertEqual(states, sorted(["完了"] + ["待ち"] * (5 if kept == 1 else 4) + ["不明"] * (kept > 1)), security)
            shutil.rmtree(self.folder / "shop")
            (self.folder / "shop.tsl").unlink()

    def test_a_torn_journal_tells_what_it_can(self):
        self.new_mail()
        server = SmtpServer(self, {"RCPT": lambda command: "450 later"})
        self.send("--smtp", server.address, code=1)
        line = "{}\tC\t1\tid{}@x\t2026/11/23 01:02:03\n"
        self.put("shop/MAIL/0/hist0.journal", line.format(1, 1) + "x\n99\tC\t1\tid\t2026/11/23 01:02:03\n\n" +
                 line.format(2, 2) + line.format(3, 3)[:-9])
        self.assertEqual([self.history()[name][0] for name in ("n0", "n1", "n2", "n3")], ["待ち", "完了", "完了", "待ち"])
        server.answers = {}
        self.send("--smtp", server.address)
        self.assertEqual(len(server.mails), 4)
        self.assertEqual(self.totals(), ["完了", "6", "6", "0", "0"])

    def test_who_left_since_the_choice_gets_nothing(self):
        self.new_mail()
        self.tessaly("customers", "delete", "shop.tsl", 1)
        self.tessaly("customers", "set", "shop.tsl", 2, "DM送付可否=N")
        self.assertEqual(self.send("--dry-run").out.splitlines()[-1], "4通を送ります (--dry-run なので送っていません)。")
        server = SmtpServer(self, {})
        run = self.send("--smtp", server.address)
        self.assertIn("削除された顧客 1人には送りません。\nDMを受け取らない顧客 1人には送りません。\n", run.err)
        self.assertEqual(len(server.mails), 4)

    def test_the_testers_get_it_without_a_trace(self):
        self.new_mail()
        server = SmtpServer(self, {})
        self.refused("send", "shop.tsl", 0, "--test", "--smtp", server.address, says="テスト送信の相手がいません")
        self.tessaly("testers", "add", "shop.tsl", "メールアドレス=me@example.jp", "名前(姓)=試")
        self.send("--test", "--smtp", server.address)
        self.assertEqual(len(server.mails), 1)
        self.assertNotIn(b".m0.tessaly-", server.mails[0])  # the tester's number is another customer's
        self.assertEqual(self.totals(), ["下書き", "6", "0", "0", "6"])
        self.assertEqual(list((self.folder / "shop/MAIL/0").glob("hist*")), [])

    def test_the_envelope_tells_who_a_bounce_is_about(self):
        self.new_mail()
        self.refused("settings", "shop.tsl", "return.address=bounce@example.jp", says="return.address: @ の前に * を1つ")
        self.tessaly("settings", "shop.tsl", "return.address=bounce+*@example.jp", "smtp.mails-per-connection=50")
        (self.folder / "ca").mkdir(mode=0o755)
        authority, tokens = Authority(self.folder / "ca"), []
        for mail, security in enumerate(("none", "tls"), 1):
            server = SmtpServer(self, {}, authority.context("mail") if security == "tls" else None)
            self.tessaly("settings", "shop.tsl", "smtp.host=localhost", "smtp.port=" + server.address.split(":")[1],
                         "smtp.security=" + security, "smtp.ca-file=ca/ca.pem")
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
            self.tessaly("target", "shop.tsl", mail, "--all")
            self.tessaly("send", "shop.tsl", mail, "--threads", 1)
            commands = [command for command in server.commands if command[:4] in ("MAIL", "RCPT")]
            for sender, recipient in zip(commands[::2], commands[1::2]):
                token = re.match(r"MAIL FROM: ?<bounce\+(m\d+-c\d+-[a-z2-7]{16})@example\.jp>", sender)[1]
                customer = re.search(r"n(\d)@", recipient)[1]
                self.assertTrue(token.startswith(f"m{mail}-c{customer}-"), token)
                tokens.append(token)
            self.assertEqual(len(set(tokens)), 6 * mail)
            for content in server.mails:  # each use has a check of its own
                self.assertFalse(any(token in content.decode("latin-1") for token in tokens))
            del server.commands[:]
            self.tessaly("send", "shop.tsl", "--draft", "draft.txt", "--to", 0)
            self.assertRegex("".join(server.commands), "MAIL FROM: ?<shop@example.jp>")
            self.assertIn("?subject=unsubscribe&body=%3CREFUSE%3E>", server.mails[-1].decode("latin-1"))

    def test_two_runs_of_one_mail_do_not_meet(self):
        self.new_mail(*(f"n{i}@example.jp,表{i},,Y" for i in range(300)))
        server = SmtpServer(self, {})
        runs = [Running(self, "send", "shop.tsl", "0", "--smtp", server.address) for _ in range(2)]
        codes = sorted(run.result().code for run in runs)
        self.assertIn(codes, ([0, 0], [0, 1]))
        self.assertEqual(len(server.mails), 300)

    def test_wrong_use(self):
        self.new_mail()
        for options, says in (([], "送るもの"), ([0, "--draft", "draft.txt"], "送るもの"), ([0, "--resume"], "--report が要ります"),
                              ([0, "--to", "1"], "tessaly target"), (["--draft", "draft.txt", "--retry"], "保存したメールだけ")):
            self.refused("send", "shop.tsl", *options, says=says, code=2)
        self.refused("send", "shop.tsl", 7, says="その番号のメールはありません: 7")
        self.tessaly("target", "shop.tsl", 0, "--clear")
        self.refused("send", "shop.tsl", 0, says="宛先がありません")


if __name__ == "__main__":
    unittest.main()
