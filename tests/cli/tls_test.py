"""Mail over TLS: what is asked of a server before anything is said, and what the user reads when it does not hold."""

import base64
import http.server
import re
import socket
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

from certificates import Authority
from cli import PATIENCE, CommandTest, Mail
from smtp_server import SmtpServer

CUSTOMERS = [f"n{i}@example.jp,表{i},,Y" for i in range(6)]
OFFERS = {"EHLO": "250-here\r\n250-STARTTLS\r\n250 AUTH PLAIN"}
NOT_TRUSTED = "サーバ証明書の検証に失敗しました。 [Server certificate verification failed. Connection aborted. "


class Cut:
    """Stands before a server and lets so many of its bytes through, then nothing more."""

    def __init__(self, test, server, limit):
        self.limit, self.listener = limit, socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.server = ("127.0.0.1", int(server.split(":")[1]))
        test.addCleanup(self.listener.close)
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while True:
            try:
                client = self.listener.accept()[0]
            except OSError:
                return
            behind = socket.create_connection(self.server)
            threading.Thread(target=self.pump, args=(client, behind, 1 << 30), daemon=True).start()
            threading.Thread(target=self.pump, args=(behind, client, self.limit), daemon=True).start()

    @staticmethod
    def pump(source, target, left):
        try:
            while data := source.recv(4096):
                target.sendall(data[:left])
                left = max(left - len(data), 0)
            target.close()
        except OSError:
            pass


class OverTls(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*CUSTOMERS)
        self.put("draft.txt", "Subject: <%名前(姓)%>様へ\n\n.\n<%名前(姓)%> 様\n")
        (self.folder / "ca").mkdir()
        self.authority = Authority(self.folder / "ca")

    def settings(self, *values):
        self.tessaly("settings", "shop.tsl", *values)

    def secure(self, server, security="tls", *others):
        self.settings("smtp.host=localhost", "smtp.port=" + server.address.split(":")[1], "smtp.security=" + security,
                      "smtp.ca-file=ca/ca.pem", "smtp.timeout=5", *others)

    def send(self, to="all", **options):
        return self.tessaly("send", "shop.tsl", "--draft", "draft.txt", "--to", to, "--threads", 1, **options)

    def log(self):
        return b"".join(file.read_bytes() for file in (self.folder / "shop" / "LOG").iterdir()).decode("cp932")

    def test_from_the_first_byte_and_by_upgrade(self):
        for security, upgrade in (("tls", False), ("starttls", True)):
            server = SmtpServer(self, dict(OFFERS), self.authority.context(security), upgrade)
            self.secure(server, security, "smtp.mails-per-connection=2", "smtp.auth=any", "smtp.user=u", "smtp.password=geheim")
            server.answers["AUTH"] = "334 "
            server.answers[""] = "220 ready"
            self.assertIn("送信 6通、送れず 0通", self.send().out)
            mails = [mail.decode("ascii") for mail in server.mails]
            self.assertEqual(len(mails), 6)
            self.assertTrue(all("\r\n\r\n..\r\n" in mail and "Message-Id: <" in mail for mail in mails))
            self.assertEqual(server.resumed, [False, True, True])
            self.assertEqual(server.commands.count("RSET"), 3)
            self.assertEqual(server.commands.count("AUTH PLAIN"), 3)
            self.assertEqual(server.commands.count("STARTTLS"), 3 if upgrade else 0)
        log = self.log()
        self.assertIn("[送信]********\r\n", log)
        encoded = base64.b64encode(b"\0u\0geheim").decode()
        self.assertIn(encoded, server.commands)
        for secret in ("geheim", encoded):
            self.assertNotIn(secret, log)

    def test_refusals_are_hers_alone(self):
        server = SmtpServer(self, OFFERS | {"RCPT": lambda c: "550 no such" if "n1@" in c else "451 later" if "n2@" in c else ""},
                            self.authority.context("good"))
        self.secure(server)
        result = self.send(code=1)
        self.assertIn("送信 4通、送れず 2通", result.out)
        self.assertIn("拒否 1 <n1@example.jp>: 要求を実行できません。", result.err)
        self.assertIn("失敗 2 <n2@example.jp>: 処理中にエラーが発生しました。", result.err)
        self.assertIn("[550 no such]", result.err)

    def test_what_was_refused_and_recovered_says_nothing_of_the_next_recipient(self):
        refused = {"RCPT": lambda c: "550 no such" if "n3@" in c else ""}
        first_methods = OFFERS | {"EHLO": "250-here\r\n250 AUTH LOGIN PLAIN"}
        for answers, others in ((OFFERS | {"RSET": "421 enough"}, ()), (OFFERS | {"EHLO": "502 what"}, ()),
                                (first_methods | {"AUTH": lambda c: "504 no" if "LOGIN" in c else "334 "},
                                 ("smtp.auth=any", "smtp.user=u", "smtp.password=p"))):
            server = SmtpServer(self, answers | refused, self.authority.context("good"))
            self.secure(server, "tls", *others)
            if others:
                server.answers[base64.b64encode(b"\0u\0p").decode().upper()] = "235 in"
            result = self.send(code=1)
            self.assertIn("送信 5通、送れず 1通", result.out)
            self.assertIn("拒否 3 <n3@example.jp>: 要求を実行できません。", result.err)

    def test_a_server_that_leaves_a_kept_connection_gets_the_mail_over_a_new_one(self):
        for verb in ("MAIL", "RCPT", "DATA", "."):
            seen = []

            def leaves_once(command):
                seen.append(command)
                return "421 enough" if len(seen) == 3 else ""
            server = SmtpServer(self, OFFERS | {verb: leaves_once}, self.authority.context("good"))
            self.secure(server)
            self.assertIn("送信 6通、送れず 0通", self.send().out, verb)
            self.assertEqual((len(server.resumed), len(seen)), (2, 7), verb)

    def test_servers_that_cannot_be_trusted(self):
        for name, options, ca, why in (("expired", {"days": -1}, "ca/ca.pem", "certificate has expired"),
                                       ("other", {"hosts": "DNS:mail.example.com"}, "ca/ca.pem", "hostname mismatch"),
                                       ("unknown", {}, "", "unable to get local issuer certificate"),
                                       ("mixed", {}, "ca/expired.pem", "unable to get")):
            server = SmtpServer(self, OFFERS, self.authority.context(name, **options))
            self.secure(server, "tls", "smtp.ca-file=" + ca)
            result = self.send(code=1)
            self.assertIn(NOT_TRUSTED, result.err, name)
            self.assertIn(why, result.err, name)
            self.assertEqual((server.commands, result.out[:12]), ([], "送信 0通、送れず 1通"[:12]), name)
            checked = self.tessaly("check", "shop.tsl", code=1)
            self.assertIn(f"証明書: CN = {name}\n", checked.out)
            self.assertIn("つながりません: " + NOT_TRUSTED, checked.out)
        self.settings("smtp.ca-file=none.pem")
        self.assertIn("smtp.ca-file のファイルがありません: none.pem", self.send(code=1).err)
        self.put("junk.pem", "junk")
        self.settings("smtp.ca-file=junk.pem")
        self.assertIn(NOT_TRUSTED, self.send(code=1).err)

    def test_no_upgrade_no_mail(self):
        for answers, sentence in (({"STARTTLS": "502 no"}, "送信サーバがSTARTTLSに対応しているか確認してください。 [STARTTLS is not available: 502 no]"),
                                  ({"STARTTLS": "220 go\r\n250 more"}, "SSL通信を開始しようとしましたが"),
                                  ({"STARTTLS": None}, "ソフトウェアが接続を中止しました。")):
            server = SmtpServer(self, answers)
            self.secure(server, "starttls")
            self.assertIn(sentence, self.send(to="1", code=1).err)
            self.assertFalse([command for command in server.commands if command.startswith(("MAIL", "AUTH"))])
        plain = SmtpServer(self, {})
        self.secure(plain, "tls")
        self.settings("smtp.timeout=1")
        self.assertIn("SSL通信を", self.tessaly("check", "shop.tsl", code=1).out)

    def test_a_damaged_setting_never_means_plain(self):
        server = SmtpServer(self, OFFERS)
        self.secure(server, "starttls")
        file = self.folder / "shop" / "systemoption.dat"
        # Each byte stands for one other all through the file, so that a word shows by which of its letters are equal.
        damaged, count = re.subn(rb"(?s)(.)(?!\1)(.)(.)(.)\2\2(.)\1", rb"\1\2\3\4\2\2\5\2", file.read_bytes())
        self.assertEqual(count, 1)
        file.write_bytes(damaged)
        self.assertIn("smtp.security: 値は none|tls|starttls のどれかです: starttlt", self.send(code=1).err)
        self.assertEqual(server.commands, [])

    def test_a_server_that_stops_anywhere_ends_in_time(self):
        server = SmtpServer(self, {}, self.authority.context("good"))
        self.secure(server, "tls", "smtp.timeout=1")

        def check(limit):
            start = time.monotonic()
            result = self.tessaly("check", "shop.tsl", "--smtp", "localhost:" + Cut(self, server.address, limit).address.split(":")[1],
                                  code=1)
            return limit, result.out, time.monotonic() - start
        with ThreadPoolExecutor(6) as pool:
            for limit, out, seconds in pool.map(check, [*range(0, 8), 60, 127, 128, 200, 500, 800, 900, 1000]):
                self.assertRegex(out, "つながりません: (サーバとの接続がタイムアウトしました。|SSL通信を)", limit)
                self.assertLess(seconds, PATIENCE / 3, limit)

    def test_the_post_box_and_the_way_back(self):
        self.postbox("--pop", "0", "--tls", "box.pem")
        smtp, pop = self.text("port").split()
        self.settings("smtp.host=localhost", "smtp.port=" + smtp, "smtp.security=tls", "smtp.ca-file=box.pem", "pop.host=127.0.0.1",
                      "pop.port=" + pop, "pop.security=tls", "pop.ca-file=box.pem", "pop.user=shop", "pop.password=streng")
        self.send()
        self.assertEqual(sorted(mail.subject for mail in self.mails()), [f"表{i}様へ" for i in range(6)])
        checked = self.tessaly("check", "shop.tsl").out
        self.assertIn("接続できました。", checked)
        self.assertIn("ログインできました。メールは 6通あります。", checked)
        self.assertIn("  証明書: CN = Tessaly post box\n  サーバーの名前: localhost\n", checked)
        received = self.tessaly("receive", "shop.tsl", "--delete")
        self.assertIn("その他 6通", received.out)
        self.assertEqual(len(list(self.box.glob("*.eml"))), 0)
        kept = sorted((self.folder / "shop" / "INBOX").glob("*.eml"))
        self.assertEqual(len(kept), 6)
        self.assertEqual(Mail(kept[0].read_bytes()).body, ".\n表0 様\n\n")
        self.assertIn("その他 0通", self.tessaly("receive", "shop.tsl").out)
        self.assertNotIn("streng", self.log())
        self.settings("pop.ca-file=")
        self.assertIn(NOT_TRUSTED, self.tessaly("receive", "shop.tsl", code=1).err)


class Proxy(http.server.BaseHTTPRequestHandler):
    """Accepts any host and every client with the password."""

    def do_GET(self):
        if self.headers["Proxy-Authorization"] != "Basic dTpwIncx":  # u:p"w1
            self.send_response(407)
            self.send_header("Proxy-Authenticate", "Basic realm=\"x\"")
        else:
            self.server.asked.append(self.path)
            self.send_response(200)
            self.send_header("Last-Modified", "Tue, 05 Oct 2004 00:30:15 GMT")
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *_):
        pass


class News(CommandTest):
    def test_the_date_through_a_proxy(self):
        self.new_shop()
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Proxy)
        server.asked = []
        threading.Thread(target=server.serve_forever, args=(0.02,)).start()
        self.addCleanup(lambda: (server.shutdown(), server.server_close()))
        self.tessaly("settings", "shop.tsl", f"news.proxy=127.0.0.1:{server.server_address[1]}")
        self.assertIn("プロキシーに断られました。", self.tessaly("news", "shop.tsl", code=1).err)
        self.tessaly("settings", "shop.tsl", "news.proxy-user=u", "news.proxy-password=p\"w1")
        self.assertEqual(self.tessaly("news", "shop.tsl").out, "お知らせの更新日時: 2004/10/05 09:30:15\n")
        self.assertEqual(server.asked, ["http://www.tessaly.example/links/tsl/5/?p=tsl5_start_info"])
        self.assertNotIn("p\"w1", self.text("shop/proxy.ini"))
        self.tessaly("settings", "shop.tsl", "news.proxy=127.0.0.1")
        self.assertIn("「サーバー:ポート」の形", self.tessaly("news", "shop.tsl", code=1).err)
        self.tessaly("settings", "shop.tsl", "news.proxy=127.0.0.1:1")
        self.assertIn("プロキシーを通して、お知らせを見られませんでした。", self.tessaly("news", "shop.tsl", code=1).err)


if __name__ == "__main__":
    unittest.main()
