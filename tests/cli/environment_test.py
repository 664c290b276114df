"""Environments, their settings, keys and passwords; help and exit codes."""

import os
import pty
import random
import signal
import subprocess
import termios
import unittest

from cli import ENVIRONMENT, TESSALY, CommandTest, Running, wait_for


class Environment(CommandTest):
    def test_new_and_info(self):
        made = self.tessaly("env", "new", "shop.tsl")
        self.assertIn("環境を作りました: shop.tsl\n", made.out)
        info = self.tessaly("env", "info", "shop.tsl").out
        self.assertIn(f"データ      {self.folder}/shop\n", info)
        self.assertIn("パスワード  なし\n顧客        0件 (ほかに削除済み 0件)\n", info)
        before = self.files()
        self.refused("env", "new", "shop.tsl", says="もうあります。上書きはしません")
        self.assertEqual(self.files(), before)

    def files(self):
        return {file: file.read_bytes() for file in self.folder.rglob("*") if file.is_file()}

    def test_a_failed_new_leaves_nothing(self):
        (self.folder / "taken").mkdir()
        for name, says in (("shop", "拡張子が必要です"), ("no/shop.tsl", "ディレクトリがありません"),
                           ("💌.tsl", "ファイル名に使えない文字"), ("taken.tsl", "もうあります")):
            self.refused("env", "new", name, says=says)
        self.refused("env", "new", "shop.tsl", "--key-file", "missing", says="鍵ファイルを読めません: missing")
        self.refused("env", "new", "shop.tsl", "--password-file", self.put("empty", "\n"), says="1行目が空です")
        self.assertEqual([file.name for file in self.files()], ["empty"])

    def test_japanese_names_of_files(self):
        (self.folder / "表ソ能").mkdir()
        self.tessaly("env", "new", "表ソ能/予定表.tsl")
        self.tessaly("settings", "表ソ能/予定表.tsl", "from.name=表")
        self.assertEqual(self.tessaly("settings", "表ソ能/予定表.tsl", "from.name").out, "from.name=表\n")

    def test_damaged_environments_are_refused_and_left_alone(self):
        self.new_shop("a@example.jp,林,花子,Y")
        self.refused("env", "info", "missing.tsl", says="環境ファイルがありません: missing.tsl")
        self.refused("env", "info", ".", says="環境ファイルがありません")
        noise = random.Random(1).randbytes(1000)
        for name in ("shop.tsl", "shop/systemoption.dat", "shop/DB/database.dat"):
            whole = (self.folder / name).read_bytes()
            damages = [whole[:len(whole) // 2], bytes(len(whole)), noise]
            if name != "shop/DB/database.dat":  # as an empty file it is a table without customers
                damages.append(b"")
            for damaged in damages:
                self.put(name, damaged)
                for command in (["env", "info", "shop.tsl"], ["customers", "set", "shop.tsl", "0", "名前(姓)=表"]):
                    with self.subTest(name=name, damaged=damaged[:20]):
                        self.refused(*command, says="")
                        self.assertEqual((self.folder / name).read_bytes(), damaged)
            self.put(name, whole)
        self.assertEqual(self.addresses(), ["a@example.jp"])

    def test_a_table_that_stops_before_its_end_is_never_written_over(self):
        self.new_shop("a@example.jp,林,花子,Y", "b@example.jp,森,一,Y")
        self.postbox()
        self.put("draft", "Subject: 春\n\n本文\n")
        self.put("test.txt", "添付\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft", "--attach", "test.txt")
        self.tessaly("target", "shop.tsl", 0, "--all")
        self.tessaly("group", "save", "shop.tsl", 0, "全員")
        self.tessaly("testers", "add", "shop.tsl", "メールアドレス=t@example.jp")
        self.tessaly("send", "shop.tsl", 0, "--smtp", self.server)
        for name, commands in {
                "shop.tsl": [["env", "info", "shop.tsl"]],
                "shop/systemoption.dat": [["settings", "shop.tsl", "from.name=表"]],
                "shop/DB/database.dat": [["customers", "set", "shop.tsl", "0", "名前(姓)=表"]],
                "shop/DB/testmailinginfo.dat": [["testers", "add", "shop.tsl", "メールアドレス=x@example.jp"]],
                "shop/MAIL/maillist.dat": [["mail", "list", "shop.tsl"], ["mail", "delete", "shop.tsl", "0"]],
                "shop/MAIL/0/mail0.dat": [["mail", "edit", "shop.tsl", "0", "--draft", "draft"]],
                "shop/MAIL/0/ATTACH/at_pc0.dat": [["mail", "edit", "shop.tsl", "0", "--draft", "draft"]],
                "shop/MAIL/0/hist0.dat": [["report", "shop.tsl", "0"], ["send", "shop.tsl", "0", "--dry-run"]],
                "shop/MAIL/0/merd0.dat": [["target", "shop.tsl", "0"]],
                "shop/MAIL/0/meli0.dat": [["send", "shop.tsl", "0", "--dry-run"]],
                "shop/EXTRACT/extrlist.dat": [["group", "delete", "shop.tsl", "全員"]],
                "shop/EXTRACT/exsl0.dat": [["group", "use", "shop.tsl", "全員", "0"]]}.items():
            whole = (self.folder / name).read_bytes()
            # The first byte of each is a quote under its key.
            for damaged in (whole[:-2], whole[:-2] + whole[:1] + whole[-2:], whole + whole[:-2], whole + b"\r\n" + whole):
                self.put(name, damaged)
                for command in commands:
                    with self.subTest(name=name, command=command[0], damaged=damaged[-20:]):
                        self.refused(*command, says=name)
                        self.assertEqual((self.folder / name).read_bytes(), damaged)
            self.put(name, whole)


class Settings(CommandTest):
    def test_values_are_kept_and_passwords_never_shown(self):
        self.tessaly("env", "new", "shop.tsl")
        self.assertEqual(
            self.tessaly("settings", "shop.tsl", "smtp.password=ひ=み\"つ", "smtp.port=587", "from.name= 表,\"店\" ").out,
            "smtp.password=(設定済み)\nsmtp.port=587\nfrom.name= 表,\"店\" \n")
        everything = self.tessaly("settings", "shop.tsl").out
        self.assertEqual(len(everything.splitlines()), 75)
        self.assertIn("smtp.host=\nsmtp.port=587\nsmtp.auth=none\nsmtp.user=\nsmtp.password=(設定済み)\n", everything)
        self.assertNotIn("み", everything.replace("設定済み", ""))
        self.assertEqual(self.tessaly("settings", "shop.tsl", "smtp.password=").out, "smtp.password=(未設定)\n")
        stored = (self.folder / "shop" / "systemoption.dat").read_bytes()
        self.assertNotIn("みどり".encode("cp932"), stored)

    def test_one_bad_value_changes_nothing(self):
        self.tessaly("env", "new", "shop.tsl")
        for item, says in (("nope=1", "設定の名前が違います: nope"), ("smtp.port=0", "1 から 65535 まで"),
                           ("smtp.auth=tls", "none|any|cram-md5|login|plain のどれかです"),
                           ("from.name=a\nb", "改行は入れられません"), ("from.name=店💌", "1行2文字目の「💌」")):
            self.refused("settings", "shop.tsl", "smtp.host=mail.example.jp", item, says=says)
        self.assertEqual(self.tessaly("settings", "shop.tsl", "smtp.host").out, "smtp.host=\n")

    def test_attributes_take_their_names_and_types(self):
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "attribute.B.name=ポイント", "attribute.B.type=number")
        self.put("list.csv", "メールアドレス,ポイント\na@example.jp,0012\nb@example.jp,たくさん\n")
        refused = self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.assertIn("3行: ポイント: 数 (9桁まで) ではありません: たくさん\n", refused.err)
        self.tessaly("customers", "set", "shop.tsl", "0", "ポイント=0030")
        self.assertIn("ポイント: 30\n", self.tessaly("customers", "show", "shop.tsl", "0").out)
        self.refused("customers", "set", "shop.tsl", "0", "拡張属性B=x", says="ポイント: 数 (9桁まで) ではありません")

    def test_two_at_once_both_count(self):
        self.tessaly("env", "new", "shop.tsl")
        names = [f"attribute.{letter}.name" for letter in "ABCDEFGH"]
        writers = [Running(self, "settings", "shop.tsl", f"{name}=列 {name}") for name in names]
        for writer in writers:
            self.assertEqual(writer.result().code, 0)
        shown = self.tessaly("settings", "shop.tsl", *names).out
        self.assertEqual(shown, "".join(f"{name}=列 {name}\n" for name in names))


class Keys(CommandTest):
    def test_another_key_does_not_open_it(self):
        self.put("key", "a key of the shop's own\r\nsecond line\n")
        self.put("other", "another key\n")
        self.tessaly("env", "new", "shop.tsl", "--key-file", "key")
        self.tessaly("settings", "shop.tsl", "from.name=表", "--key-file", "key")
        for wrong in ([], ["--key-file", "other"]):
            self.refused("env", "info", "shop.tsl", *wrong, says="鍵")
            self.refused("settings", "shop.tsl", "from.name=x", *wrong, says="鍵")
        self.assertEqual(self.tessaly("settings", "shop.tsl", "from.name", "--key-file", "key").out, "from.name=表\n")
        self.refused("env", "info", "shop.tsl", "--key-file", self.put("none", ""), says="鍵ファイル")

    def test_the_password_is_asked_for(self):
        self.put("right", "ひみつ\\\n")
        self.put("same key", "ひみつ¥\n")
        self.put("wrong", "ひみつ \n")
        self.tessaly("env", "new", "shop.tsl", "--password-file", "right")
        for file in ("right", "same key"):
            self.assertIn("パスワード  あり", self.tessaly("env", "info", "shop.tsl", "--password-file", file).out)
        for command in (["env", "info"], ["settings"], ["customers", "list"]):
            self.refused(*command, "shop.tsl", "--password-file", "wrong", says="起動用パスワードが違います")
        self.refused("env", "info", "shop.tsl", says="起動用パスワードが必要です。端末がないときは --password-file")
        for answer, code in (("ひみつ¥\n", 0), ("ひみ\n", 1), (None, 1)):
            with self.subTest(answer=answer):
                self.assertEqual(self.at_terminal(answer), code)

    def at_terminal(self, answer):
        """`env info` at a terminal, with an answer or Ctrl-C (None). The exit code; the input must not be shown."""
        leader, terminal = pty.openpty()
        with subprocess.Popen([TESSALY, "env", "info", "shop.tsl"], cwd=self.folder, env=ENVIRONMENT, stdin=terminal,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, start_new_session=True) as process:
            try:
                echoes = lambda: termios.tcgetattr(terminal)[3] & termios.ECHO
                self.assertTrue(wait_for(lambda: not echoes()), "the echo stays on")
                if answer is None:
                    process.send_signal(signal.SIGINT)
                else:
                    os.write(leader, answer.encode())
                code = process.wait(60)
                self.assertTrue(echoes(), "the echo stays off")
                os.write(terminal, b".")
                self.assertNotIn("ひみ".encode(), os.read(leader, 1000))
                return code
            finally:
                process.kill()
                os.close(leader)
                os.close(terminal)


class Usage(CommandTest):
    def test_help_everywhere(self):
        families = [[], ["env"], ["settings"], ["customers"], ["preview"], ["send"], ["postbox"]]
        customers = ("import", "list", "show", "add", "set", "delete", "restore", "erase")
        commands = families + [["env", name] for name in ("new", "info")] + [["customers", name] for name in customers]
        for command in commands:
            shown = self.tessaly(*command, "--help")
            self.assertIn("使い方: " + " ".join(["tessaly", *command]), shown.out)
            self.assertEqual(shown.err, "")
        self.assertEqual(self.tessaly("--version").out.split()[0], "tessaly")

    def test_wrong_usage_is_told_apart_from_failure(self):
        for arguments in ([], ["nope"], ["env"], ["env", "new"], ["settings", "shop.tsl", "--nope"],
                          ["send", "shop.tsl"], ["send", "shop.tsl", "--draft"],
                          ["send", "shop.tsl", "--draft", "x", "--threads", "0"],
                          ["send", "shop.tsl", "--draft", "x", "--resume"],
                          ["customers", "list", "shop.tsl", "--limit", "-1"],
                          ["customers", "list", "shop.tsl", "--format", "xml"],
                          ["customers", "list", "shop.tsl", "--all", "--deleted"],
                          ["customers", "show", "shop.tsl", "x"], ["customers", "set", "shop.tsl", "1"],
                          ["postbox", "box", "--user", "u"], ["postbox", "box", "--smtp", "65536"]):
            result = self.tessaly(*arguments, code=2)
            self.assertTrue(result.err and not result.out, arguments)

    def test_a_full_disk_is_a_failure(self):
        self.tessaly("env", "new", "shop.tsl")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TESSALY, "settings", "shop.tsl"], cwd=self.folder, env=ENVIRONMENT, stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr.decode()), (1, "結果を書き出せませんでした。\n"))


if __name__ == "__main__":
    unittest.main()
