"""customers import --from: the files of other programs, their logs, and the questions during an import."""

import os
import pty
import select
import signal
import subprocess
import time
import unittest

from cli import ENVIRONMENT, TESSALY, CommandTest, Running, wait_for

CORVANE = "顧客ID,ユーザーID,アクセスコード,顧客名(姓),顧客名(名),顧客名よみ(姓),顧客名よみ(名),郵便番号,都道府県,住所,電話番号,メールアドレス,配信希望"
CONVERTER = "#!/bin/sh\n[ -f \"$1\" ] && cp \"$1\" \"${2#/d:}\"\n"


class FromPrograms(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop("k@example.jp,旧,,N")

    def put_sjis(self, name, text):
        return self.put(name, text.replace("\n", "\r\n").encode("cp932"))

    def take(self, program, name, text, *options, **expected):
        self.put_sjis(name, text)
        return self.tessaly("customers", "import", "shop.tsl", name, "--from", program, *options, **expected)

    def listed(self):
        rows = self.tessaly("customers", "list", "shop.tsl", "--columns", "メールアドレス,名前(姓),DM送付可否", "--format", "csv").out
        return rows.splitlines()[1:]

    def test_address_books(self):
        becky = "a@example.jp,,,山田,,,,,,,\nbad,,,①,,,,,,,\nK@example.jp,,,新,,,,,,,\n"
        result = self.take("becky", "b.csv", becky)
        self.assertEqual(result.out, "新規 1件、更新 1件、取り込めず 1件\nくわしい記録: b.csv.log\n")
        log = self.text("b.csv.log")
        self.assertIn("2行目のお客様(メールアドレス:bad)は、[メール アドレス]に不正なメールアドレスが設定されている、"
                      "[姓]に機種依存文字「①」が含まれている、ためインポート出来ませんでした。\n", log)
        self.assertIn("インポートは2件(及びデータエラー1件)をインポートして、正常終了しました。", log)
        self.assertEqual(self.listed(), ["K@example.jp,新,N", "a@example.jp,山田,Y"])
        self.take("outlook", "o.csv", "姓,電子メール アドレス\n\"鈴\n木\",o@example.jp\n", "--dm", "no", "--log", "my.log")
        self.assertIn("正常終了", self.text("my.log"))
        self.put("convert.sh", CONVERTER)
        os.chmod(self.folder / "convert.sh", 0o755)
        titles = "No.,e-mail,氏名,ﾌﾘｶﾞﾅ,会社名,部署名１,誕生日,〒,住所１,TEL.,TEL.2:FAX.,TEL.3:携帯,性別\n"
        self.take("fudemame", "住所 録.fwa", "x\n" + titles + "1,f@example.jp,筆,,,,,,,,,,\n", "--converter", "convert.sh", "--dm", "yes")
        self.assertEqual(self.listed()[2:], ["o@example.jp,鈴木,N", "f@example.jp,筆,Y"])
        self.put("convert.sh", "#!/bin/sh\nexit 3\n")
        failed = self.take("fudemame", "f.fwa", "x", "--converter", "convert.sh", code=1)
        self.assertIn("理由は記録の終わりにあります。", failed.err)
        self.assertIn("Fwaファイルの解析ができません。", self.text("f.fwa.log"))
        self.assertEqual([], [file for file in (self.folder / "shop").rglob("*") if file.suffix in (".tmp", ".log")])

    def test_shop_exports(self):
        row = "1,u,c,田中,,,,,,,,k@example.jp,希望する"
        dated = CORVANE + ",更新日時\n" + row + ",2001/1/1 00:00:00\n"
        self.assertEqual(self.take("corvane", "c.csv", dated).out, "新規 0件、更新 0件、取り込めず 0件\nくわしい記録: c.csv.log\n")
        self.assertIn("既存データの方が新しい", self.text("c.csv.log"))
        kept = self.take("corvane", "c.csv", dated, "--existing", "overwrite")
        self.assertIn("配信停止の申し出のある宛先 1件 は、停止のままにしました", kept.err)
        self.assertEqual(self.listed(), ["k@example.jp,田中,N"])
        self.take("corvane", "c.csv", dated, "--existing", "overwrite", "--consent", "会員ページで")
        self.assertEqual(self.listed(), ["k@example.jp,田中,Y"])
        without = CORVANE + "\n" + row.replace("田中", "佐藤") + "\n"
        asked = self.take("corvane", "c.csv", without, code=1)
        self.assertIn("更新日時がデータに含まれていないため、全て上書きにて", asked.err)
        self.assertIn("「いいえ」とします。よければ --yes", asked.err)
        self.assertEqual(self.listed(), ["k@example.jp,田中,Y"])
        self.take("corvane", "c.csv", without, "--yes")
        self.assertEqual(self.listed(), ["k@example.jp,佐藤,Y"])
        titles = ["メールアドレス", "姓", "名", "姓（ふりがな）", "名（ふりがな）", "会社名", "部署名", "生年月日", "郵便番号", "都道府県", "市区町村", "番地以下",
                  "電話番号", "FAX番号", "携帯番号", "DM配信", *(f"項目{i}" for i in range(19)), "登録日時", "最終更新日時"]
        line = ["b@example.jp", "別", *[""] * 34, "2030/1/1 00:00"]
        belmora = ",".join(titles) + "\n" + ",".join(line) + "\n"
        self.take("belmora", "b.csv", belmora, code=1)
        self.assertIn("理由[拡張属性の項目Bが数値型ではありません。]", self.text("b.csv.log"))
        settings = self.folder / "shop/systemoption.dat"
        before = settings.read_bytes()
        self.assertGreater(len(before), 512)
        full = self.limited(512, "customers", "import", "shop.tsl", "b.csv", "--from", "belmora", "--take-attributes")
        self.assertEqual((full.returncode, settings.read_bytes()), (1, before), full.stderr.decode())
        self.take("belmora", "b.csv", belmora, "--take-attributes")
        self.assertEqual(self.listed()[1], "b@example.jp,別,Y")
        self.assertIn("attribute.A.name=項目0\n", self.tessaly("settings", "shop.tsl").out)

    def test_options_that_do_not_go_together(self):
        self.put("x.csv", "x")
        for options, says in ((["--from", "word"], "--from は becky、outlook、fudemame、corvane、belmora のどれかです: word"),
                              (["--from", "becky", "--existing", "keep"], "--existing は corvane と belmora"),
                              (["--from", "corvane", "--dm", "yes"], "--dm は住所録のため"), (["--from", "becky", "--dm", "all"], "--dm は new-no"),
                              (["--from", "fudemame"], "--converter は fudemame で必要"), (["--from", "corvane", "--take-attributes"], "belmora で"),
                              (["--from", "becky", "--replace"], "--replace"), (["--dm", "yes"], "--from")):
            self.assertIn(says, self.tessaly("customers", "import", "shop.tsl", "x.csv", *options, code=2).err, options)
        self.refused("customers", "import", "shop.tsl", "none.csv", "--from", "becky", says="ファイルを開けません: none.csv")
        self.refused("customers", "import", "shop.tsl", "x.csv", "--from", "fudemame", "--converter", "none", says="プログラムがありません")


class Interrupted(CommandTest):
    """An import that is ended, or cannot begin, leaves the customers whole and no files behind."""

    def setUp(self):
        super().setUp()
        self.new_shop("k@example.jp,旧,,N")
        row = "1,u,c,田中,,,,,,,,k@example.jp,希望する"
        self.put("c.csv", (CORVANE + "\r\n" + row).encode("cp932"))

    def command(self, *options):
        return ["customers", "import", "shop.tsl", "c.csv", "--from", "corvane", "--existing", "overwrite", *options]

    def surnames(self):
        return self.tessaly("customers", "list", "shop.tsl", "--columns", "名前(姓)", "--format", "csv").out.splitlines()[1:]

    def work_files(self):
        return [file.name for file in (self.folder / "shop").rglob("*") if ".work" in file.name or file.suffix == ".tmp"]

    def test_the_log_costs_neither_a_file_nor_a_customer(self):
        self.put("key", "a secret\n")
        (self.folder / "link").symlink_to("c.csv")
        (self.folder / "hard").hardlink_to(self.folder / "c.csv")
        (self.folder / "folder").mkdir()
        before = self.contents()
        for log, says in (("./c.csv", "大事な中身が"), ("link", "大事な中身が"), ("hard", "大事な中身が"), ("shop.tsl", "外に作って"),
                          ("shop/DB/new.log", "外に作って"), ("folder", "記録のファイルに書けない"), ("none/log", "記録のファイルに書けない")):
            with self.subTest(log=log):
                self.refused(*self.command("--log", log), says=says)
                self.assertEqual(self.contents(), before)
        full = self.tessaly(*self.command("--log", "/dev/full"), code=1)
        self.assertEqual(full.out, "新規 0件、更新 1件、取り込めず 0件\n")
        self.assertTrue(full.err.endswith("記録を書けませんでした: /dev/full\n"), full.err)
        self.assertEqual(self.surnames(), ["田中"])
        self.assertIn("○インポート開始日時", self.tessaly(*self.command("--log", "/dev/stdout")).out)
        self.put("old.log", "以前の長い記録" * 100)
        self.tessaly(*self.command("--log", "old.log"))
        self.assertTrue(self.text("old.log").startswith("○インポート開始日時"))
        self.assertNotIn("以前", self.text("old.log"))

    def contents(self):
        return {str(file): file.read_bytes() for file in self.folder.rglob("*") if file.is_file() and file.name != ".lock"}

    def test_the_end_of_a_file_is_not_lost(self):
        self.put("c.csv", (CORVANE + "\r\n2,\"u,c\r\n3,u,c,鈴木,,,,,,,,s@example.jp,\r\n").encode("cp932"))
        self.assertIn("取り込める行がありません。", self.tessaly(*self.command(), code=1).err)
        self.assertIn("1行目のお客様(顧客ID:2)は、引用符が閉じられておらず、", self.text("c.csv.log"))

    def test_work_files_go_whatever_happens(self):
        left = ["shop/DB/import.work", "shop/DB/import.work.log", "shop/fwaimport.tmp"]
        for name in left:
            self.put(name, "by a command that was killed")
        self.tessaly(*self.command())
        self.assertEqual(self.work_files(), [])
        self.put("convert.sh", "#!/bin/sh\necho half > \"${2#/d:}\"\nexec sleep 60\n")
        os.chmod(self.folder / "convert.sh", 0o755)
        for by in (signal.SIGINT, signal.SIGTERM):
            running = Running(self, "customers", "import", "shop.tsl", "c.csv", "--from", "fudemame", "--converter", "convert.sh")
            self.assertTrue(wait_for((self.folder / left[2]).exists))
            stopped = running.stop(by)
            self.assertEqual((stopped.code, stopped.out), (1, "くわしい記録: c.csv.log\n"))
            self.assertIn("途中で止めました。", stopped.err)
            self.assertIn("理由[途中で中止されました。]", self.text("c.csv.log"))
            self.assertEqual(self.work_files(), [])

    def test_ctrl_c_ends_the_lines(self):
        lines = "".join(f"n{i}@example.jp,,,表,,,,,,,\r\n" for i in range(200000))
        self.put("c.csv", lines.encode("cp932"))
        running = Running(self, "customers", "import", "shop.tsl", "c.csv", "--from", "becky")
        time.sleep(1.05)  # the library's pause ahead of the lines
        stopped = running.stop(signal.SIGINT)
        self.assertEqual(stopped.code, 1, stopped.out)
        self.assertIn("途中で止めました。同じコマンドで続きを取り込めます。", stopped.err)
        count = len(self.surnames()) - 1
        self.assertLess(count, 200000)
        self.assertIn(f"インポートは{count}件" if count else "理由[途中で中止されました。]", self.text("c.csv.log"))

    def test_a_question_at_the_terminal(self):
        for answer, says, surname in ((b"n\n", "取り込みませんでした。", "旧"), (b"\x03", "取り込みませんでした。", "旧"),
                                      (b"y\n", "いいえ (n): ", "田中")):
            with self.subTest(answer=answer):
                shown = self.at_terminal(answer)
                self.assertIn(says, shown)
                self.assertEqual(self.surnames(), [surname])

    def at_terminal(self, answer):
        """The import at a terminal, with an answer typed some time after its question. Returns its output."""
        child, leader = pty.fork()
        if child == 0:
            os.chdir(self.folder)
            os.execve(TESSALY, [TESSALY, *self.command()[:-2]], ENVIRONMENT)
        shown = b""
        try:
            limit = time.monotonic() + 20
            while time.monotonic() < limit:
                if select.select([leader], [], [], 0.6)[0]:
                    shown += os.read(leader, 4096)
                elif shown.endswith("いいえ (n): ".encode()):  # and no progress was drawn behind it
                    os.write(leader, answer)
        except OSError:  # how the end of a terminal shows
            pass
        finally:
            os.close(leader)
            os.waitpid(child, 0)
        return shown.decode()


if __name__ == "__main__":
    unittest.main()
