"""What the torture programs share: a scratch shop whose commands are run with or without faults, and a shop that has
something of everything."""

import contextlib
import email.message
import email.policy
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import zlib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from cli import ENVIRONMENT, PATIENCE, TESSALY, Result  # noqa: E402
from smtp_server import SmtpServer  # noqa: E402

UNKNOWN = "不明"
PART = int(os.environ.get("TORTURE_PART", 1))  # tests with sanitizers, which are slow, try one of so many points
CUSTOMERS = 24
SHOWN = [("customers", "list", "--all"), ("customers", "list", "--deleted"), ("testers", "list"), ("mail", "list"),
         ("mail", "list", "--deleted"), ("group", "list"), ("inbox", "list"), ("refusals", "list"), ("suppressed", "list"), ("report",), ("report", "1")]


class Fault(Exception):
    """Something that must not happen, and how to see it again."""


class Shop:
    """A folder with an environment shop.tsl, gone with the `with` block."""

    def __init__(self, folder=None):
        self.cleanup = contextlib.ExitStack()
        if folder is None:
            folder = self.cleanup.enter_context(tempfile.TemporaryDirectory(prefix="tessaly-torture-"))
        self.folder = pathlib.Path(folder).resolve()
        self.folder.mkdir(exist_ok=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cleanup.close()

    def addCleanup(self, function, *arguments):  # as a test has it, for what tests start
        self.cleanup.callback(function, *arguments)

    def put(self, name, content):
        (self.folder / name).parent.mkdir(exist_ok=True)
        (self.folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())

    def start(self, *arguments, variables=None):
        return subprocess.Popen([TESSALY, *map(str, arguments)], cwd=self.folder, env={**ENVIRONMENT, **(variables or {})},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run(self, *arguments, variables=None, patience=PATIENCE):
        process = self.start(*arguments, variables=variables)
        return finish(process, patience)

    def must(self, *arguments, codes=(0,), **options):
        result = self.run(*arguments, **options)
        if result.code not in codes:
            raise Fault(f"{' '.join(map(str, arguments))}: exit code {result.code}\n{result.out}{result.err}")
        return result

    def has(self, *command):
        """Whether the application knows a command."""
        return "使い方: " + " ".join(("tessaly", *command)) in self.run(*command, "--help").out

    def rows(self, *command):
        """What a listing shows but times; the environment stands behind the command's words."""
        words = 1 if command[0] == "report" else 2
        listed = json.loads(self.must(*command[:words], "shop.tsl", *command[words:], "--format", "json").out)
        return [{title: cell for title, cell in row.items() if not title.endswith("日時")} for row in listed]

    def view(self):
        """What the user sees of everything, but the numbers of customers, of which one may have been drawn in vain."""
        rows = {" ".join(command): self.rows(*command) for command in SHOWN}
        return {name: [{title: cell for title, cell in row.items() if title != "個人情報ID"} for row in of_one]
                for name, of_one in rows.items()}


def finish(process, patience=PATIENCE):
    with process:
        try:
            return Result(process, *process.communicate(timeout=patience))
        except subprocess.TimeoutExpired:
            process.kill()
            raise


def customer_list(first, count, name="表"):
    return "メールアドレス,名前(姓),DM送付可否\n" + "".join(f"n{i}@example.jp,{name}{i},Y\n" for i in range(first, first + count))


def answer(sender, text):
    mail = email.message.EmailMessage(policy=email.policy.SMTP)
    mail["From"], mail["To"], mail["Subject"], mail["Message-ID"] = sender, "shop@example.jp", "Re", f"<{sender}{zlib.crc32(text.encode())}@x>"
    mail.set_content(text, charset="iso-2022-jp", cte="7bit")
    return mail.as_bytes()


def bounce(original_id):
    return ("From: MAILER-DAEMON@mx.example.com\r\nTo: shop@example.jp\r\nSubject: report\r\nMessage-ID: <b@x>\r\n"
            "MIME-Version: 1.0\r\nContent-Type: multipart/report; report-type=delivery-status; boundary=\"b\"\r\n\r\n"
            "--b\r\n\r\nSorry.\r\n--b\r\nContent-Type: message/delivery-status\r\n\r\nReporting-MTA: dns; x\r\n\r\n"
            "Action: failed\r\nStatus: 5.1.1\r\nDiagnostic-Code: smtp; 550 no such user\r\n"
            f"--b\r\nContent-Type: message/rfc822\r\n\r\nMessage-ID: <{original_id}>\r\n\r\ny\r\n--b--\r\n").encode()


def furnish(shop, customers=CUSTOMERS):
    """Customers, testers, a group, mail 0 to send with texts, attachment and recipients, 1 sent with refusals, 2 deleted,
    3 a page; received mail; and the files that the commands of commands.py take."""
    shop.put("draft.txt", "Subject: <%名前(姓)%>様へ\n\n<%名前(姓)%> 様\n")
    shop.put("other.txt", "Subject: ほかの題\n\nほかの文\n")
    shop.put("page.html", "<html><body><p>春</p></body></html>")
    shop.put("leaflet.txt", "案内\n" * 3000)
    shop.put("list.csv", customer_list(0, customers))
    shop.put("more.csv", customer_list(customers // 2, customers, "森"))
    shop.put("book.csv", "n1@example.jp,,,新,,,,,,,\r\nbook@example.jp,,,本,,,,,,,\r\n".encode("cp932"))
    shop.must("env", "new", "shop.tsl")
    shop.must("settings", "shop.tsl", "from.name=みどり野の店", "from.address=shop@example.jp", "smtp.timeout=5",
              "receive.register=tagged", "retry.max=9")
    shop.must("customers", "import", "shop.tsl", "list.csv")
    shop.must("testers", "add", "shop.tsl", "メールアドレス=t@example.jp", "名前(姓)=試")
    shop.must("testers", "add", "shop.tsl", "メールアドレス=u@example.jp", "名前(姓)=験")
    shop.must("mail", "new", "shop.tsl", "--draft", "draft.txt", "--attach", "leaflet.txt", "--honorific", "様")
    shop.must("mail", "edit", "shop.tsl", 0, "--terminal", "nd", "--draft", "other.txt")
    shop.must("mail", "new", "shop.tsl", "--draft", "draft.txt")
    shop.must("mail", "new", "shop.tsl", "--draft", "other.txt")
    shop.must("backup", "shop.tsl", "old.dat")
    shop.must("backup", "shop.tsl", "customers.dat", "--customers")
    shop.must("mail", "new", "shop.tsl", "--draft", "other.txt", "--html", "page.html")
    shop.must("mail", "export", "shop.tsl", 0, "in.eml")
    shop.must("target", "shop.tsl", 0, "--all")
    shop.must("target", "shop.tsl", 1, "--where", "名前(姓)=" + ",".join(f"表{i}" for i in range(0, customers, 2)))
    shop.must("group", "save", "shop.tsl", 0, "全員")
    shop.must("group", "save", "shop.tsl", 1, "偶数")
    shop.must("group", "delete", "shop.tsl", "偶数")
    server = SmtpServer(shop, {"RCPT": lambda command: "450 later" if "n4@" in command else "550 no" if "n6@" in command else "",
                               ".": lambda mail: None if "n12@" in mail else ""})
    shop.must("send", "shop.tsl", 1, "--smtp", server.address, codes=(1,))
    shop.must("mail", "delete", "shop.tsl", 2)
    shop.must("customers", "delete", "shop.tsl", 3)
    ids = {row["メールアドレス"]: row["Message-ID"] for row in shop.rows("report", "1")}
    shop.put("kept/1.eml", answer("n8@example.jp", "お店は何時までですか。\n"))
    shop.must("receive", "shop.tsl", "--from-dir", "kept")
    for number, mail in enumerate((answer("n8@example.jp", "<REFUSE>\n"), bounce(ids["n10@example.jp"]),
                                   answer("n1@example.jp", "質問\n"),
                                   answer("new@example.jp", "<REGISTER>\n<EMAIL>new@example.jp</EMAIL><NAME_SEI>新</NAME_SEI>\n"))):
        shop.put(f"answers/{number}.eml", mail)
    return ids
