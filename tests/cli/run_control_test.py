"""Runs that are stopped, and what goes on beside them: signals, closed terminals, locks, changes of mails and customers."""

import contextlib
import fcntl
import os
import pty
import re
import signal
import socket
import subprocess
import termios
import threading
import time
import unittest

from cli import ENVIRONMENT, TESSALY, Running, wait_for
from smtp_server import SmtpServer
from stored_mail import StoredMailTest

SOON = 3  # seconds: the second that a stop takes, and the slowness of the machine


class RunControl(StoredMailTest):
    def run_on(self, server, *options, threads=2):
        return Running(self, "send", "shop.tsl", "0", "--smtp", server.address, "--threads", str(threads), *options)

    @contextlib.contextmanager
    def locked(self, folder):
        """As another process that uses the folder."""
        with open(self.folder / folder / ".lock", "a") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            yield

    def silent_server(self):
        """The address of a server that takes connections and never says a word."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return "127.0.0.1:%d" % listener.getsockname()[1]

    def received(self, server):
        return sorted(re.search(rb"(?m)^To: .*?(\w+)@", mail)[1].decode() for mail in server.mails)

    def states(self):
        return {name: row[0] for name, row in self.history().items()}

    def test_a_signal_ends_every_wait_within_a_second(self):
        self.new_mail()
        self.tessaly("settings", "shop.tsl", "pop.host=127.0.0.1", "pop.user=shop", "pop.password=x")
        hanging, silent, release = SmtpServer(self, {"RCPT": lambda _: release.wait(20) and ""}), self.silent_server(), threading.Event()
        self.addCleanup(release.set)
        send = ("send", "shop.tsl", "0", "--smtp")
        for number, (arguments, said) in enumerate((
                ((*send, hanging.address), "まだ届いていない人に続きを送ります"), ((*send, silent), "まだ届いていない人に続きを送ります"),
                ((*send, "127.0.0.1:1", "--threads", "1"), ""), (("receive", "shop.tsl", "--pop", silent), "続きを受信できます"),
                (("check", "shop.tsl", "--smtp", silent, "--pop", silent), "中断しました。"))):
            run = Running(self, *arguments)
            time.sleep(0.5)
            before = time.monotonic()
            stopped = run.stop((signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[number % 3])
            self.assertLess(time.monotonic() - before, SOON, arguments)
            self.assertEqual(stopped.code, 1, stopped.err)
            self.assertIn(said, stopped.err)
        with self.locked("shop"):
            run = Running(self, "customers", "delete", "shop.tsl", "0")
            time.sleep(0.3)
            before = time.monotonic()
            self.assertIn("中断しました。", run.stop(signal.SIGHUP).err)
            self.assertLess(time.monotonic() - before, SOON)
        self.assertEqual(set(self.history().values()), {("待ち", "0", "0")})  # nobody was charged with an attempt
        release.set()
        hanging.answers = {}
        self.send("--smtp", hanging.address)
        self.assertEqual(self.received(hanging), [f"n{i}" for i in range(6)])

    def test_a_mail_under_way_gets_time_for_its_reply(self):
        self.new_mail()
        at_the_dot = threading.Event()
        for seconds, state in ((0.6, "完了"), (4, "不明")):
            def slowly(_):
                at_the_dot.set()
                time.sleep(seconds)
                return ""
            at_the_dot.clear()
            server = SmtpServer(self, {".": slowly})
            run = self.run_on(server, threads=1)
            self.assertTrue(at_the_dot.wait(20))
            stopped = run.stop(signal.SIGINT)
            self.assertEqual(stopped.code, 1)
            self.assertEqual([value for value in self.states().values() if value != "待ち"][-1], state)
        self.assertEqual(sorted(self.states().values()), ["不明", "完了"] + ["待ち"] * 4)

    def test_the_second_signal_ends_the_process(self):
        self.new_mail()
        for second, code in ((signal.SIGTERM, -signal.SIGTERM), (signal.SIGHUP, 1)):  # a hangup comes several times
            waits = threading.Event()
            server = SmtpServer(self, {".": lambda _: waits.set() or time.sleep(4) or ""})
            run = self.run_on(server, threads=1)
            self.assertTrue(waits.wait(20))
            for number in (signal.SIGHUP, second):
                run.process.send_signal(number)
                time.sleep(0.1)
            self.assertEqual(run.result().code, code)

    def test_an_ignored_signal_stays_ignored(self):
        self.new_mail()
        server = SmtpServer(self, {".": lambda _: time.sleep(0.1) or ""})
        process = subprocess.Popen(["sh", "-c", 'trap "" HUP; exec "$0" send shop.tsl 0 --threads 1 --smtp "$1"', TESSALY, server.address],
                                   cwd=self.folder, env=ENVIRONMENT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: server.mails)
        process.send_signal(signal.SIGHUP)
        self.assertEqual(process.wait(60), 0)
        self.assertEqual(len(server.mails), 6)

    def test_a_closed_terminal_harms_nothing(self):
        self.new_mail(*(f"n{i}@example.jp,表,,Y" for i in range(60)))
        server = SmtpServer(self, {".": lambda _: time.sleep(0.01) or "", "RCPT": lambda to: "450 no" if "n7@" in to else ""})
        leader, terminal = pty.openpty()
        command = ["send", "shop.tsl", "0", "--smtp", server.address, "--threads", "3"]
        process = subprocess.Popen([TESSALY, *command], cwd=self.folder, env=ENVIRONMENT, stdin=terminal, stdout=terminal,
                                   stderr=terminal, start_new_session=True,
                                   preexec_fn=lambda: fcntl.ioctl(terminal, termios.TIOCSCTTY, 0))
        os.close(terminal)
        wait_for(lambda: len(server.mails) >= 10)
        os.close(leader)
        self.assertEqual(process.wait(60), 1)
        self.assertLess(len(server.mails), 59)
        self.assertNotIn("不明", self.states().values())
        self.tessaly(*command, code=1)
        self.assertEqual(self.received(server), sorted(f"n{i}" for i in range(60) if i != 7))
        with open(os.devnull) as nothing:  # a reader of the output that goes away
            reader, writer = os.pipe()
            os.close(reader)
            server.answers = {}
            self.assertEqual(subprocess.run([TESSALY, *command], cwd=self.folder, env=ENVIRONMENT, stdin=nothing, stdout=writer,
                                            stderr=writer, timeout=60).returncode, 1)
            os.close(writer)
        self.assertEqual(len(server.mails), 60)

    def test_what_a_run_sends_is_not_changed(self):
        self.new_mail()
        self.tessaly("group", "save", "shop.tsl", "0", "皆")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
        goes_on = threading.Event()
        self.addCleanup(goes_on.set)
        server = SmtpServer(self, {".": lambda _: goes_on.wait(40) and ""})
        run = self.run_on(server)
        self.assertTrue(wait_for(lambda: "DATA" in server.commands))
        for change in (["mail", "edit", "shop.tsl", "0", "--honorific", "殿"], ["mail", "edit", "shop.tsl", "0", "--attach", "draft.txt"],
                       ["mail", "delete", "shop.tsl", "1", "0"], ["target", "shop.tsl", "0", "--clear"],
                       ["group", "use", "shop.tsl", "皆", "0"], ["unknown", "shop.tsl", "0", "--settle", "all"]):
            before = time.monotonic()
            self.refused(*change, says="このメールは送信中です。終わってからもう一度実行してください: 0: <%名前(姓)%>様へ")
            self.assertLess(time.monotonic() - before, SOON)
        self.tessaly("mail", "edit", "shop.tsl", "1", "--honorific", "殿")
        self.tessaly("mail", "delete", "shop.tsl", "1")
        goes_on.set()
        self.assertEqual(run.result().code, 0)
        self.tessaly("mail", "edit", "shop.tsl", "0", "--honorific", "殿")
        with self.locked("shop/MAIL/0"):  # a change that goes on
            server.answers, again = {}, self.run_on(server)
            time.sleep(0.5)
            self.assertIsNone(again.process.poll())
        self.assertIn("送る相手は残っていません。", again.result().out)

    def test_each_mail_goes_to_the_customer_as_she_is_now(self):
        self.new_mail()
        taken, goes_on = threading.Event(), threading.Event()
        self.addCleanup(goes_on.set)
        server = SmtpServer(self, {".": lambda _: taken.set() or (goes_on.wait(40) and "")})
        run = self.run_on(server, "--report", "report.csv", threads=1)
        self.assertTrue(taken.wait(20))
        self.tessaly("customers", "delete", "shop.tsl", 2)
        self.tessaly("customers", "set", "shop.tsl", 3, "DM送付可否=N")
        self.tessaly("customers", "set", "shop.tsl", 4, "メールアドレス=new4@example.jp", "名前(姓)=森")
        self.tessaly("customers", "erase", "shop.tsl", 5, "--yes")
        goes_on.set()
        ended = run.result()
        self.assertEqual(ended.code, 0, ended.err)
        self.assertEqual(self.received(server), ["n0", "n1", "new4"])
        self.assertRegex(ended.out, "^送信 3通、送れず 0通、見送り 3通 ")
        for line in ("見送り 2 <n2@example.jp>: 削除されました\n", "見送り 3 <n3@example.jp>: DMを受け取らなくなりました\n", "見送り 5 <>: 削除されました\n"):
            self.assertIn(line, ended.err)
        states = list(self.states().values())
        self.assertEqual(states.count("待ち"), 3)
        self.assertNotIn("不明", states)
        self.assertIn("送る相手は残っていません", self.send("--smtp", server.address).out)

    def test_a_busy_environment_is_waited_for_at_the_end(self):
        self.new_mail()
        for number, gives_up in enumerate((False, True)):
            taken, goes_on = threading.Event(), threading.Event()
            self.addCleanup(goes_on.set)
            server = SmtpServer(self, {".": lambda _: taken.set() or (goes_on.wait(40) and "")})
            self.tessaly("customers", "add", "shop.tsl", f"メールアドレス=m{number}@example.jp")
            self.tessaly("target", "shop.tsl", 0, "--all")
            run = self.run_on(server)
            self.assertTrue(taken.wait(20))
            with self.locked("shop"):
                goes_on.set()
                line = run.process.stderr.readline()
                while line and "終わるのを待ちます (Ctrl-C でやめます)".encode() not in line:
                    line = run.process.stderr.readline()
                time.sleep(5 if not gives_up else 0)  # longer than other waits for a lock
                self.assertIsNone(run.process.poll())
                if gives_up:
                    ended = run.stop(signal.SIGINT)
            if not gives_up:
                ended = run.result()
            self.assertEqual(ended.code, int(gives_up))
            self.assertEqual("次の send で直ります" in ended.err, gives_up)
            if gives_up:
                self.assertEqual(self.totals()[0], "送信中")
                self.assertIn("送る相手は残っていません", self.send("--smtp", server.address).out)
            self.assertEqual(self.totals()[0], "完了")
            row, = (row.split() for row in self.tessaly("mail", "list", "shop.tsl").out.splitlines() if row.startswith("0 "))
            self.assertIn(str(7 + number), row)


if __name__ == "__main__":
    unittest.main()
