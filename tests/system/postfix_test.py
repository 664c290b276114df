"""Mailings through a real Postfix on the loopback address, read back from its maildir and its log; a second Postfix
plays the remote that refuses mail.

Each runs from a scratch folder, with its own configuration, queue and passwords; nothing of the machine's own mail
system is touched. Its processes are ended by the id of their group, whatever happens."""

import base64
import csv
import ctypes
import email
import email.policy
import io
import json
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

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from certificates import Authority  # noqa: E402
from cli import PATIENCE, SAMPLE, CommandTest, Mail, wait_for  # noqa: E402
import dovecot_test  # noqa: E402

SKIPPED = 77
SYSTEM_PYTHON = "/usr/bin/python3"
GMIME = subprocess.run([SYSTEM_PYTHON, "-c", "import gi; gi.require_version('GMime', '3.0')"], capture_output=True).returncode == 0
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
mydestination =
alias_maps =
mynetworks =
virtual_mailbox_base = {folder}
virtual_uid_maps = static:{uid}
virtual_gid_maps = static:{gid}
virtual_minimum_uid = 1
transport_maps = regexp:{folder}/config/transport
"""
# The sender's server: takes anything from him for anybody.
OWN = """
myhostname = mail.example.jp
smtpd_sasl_auth_enable = yes
smtpd_sasl_local_domain = example.jp
smtpd_recipient_restrictions = check_recipient_access regexp:{folder}/config/access, permit_sasl_authenticated, reject
virtual_mailbox_domains = static:all
virtual_mailbox_maps = regexp:{folder}/config/plain, texthash:{folder}/config/returns
recipient_delimiter = +
"""
# Somebody else's: takes from anybody what is for one of its users, and nothing for one of its domains.
REMOTE = """
myhostname = mx.example.com
smtpd_recipient_restrictions = check_recipient_access regexp:{folder}/config/access, reject_unauth_destination
virtual_mailbox_domains = example.com, closed.example.com
virtual_mailbox_maps = regexp:{folder}/config/users
"""
REFUSED = {OWN: "/^gone/ REJECT no such customer\n", REMOTE: "/@closed\\.example\\.com$/ 550 5.7.1 closed domain\n"}
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
smtp unix - - n - - smtp
retry unix - - n - - error
error unix - - n - - error
postlog unix-dgram n - n - 1 postlogd
"""
# A port with TLS from the first byte beside the plain one, which offers it.
TLS_MAIN = """
smtpd_tls_security_level = may
smtpd_tls_auth_only = yes
smtpd_tls_loglevel = 1
smtpd_tls_cert_file = {certificate}
smtpd_tls_key_file = {key}
"""
TLS_MASTER = """
127.0.0.1:{tls_port} inet n - n - - smtpd -o smtpd_tls_wrappermode=yes
tlsmgr unix - - n 1000? 1 tlsmgr
"""
SASL = """
pwcheck_method: auxprop
auxprop_plugin: sasldb
sasldb_path: {folder}/sasldb2
mech_list: CRAM-MD5 LOGIN PLAIN
"""


def adopt_orphans():
    """Makes the processes that Postfix leaves to themselves children of this one, which can wait for them then."""
    set_child_subreaper = 36  # PR_SET_CHILD_SUBREAPER of prctl(2)
    ctypes.CDLL(None).prctl(set_child_subreaper, 1, 0, 0, 0)


class Postfix:
    def __init__(self, test, name, role, identity=()):
        """`identity`: the files of a certificate and its key."""
        self.folder = folder = test.folder / name
        owner = pwd.getpwnam("postfix")
        for part in ("", "config", "config/sasl", "queue", "data", "mails"):
            (folder / part).mkdir()
        for part in ("data", "mails"):
            os.chown(folder / part, owner.pw_uid, owner.pw_gid)
        with socket.create_server(("127.0.0.1", 0)) as free, socket.create_server(("127.0.0.1", 0)) as other:
            self.port, self.tls_port = free.getsockname()[1], other.getsockname()[1]
        values = {"folder": folder, "port": self.port, "uid": owner.pw_uid, "gid": owner.pw_gid, "tls_port": self.tls_port}
        main, master = MAIN + role, MASTER
        if identity:
            values |= {"certificate": identity[0], "key": identity[1]}
            main, master = main + TLS_MAIN, master + TLS_MASTER
        (folder / "config/access").write_text(REFUSED[role])
        (folder / "config/users").write_text("/^here/ mails/\n")
        (folder / "config/plain").write_text("/^[^+]*$/ mails/\n")
        (folder / "config/returns").write_text("bounce@shop.example.jp mails/\n")
        (folder / "config/transport").touch()
        for file, text in (("main.cf", main), ("master.cf", master), ("sasl/smtpd.conf", SASL)):
            (folder / "config" / file).write_text(text.format(**values))
        passwords = folder / "sasldb2"
        self.run("saslpasswd2", "-p", "-c", "-f", passwords, "-u", "example.jp", USER, stdin=PASSWORD)
        os.chown(passwords, owner.pw_uid, owner.pw_gid)
        test.addCleanup(self.stop)
        self.run("postfix", "-c", folder / "config", "start")

    def send_on(self, pattern, remote):
        """Mail for matching recipients goes on to another server; to be told before the first mail."""
        (self.folder / "config/transport").write_text(f"/{pattern}/ smtp:[127.0.0.1]:{remote.port}\n")

    def mails(self):
        new = self.folder / "mails/new"
        return [Mail(file.read_bytes()) for file in new.iterdir()] if new.exists() else []

    def run(self, *command, stdin=""):
        done = subprocess.run(command, input=stdin.encode(), timeout=PATIENCE, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise AssertionError(f"{command[0]}: {done.stdout.decode()}\n{self.log()}")

    def log(self):
        return (self.folder / "log").read_text() if (self.folder / "log").exists() else ""

    def stop(self):
        file = self.folder / "queue/pid/master.pid"
        if not file.exists():
            return
        master = int(file.read_text())  # the leader of a group, in which all its processes are
        os.kill(master, signal.SIGTERM)
        if not wait_for(lambda: self.has_ended(master)):
            os.killpg(master, signal.SIGKILL)
            wait_for(lambda: self.has_ended(master))

    @staticmethod
    def has_ended(group):
        try:
            while os.waitpid(-group, os.WNOHANG)[0]:
                pass
            return False
        except ChildProcessError:
            return True


class ThroughPostfix(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder.chmod(0o755)  # Postfix works as a user of its own
        self.server = Postfix(self, "postfix", OWN)
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "from.name=髙島﨑商店①", "from.address=shop@example.jp", "smtp.host=127.0.0.1",
                     f"smtp.port={self.server.port}", "smtp.auth=any", f"smtp.user={USER}", f"smtp.password={PASSWORD}")

    def mails(self, wanted):
        arrived = wait_for(lambda: len(list((self.server.folder / "mails").glob("new/*"))) >= wanted)
        self.assertTrue(arrived, self.server.log()[-5000:])
        return self.server.mails()

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

    def test_a_stored_mail_from_target_to_retry(self):
        """2,000 recipients on two terminals, one in twenty refused: what the history says is what Postfix did."""
        customers = {}
        for number in range(2000):
            domain = "docomo.ne.jp" if number % 3 == 0 else "example.jp"
            customers[f"{'gone' if number % 20 == 7 else 'n'}{number}@{domain}"] = f"表{number}ソ"
        gone = {address for address in customers if address.startswith("gone")}
        self.put("list.csv", "メールアドレス,名前(姓)\n" + "".join(f"{a},{name}\n" for a, name in customers.items()))
        attached = bytes(range(256)) * 40
        self.put("ご案内 ソ.pdf", attached)
        self.put("pc.txt", "Subject: <%名前(姓)%>様\n\nPCの<%名前(姓)%>様\n")
        self.put("nd.txt", "Subject: 携帯\n\n携帯の<%名前(姓)%>様\n")
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "pc.txt", "--attach", "ご案内 ソ.pdf", "--force")
        self.tessaly("mail", "edit", "shop.tsl", 0, "--terminal", "nd", "--draft", "nd.txt")
        self.tessaly("target", "shop.tsl", 0, "--where", "メールアドレス=@example.jp", "--or", "メールアドレス=@docomo")

        first = self.tessaly("send", "shop.tsl", 0, "--report", "report.csv", code=1)
        self.assertRegex(first.out, "^送信 1,900通、送れず 100通 ")
        outcomes = {address: ("エラー", "1", "1") if address in gone else ("完了", "1", "0") for address in customers}
        self.assertEqual(self.history(), outcomes)
        self.tessaly("send", "shop.tsl", 0, "--retry")  # nobody: they are refused for good
        self.assertEqual(self.history(), outcomes)
        totals = json.loads(self.tessaly("report", "shop.tsl", "--format", "json").out)[0]
        self.assertEqual([totals[name] for name in ("状態", "宛先", "送信", "その他エラー", "待ち", "送信回数")],
                         ["エラーあり", "2000", "1900", "100", "0", "2000"])

        log, ids = self.server.log(), self.message_ids()
        self.assertEqual(sorted(re.findall(r"reject: RCPT .* to=<(\S+)> proto", log)), sorted(gone))
        self.assertEqual(set(re.findall(r"message-id=<(\S+)>", log)), {ids[address] for address in customers.keys() - gone})
        mails = {mail.message["X-Original-To"]: mail for mail in self.mails(1900)}
        self.assertEqual(mails.keys(), customers.keys() - gone)
        for address, mail in mails.items():
            mobile = address.endswith("docomo.ne.jp")
            self.assertEqual(mail.subject, "携帯" if mobile else customers[address] + "様")
            self.assertEqual(mail.body, f"{'携帯' if mobile else 'PC'}の{customers[address]}様\n")
            self.assertEqual(mail.files, [("ご案内 ソ.pdf", attached)])
            self.assertEqual((mail.id, mail.message.defects), (ids[address], []))

    def test_html_mails_of_every_shape(self):
        """With and without a page, pictures and files: what two foreign decoders read is what was written."""
        self.put("list.csv", "メールアドレス,名前(姓)\na@example.jp,表示<b>\nb@example.jp,ソ&能\n")
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        picture, attached = b"GIF89a" + bytes(range(256)) * 40, bytes(range(255, -1, -1)) * 80
        self.put("絵.gif", picture)
        self.put("案内 ソ.bin", attached)
        long_line = "長い行" * 300
        self.put("draft.txt", f"Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%>様\n{long_line}\n")
        self.put("page.html", f"<html><body><p><%名前(姓)%>様</p>\n{long_line}</body></html>")
        self.put("picture.html", "<body><b><%名前(姓)%>様</b><img src=\"絵.gif\"></body>")
        file, groups = ["--attach", "案内 ソ.bin"], {"page.html": ["alternative"], "picture.html": ["related", "alternative"]}
        shapes = [(page, attach) for page in (None, "page.html", "picture.html") for attach in ([], file)]
        for number, (page, attach) in enumerate(shapes):
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt", *(["--html", page] if page else []), *attach)
            self.tessaly("target", "shop.tsl", number, "--all")
            self.tessaly("send", "shop.tsl", number)
        wanted = []
        for page, attach in shapes:
            for name, escaped in (("表示<b>", "表示&lt;b&gt;"), ("ソ&能", "ソ&amp;能")):
                parts = [["text/plain", None, f"{name}様\n{long_line}"]]
                if page:
                    html = (f"<html><body><p>{escaped}様</p>\n{long_line}</body></html>" if page == "page.html" else
                            f"<body><b>{escaped}様</b><img src=\"cid:\"></body>")
                    parts = [[f"multipart/{group}", None, None] for group in groups[page]] + parts + [["text/html", None, html]]
                if page == "picture.html":
                    parts.append(["image/gif", "絵.gif", picture])
                if attach:
                    parts = [["multipart/mixed", None, None], *parts, ["application/octet-stream", "案内 ソ.bin", attached]]
                wanted.append([f"{name}様へ", *parts])
        self.mails(len(wanted))
        files = sorted((self.server.folder / "mails").glob("new/*"))
        wanted.sort(key=str)
        self.assertEqual(sorted(map(self.read_by_python, files), key=str), wanted)
        if not GMIME:
            print("Not read by GMime too: that needs the packages python3-gi and gir1.2-gmime-3.0.")
            return
        reader = pathlib.Path(__file__).with_name("gmime_reader.py")
        read = subprocess.run([SYSTEM_PYTHON, reader, *files], capture_output=True, check=True).stdout
        self.assertEqual(sorted(([subject, *(self.part(*part) for part in parts)] for subject, *parts in json.loads(read)), key=str),
                         wanted)

    @staticmethod
    def part(kind, name, content):
        """Texts by their words: line ends, and the addresses of pictures, are of each mail's own. Long lines of the text
        were broken on their way."""
        if kind.startswith("text/"):
            content = re.sub("cid:[0-9a-f]{32}@tessaly", "cid:", content.replace("\r\n", "\n").rstrip("\n"))
            if kind == "text/plain":
                first, rest = content.split("\n", 1)
                content = first + "\n" + rest.replace("\n", "")
        elif isinstance(content, str):
            content = base64.b64decode(content)
        return [kind, name, content]

    def read_by_python(self, file):
        message = email.message_from_bytes(file.read_bytes(), policy=email.policy.default)
        self.assertFalse(any(part.defects for part in message.walk()))
        return [message["Subject"], *(self.part(part.get_content_type(), part.get_filename(),
                                                None if part.is_multipart() else part.get_content()) for part in message.walk())]

    def test_bounces_find_their_customer(self):
        """What another server refuses comes back to the sender, and from his mailbox to the history."""
        refused = {"dead@example.com": "User unknown", "here@closed.example.com": "closed domain"}
        addresses = [*refused, "here@example.com", "n@example.jp"]
        self.put("list.csv", "メールアドレス,名前(姓)\n" + "".join(f"{address},表\n" for address in addresses))
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        remote = Postfix(self, "remote", REMOTE)
        self.server.send_on(r"example\.com$", remote)
        for mail in (0, 1):
            self.tessaly("settings", "shop.tsl", "return.address=" + ("", "bounce+*@shop.example.jp")[mail])
            self.put("draft.txt", "Subject: ご案内\n\n本文\n")
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
            self.tessaly("target", "shop.tsl", mail, "--all")
            self.tessaly("send", "shop.tsl", mail)
        arrived = self.mails(2 * 3)  # each mail has two bounces, and one customer at the sender's own server
        self.assertTrue(wait_for(lambda: len(remote.mails()) == 2), remote.log()[-5000:])
        self.assertEqual({mail.message["X-Original-To"] for mail in remote.mails()}, {"here@example.com"})
        bounces = [mail for mail in arrived if "MAILER-DAEMON" in mail.sender]
        told_to = sorted(mail.message["X-Original-To"] for mail in bounces)
        self.assertEqual(told_to[2:], ["shop@example.jp"] * 2)
        for customer, address in enumerate(told_to[:2]):
            self.assertRegex(address, rf"^bounce\+m1-c{customer}-[a-z2-7]{{16}}@shop\.example\.jp$")
        for mail in bounces:
            if mail.message["X-Original-To"].startswith("bounce+"):
                del mail.message.get_payload()[2:]  # nothing of the mail comes back
        told = self.receive(bounces)
        self.assertIn("エラー 4通、遅延 0通", told.out)
        self.assertNotIn("宛先のアドレスからの判断", told.err)
        for mail in (0, 1):
            for address, reason in refused.items():
                self.assertRegex(told.err, f"エラー.* メール{mail} 顧客{addresses.index(address)} <.*エラーにしました: .*{reason}")
            self.assertEqual(self.history(mail), {address: ("エラー", "1", "1") if address in refused else ("完了", "1", "0")
                                                  for address in addresses})

    def receive(self, mails):
        """From a mailbox on Dovecot if that is here, else from a folder."""
        contents = [mail.message.as_bytes() for mail in mails]
        if not shutil.which("dovecot"):
            (self.folder / "back").mkdir()
            for number, content in enumerate(contents):
                self.put(f"back/{number}", content)
            return self.tessaly("receive", "shop.tsl", "--from-dir", "back")
        (self.folder / "dovecot").mkdir()
        mailbox = dovecot_test.Dovecot(self.folder / "dovecot")
        for number, content in enumerate(contents):
            mailbox.deliver(number, content)
        self.addCleanup(mailbox.stop)
        self.assertTrue(mailbox.start())
        self.tessaly("settings", "shop.tsl", f"pop.user={dovecot_test.USER}", f"pop.password={dovecot_test.PASSWORD}")
        return self.tessaly("receive", "shop.tsl", "--pop", f"127.0.0.1:{mailbox.port}")

    def recipients(self, mail=0):
        return json.loads(self.tessaly("report", "shop.tsl", mail, "--format", "json").out)

    def history(self, mail=0):
        return {row["メールアドレス"]: (row["状態"], row["送信回数"], row["エラー"]) for row in self.recipients(mail)}

    def message_ids(self):
        return {row["メールアドレス"]: row["Message-ID"] for row in self.recipients()}

    def test_each_method_and_what_a_real_server_refuses(self):
        self.put("list.csv", "メールアドレス,名前(姓)\ngone@example.jp,去\nhere@example.jp," + "表ソ" * 200 + "\n")
        self.tessaly("customers", "import", "shop.tsl", "list.csv")
        self.put("draft.txt", "Subject: <%名前(姓)%>\n\n.\n..\n" + "長い行" * 400 + "\n<%名前(姓)%>\n")
        send = ["send", "shop.tsl", "--draft", "draft.txt", "--to"]
        for number, method in enumerate(("cram-md5", "login", "plain"), 1):
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
        self.assertRegex(refused.err, r"拒否 0 <gone@example.jp>: .*\[554 5.7.1 <gone@example.jp>: .*no such customer\]")
        self.tessaly("settings", "shop.tsl", "smtp.auth=none")
        self.assertIn("Access denied", self.tessaly(*send, "1", code=1).err)


class OverTls(CommandTest):
    def test_whole_mailings_both_ways(self):
        self.folder.chmod(0o755)
        (self.folder / "ca").mkdir(mode=0o755)
        authority = Authority(self.folder / "ca")
        server = Postfix(self, "postfix", OWN, authority.signs("mail"))
        self.new_shop(*(f"{'gone' if i == 7 else 'n'}{i}@example.jp,表{i},,Y" for i in range(200)))
        self.put("draft.txt", "Subject: <%名前(姓)%>様\n\n.\n<%名前(姓)%>様\n")
        self.settings("smtp.host=localhost", "smtp.auth=any", f"smtp.user={USER}", f"smtp.password={PASSWORD}",
                      "smtp.ca-file=ca/ca.pem", "smtp.mails-per-connection=20")
        mail_number = 0
        for security, port in (("tls", server.tls_port), ("starttls", server.port)):
            self.settings("smtp.security=" + security, f"smtp.port={port}")
            checked = self.tessaly("check", "shop.tsl").out
            self.assertIn("暗号化: TLSv1.3", checked)
            self.assertIn("証明書: CN = mail\n  サーバーの名前: localhost\n  発行者: CN = Scratch CA\n", checked)
            self.assertIn("接続し、認証できました。", checked)
            self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt")
            self.tessaly("target", "shop.tsl", mail_number, "--all")
            sent = self.tessaly("send", "shop.tsl", mail_number, code=1)
            self.assertRegex(sent.out, "^送信 199通、送れず 1通 ")
            self.assertIn("554 5.7.1 <gone7@example.jp>", sent.err)
            mail_number += 1
            self.assertTrue(wait_for(lambda: len(server.mails()) == 199 * mail_number), server.log()[-3000:])
            for mail in server.mails():
                number = re.search(r"n(\d+)@", mail.message["X-Original-To"])[1]
                self.assertEqual((mail.subject, mail.body), (f"表{number}様", f".\n表{number}様\n\n"))
                self.assertEqual(mail.message.defects, [])
        log = server.log()
        self.assertEqual(len(re.findall("sasl_method=CRAM-MD5", log)), 2 * 199)
        self.assertLess(len(re.findall("TLS connection established", log)), 2 * 40)
        self.settings("smtp.security=starttls", "smtp.ca-file=")
        refused = self.tessaly("send", "shop.tsl", "--draft", "draft.txt", "--to", "1", code=1)
        self.assertIn("サーバ証明書の検証に失敗しました。", refused.err)
        self.assertEqual(len(server.mails()), 2 * 199)

    def settings(self, *values):
        self.tessaly("settings", "shop.tsl", *values)


if __name__ == "__main__":
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    if os.geteuid() != 0 or not shutil.which("postfix") or not shutil.which("saslpasswd2"):
        print("Skipped: this test needs root and the packages postfix, sasl2-bin and libsasl2-modules.")
        sys.exit(SKIPPED)
    adopt_orphans()
    unittest.main()
