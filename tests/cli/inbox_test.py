"""inbox: mails of strangers are shown as mail programs show them, and nothing in them reaches the terminal as a command."""

import base64
import csv
import io
import json
import unittest

from cli import CommandTest


def word(text, charset, q=False):
    if q:
        return f"=?{charset}?Q?" + "".join(f"={byte:02X}" for byte in text.encode(charset)) + "?="
    return f"=?{charset}?B?{base64.b64encode(text.encode(charset)).decode()}?="


def mail(head, body=b"x\n", sender="From: a@b.jp", date="Date: Mon, 23 Nov 2026 10:00:00 +0900"):
    lines = [sender, date, head]
    return b"\n".join(line if isinstance(line, bytes) else line.encode() for line in lines if line) + b"\n\n" + body


HOSTILE = "春\x1b]0;t\x07\x9b2J\u009b2J\u202e夏\u2066\u200f\x00\x7f"
SENDERS = (("From: =?utf-8?B?" + base64.b64encode("春 子".encode()).decode() + "?= <a@b.jp>", "春 子 <a@b.jp>"),
           (f"From: \"{word('春', 'iso-2022-jp')}\" <a@b.jp>, c@d.jp", "春 <a@b.jp>"),
           ("From: 春 <a@b.jp>".encode("iso2022_jp"), "春 <a@b.jp>"), ("From: a@b.jp (春)", "春 <a@b.jp>"),
           ("From: nobody", "nobody"), ("Return-Path: <a@b.jp>", "a@b.jp"), ("X: y", ""))
SUBJECTS = ((f"Subject: {word('春', 'utf-8')}\n {word('夏💐', 'utf-8', True)} {word('秋', 'euc-jp')}\n\t{word('冬①', 'cp932').replace('cp932', 'windows-31j')}",
             "春夏💐秋冬①"), ("Subject: =?utf-8?Q?a_b=5Fc?= d_e", "a b_c d_e"), ("Subject: 春 raw", "春 raw"),
            ("Subject: one\n two", "one two"), ("Subject: 春の".encode("euc-jp"), "春の"), ("X: y", ""))
DATES = (("Date: Mon, 23 Nov 2026 10:00:00 +0900", "2026/11/23 10:00:00"), ("Date: 23 NOV 26 01:00 UT", "2026/11/23 10:00:00"),
         ("", ""), ("Date: yesterday", ""))
PARTS = b"Content-Type: multipart/mixed; boundary=b"
BODIES = (("Content-Type: text/plain; charset=euc-jp", "春の案内\n".encode("euc-jp"), ["添付: 0件\n\n春の案内\n"]),
          ("Content-Type: text/html; charset=utf-8", "<title>t</title><p>春&#128144;&lt;</p><script>x</script>夏".encode(),
           ["添付: 0件\n\n春💐<\n\n夏\n"]),
          ("Content-Type: multipart/alternative; boundary=b", b"--b\n\nplain\n--b\nContent-Type: text/html\n\n<b>html</b>\n--b--", ["\n\nplain\n"]),
          (PARTS, b"--b\n\nhello\n--b\nContent-Type: image/png; name=\"=?utf-8?B?" + base64.b64encode("春\x1b[2J.png".encode()) +
           b"?=\"\nContent-Transfer-Encoding: base64\n\nQUJD\n--b\nContent-Type: message/rfc822\n\nSubject: inner\n\n12345\n--b--",
           ["添付: 2件\n  春 [2J.png (3バイト)\n  メール「inner」 (5バイト)\n\nhello\n"]),
          ("Content-Type: message/rfc822", b"Subject: inner\n\nforwarded\n", ["\n\nforwarded\n"]),
          (PARTS, b"--b\n\nx\n" * 1100, ["途中までです"]),
          ("Content-Type: text/plain", b"a\tb\x1b[31m\x00c\r\n" + HOSTILE.encode() + b"\xff\n", ["\n\na\tb [31m c\n春"]))


class InboxTest(CommandTest):
    def keep(self, *mails):
        self.new_shop()
        (self.folder / "answers").mkdir()
        for number, content in enumerate(mails):
            self.put(f"answers/{number:03}.eml", content)
        self.assertIn(f"その他 {len(mails)}通", self.tessaly("receive", "shop.tsl", "--from-dir", "answers").out)

    def rows(self, form):
        out = self.tessaly("inbox", "list", "shop.tsl", "--format", form).out
        return json.loads(out) if form == "json" else list(csv.DictReader(io.StringIO(out.removeprefix("\ufeff"))))

    def check_clean(self, text):
        bad = [c for c in text if c not in "\n\t" and (ord(c) < 32 or 0x7f <= ord(c) < 0xa0 or 0x200e <= ord(c) <= 0x200f or
                                                      0x2028 <= ord(c) <= 0x202e or 0x2066 <= ord(c) <= 0x2069)]
        self.assertEqual(bad, [], text)

    def test_the_list_shows_what_mail_programs_show(self):
        self.keep(*(mail("Subject: x", sender=sender) for sender, _ in SENDERS), *(mail(subject) for subject, _ in SUBJECTS),
                  *(mail("Subject: x", date=date) for date, _ in DATES))
        for form in ("json", "csv"):
            rows = self.rows(form)
            self.assertEqual([row["差出人"] for row in rows[:len(SENDERS)]], [sender for _, sender in SENDERS])
            self.assertEqual([row["件名"] for row in rows[len(SENDERS):-len(DATES)]], [subject for _, subject in SUBJECTS])
            self.assertEqual([row["日時"] for row in rows[-len(DATES):]], [date for _, date in DATES])
        table = self.tessaly("inbox", "list", "shop.tsl").out.splitlines()
        self.assertEqual([("(日付なし)" in line) for line in table[-5:-1]], [not date for _, date in DATES])
        self.assertIn("日時: (日付なし)\n", self.tessaly("inbox", "show", "shop.tsl", len(table) - 2).out)

    def test_texts_and_attachments_are_shown(self):
        self.keep(*(mail(head, body) for head, body, _ in BODIES))
        for number, (_, _, wanted) in enumerate(BODIES, 1):
            shown = self.tessaly("inbox", "show", "shop.tsl", number).out
            for text in wanted:
                self.assertIn(text, shown)
            self.check_clean(shown)

    def test_no_control_character_reaches_the_terminal(self):
        encoded = "=?utf-8?B?" + base64.b64encode(HOSTILE.encode()).decode() + "?="
        kept = [mail(f"Subject: {text}", body=HOSTILE.encode(), sender=f"From: \"{text}\" <a@b.jp>")
                for text in (HOSTILE.replace("\n", ""), encoded)]
        kept.append(mail("Subject: x", sender=f"From: {encoded}", date=f"Date: {HOSTILE}"))
        self.keep(*kept)
        for form in ("table", "csv", "json"):
            out = self.tessaly("inbox", "list", "shop.tsl", "--format", form).out
            self.check_clean(out)
            self.assertEqual(out.count("夏"), 5, out)
        for number in range(1, len(kept) + 1):
            self.check_clean(self.tessaly("inbox", "show", "shop.tsl", number).out)


if __name__ == "__main__":
    unittest.main()
