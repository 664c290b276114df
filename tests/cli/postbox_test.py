"""The built-in post box, tested with Python's SMTP client and with single commands."""

import contextlib
import smtplib
import socket
import threading
import time
import unittest

from cli import CommandTest


class Postbox(CommandTest):
    def client(self):
        client = smtplib.SMTP(*self.server.split(":"), timeout=30)
        self.addCleanup(client.close)
        return client

    def contents(self):
        return [file.read_bytes() for file in sorted(self.box.glob("*.eml"))]

    def by_hand(self):
        connection = socket.create_connection(self.server.split(":"), timeout=30)
        self.addCleanup(connection.close)
        replies = connection.makefile("rb")
        self.addCleanup(replies.close)
        self.assertTrue(replies.readline().startswith(b"220 "))
        return connection, replies

    def test_a_usual_client(self):
        running = self.postbox("--refuse", "no*@example.jp")
        with self.client() as client:
            client.login("anyone", "anything")
            both = ["b@example.jp", "nobody@example.jp"]
            refused = client.sendmail("a@example.jp", both, "Subject: x\n\n.dot\nbody\n")
            self.assertEqual(refused["nobody@example.jp"][0], 550)
            client.sendmail("a@example.jp", ["c@example.jp"], b"x\r\n" * 100000)
        first, second = self.contents()
        self.assertEqual(first, b"Return-Path: <a@example.jp>\r\nDelivered-To: b@example.jp\r\n"
                                b"Subject: x\r\n\r\n.dot\r\nbody\r\n")
        self.assertTrue(second.endswith(b"\r\nx\r\n" + b"x\r\n" * 99999))
        with self.assertRaises(smtplib.SMTPSenderRefused):
            self.client().sendmail("a@example.jp", ["b@example.jp"], "x" * (51 << 20))
        stopped = running.stop()
        self.assertEqual((stopped.code, stopped.out.splitlines()[-1]), (0, "終わりました。2通が届きました。"))

    def test_authentication(self):
        self.put("password", "pass word\r\n")
        self.postbox("--user", "shop", "--password-file", "password")
        for method in ("CRAM-MD5", "LOGIN", "PLAIN"):
            for password, code in (("pass word", 250), ("pass", 530)):
                client = self.client()
                client.ehlo()
                client.user, client.password = "shop", password
                with self.subTest(method=method, password=password), contextlib.ExitStack() as stack:
                    if code != 250:
                        stack.enter_context(self.assertRaises(smtplib.SMTPAuthenticationError))
                    client.auth(method, getattr(client, "auth_" + method.lower().replace("-", "_")))
                self.assertEqual(client.mail("a@example.jp")[0], code)

    def test_lines_end_in_cr_lf_only(self):
        self.postbox()
        connection, replies = self.by_hand()
        connection.sendall(b"EHLO x\r\nMAIL FROM:<a@example.jp>\r\nRCPT TO:<b@example.jp>\r\nDATA\r\n")
        for byte in b"one\n.\nMAIL FROM:<evil@example.jp>\r.\r\r\n..\r\n\r\n.\r\nQUIT\r\n":
            connection.sendall(bytes([byte]))
        answers = replies.read().split(b"\r\n")
        self.assertEqual([answer[:4] for answer in answers],
                         [b"250-", b"250-", b"250-", b"250 ", b"250 ", b"250 ", b"354 ", b"250 ", b"221 ", b""])
        [mail] = self.contents()
        self.assertTrue(mail.endswith(b"b@example.jp\r\none\n.\nMAIL FROM:<evil@example.jp>\r.\r\r\n.\r\n\r\n"))

    def test_bad_clients_do_not_disturb_others(self):
        running = self.postbox()
        flood, replies = self.by_hand()
        flood.sendall(b"A" * 5000000 + b"\r\nNOOP\r\n")
        self.assertTrue(replies.readline().startswith(b"500 "))
        self.assertTrue(replies.readline().startswith(b"250 "))
        silent = [self.by_hand() for _ in range(10)]
        half, _ = self.by_hand()
        half.sendall(b"EHLO x\r\nMAIL FROM:<a@example.jp>\r\nRCPT TO:<b@example.jp>\r\nDATA\r\nhalf a mail")
        half.close()

        def send(number):
            with self.client() as client:
                for _ in range(5):
                    client.sendmail("a@example.jp", [f"n{number}@example.jp"], "Subject: x\n\nx\n")
        senders = [threading.Thread(target=send, args=(number,)) for number in range(12)]
        for sender in senders:
            sender.start()
        for sender in senders:
            sender.join()
        self.assertEqual(len(self.contents()), 60)
        begun = time.monotonic()
        self.assertEqual(running.stop().code, 0)  # with the silent ones still there
        self.assertLess(time.monotonic() - begun, 20)
        self.assertEqual(len(silent), 10)

    def test_a_folder_that_has_mails_already(self):
        (self.folder / "box").mkdir()
        self.put("box/000041.eml", b"old")
        self.put("box/000042.eml.part", b"left by a kill")
        self.postbox()
        with self.client() as client:
            client.sendmail("a@example.jp", ["b@example.jp"], "x\n")
        names = sorted(file.name for file in self.box.iterdir())
        self.assertEqual(names, ["000041.eml", "000042.eml.part", "000043.eml"])
        self.assertEqual((self.box / "000041.eml").read_bytes(), b"old")
        port = self.server.split(":")[1]
        self.refused("postbox", "other", "--smtp", port, says=f"ポート {port} で待てません")
        self.refused("postbox", self.put("file", b""), says="ディレクトリを作れません: file")


if __name__ == "__main__":
    unittest.main()
