"""Recipients of whom nobody knows whether they got the mail: shown, never mailed again by themselves, and settled."""

import csv
import io
import json
import re
import unittest

from smtp_server import SmtpServer
from stored_mail import StoredMailTest
from way_back import bounce, receipt


class Unknown(StoredMailTest):
    def setUp(self):
        super().setUp()
        self.new_mail()
        lost = ("n1@", "n2@", "n3@", "n4@")
        self.server = SmtpServer(self, {".": lambda mail: None if any(name in mail for name in lost) else "",
                                        "RCPT": lambda to: "450 4.2.1 try later" if "n5@" in to else ""})
        self.send("--smtp", self.server.address, "--threads", 1, code=1)
        self.server.answers = {}

    def listed(self):
        return json.loads(self.tessaly("unknown", "shop.tsl", 0, "--list", "--format", "json").out)

    def unknown(self):
        return [row["個人情報ID"] for row in self.listed()]

    def test_they_are_shown_and_left_alone(self):
        self.assertEqual(self.unknown(), ["1", "2", "3", "4"])
        row = self.listed()[0]
        self.assertEqual((row["メールアドレス"], row["何回目"]), ("n1@example.jp", "1"))
        self.assertTrue(row["分からない理由"])
        self.assertRegex(row["Message-ID"], r"^[0-9]+\.[0-9]+\.1\.m0\.tessaly-")
        one = self.tessaly("report", "shop.tsl", 0).out
        self.assertIn("不明 4人、待ち 1人。開封 0人、送信回数 6回\n不明の人をどうするかは「tessaly unknown shop.tsl 0」で決めます。\n", one)
        rows = list(csv.DictReader(io.StringIO(self.tessaly("report", "shop.tsl", 0, "--format", "csv").out)))
        self.assertEqual([row["状態"] for row in rows], ["完了"] + ["不明"] * 4 + ["待ち"])
        self.assertEqual((rows[1]["Message-ID"], rows[1]["送信回数"]), (row["Message-ID"], "1"))
        self.assertEqual(rows[5]["応答"], "450 4.2.1")
        self.assertIn("try later", rows[5]["理由"])
        mails, = json.loads(self.tessaly("report", "shop.tsl", "--format", "json").out)
        self.assertEqual((mails["待ち"], mails["不明"]), ("1", "4"))
        mail, = json.loads(self.tessaly("mail", "list", "shop.tsl", "--format", "json").out)
        self.assertEqual(mail["不明"], "4")
        self.assertIn("届いたかどうか分からない 4人には送りません。", self.send("--smtp", self.server.address).err)
        self.assertEqual(self.unknown(), ["1", "2", "3", "4"])

    def test_a_person_settles_them(self):
        self.refused("unknown", "shop.tsl", 0, "--settle", "1,0,9", says="届いたかどうか分からない宛先ではありません: 0,9\n何も変えませんでした。")
        for options, code in ((["--resend", "1", "--settle", "2"], 2), (["--settle", "x"], 2), (["--list", "--settle", "1"], 2)):
            self.tessaly("unknown", "shop.tsl", 0, *options, code=code)
        self.assertEqual(self.unknown(), ["1", "2", "3", "4"])
        self.assertEqual(self.tessaly("unknown", "shop.tsl", 0, "--settle", "1,2,1").out, "2人を、届いたものとしました。\n")
        self.assertEqual(self.tessaly("unknown", "shop.tsl", 0, "--resend", "3").out, "1人を、次の send で送り直すようにしました。\n")
        self.assertEqual(self.unknown(), ["4"])
        self.send("--smtp", self.server.address)
        self.assertEqual(sorted(self.received()[1:]), ["n3", "n5"])
        self.assertEqual(self.totals()[0], "エラーあり")
        self.tessaly("unknown", "shop.tsl", 0, "--resend", "all")
        self.assertEqual(self.totals()[0], "送信待ち")
        self.send("--smtp", self.server.address)
        self.assertEqual((self.received()[-1], self.totals()[0], self.unknown()), ("n4", "完了", []))
        self.assertEqual(self.tessaly("unknown", "shop.tsl", 0, "--settle", "all").out, "0人を、届いたものとしました。\n")

    def received(self):
        return [re.search(rb"(?m)^To: .*?(\w+)@", mail)[1].decode() for mail in self.server.mails]

    def test_an_answer_settles_them(self):
        ids = {row["個人情報ID"]: row["Message-ID"] for row in self.listed()}
        (self.folder / "answers").mkdir()
        for number, answer in enumerate((bounce(ids["1"]), receipt(ids["2"]), bounce(ids["3"], "4.4.1", "delayed"),
                                         bounce(ids["4"].replace(".m0.", ".m1.")))):
            self.put(f"answers/{number}.eml", answer)
        before = self.listed()
        told = self.tessaly("receive", "shop.tsl", "--from-dir", "answers", "--dry-run")
        self.assertEqual(told.err.count("不明だったのが、送れていたと分かりました。"), 3)
        self.assertEqual(self.listed(), before)
        self.assertIn("不明だったのが、送れていたと分かりました。エラーにしました", self.tessaly("receive", "shop.tsl", "--from-dir", "answers").err)
        self.assertEqual(self.unknown(), ["4"])
        rows = json.loads(self.tessaly("report", "shop.tsl", 0, "--format", "json").out)
        self.assertEqual([(row["状態"], row["開封"]) for row in rows],
                         [("完了", "N"), ("エラー", "N"), ("完了", "Y"), ("完了", "N"), ("不明", "N"), ("待ち", "N")])
        self.assertEqual([row["Message-ID"] for row in rows[1:4]], [ids[number] for number in "123"])


if __name__ == "__main__":
    unittest.main()
