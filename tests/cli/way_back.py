"""What the tests of the way back share: a shop whose mails were sent, and what came of the answers to them."""

import json

from cli import CommandTest


def report(kind, part_type, part, original_id, sender="MAILER-DAEMON@mx.example.com"):
    return (f"From: {sender}\r\nTo: shop@example.jp\r\nSubject: report\r\nMessage-ID: <r{original_id}{hash(part)}@x>\r\n"
            f"MIME-Version: 1.0\r\nContent-Type: multipart/report; report-type={kind}; boundary=\"b\"\r\n\r\n"
            f"--b\r\n\r\nSorry.\r\n--b\r\nContent-Type: message/{part_type}\r\n\r\n{part}\r\n\r\n"
            f"--b\r\nContent-Type: message/rfc822\r\n\r\nMessage-ID: <{original_id}>\r\nSubject: x\r\n\r\ny\r\n--b--\r\n").encode()


def bounce(original_id, status="5.1.1", action="failed"):
    return report("delivery-status", "delivery-status", f"Reporting-MTA: dns; x\r\n\r\nAction: {action}\r\nStatus: {status}\r\n"
                  "Diagnostic-Code: smtp;\r\n\t550 no such\r\n user", original_id)


def receipt(original_id, disposition="manual-action/MDN-sent-manually; displayed"):
    return report("disposition-notification", "disposition-notification",
                  f"Original-Message-ID: <{original_id}>\r\nDisposition: {disposition}", original_id, "n1@example.jp")


class WayBackTest(CommandTest):
    def set_up_shop(self, customers, drafts):
        """Each draft is sent to every customer; self.sent has their mails, a dict by customer for each draft."""
        self.new_shop(*customers)
        self.postbox()
        self.sent, before = [], []
        for number, draft in enumerate(drafts):
            self.put("draft.txt", draft)
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
            self.tessaly("target", "shop.tsl", number, "--all")
            self.tessaly("send", "shop.tsl", number, "--smtp", self.server, "--ask-receipt")
            mails = [mail for mail in self.mails() if mail.id not in before]
            before += [mail.id for mail in mails]
            self.sent.append({mail.recipient.split("@")[0]: mail for mail in mails})
        self.answers = self.folder / "answers"
        self.answers.mkdir()

    def add(self, *mails):
        for mail in mails:
            number = len(list(self.answers.iterdir()))
            (self.answers / f"{number:03}.eml").write_bytes(mail if isinstance(mail, bytes) else mail.as_bytes())

    def receive(self, *options, code=0):
        return self.tessaly("receive", "shop.tsl", *(options or ("--from-dir", "answers")), code=code)

    def history(self, mail=0):
        """By the customer's mail name: state, number of errors, open flag."""
        rows = json.loads(self.tessaly("report", "shop.tsl", mail, "--format", "json").out)
        return {row["メールアドレス"].split("@")[0]: (row["状態"], row["エラー"], row["開封"]) for row in rows}

    def direct_mail(self):
        """By address: surname and whether direct mail may be sent."""
        rows = json.loads(self.tessaly("customers", "list", "shop.tsl", "--format", "json").out)
        return {row["メールアドレス"]: (row["名前(姓)"], row["DM送付可否"]) for row in rows}

    def kept(self):
        return [row["件名"] for row in json.loads(self.tessaly("inbox", "list", "shop.tsl", "--format", "json").out)]
