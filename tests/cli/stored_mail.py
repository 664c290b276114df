"""What the tests of stored mails share: one mail to every customer of a shop, and what its history says."""

import json

from cli import CommandTest

CUSTOMERS = [f"n{i}@example.jp,表{i},,Y" for i in range(6)]


class StoredMailTest(CommandTest):
    def new_mail(self, *customers):
        self.new_shop(*(customers or CUSTOMERS))
        self.put("draft.txt", "Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%> 様\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")

    def send(self, *options, code=0):
        return self.tessaly("send", "shop.tsl", 0, *options, code=code)

    def history(self):
        """State, attempts and errors of each recipient."""
        rows = json.loads(self.tessaly("report", "shop.tsl", 0, "--format", "json").out)
        return {row["メールアドレス"].split("@")[0]: (row["状態"], row["送信回数"], row["エラー"]) for row in rows}

    def totals(self):
        row, = json.loads(self.tessaly("report", "shop.tsl", "--format", "json").out)
        errors = str(int(row["宛先なし"]) + int(row["その他エラー"]))
        return [row["状態"], row["宛先"], row["送信"], errors, row["待ち"]]
