"""Tables and their records: env check and env repair, and what every other command makes of a file that is not whole."""

import hashlib
import re
import unittest

from cli import CommandTest

PEOPLE = 6
# No row under any key.
NOISE = b"\xff,\x00\n" * 3


def line(mark, content, rows):
    """A line of a record, as the application writes it."""
    rest = f"\t{rows}\t{len(content)}\t{hashlib.sha256(content).hexdigest()}\t2026/11/23 10:00:00\t1.0"
    return f"{mark}{rest}\t{hashlib.sha256(rest.encode()).hexdigest()[:16]}\n"


def put(file, content):
    file.unlink(missing_ok=True)
    if content is not None:
        file.write_bytes(content)


class EnvRepair(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,姓{i},,Y" for i in range(PEOPLE)))
        self.put("draft.txt", "Subject: x\n\ny\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.database = self.folder / "shop/DB/database.dat"
        self.everyone = [f"n{i}@example.jp" for i in range(PEOPLE)]

    def repair(self, *options, code=0):
        return self.tessaly("env", "repair", "shop.tsl", "--yes", *options, code=code)

    def check(self, code):
        return self.tessaly("env", "check", "shop.tsl", code=code).out

    def files(self):
        return {file: file.read_bytes() for file in (self.folder / "shop").rglob("*") if file.is_file()}

    def test_customers_are_refused_or_told_and_come_back(self):
        self.tessaly("backup", "shop.tsl", "people.dat", "--customers")
        self.tessaly("backup", "shop.tsl", "all.tar")
        whole = self.database.read_bytes()
        rows = whole.splitlines(keepends=True)
        quote, comma = rows[0][0:1], rows[0][3:4]

        def with_row(changed):
            return b"".join([rows[0], changed, *rows[2:]])

        # What is left, how many rows of it can be read, and how many there are after a repair without a backup.
        damages = {
            "cut in a row": (whole[:-9], 5), "without its last LF": (whole[:-1], 5),
            "a quote lost": (with_row(rows[1][:4] + comma + rows[1][5:]), 5),
            "a quote more": (with_row(rows[1][:6] + quote + rows[1][7:]), 5),
            "two rows in one": (with_row(rows[1][:-1] + comma), 4),
            "one row in two": (with_row(rows[1][:3] + b"\n" + rows[1][4:]), 5),
            "a blank line": (with_row(rows[1] + b"\r\n"), 6),
            "empty": (b"", 0), "noise": (NOISE, 0), "missing": (None, 0),
        }
        for name, (content, readable) in damages.items():
            with self.subTest(name):
                put(self.database, content)
                for command in (["list", "shop.tsl"], ["set", "shop.tsl", "0", "会社名=変"], ["import", "shop.tsl", "list.csv"]):
                    told = self.tessaly("customers", *command, code=1)
                    self.assertIn("ファイルがありません。" if content is None else f"{PEOPLE}行のうち、{readable}行が読めます。", told.err)
                self.assertEqual(self.database.read_bytes() if content is not None else None, content)
                self.assertIn("DB/database.dat", self.check(1))
                if readable == 0:
                    self.assertIn("--backup で控えを指定してください", self.repair(code=1).out)
                elif name != "a blank line":
                    self.assertIn(f"{PEOPLE - readable}行は失われました", self.repair().out)
                    self.assertEqual(len(self.addresses()), readable)
                    put(self.database, content)
                for backup in ("people.dat", "all.tar"):
                    put(self.database, content)
                    (self.folder / "shop/DB/database.dat.record").write_text(line("=", whole, PEOPLE))
                    self.repair("--backup", backup)
                    self.assertEqual(self.database.read_bytes(), whole)
                    self.check(0)
        for name, content in (("cut behind a row", b"".join(rows[:4])), ("another's ID", with_row(rows[1][:1] + rows[2][1:2] + rows[1][2:])),
                              ("another letter", with_row(rows[1][:6] + rows[1][7:8] + rows[1][7:]))):
            with self.subTest(name):
                put(self.database, content)
                self.assertIn("顧客データが、書いたときと違います", self.tessaly("customers", "list", "shop.tsl").err)
                self.check(1)
                if name == "another's ID":
                    self.assertIn("同じ番号の行があります: 2", self.check(1))
                    self.repair("--backup", "people.dat")
                    self.assertEqual(self.database.read_bytes(), whole)
                else:
                    self.assertIn("今の内容で認めました", self.repair().out)
                    self.assertEqual(self.tessaly("customers", "list", "shop.tsl").err, "")
                self.check(0)

    def test_a_question_comes_first(self):
        put(self.database, self.database.read_bytes()[:-9])
        before = self.files()
        self.assertIn("何も変えていません", self.tessaly("env", "repair", "shop.tsl", code=1).err)
        self.assertEqual(self.files(), before)

    def test_a_replacement_that_was_cut_off(self):
        """The states between its steps, each of which is one of two whole ones; and records that tell nothing."""
        record = self.folder / "shop/DB/database.dat.record"
        old, old_line = self.database.read_bytes(), record.read_text().splitlines(keepends=True)[-1]
        self.tessaly("customers", "add", "shop.tsl", "メールアドレス=new@example.jp")
        new = self.database.read_bytes()
        self.assertEqual(record.read_text().splitlines()[-1].split("\t")[1:4], line("=", new, PEOPLE + 1).split("\t")[1:4])
        both = old_line + line("=", new, PEOPLE + 1)
        for content, lines, says in ((old, old_line, ""), (old, both, ""), (new, both, ""), (new, "-" + both[1:], ""),
                                     (old, "-" + both[1:], "書いたときと違います"), (old, both[:-2] + "x\n", "記録のファイルが壊れている"),
                                     (old, both[:-1], "記録のファイルが壊れている"), (old, "", "記録のファイルが壊れている"), (old, None, "")):
            with self.subTest(lines=lines, new=content is new):
                put(self.database, content)
                put(record, lines.encode() if lines is not None else None)
                told = self.tessaly("customers", "list", "shop.tsl").err
                self.assertIn(says, told)
                self.assertEqual(bool(told), bool(says))
                self.check(1 if says else 0)
                self.repair()
                self.assertEqual(self.tessaly("customers", "list", "shop.tsl").err, "")

    def test_nobody_is_mailed_twice_by_a_damaged_history(self):
        self.postbox()
        send = ["send", "shop.tsl", 0, "--smtp", self.server]
        self.tessaly(*send)
        history, record, journal = (self.folder / "shop/MAIL/0" / f"hist0.{name}" for name in ("dat", "dat.record", "journal"))
        whole = history.read_bytes()
        rows = whole.splitlines(keepends=True)
        for name, content, unknown in (
                ("missing", None, PEOPLE), ("empty", b"", PEOPLE), ("cut", whole[:-5], 1), ("a row", b"".join([*rows[:2], b"\xff\r\n", *rows[3:]]), 1),
                ("cut behind a row", b"".join(rows[:2]), PEOPLE - 2), ("a letter", whole.replace(rows[0][:6], rows[0][:5] + rows[0][0:1], 1), 1),
                ("another letter", rows[0][:5] + rows[0][3:4] + rows[0][6:] + b"".join(rows[1:]), 1),
                ("another's ID", rows[0][:1] + rows[1][1:2] + rows[0][2:] + b"".join(rows[1:]), 2)):
            for lines in (line("=", whole, PEOPLE), None):
                if lines is None and name not in ("missing", "empty", "cut", "a row"):
                    continue  # nothing can tell that it was another
                with self.subTest(name, recorded=lines is not None):
                    put(journal, None)
                    put(history, content)
                    put(record, lines.encode() if lines else None)
                    self.assertIn("hist0.dat", self.tessaly(*send, code=1).err)
                    self.assertEqual(history.read_bytes() if content is not None else None, content)
                    self.check(1)
                    self.assertIn(f"{unknown}人を「不明」にしました", self.repair().out)
                    for retry in ([], ["--retry"]):
                        self.tessaly(*send, *retry)
                    self.assertEqual(len(self.mails()), PEOPLE)
                    self.check(0)
                    if unknown == PEOPLE:
                        self.tessaly("unknown", "shop.tsl", 0, "--settle", ",".join(map(str, range(PEOPLE))))
                        self.assertIn(f"送信 {PEOPLE}人", self.tessaly("report", "shop.tsl", 0).out)
                        self.tessaly(*send)
        put(history, None)
        self.repair()
        repaired = 0
        for place in range(100, len(journal.read_bytes()) - 100, 97):  # the journal, which holds everyone, is damaged too
            content = journal.read_bytes()
            put(journal, content[:place] + bytes([content[place] ^ 0x55]) + content[place + 1:])
            if "hist0.journal" in (told := self.tessaly("report", "shop.tsl", 0).err):
                self.assertIn("hist0.journal", self.tessaly(*send, code=1).err)
                self.check(1)
                self.assertIn(f"{PEOPLE}人を「不明」にしました", self.repair().out)
                repaired += 1
            else:
                self.assertEqual(told, "")  # the padding of a record
        self.assertGreater(repaired, 3)
        self.check(0)
        self.tessaly(*send)
        self.assertEqual(len(self.mails()), PEOPLE)

    def test_the_other_tables(self):
        show, choice = ["mail", "show", "shop.tsl", "0"], ["target", "shop.tsl", "0"]
        self.tessaly("backup", "shop.tsl", "all.tar")
        for path, says, after in (("systemoption.dat", "設定は失われ", ["settings", "shop.tsl"]), ("MAIL/maillist.dat", "0行を救い出しました", show),
                                  ("MAIL/0/mail0.dat", "0行を救い出しました", show), ("MAIL/0/meli0.dat", "0行を救い出しました", choice),
                                  ("MAIL/0/merd0.dat", "宛先の条件は失われました", choice)):
            for backup, told in (([], says), (["--backup", "all.tar"], says if "meli" in path else "控えから")):
                with self.subTest(path, backup=backup):
                    file = self.folder / "shop" / path
                    put(file, NOISE)
                    self.assertIn(path, self.check(1))
                    self.tessaly(*after, code=1)
                    self.assertIn(told, self.repair(*backup).out)
                    self.tessaly(*after)
                    self.check(0)
                    self.assertEqual(file.with_name(file.name + ".damaged0").read_bytes(), NOISE)

    def test_a_damaged_key_stops_nothing(self):
        self.postbox()
        self.assertIn("署名の鍵: まだありません。", self.check(0))
        send = ("send", "shop.tsl", 0, "--smtp", self.server)
        self.tessaly(*send)
        self.assertIn("署名の鍵: 完全です。", self.check(0))
        put(self.folder / "shop/message.key", NOISE)
        self.assertIn("署名の鍵が壊れています: ", self.check(1))
        self.tessaly("customers", "add", "shop.tsl", "メールアドレス=new@example.jp")
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.assertIn("署名の鍵が壊れています。メールに署名をつけずに送ります。", self.tessaly(*send).err)
        ids = sorted(mail.id for mail in self.mails())
        self.assertEqual([bool(re.search(r"\.m0\.tessaly-[0-9a-f]{8}-[a-z2-7]{16}@", one)) for one in ids], [True] * PEOPLE + [False])
        self.assertIn("壊れた署名の鍵を残しました: ", self.repair().out)
        self.assertEqual((self.folder / "shop/message.key.damaged0").read_bytes(), NOISE)
        self.check(0)

    def test_texts_keep_their_terminals(self):
        self.put("nd.txt", "Subject: nd\n\nmobile\n")
        self.tessaly("mail", "edit", "shop.tsl", 0, "--draft", "nd.txt", "--terminal", "nd")
        file = self.folder / "shop/MAIL/0/mail0.dat"
        file.write_bytes(b"\xff\xff" + file.read_bytes()[2:])  # the text for pc, which is the first row
        self.repair()
        shown = self.tessaly("mail", "show", "shop.tsl", 0).out
        self.assertIn("mobile", shown)
        self.assertNotIn("件名 (pc)", shown)


if __name__ == "__main__":
    unittest.main()
