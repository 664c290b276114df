"""backup, restore and undo: what comes back, what does not, and what a wrong file leaves alone."""

import hashlib
import io
import shutil
import stat
import subprocess
import tarfile
import threading
import unittest

from cli import CommandTest, DAMAGED_TABLE, ENVIRONMENT, Running, SAMPLE, TESSALY, wait_for
from smtp_server import SmtpServer


class Customers(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(4)))
        self.tessaly("backup", "shop.tsl", "控え.dat", "--customers")
        self.database = self.folder / "shop/DB/database.dat"

    def restore(self, file="控え.dat"):
        return self.tessaly("restore", "shop.tsl", file).out

    def test_what_was_lost_comes_back(self):
        whole = self.database.read_bytes()
        self.assertIn("何も変えませんでした", self.restore())
        self.assertEqual(self.database.read_bytes(), whole)
        self.put("list.csv", "メールアドレス,名前(姓)\nn2@example.jp,別\n")
        self.tessaly("customers", "import", "shop.tsl", "list.csv", "--replace")  # a new ID for an old address
        told = self.restore()
        self.assertIn("3人を控えから戻しました。\nメールアドレスが今のほかの顧客と同じ 1人は戻していません。\n", told)
        self.assertEqual(self.addresses(), [f"n{i}@example.jp" for i in (0, 1, 3, 2)])
        report = (self.folder / "控え_復旧.txt").read_bytes().decode("cp932")
        self.assertTrue(report.endswith("控え.dat\r\n【復旧した個人情報ID】\r\n0,1,3\r\n"
                                        "【同じメールアドレスが存在したため復旧しなかった個人情報ID】\r\n2"), report)

    def test_a_lost_or_damaged_database_is_made_anew(self):
        for content in (None, b"", DAMAGED_TABLE):
            if content is None:
                self.database.unlink()
            else:
                self.database.write_bytes(content)
            self.assertIn("4人を控えから戻しました。", self.restore())
            self.assertEqual(self.addresses(), [f"n{i}@example.jp" for i in range(4)])
        kept = sorted((self.folder / "shop/DB").glob("*.damaged*"))
        self.assertEqual([file.read_bytes() for file in kept], [b"", DAMAGED_TABLE])
        self.database.write_bytes(b"")
        (self.folder / "控え_復旧.txt").unlink()
        (self.folder / "控え_復旧.txt").mkdir()  # the report cannot be written
        self.assertIn("4人を控えから戻しました。\n戻した顧客と戻さなかった顧客の番号は、書けませんでした", self.restore())

    def test_without_its_folder(self):
        (self.folder / "控え_復旧.txt").write_text("earlier")
        folder = self.folder / "shop/DB"
        shutil.rmtree(folder)
        folder.write_bytes(b"")  # nothing can be stored
        self.refused("restore", "shop.tsl", "控え.dat", says="ディレクトリを作れません")
        self.assertEqual((self.folder / "控え_復旧.txt").read_text(), "earlier")
        folder.unlink()
        self.assertIn("4人を控えから戻しました。", self.restore())
        # Nobody to restore, but the damaged file is in the way.
        self.tessaly("env", "new", "empty.tsl")
        self.tessaly("backup", "empty.tsl", "empty.dat", "--customers")
        (self.folder / "empty/DB/database.dat").write_bytes(DAMAGED_TABLE)
        self.assertIn("0人を控えから戻しました。", self.tessaly("restore", "empty.tsl", "empty.dat").out)
        self.assertIn("0件", self.tessaly("customers", "list", "empty.tsl").out)

    def test_a_file_of_the_users_is_no_work_file(self):
        mine = self.folder / "b.dat.new"
        mine.write_text("mine")
        self.tessaly("backup", "shop.tsl", "b.dat", "--customers")
        (self.folder / "b.dat").unlink()
        (self.folder / "b.dat").mkdir()
        self.refused("backup", "shop.tsl", "b.dat", "--customers", "--force", says="控えを書けませんでした")
        self.assertEqual(mine.read_text(), "mine")
        self.assertEqual(sorted(file.name for file in self.folder.glob("b.dat*")), ["b.dat", "b.dat.new"])

    def test_wrong_files_change_nothing(self):
        self.tessaly("env", "new", "other.tsl")
        self.tessaly("customers", "add", "other.tsl", "メールアドレス=x@example.jp")
        self.tessaly("backup", "other.tsl", "other.dat", "--customers")
        self.put("garbage.dat", b"\0\xff" * 999)
        backup = (self.folder / "控え.dat").read_bytes()
        self.put("commas.dat", backup.replace(backup[:1], backup[5:6]))  # another key, but for its commas
        self.tessaly("customers", "delete", "shop.tsl", 1)
        before = self.database.read_bytes()
        for file, says in (("other.dat", "この環境の控えではないか"), ("garbage.dat", "この環境の控えではないか"),
                           ("commas.dat", "この環境の控えではないか"),
                           ("none.dat", "控えのファイルがありません: none.dat")):
            self.refused("restore", "shop.tsl", file, says=says)
        self.assertEqual(self.database.read_bytes(), before)
        for form in ([], ["--customers"]):
            self.refused("backup", "shop.tsl", "控え.dat", *form, says="控えのファイルがもうあります")
            self.tessaly("backup", "shop.tsl", "控え.dat", "--force", *form)
            self.refused("backup", "shop.tsl", "no/x.dat", *form, says="控えを書けませんでした")
        key = (self.folder / "shop.tsl").read_bytes()
        for own in ("shop.tsl", "shop/MAIL/../DB/database.dat"):
            for form in ([], ["--customers"]):
                self.refused("backup", "shop.tsl", own, "--force", *form,
                             says="環境のファイルとディレクトリの外に作ってください")
        self.assertEqual((key, before), ((self.folder / "shop.tsl").read_bytes(), self.database.read_bytes()))


class Whole(CommandTest):
    """The environment as one file, and the way back."""

    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(6)))
        self.put("d.txt", "Subject: 春\n\n本文\n")
        self.put("表.txt", "添付\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "d.txt", "--attach", "表.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.tessaly("backup", "shop.tsl", "all.tar")

    def data(self, name="shop"):
        """The data files with their bytes, but for locks, logs and copies."""
        return {str(file.relative_to(self.folder / name)): file.read_bytes()
                for file in sorted((self.folder / name).rglob("*"))
                if file.is_file() and file.name != ".lock" and not {"LOG", "UNDO"} & set(file.parts)}

    def test_a_new_environment_is_the_old_one(self):
        self.tessaly("restore", "new.tsl", "all.tar")
        self.assertEqual(self.data("new"), self.data())
        self.assertEqual((self.folder / "new.tsl").read_bytes(), (self.folder / "shop.tsl").read_bytes())
        self.refused("restore", "shop/in.tsl", "none.tar", says="控えのファイルがありません: none.tar")
        (self.folder / "taken").mkdir()
        self.refused("restore", "taken.tsl", "all.tar", says="もうあります")
        self.assertEqual([file.name for file in self.folder.iterdir() if file.name.startswith(".")], [])

    def test_key_and_password_stay(self):
        for name, content in (("key", "a key\n"), ("word", "ひみつ\n"), ("wrong", "x\n")):
            self.put(name, content)
        opens = ("--key-file", "key", "--password-file", "word")
        self.tessaly("env", "new", "k.tsl", *opens)
        self.tessaly("backup", "k.tsl", "k.tar", *opens)
        self.refused("restore", "k2.tsl", "k.tar", "--password-file", "word", says="鍵")
        self.refused("restore", "k2.tsl", "k.tar", "--key-file", "key", "--password-file", "wrong", says="パスワードが違います")
        self.assertFalse((self.folder / "k2.tsl").exists() or (self.folder / "k2").exists())
        self.tessaly("restore", "k2.tsl", "k.tar", *opens)
        self.refused("env", "info", "k2.tsl", "--key-file", "key", "--password-file", "wrong", says="パスワードが違います")
        self.tessaly("restore", "k2.tsl", "k.tar", "--yes", *opens)

    def test_over_the_old_one_nobody_is_mailed_twice(self):
        before = self.data()
        self.postbox("--refuse", "n5@*")
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server, code=1)
        self.tessaly("mail", "edit", "shop.tsl", 0, "--draft", self.put("d2.txt", "Subject: 夏\n\n本文\n"))
        self.tessaly("mail", "new", "shop.tsl", "--draft", "d.txt")
        self.tessaly("customers", "delete", "shop.tsl", 1)
        self.put("shop/DB/testmailinginfo.dat", DAMAGED_TABLE)
        (self.folder / "shop/systemoption.dat").unlink()  # nothing opens without it
        changed = self.data()
        self.refused("restore", "shop.tsl", "all.tar", says="戻しませんでした")
        self.assertEqual(self.data(), changed)
        self.tessaly("restore", "shop.tsl", "all.tar", "--yes")
        after = self.data()
        sending = {name for name in after if name.startswith(("MAIL/0/hist0.", "MAIL/maillist.", "MAIL/mailseq.", "message.key", "CONSENT/"))}
        self.assertEqual({**before, **{name: after[name] for name in sending}}, after)
        for name in ("MAIL/0/hist0.dat", "message.key"):  # the backup is older than the key
            self.assertEqual(after[name], changed[name])
        self.assertIn("\n0,春,下書き,6,5,1,0,", self.tessaly("report", "shop.tsl", "--format", "csv").out)
        received = len(self.mails())
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server)
        self.assertEqual((received, len(self.mails())), (5, 5))
        self.assertIn("番号は 2 です", self.tessaly("mail", "new", "shop.tsl", "--draft", "d.txt").out)
        self.refused("undo", "shop.tsl", says="この変更のあとで変わったファイルがあるので、取り消しません: MAIL/")
        self.tessaly("undo", "shop.tsl", "--force")
        undone = self.data()
        for name in ("MAIL/0/mail0.dat", "MAIL/1/mail1.dat", "DB/database.dat", "DB/testmailinginfo.dat"):
            self.assertEqual(undone[name], changed[name], name)
        self.assertNotIn("systemoption.dat", undone)

    def test_while_mails_are_sent(self):
        self.tessaly("settings", "shop.tsl", "send.threads=1")
        go_on = threading.Event()
        self.addCleanup(go_on.set)
        server = SmtpServer(self, {".": lambda _: "" if len(server.mails) < 2 or go_on.wait(60) else None})
        running = Running(self, "send", "shop.tsl", "0", "--smtp", server.address)
        self.assertTrue(wait_for(lambda: len(server.mails) > 1))
        self.refused("restore", "shop.tsl", "all.tar", "--yes", says="送信中のメールがあるので戻せません")
        self.tessaly("backup", "shop.tsl", "middle.tar")
        go_on.set()
        self.assertEqual(running.result().code, 0)
        self.assertIn("送信中だったメールがあります: 0", self.tessaly("restore", "middle.tsl", "middle.tar").err)
        rows = self.tessaly("report", "middle.tsl", 0, "--format", "csv").out
        self.assertEqual(rows.count("完了"), 2)
        self.assertEqual(self.tessaly("report", "shop.tsl", 0, "--format", "csv").out.count("完了"), 6)

    def test_a_damaged_or_foreign_archive_changes_nothing(self):
        whole, before = (self.folder / "all.tar").read_bytes(), self.data()
        with tarfile.open(self.folder / "all.tar") as tar:
            entries = [(entry, tar.extractfile(entry).read()) for entry in tar]
        self.tessaly("env", "new", "other.tsl")
        self.tessaly("backup", "other.tsl", "other.tar")
        files = {"other.tar": None}
        used = max(entry.offset_data + entry.size for entry, _ in entries)
        for place in range(300, used, max(used // 25, 1)):
            files[f"cut{place}"] = whole[:place]
            if any(entry.offset_data <= place < entry.offset_data + entry.size for entry, _ in entries):
                files[f"flip{place}"] = whole[:place] + bytes([whole[place] ^ 1]) + whole[place + 1:]

        def archive(change):
            """The archive with its entries changed by `change`, its list made to fit."""
            made = change([(entry.name, content, {}) for entry, content in entries[1:-1]])
            lines = entries[0][1].decode().splitlines(True)[:3]
            for name, content, options in made:
                lines.append(f"file {hashlib.sha256(content).hexdigest()} {len(content)} {name}\n")
            listed = "".join(lines).encode()
            listed += b"end " + hashlib.sha256(listed).hexdigest().encode() + b"\n"
            made = [("MANIFEST", listed, {}), *made, ("END", hashlib.sha256(listed).hexdigest().encode(), {})]
            out = io.BytesIO()
            with tarfile.open(fileobj=out, mode="w", format=tarfile.GNU_FORMAT) as tar:
                for name, content, options in made:
                    info = tarfile.TarInfo(name)
                    info.size = 0 if options else len(content)
                    for key, value in options.items():
                        setattr(info, key, value)
                    tar.addfile(info, io.BytesIO(content))
            return out.getvalue()

        good = archive(lambda made: made)
        for name in ("data/../../x", "/tmp/x", "data//x", "data/./x", "x", "data/.undo/list", "data/UNDO/1/0",
                     "data/MAIL/0/.lock", "data/", "data/DB/.."):
            files["name " + name.replace("/", "_")] = archive(lambda made: made + [(name, b"x", {})])
        for kind, options in (("link", {"type": tarfile.SYMTYPE, "linkname": "/etc/passwd"}),
                              ("hard", {"type": tarfile.LNKTYPE, "linkname": "environment"}),
                              ("device", {"type": tarfile.CHRTYPE}), ("folder", {"type": tarfile.DIRTYPE})):
            files[kind] = archive(lambda made: made + [("data/x", b"", options)])
        files["twice"] = archive(lambda made: made + made[-1:])
        files["no key"] = archive(lambda made: made[1:])
        plain = io.BytesIO()
        with tarfile.open(fileobj=plain, mode="w") as tar:
            tar.addfile(entries[1][0], io.BytesIO(entries[1][1]))
        files["foreign"] = plain.getvalue()
        for name, content in files.items():
            with self.subTest(name=name):
                if content is not None:
                    self.put(name, content)
                self.refused("restore", "shop.tsl", name, "--yes", says="控え")
                self.assertEqual(self.data(), before)
                if content is not None and not name.startswith(("cut3", "flip3")):
                    self.refused("restore", "new.tsl", name, says="")
                    self.assertFalse((self.folder / "new.tsl").exists() or (self.folder / "new").exists())
        self.put("good", good)
        self.tessaly("restore", "new.tsl", "good")
        self.assertFalse((self.folder / "x").exists())


class Undo(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(4)))
        self.database = self.folder / "shop/DB/database.dat"

    def test_the_last_changes_are_undone_one_by_one(self):
        self.assertIn("取り消せる変更はありません", self.tessaly("undo", "shop.tsl", "--list").out)
        self.refused("undo", "shop.tsl", says="取り消せる変更はありません")
        self.tessaly("backup", "shop.tsl", "c.dat", "--customers")
        states = [self.database.read_bytes()]
        self.put("new.csv", "メールアドレス\nx@example.jp\n")
        for change in (["customers", "erase", "shop.tsl", "1", "--yes"],
                       ["customers", "import", "shop.tsl", "new.csv", "--replace"], ["restore", "shop.tsl", "c.dat"]):
            self.tessaly(*change)
            states.append(self.database.read_bytes())
        listed = self.tessaly("undo", "shop.tsl", "--list").out.splitlines()
        self.assertEqual([line.split("  ")[1] for line in listed],
                         ["顧客の控えからの復旧", "顧客の置き換え: new.csv", "顧客の消去: 1人"])
        for state in states[-2::-1]:
            self.tessaly("undo", "shop.tsl")
            self.assertEqual(self.database.read_bytes(), state)
        added = self.tessaly("customers", "add", "shop.tsl", "メールアドレス=y@example.jp").out
        self.assertIn("個人情報ID: 5\n", added)  # no number is given twice

    def test_what_was_changed_since_or_is_damaged_is_refused(self):
        self.tessaly("customers", "erase", "shop.tsl", "1", "--yes")
        self.tessaly("customers", "delete", "shop.tsl", "2")
        changed = self.database.read_bytes()
        self.refused("undo", "shop.tsl", says="取り消しません: DB/database.dat")
        copy = self.folder / "shop/UNDO/000001/0"
        whole = copy.read_bytes()
        for damaged in (whole[:-9], whole[:50] + b"x" + whole[51:], b""):
            copy.write_bytes(damaged)
            self.refused("undo", "shop.tsl", "--force", says="変更の前の写しが壊れています")
            self.assertEqual(self.database.read_bytes(), changed)
        copy.write_bytes(whole)
        self.tessaly("undo", "shop.tsl", "--force")
        self.assertEqual(self.addresses(), [f"n{i}@example.jp" for i in range(4)])
        self.tessaly("customers", "erase", "shop.tsl", "1", "--yes")
        self.assertIn("写しを消しました: 1件", self.tessaly("undo", "shop.tsl", "--forget").out)
        self.assertFalse((self.folder / "shop/UNDO").exists())


class Readers(CommandTest):
    """Who can read the files, also under a mask that lets everybody."""

    def open_to_all(self, *arguments, code=0):
        done = subprocess.run(["sh", "-c", 'umask 000; exec "$0" "$@"', TESSALY, *map(str, arguments)],
                              cwd=self.folder, env=ENVIRONMENT, capture_output=True, timeout=60)
        self.assertEqual(done.returncode, code, done.stderr.decode())
        return done.stderr.decode()

    def readable(self):
        """What others can read or enter of what the application made."""
        return [str(path) for path in self.folder.rglob("*")
                if path not in self.given and path.stat().st_mode & (stat.S_IRWXG | stat.S_IRWXO)]

    def test_what_is_made_is_the_owners_alone(self):
        (self.folder / "answers").mkdir()
        self.put("answers/1.eml", "From: x@example.jp\n\nx\n")
        self.put("d.txt", "Subject: 春\n\n本文\n")
        self.put("list.csv", "メールアドレス,名前(姓)\na@example.jp,表\nb,表\n")
        self.postbox()
        self.given = set(self.folder.rglob("*"))
        for arguments in (["env", "new", "shop.tsl"], ["settings", "shop.tsl", "from.address=shop@example.jp"],
                          ["customers", "import", "shop.tsl", "list.csv"],
                          ["mail", "new", "shop.tsl", "--draft", "d.txt", "--attach", "d.txt"],
                          ["target", "shop.tsl", 0, "--all"], ["group", "save", "shop.tsl", 0, "全員"],
                          ["testers", "add", "shop.tsl", "メールアドレス=t@example.jp"],
                          ["send", "shop.tsl", 0, "--smtp", self.server, "--report", "report.csv"],
                          ["mail", "export", "shop.tsl", 0, "out.eml"], ["receive", "shop.tsl", "--from-dir", "answers"],
                          ["customers", "import", "shop.tsl", SAMPLE / "customers.csv", "--replace"],
                          ["backup", "shop.tsl", "all.tar"], ["backup", "shop.tsl", "c.dat", "--customers"],
                          ["restore", "new.tsl", "all.tar"], ["restore", "shop.tsl", "all.tar", "--yes"]):
            self.open_to_all(*arguments)
        self.assertTrue((self.folder / "shop/INBOX").exists() and (self.folder / "shop/LOG").exists())
        self.assertEqual(self.readable(), [])

    def test_an_older_environment_is_tightened_once(self):
        self.given = set()
        self.new_shop("a@example.jp,林,花子,Y")
        for path in [self.folder / "shop.tsl", self.folder / "shop", *(self.folder / "shop").rglob("*")]:
            path.chmod(0o755 if path.is_dir() else 0o644)
        self.given = {self.folder / "list.csv"}
        self.assertNotIn("ほかの人から", self.open_to_all("customers", "list", "shop.tsl"))
        self.assertIn("ほかの人から読めないようにしました", self.open_to_all("customers", "delete", "shop.tsl", 0))
        self.assertEqual(self.readable(), [])
        self.assertNotIn("ほかの人から", self.open_to_all("customers", "restore", "shop.tsl", 0))


if __name__ == "__main__":
    unittest.main()
