"""Answers as three kinds of mail programs and several kinds of mail servers write them: each leads to its mail and its
customer, and takes effect once."""

import contextlib
import email
import mailbox
import unittest

from email.mime.message import MIMEMessage
from email.mime.multipart import MIMEMultipart

from mail_programs import Desktop, Phone, Web, header_of, text, word
from way_back import WayBackTest

DRAFTS = ("Subject: 秋のご案内\n\n新しい茶のご案内です。\nご覧ください。\n", "Subject: Sale\n\nOne week only.\n")
OPENED = "送られたメールは開封されました。\n"
DISPLAYED = "Your message was displayed.\n"
SENT, FAILED, WAITS, READ = ("完了", "0", "N"), ("エラー", "1", "N"), ("待ち", "1", "N"), ("完了", "0", "Y")


def server_report(program, human, part, sender="MAILER-DAEMON@mx.example.com", subject="Undelivered Mail Returned to Sender"):
    """A bounce in parts; `part` is what it returns of the mail."""
    bounce = MIMEMultipart("report", boundary="B/mx.example.com", **{"report-type": "delivery-status"})
    bounce.attach(human)
    bounce.attach(email.message_from_string(
        f"Content-Type: message/delivery-status\n\nReporting-MTA: dns; mx.example.com\n\nFinal-Recipient: rfc822; {program.customer}\n"
        "Action: failed\nStatus: 5.1.1\nDiagnostic-Code: smtp; 550 5.1.1\n    unknown user\n"))
    bounce.attach(part)
    bounce["From"], bounce["To"], bounce["Subject"] = f"Mail Delivery System <{sender}>", "shop@example.jp", subject
    return bounce


def server_text(program, mark, subject="failure notice"):
    """A bounce of one text, with the mail behind a mark."""
    bounce = text(f"I could not deliver your message to {program.customer}.\n\n{mark}\n\n{program.mail.message.as_string()}",
                  "us-ascii", "7bit")
    bounce["From"], bounce["To"], bounce["Subject"] = "mail@mx.example.com", "shop@example.jp", subject
    return bounce


def headers_only(program):
    return server_report(program, text("Sorry.\n", "us-ascii", "7bit"), header_of(program.mail.message))


def whole_mail(program):
    return server_report(program, text("届きませんでした。\n", "utf-8", "base64"), MIMEMessage(program.mail.message),
                         sender="postmaster@example.com", subject="配信できません")


# A form: what it is, which program writes it, how, how it leads home (by the mail, or only by its sender), the
# customer's history after it (None: as it was) and whether he wants no more mail.
FORMS = [
    ("開封", Desktop, lambda p: p.receipt(OPENED, "開封済み: "), "mail", READ, False),
    ("開封", Desktop, lambda p: p.receipt(DISPLAYED, "Read: ", original="", sender="assistant@example.com"), "mail", READ, False),
    ("未開封削除", Desktop, lambda p: p.receipt(DISPLAYED, "Not read: ", shown="\n deleted"), "mail", None, False),
    ("開封", Web, lambda p: p.receipt(OPENED, "開封済み: ", thread=False), "mail", READ, False),
    ("開封", Web, lambda p: p.receipt(DISPLAYED, "Read: ", original="{name}:<{id}>\n"), "mail", READ, False),
    ("開封", Phone, lambda p: p.receipt(OPENED, "開封済み: ", original=""), "mail", READ, False),
    ("開封", Phone, lambda p: p.receipt(DISPLAYED, "Read: ", thread=False), "mail", READ, False),
    ("開封", Phone, lambda p: p.receipt(DISPLAYED, "Read: ", original="{name}:\n <{id}>\n", thread=False), "mail", READ, False),
    ("配信停止", Desktop, lambda p: p.reply("配信停止をお願いします。"), "mail", None, True),
    ("配信停止", Desktop, lambda p: p.reply("please <refuse> me"), "mail", None, True),
    ("配信停止", Desktop, lambda p: p.addressed(p.body("<REFUSE>\n"), "unsubscribe", thread=False), "sender", None, True),
    ("配信停止", Web, lambda p: p.reply("もう配信停止にしてください。"), "mail", None, True),
    ("要確認", Web, lambda p: p.reply("<REFUSE>", sender="other@example.com"), "mail", None, False),
    ("配信停止", Web, lambda p: p.addressed(p.body("<REFUSE>"), "unsubscribe", thread=False), "sender", None, True),
    ("配信停止", Phone, lambda p: p.reply("配信停止😀", subject="返信: "), "mail", None, True),
    ("要確認", Phone, lambda p: p.reply("<REFUSE>", sender="other@example.com"), "mail", None, False),
    ("配信停止", Phone, lambda p: p.addressed(p.body("<REFUSE>\n"), "停止", sender=p.customer.upper(), thread=False),
     "sender", None, True),
    ("エラー(宛先)", Desktop, headers_only, "mail", FAILED, False),
    ("エラー(宛先)", Desktop, whole_mail, "mail", FAILED, False),
    ("エラー(一時)", Desktop, lambda p: server_text(p, "--- Below this line is a copy of the message."), "mail", WAITS, False),
    ("エラー(一時)", Desktop, lambda p: server_text(p, "Each of the following recipients was rejected by a remote mail server.\n" +
                                           "-" * 51, "Mail could not be delivered"), "mail", WAITS, False),
    ("エラー(一時)", Web, lambda p: server_text(p, "--- Below this line is a copy of the message.", word("😀 Returned mail", "utf-8")),
     "mail", WAITS, False),
    ("その他", Desktop, lambda p: p.reply("ただいま不在にしております。", "自動応答: "), "none", None, False),
    ("その他", Web, lambda p: p.reply("I am out of the office until Monday.", "Automatic reply: "), "none", None, False),
    ("その他", Phone, lambda p: p.reply("いつ届きますか。", "返信: "), "none", None, False),
]


class Answers(WayBackTest):
    def setUp(self):
        super().setUp()
        self.names = [f"n{i}" for i in range(len(FORMS))]
        self.set_up_shop([f"{name}@example.jp,表,,Y" for name in self.names], DRAFTS)
        self.tessaly("settings", "shop.tsl", "receive.refuse-keyword=配信停止")

    def made(self):
        """Each form as bytes, in turn about the first mail and about the second."""
        for i, (name, (_, kind, make, *_)) in enumerate(zip(self.names, FORMS)):
            program = kind(self.sent[i % 2][name], name)
            yield program.bytes(make(program))

    def check(self, *source):
        lines = self.receive(*source).err.splitlines()
        histories, customers = [self.history(0), self.history(1)], self.direct_mail()
        kept = len(self.kept())
        for i, (name, (kind, program, _, way, state, refused)) in enumerate(zip(self.names, FORMS)):
            with self.subTest(form=i, kind=kind, program=program.__name__):
                about = {"mail": f"{kind} メール{i % 2} 顧客{i} <", "sender": f"{kind} 顧客{i} <", "none": f"顧客{i} <"}[way]
                self.assertEqual(sum(about in line for line in lines), 0 if way == "none" else 1, lines)
                self.assertEqual(histories[i % 2][name], state or SENT)
                self.assertEqual(histories[1 - i % 2][name], SENT)
                self.assertEqual(customers[f"{name}@example.jp"][1], "N" if refused else "Y")
        self.assertEqual(kept, sum(kind in ("その他", "要確認") for kind, *_ in FORMS))
        self.assertRegex(self.receive(*source).out, "^(\\S+ 0通、?)+ \\(受け取り済みで飛ばしたもの \\d+通\\)$")
        (self.folder / "shop/INBOX/seen").unlink()
        self.receive(*source)
        self.assertEqual(([self.history(0), self.history(1)], self.direct_mail()), (histories, customers))

    def test_from_a_folder(self):
        self.add(*self.made())
        self.check("--from-dir", "answers")

    def test_from_an_mbox(self):
        with contextlib.closing(mailbox.mbox(self.folder / "box.mbox")) as box:
            for mail in self.made():
                box.add(mail)
        self.check("--mbox", "box.mbox")

    def test_what_a_registration_and_a_question_say(self):
        self.tessaly("settings", "shop.tsl", "receive.register=tagged")
        programs = [kind(self.sent[0]["n0"], "n0") for kind in (Desktop, Web, Phone)]
        asked, names = "何時までですか。" + "ソ表" * 40, []
        for i, program in enumerate(programs):
            beyond = "" if program.charset == "iso-2022-jp" else "😀"  # the characters of code page 932
            names.append(("高橋ソ" + beyond.replace("😀", "〓"), f"new{i}"))
            tags = f"<REGISTER>\n<NAME_SEI>高橋ソ{beyond}</NAME_SEI>\n<EMAIL>new{i}@example.jp</EMAIL>\n"
            self.add(program.bytes(program.addressed(program.body(tags), "登録", thread=False)),
                     program.bytes(program.reply(beyond + asked, subject=beyond + "質問: ")))
        self.assertIn("登録 3通、その他 3通\n", self.receive().out)
        customers = self.direct_mail()
        self.assertEqual([(customers[f"{new}@example.jp"][0], new) for _, new in names], names)
        self.assertEqual(self.kept(), [sign + "質問: " + programs[0].mail.subject for sign in ("", "😀", "😀")])
        for number, sign in ((1, ""), (2, "😀"), (3, "😀")):
            shown = self.tessaly("inbox", "show", "shop.tsl", number).out
            self.assertIn(f"件名: {sign}質問: ", shown)
            self.assertIn(sign + asked, shown)


if __name__ == "__main__":
    unittest.main()
