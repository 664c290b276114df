"""What the tests of commands share: a scratch folder, the application run in it, its post box, its mails read back."""

import base64
import email
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import time
import unittest

TESSALY = os.environ["TESSALY"]
SAMPLE = pathlib.Path(__file__).resolve().parents[2] / "cli" / "sample"
# Under every key a record of one field or of three (a byte may stand for a comma or for a quote), where a table has more.
DAMAGED_TABLE = b"gg\r\n"
PATIENCE = 60  # seconds for whatever is waited for
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "TZ": "Asia/Tokyo"}


# As at a terminal, also where the tests run in the background of a shell that ignores them.
signal.signal(signal.SIGINT, signal.default_int_handler)
signal.signal(signal.SIGHUP, signal.SIG_DFL)


def wait_for(condition):
    """The first true result of `condition`; None when there is none within the time limit."""
    limit = time.monotonic() + PATIENCE
    while time.monotonic() < limit:
        if result := condition():
            return result
        time.sleep(0.01)
    return None


class Result:
    def __init__(self, process, out, err):
        self.code, self.out, self.err = process.returncode, out.decode(), err.decode()
        if "Sanitizer" in self.err or "runtime error:" in self.err:
            raise AssertionError(self.err)


class Running:
    """The application as a background process, ended with its test."""

    def __init__(self, test, *arguments):
        self.process = subprocess.Popen([TESSALY, *arguments], cwd=test.folder, env=ENVIRONMENT,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        test.addCleanup(self.stop, signal.SIGKILL)

    def stop(self, by=signal.SIGINT):
        self.process.send_signal(by)
        return self.result()

    def result(self):
        if self.process.stdout.closed:
            return None
        with self.process as process:
            return Result(process, *process.communicate(timeout=PATIENCE))


class CommandTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="tessaly-app-")
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def put(self, name, content):
        (self.folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        return name

    def text(self, name):
        return (self.folder / name).read_bytes().decode("utf-8-sig")

    def tessaly(self, *arguments, code=0, stdin=b""):
        process = subprocess.Popen([TESSALY, *map(str, arguments)], cwd=self.folder, env=ENVIRONMENT,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with process:
            try:
                result = Result(process, *process.communicate(stdin, timeout=PATIENCE))
            except subprocess.TimeoutExpired:
                process.kill()
                raise
        self.assertEqual(result.code, code, f"{arguments}\n{result.out}\n{result.err}")
        return result

    def refused(self, *arguments, says, code=1):
        """Runs a command that must fail with this message and print no result."""
        result = self.tessaly(*arguments, code=code)
        self.assertIn(says, result.err)
        self.assertEqual(result.out, "")
        return result

    def in_the_way(self, name):
        """Occupies every name under which the application would write a new file beside this one."""
        blocks = [self.folder / f"{name}.tessaly-new{number}" for number in ("", *range(2, 10))]
        for block in blocks:
            block.mkdir()
        return blocks

    def limited(self, size, *command):
        """Runs the application where no file can grow beyond `size` bytes."""
        return subprocess.run(["sh", "-c", f'trap "" XFSZ; ulimit -f {size // 512}; exec "$0" "$@"', TESSALY, *command],
                              cwd=self.folder, env=ENVIRONMENT, capture_output=True, timeout=PATIENCE)

    def new_shop(self, *customers):
        """An environment with a sender and customers, each "address,surname,name,direct mail"."""
        self.tessaly("env", "new", "shop.tsl")
        self.tessaly("settings", "shop.tsl", "from.name=みどり野の店", "from.address=shop@example.jp")
        if customers:
            self.put("list.csv", "メールアドレス,名前(姓),名前(名),DM送付可否\n" + "\n".join(customers) + "\n")
            self.tessaly("customers", "import", "shop.tsl", "list.csv")

    def addresses(self, *options):
        """The live customers, by ID."""
        listed = self.tessaly("customers", "list", "shop.tsl", "--columns", "メールアドレス", "--format", "csv", *options)
        return listed.out.splitlines()[1:]

    def postbox(self, *options):
        """Starts the built-in post box; self.server is where it listens, self.box where its mails are."""
        self.box = self.folder / "box"
        running = Running(self, "postbox", "box", "--smtp", "0", "--port-file", "port", *options)
        port = wait_for(lambda: running.process.poll() is not None or
                        ((self.folder / "port").exists() and self.text("port").strip()))
        self.assertIsInstance(port, str, "the post box did not start")
        self.server = "127.0.0.1:" + port
        return running

    def mails(self):
        return [Mail(file.read_bytes()) for file in sorted(self.box.glob("*.eml"))]


def from_jis(jis):
    """ISO-2022-JP with NEC's rows, as Unicode. Python's own codec does not know those rows."""
    cp932 = bytearray()
    for escape, run in re.findall(rb"(\x1b\(B|\x1b\(J|\x1b\$B|\x1b\$@|^)([^\x1b]*)", jis):
        if not escape.startswith(b"\x1b$"):
            cp932 += run
            continue
        for row, cell in zip(run[::2], run[1::2]):
            cp932.append((row - 0x21) // 2 + (0x81 if row < 0x5F else 0xC1))
            cp932.append(cell + (0x7E if row % 2 == 0 else 0x20 if cell >= 0x60 else 0x1F))
    return cp932.decode("cp932")


def from_header(value):
    """A header value with encoded words, as a mail program reads it (RFC 2047 6.2)."""
    value = re.sub(r"\?=\s+=\?", "?==?", re.sub(r"\r?\n(?=[ \t])", "", value))
    return re.sub(r"=\?iso-2022-jp\?b\?([^?]*)\?=", lambda word: from_jis(base64.b64decode(word[1])), value, flags=re.I)


class Mail:
    """One delivered mail, read with Python's email package."""

    def __init__(self, content):
        self.message = email.message_from_bytes(content)
        self.subject = from_header(self.message["Subject"])
        self.sender, self.to = (from_header(self.message[name]) for name in ("From", "To"))
        self.recipient = self.message["Delivered-To"]
        self.id = self.message["Message-Id"].strip("<>")
        text, *files = [part for part in self.message.walk() if not part.is_multipart()]
        self.body = from_jis(text.get_payload(decode=True)).replace("\r\n", "\n")
        self.files = [(file.get_filename(), file.get_payload(decode=True)) for file in files]
