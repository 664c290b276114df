"""A mailbox of 2,000 mails on a real Dovecot on the loopback address, fetched once and only once.

Dovecot runs from a scratch folder with its own configuration; its master is ended by its id, whatever happens."""

import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from certificates import Authority  # noqa: E402
from cli import PATIENCE, CommandTest, wait_for  # noqa: E402

SKIPPED = 77
USER, PASSWORD = "shop", "pass word"
CONFIGURATION = """
base_dir = {folder}/run
state_dir = {folder}/run
log_path = {folder}/log
protocols = pop3
listen = 127.0.0.1
{tls}
disable_plaintext_auth = no
auth_mechanisms = plain apop
first_valid_uid = 1
mail_location = maildir:{folder}/mail
passdb {{
  driver = passwd-file
  args = scheme=PLAIN {folder}/users
}}
userdb {{
  driver = static
  args = uid={uid} gid={gid} home={folder}
}}
service pop3-login {{
  inet_listener pop3 {{
    port = {port}
  }}
  inet_listener pop3s {{
    port = {tls_port}
  }}
}}
"""


class Dovecot:
    def __init__(self, folder, identity=()):
        """`identity`: the files of a certificate and its key, for TLS on both ports."""
        self.folder = folder
        owner = pwd.getpwnam("mail")
        for name in ("run", "mail", "mail/new", "mail/cur", "mail/tmp"):
            (folder / name).mkdir()
        with socket.create_server(("127.0.0.1", 0)) as free, socket.create_server(("127.0.0.1", 0)) as other:
            self.port, self.tls_port = free.getsockname()[1], other.getsockname()[1] if identity else 0
        tls = "ssl = required\nssl_cert = <{}\nssl_key = <{}".format(*identity) if identity else "ssl = no"
        (folder / "users").write_text(f"{USER}:{PASSWORD}\n")
        (folder / "conf").write_text(CONFIGURATION.format(folder=folder, port=self.port, tls_port=self.tls_port, tls=tls,
                                                           uid=owner.pw_uid, gid=owner.pw_gid))
        self.owner = owner

    def deliver(self, number, content):
        file = self.folder / "mail/new" / f"17000{number:05}.M{number}P1.host"
        file.write_bytes(content)

    def start(self):
        for path in (self.folder / "mail", *(self.folder / "mail").rglob("*")):
            os.chown(path, self.owner.pw_uid, self.owner.pw_gid)
        self.process = subprocess.Popen(["dovecot", "-F", "-c", self.folder / "conf"], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        return wait_for(self.answers)

    def answers(self):
        try:
            with socket.create_connection(("127.0.0.1", self.port), 1):
                return True
        except OSError:
            return False

    def left(self):
        return sum(len(list((self.folder / "mail" / name).iterdir())) for name in ("new", "cur"))

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


class FromDovecot(CommandTest):
    def test_each_mail_once(self):
        self.folder.chmod(0o755)  # Dovecot works as users of its own
        (self.folder / "dovecot").mkdir()
        server = Dovecot(self.folder / "dovecot")
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(2000)))
        for i in range(1000):
            server.deliver(i, f"From: n{i}@example.jp\nSubject: unsubscribe\nMessage-ID: <{i}@x>\n\n<REFUSE>\n..dots\n.\n".encode())
        self.assertTrue(server.start())
        self.addCleanup(server.stop)
        self.tessaly("settings", "shop.tsl", "pop.host=127.0.0.1", f"pop.port={server.port}", f"pop.user={USER}", "pop.password=no")
        self.refused("receive", "shop.tsl", says="受信サーバーにログインできません")
        self.tessaly("settings", "shop.tsl", f"pop.password={PASSWORD}")
        self.assertIn("配信停止 1,000通", self.tessaly("receive", "shop.tsl").out)
        for i in range(1000, 2000):
            server.deliver(i, f"From: n{i}@example.jp\nSubject: unsubscribe\n\n<REFUSE>\n".encode())
        for file in (server.folder / "mail/new").iterdir():
            os.chown(file, server.owner.pw_uid, server.owner.pw_gid)
        self.tessaly("settings", "shop.tsl", "pop.auth=apop")
        self.assertIn("配信停止 1,000通", self.tessaly("receive", "shop.tsl").out)
        self.assertEqual(server.left(), 2000)
        self.assertIn("配信停止 0通", self.tessaly("receive", "shop.tsl", "--delete").out)
        self.assertTrue(wait_for(lambda: server.left() == 0))
        told = (self.folder / "shop/INBOX/actions.tsv").read_text().splitlines()
        self.assertEqual(sorted(int(line.split("\t")[3]) for line in told), list(range(2000)))
        listed = self.tessaly("customers", "list", "shop.tsl", "--columns", "DM送付可否", "--format", "csv").out.split()
        self.assertEqual(listed[1:], ["N"] * 2000)


    def test_each_mail_once_over_tls(self):
        self.folder.chmod(0o755)
        for name in ("dovecot", "ca"):
            (self.folder / name).mkdir(mode=0o755)
        server = Dovecot(self.folder / "dovecot", Authority(self.folder / "ca").signs("mail"))
        self.new_shop(*(f"n{i}@example.jp,表{i},,Y" for i in range(300)))
        for i in range(300):
            server.deliver(i, f"From: n{i}@example.jp\nSubject: unsubscribe\n\n<REFUSE>\n..dots\n.\n".encode())
        self.assertTrue(server.start())
        self.addCleanup(server.stop)
        settings = lambda *values: self.tessaly("settings", "shop.tsl", *values)  # noqa: E731
        settings("pop.host=localhost", f"pop.port={server.tls_port}", "pop.security=tls", "pop.ca-file=ca/ca.pem",
                 f"pop.user={USER}", "pop.password=no")
        self.refused("receive", "shop.tsl", says="受信サーバーにログインできません。\n受信サーバへのログインに失敗しました。")
        settings(f"pop.password={PASSWORD}")
        checked = self.tessaly("check", "shop.tsl").out
        self.assertIn("ログインできました。メールは 300通あります。", checked)
        self.assertIn("証明書: CN = mail\n", checked)
        self.assertIn("配信停止 300通", self.tessaly("receive", "shop.tsl").out)
        settings("pop.security=starttls", f"pop.port={server.port}", "pop.auth=apop")
        self.assertIn("配信停止 0通", self.tessaly("receive", "shop.tsl", "--delete").out)
        self.assertTrue(wait_for(lambda: server.left() == 0))
        settings("pop.ca-file=")
        self.refused("receive", "shop.tsl", says="サーバ証明書の検証に失敗しました。")


if __name__ == "__main__":
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    if os.geteuid() != 0 or not shutil.which("dovecot"):
        print("Skipped: this test needs root and the package dovecot-pop3d.")
        sys.exit(SKIPPED)
    unittest.main()
