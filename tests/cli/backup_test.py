"""backup and restore: which customers are restored, and which files are refused."""

import shutil
import unittest

from cli import CommandTest, DAMAGED_TABLE


class Backup(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(4)))
        self.tessaly("backup", "shop.tsl", "控え.dat")
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
        self.assertEqual((self.folder / "shop/DB/database.dat.damaged0").read_bytes(), DAMAGED_TABLE)
        self.assertEqual(len(list((self.folder / "shop/DB").glob("*.damaged*"))), 1)
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
        self.tessaly("backup", "empty.tsl", "empty.dat")
        (self.folder / "empty/DB/database.dat").write_bytes(DAMAGED_TABLE)
        self.assertIn("0人を控えから戻しました。", self.tessaly("restore", "empty.tsl", "empty.dat").out)
        self.assertIn("0件", self.tessaly("customers", "list", "empty.tsl").out)

    def test_a_file_of_the_users_is_no_work_file(self):
        mine = self.folder / "b.dat.new"
        mine.write_text("mine")
        self.tessaly("backup", "shop.tsl", "b.dat")
        (self.folder / "b.dat").unlink()
        (self.folder / "b.dat").mkdir()
        self.refused("backup", "shop.tsl", "b.dat", "--force", says="控えを書けませんでした")
        self.assertEqual(mine.read_text(), "mine")
        self.assertEqual(sorted(file.name for file in self.folder.glob("b.dat*")), ["b.dat", "b.dat.new"])

    def test_wrong_files_change_nothing(self):
        self.tessaly("env", "new", "other.tsl")
        self.tessaly("customers", "add", "other.tsl", "メールアドレス=x@example.jp")
        self.tessaly("backup", "other.tsl", "other.dat")
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
        self.refused("backup", "shop.tsl", "控え.dat", says="控えのファイルがもうあります")
        self.tessaly("backup", "shop.tsl", "控え.dat", "--force")
        self.refused("backup", "shop.tsl", "no/x.dat", says="控えを書けませんでした")
        key = (self.folder / "shop.tsl").read_bytes()
        for own in ("shop.tsl", "shop/MAIL/../DB/database.dat"):
            self.refused("backup", "shop.tsl", own, "--force", says="環境のファイルとディレクトリの外に作ってください")
        self.assertEqual((key, before), ((self.folder / "shop.tsl").read_bytes(), self.database.read_bytes()))


if __name__ == "__main__":
    unittest.main()
