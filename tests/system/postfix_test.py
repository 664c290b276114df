"""The sample mailing through a real Postfix on the loopback address, read back from its maildir.

Postfix runs from a scratch folder, with its own configuration, queue and passwords; nothing of the machine's own mail
system is touched. Its master is ended by its id, whatever happens."""

import csv
import io
import os
import pathlib
import pwd
import re
import shutil
import signal
import socket
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "app"))
from cli import SAMPLE, CommandTest, Mail, wait_for  # noqa: E402

SKIPPED = 77
USER, PASSWORD = "shop", "pass word~"
MAIN = """
compatibility_level = 3.6
queue_directory = {folder}/queue
data_directory = {folder}/data
maillog_file = {folder}/log
maillog_file_prefixes = {folder}
mail_owner = postfix
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
disable_dns_lookups = yes
smtpd_peername_lookup = no
myhostname = mail.example.jp
mydestination =
alias_maps =
mynetworks =
smtpd_sasl_auth_enable = yes
smtpd_sasl_path = smtpd
cyrus_sasl_config_path = {folder}/sasl
smtpd_sasl_local_domain = example.jp
smtpd_recipient_restrictions = check_recipient_access inline:{{ {{ gone@example.jp = REJECT no such customer }} }},
    permit_sasl_authenticated, reject
virtual_mailbox_domains = static:all
virtual_mailbox_maps = static:mails/
virtual_mailbox_base = {folder}
virtual_uid_maps = static:{uid}
virtual_gid_maps = static:{gid}
virtual_minimum_uid = 1
"""
MASTER = """
127.0.0.1:{port} inet n - n - - smtpd
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
trace unix - - n - 0 bounce
verify unix - - n - 1 verify
proxymap unix - - n - - proxymap
anvil unix - - n - 1 anvil
virtual unix - n n - - virtual
retry unix - - n - - error
error unix - - n - - error
postlog unix-dgram n - n - 1 postlogd
"""
SASL = """
pwcheck_method: auxprop
auxprop_plugin: sasldb
sasldb_path: {folder}/sasl/sasldb2
mech_list: {methods}
"""


class Postfix:
    def __init__(self, folder):
        self.folder = folder
        owner = pwd.getpwnam("postfix")
        folder.chmod(0o755)
        for name in ("config", "queue", "data", "mails", "sasl"):
            (folder / name).mkdir()
        for name in ("data", "mails"):
            os.chown(folder / name, owner.pw_uid, owner.pw_gid)
        with socket.create_server(("127.0.0.1", 0)) as free:
            self.port = free.getsockname()[1]
        values = {"folder": folder, "port": self.port, "uid": owner.pw_uid, "gid": owner.pw_gid}
        (folder / "config/main.cf").write_text(MAIN.format(**values))
        (folder / "config/master.cf").write_text(MASTER.format(**values))
        self.offer("CRAM-MD5 LOGIN PLAIN")
        database = folder / "sasl/sasldb2"
        subprocess.run(["saslpasswd2", "-p", "-c", "-f", database, "-u", "example.jp", USER], input=PASSWORD.encode(),
                       check=True, timeout=30, stdout=subprocess.DEVNULL)
        os.chown(database, owner.pw_uid, owner.pw_gid)
        self.postfix("start")

    def offer(self, methods):
        (self.folder / "sasl/smtpd.conf").write_text(SASL.format(folder=self.folder, methods=methods))

    def postfix(self, command):
        done = subprocess.run(["postfix", "-c", self.folder / "config", command], timeout=60, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise AssertionError(f"postfix {command}: {done.stdout.decode()}\n{self.log()}")

    def log(self):
        return (self.folder / "log").read_text() if (self.folder / "log").exists() else ""

    def stop(self):
        file = self.folder / "queue/pid/master.pid"
        if not file.exists():
            return
        master = int(file.read_text())
        family = [master, *self.children(master)]
        os.kill(master, signal.SIGTERM)
        if not wait_for(lambda: not any(self.alive(id) for id in family)):
            for id in filter(self.alive, family):
                os.kill(id, signal.SIGKILL)

    @staticmethod
    def children(master):
        listed = subprocess.run(["ps", "-o", "pid=", "--ppid", str(master)], capture_output=True, timeout=30).stdout
        return [int(id) for id in listed.split()]

    @staticmethod
    def alive(id):
        try:
            return pathlib.Path(f"/proc/{id}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
        except FileNotFoundError:
            return False


class ThroughPostfix(CommandTest):
    @classmethod
    def setUpClass(cls):
        pass

    def setUp(self):
        super().setUp()
        self.server_folder = self.folder / "postfix"
        self.server_folder.mkdir()
        self.folder.chmod(0o755)
        self.server = Postfix(self.server_folder)
        self.addCleanup(self.server.stop)
        self.address = f"127.0.0.1:{self.server.port}"
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "from.name=髙島﨑商店①", "from.address=shop@example.jp", "smtp.host=127.0.0.1",
                     f"smtp.port={self.server.port}", "smtp.auth=any", f"smtp.user={USER}", f"smtp.password={PASSWORD}")

    def mails(self, wanted):
        new = self.server_folder / "mails/new"
        self.assertTrue(wait_for(lambda: new.exists() and len(list(new.iterdir())) >= wanted), self.server.log()[-5000:])
        return [Mail(file.read_bytes()) for file in new.iterdir()]

    def test_the_whole_sample_list(self):
        self.tessaly("customers", "import", "shop.tsl", SAMPLE / "customers.csv")
        self.tessaly("send", "shop.tsl", "--draft", SAMPLE / "draft.txt", "--report", "report.csv")
        subject, body = (SAMPLE / "draft.txt").read_text().removeprefix("Subject: ").split("\n\n", 1)
        rows = csv.DictReader(io.StringIO((SAMPLE / "customers.csv").read_bytes().decode("cp932")))
        rows = {row["メールアドレス"]: row for row in rows if row["DM送付可否"] != "N"}
        mails = {mail.message["X-Original-To"]: mail for mail in self.mails(len(rows))}
        self.assertEqual(mails.keys(), rows.keys())
        ids = {row["Message-ID"] for row in csv.DictReader(io.StringIO(self.text("report.csv")))}
        self.assertEqual({mail.id for mail in mails.values()}, ids)
        for address, row in rows.items():
            def merged(text):
                return re.sub("<%(.*?)%>", lambda word: row[word[1]], text)
            mail = mails[address]
            self.assertEqual(mail.subject, merged(subject))
            self.assertEqual(mail.to, f"{row['名前(姓)']} {row['名前(名)']} <{address}>")
            self.assertEqual(mail.sender, "髙島﨑商店① <shop@example.jp>")
            self.assertEqual(mail.body, merged(body) + "\n")  # behind the body's last line stands one more line end
            self.assertEqual(mail.message["Return-Path"], "<shop@example.jp>")
            self.assertEqual(mail.message.get_content_charset(), "iso-2022-jp")
            self.assertEqual(mail.message.defects, [])

    def test_each_method_and_what_a_real_server_refuses(self):
        self.put("list.csv", "メールアドレス,名前(姓)\ngone@example.jp,去\nhere@example.jp," + "表ソ" * 200 + "\n")
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.put("draft.txt", "Subject: <%名前(姓)%>\n\n.\n..\n" + "長い行" * 400 + "\n<%名前(姓)%>\n")
        send = ["send", "shop.tsl", "--draft", "draft.txt", "--to"]
        for number, method in enumerate(("cram-md5", "login", "plain"), 1):
            self.server.offer(method.upper())  # alone: a client that uses another one is refused
            self.tessaly("settings", "shop.tsl", "smtp.auth=" + method, "smtp.password=wrong")
            self.assertIn("SMTP認証に失敗しました", self.tessaly(*send, "1", code=1).err)
            self.tessaly("settings", "shop.tsl", "smtp.password=" + PASSWORD)
            self.tessaly(*send, "1")
            mails = self.mails(number)
            self.assertEqual([mail.subject for mail in mails], ["表ソ" * 200] * number)
            self.assertIn(f"sasl_method={method.upper()}", self.server.log())
        for mail in mails:
            self.assertEqual(mail.body.replace("\n", ""), "..." + "長い行" * 400 + "表ソ" * 200)
            self.assertTrue(mail.body.startswith(".\n..\n長い行"))
        refused = self.tessaly(*send, "0", code=1)
        self.assertRegex(refused.err, r"拒否 0 <gone@example.jp>: .*\[554 5.7.1 <gone@example.jp>: .*no such customer\]\n")
        self.tessaly("settings", "shop.tsl", "smtp.auth=none")
        self.assertIn("Access denied", self.tessaly(*send, "1", code=1).err)


if __name__ == "__main__":
    missing = [name for name in ("postfix", "saslpasswd2") if not shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin")]
    if missing or os.geteuid() != 0:
        print("Skipped: this test needs root and the packages postfix, sasl2-bin and libsasl2-modules; missing:", *missing)
        sys.exit(SKIPPED)
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    unittest.main()
