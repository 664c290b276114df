"""Imports and mailings that are interrupted or killed, and what they show meanwhile."""

import collections
import os
import pty
import re
import signal
import subprocess
import threading
import time
import unittest

from cli import ENVIRONMENT, TESSALY, CommandTest, Running, wait_for
from smtp_server import SmtpServer


class Import(CommandTest):
    def list_of(self, count, name, file="list.csv"):
        return self.put(file, "メールアドレス,名前(姓)\n" + "".join(f"n{i}@example.jp,{name}\n" for i in range(count)))

    def start(self):
        running = Running(self, "customers", "import", "shop.tsl", "list.csv")
        work = self.folder / "shop/DB/import.work"
        wait_for(lambda: work.exists() or running.process.poll() is not None)
        return running

    def test_ctrl_c_keeps_what_was_imported(self):
        count = 200000
        self.new_shop()
        self.list_of(count, "表")
        stopped = self.start().stop(signal.SIGINT)
        self.assertEqual(stopped.code, 1, stopped.err)
        self.assertIn("途中で止めました。同じコマンドで続きを取り込めます。\n", stopped.err)
        imported = int(re.search(r"^新規 ([0-9,]+)件、更新 0件、取り込めず 0件$", stopped.out)[1].replace(",", ""))
        self.assertLess(imported, count)
        self.assertIn(f"顧客        {imported:,}件 (ほかに削除済み 0件)\n", self.tessaly("env", "info", "shop.tsl").out)
        self.assertFalse((self.folder / "shop/DB/import.work").exists())
        again = self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.assertEqual(again.out, f"新規 {count - imported:,}件、更新 {imported:,}件、取り込めず 0件\n")

    def test_ctrl_c_in_a_replacement_changes_nothing(self):
        self.new_shop("old@example.jp,表,,Y")
        self.list_of(200000, "新")
        running = Running(self, "customers", "import", "shop.tsl", "list.csv", "--replace")
        wait_for((self.folder / "shop/DB/import.work").exists)
        stopped = running.stop(signal.SIGTERM)
        self.assertEqual(stopped.code, 1)
        self.assertIn("途中で止めたので、置き換えませんでした", stopped.err)
        self.assertEqual(self.addresses(), ["old@example.jp"])

    def test_a_kill_at_any_moment_leaves_the_old_or_the_new(self):
        count = 20000
        self.new_shop()
        self.list_of(count, "0")
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        seen = "0"
        for round in range(1, 8):
            self.list_of(count, str(round))
            running = self.start()
            if round > 1:
                self.wait_for_saving(running)
                time.sleep(0.003 * (round - 2))
            running.stop(signal.SIGKILL)
            columns = ["--columns", "名前(姓)", "--format", "csv"]
            listed = self.tessaly("customers", "list", "shop.tsl", *columns).out.split()[1:]
            self.assertEqual(len(listed), count)
            self.assertIn(set(listed), ({seen}, {str(round)}))
            seen = listed[0]
        self.tessaly("customers", "set", "shop.tsl", "0", "名前(姓)=表")
        names = [file.name for file in (self.folder / "shop/DB").iterdir()]
        self.assertEqual([name for name in names if name == "import.work" or "tessaly-new" in name], [])

    def wait_for_saving(self, running):
        new_file, begun = self.folder / "shop/DB/database.dat.tessaly-new", time.time_ns()

        def is_made():  # an older one was left by a command that was killed
            try:
                return new_file.stat().st_mtime_ns > begun
            except FileNotFoundError:
                return False
        while not is_made() and running.process.poll() is None:
            pass


class Send(CommandTest):
    def setUp(self):
        super().setUp()
        self.everyone = {f"n{i}@example.jp" for i in range(60)}
        self.new_shop(*(f"{address},表,,Y" for address in sorted(self.everyone)))
        self.put("draft.txt", "Subject: 件名\n\n本文\n")
        self.enough = threading.Event()
        self.server = SmtpServer(self, {".": self.slowly})

    def slowly(self, _):
        time.sleep(0.01)
        if len(self.server.mails) >= 10:
            self.enough.set()
        return ""

    def arguments(self, *options):
        return ["send", "shop.tsl", "--draft", "draft.txt", "--smtp", self.server.address, "--threads", "3",
                "--report", "report.csv", *options]

    def received(self):
        found = [re.search(rb"^To: .*<(.*)>", mail, re.M)[1].decode() for mail in self.server.mails]
        return collections.Counter(found)

    def rows(self):
        return self.text("report.csv").count(",送信,")

    def test_ctrl_c_ends_between_two_mails(self):
        running = Running(self, *self.arguments())
        self.assertTrue(self.enough.wait(60))
        stopped = running.stop(signal.SIGINT)
        self.assertEqual(stopped.code, 1)
        self.assertIn("中断しました。\n同じコマンドに --resume をつけると、続きを送れます。\n", stopped.err)
        sent = len(self.server.mails)
        self.assertLess(sent, 60)
        self.assertEqual(self.rows(), sent)
        self.assertRegex(stopped.out, f"^送信 {sent}通、送れず 0通、残り {60 - sent}通 ")
        resumed = self.tessaly(*self.arguments("--resume"))
        self.assertIn(f"前回までに済んだ {sent}通は送りません。\n", resumed.err)
        self.assertEqual(self.received(), collections.Counter(self.everyone))

    def test_after_a_kill_nobody_gets_it_twice_and_only_the_mails_under_way_are_unknown(self):
        running = Running(self, *self.arguments())
        self.assertTrue(self.enough.wait(60))
        running.stop(signal.SIGKILL)
        self.tessaly(*self.arguments("--resume"))
        received = self.received()
        self.assertEqual(set(received.values()), {1})
        unknown = {row.split(",")[1] for row in self.text("report.csv").splitlines() if ",不明," in row}
        self.assertLessEqual(len(unknown), 3)
        self.assertLessEqual(self.everyone - set(received), unknown)
        self.assertEqual(self.rows() + len(unknown), 60)

    def test_a_terminal_shows_a_bar_and_whole_lines(self):
        self.server.answers = {".": lambda _: time.sleep(0.05) or "",
                               "RCPT": lambda to: "550 no" if "n59@" in to else ""}
        leader, terminal = pty.openpty()
        process = subprocess.Popen([TESSALY, *self.arguments()], cwd=self.folder, env=ENVIRONMENT,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=terminal)
        os.close(terminal)
        shown = b""
        try:
            while block := os.read(leader, 4096):
                shown += block
        except OSError:  # how the end of a terminal shows
            pass
        with process:
            self.assertEqual(process.wait(60), 1)
        os.close(leader)
        lines = [line.rpartition("\x1b[K")[2] for line in shown.decode().split("\r\n")]
        self.assertRegex(shown.decode(), r"\r\x1b\[K送信 \[#+\.+\] [0-9]+% [0-9]+/60通  毎秒[0-9]+通  残り0:0[0-9]")
        self.assertEqual(sum(line.startswith("拒否 ") and line.endswith("[550 no]") for line in lines), 1)
        self.assertIn("送れなかった宛先があります。", lines)


if __name__ == "__main__":
    unittest.main()
