"""What the tests of the way back share: a shop whose mails were sent, and what came of the answers to them."""

import json

from cli import CommandTest


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
