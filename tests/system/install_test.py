"""The installed package as another program's author meets it: its headers, and the programs of examples/ built against it."""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests" / "cli"))
from cli import ENVIRONMENT  # noqa: E402
from smtp_server import SmtpServer  # noqa: E402

BUILD = pathlib.Path(os.environ["TESSALY"]).resolve().parent
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror"]
PATIENCE = 300  # seconds for a build on a busy machine


def cached(name):
    """A value of the build's cache, None where it is not there."""
    found = re.search(rf"^{name}:\w+=(.*)$", (BUILD / "CMakeCache.txt").read_text(), re.M)
    return found and found[1]


def run(*command, **options):
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            timeout=PATIENCE, env=ENVIRONMENT, **options)
    return result.returncode, result.stdout


def must(*command, **options):
    code, output = run(*command, **options)
    if code:
        raise AssertionError(f"{command}: {code}\n{output}")
    return output


def foreign_includes(include):
    """What headers below a folder include beside C++'s own headers and one another."""
    headers = {str(file.relative_to(include)) for file in include.rglob("*.h")}
    return [f"{file.relative_to(include)}: {mark}{name}" for file in sorted(include.rglob("*")) if file.is_file()
            for mark, name in re.findall(r'^\s*#\s*include\s+([<"])([^>"]*)', file.read_text(), re.M)
            if (name not in headers if mark == '"' else not re.fullmatch(r"[a-z_]+", name))]


def without_comments(text):
    return re.sub(r"//[^\n]*", "", text)


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.folder = pathlib.Path(scratch.name)
        cls.prefix = cls.folder / "prefix"
        must("cmake", "--install", BUILD, "--prefix", cls.prefix)
        cls.compiler = cached("CMAKE_CXX_COMPILER")
        cls.sanitized = cached("TESSALY_SANITIZE") == "ON"

    def compiles(self, header):
        return run(self.compiler, "-std=c++20", "-fsyntax-only", *STRICT, "-I", self.prefix / "include", "-include", header,
                   "-x", "c++", "/dev/null")

    def test_headers(self):
        include = self.prefix / "include"
        headers = sorted(str(file.relative_to(include)) for file in include.rglob("*") if file.is_file())
        self.assertEqual(headers, sorted(str(file.relative_to(ROOT / "include")) for file in (ROOT / "include").rglob("*.h")))
        self.assertEqual(foreign_includes(include), [])
        # A literal would have other bytes here than in the library.
        self.assertEqual([name for name in headers if not without_comments((include / name).read_text()).isascii()], [])
        if self.sanitized:
            return  # the same headers as without sanitizers
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            failed = [output for code, output in pool.map(self.compiles, headers) if code]
        self.assertEqual(failed, [])

    def test_what_the_header_checks_see(self):
        with tempfile.TemporaryDirectory() as scratch:
            include = pathlib.Path(scratch)
            (include / "a.h").write_text('#include <string>\n#include "b.h"\n#include "c.h"\n#include <openssl/ssl.h>\nX x;\n')
            (include / "b.h").write_text("std::string text;  // 文字\n")
            self.assertEqual(foreign_includes(include), ['a.h: "c.h', "a.h: <openssl/ssl.h"])
            self.assertTrue(without_comments((include / "b.h").read_text()).isascii())
            self.assertNotEqual(self.compiles(include / "b.h")[0], 0)

    def test_examples(self):
        flags = [*STRICT, *(["-fsanitize=address,undefined"] if self.sanitized else [])]
        must("cmake", "-S", ROOT / "examples", "-B", self.folder / "build", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
             f"-DCMAKE_CXX_COMPILER={self.compiler}", f"-DCMAKE_CXX_FLAGS={' '.join(flags)}")
        must("cmake", "--build", self.folder / "build")
        for source in (ROOT / "examples").glob("*.cpp"):
            own = re.findall(r'#include\s+(?:"|<[^>]*[/.])[^>"]*', source.read_text())
            self.assertTrue(own and all(name.startswith("#include <tessaly/") for name in own), own)
        with self.subTest("customers_and_merge"):
            first, again = (must(self.folder / "build/customers_and_merge", self.folder / "shops") for _ in range(2))
            self.assertEqual(first, "0 hanako@example.jp\n緑野様へ 秋のご案内\n緑野 花子 様\n"
                                    "東京都のみなさまに、秋の新作をお届けします。\n\n"
                                    "1 taro@example.jp\n能登様へ 秋のご案内\n能登 太郎 様\n"
                                    "石川県のみなさまに、秋の新作をお届けします。\n\n")
            self.assertEqual(again, first)
        with self.subTest("send_one_mail"):
            self.mail_is_sent()

    def mail_is_sent(self):
        server = SmtpServer(self, {"RCPT": lambda command: "550 5.1.1 no such user" if "gone@" in command else ""})

        def send(recipient):
            return run(self.folder / "build/send_one_mail", *server.address.split(":"), "shop@example.jp", recipient)

        self.assertEqual(send("taro@example.jp"), (0, "sent\n"))
        self.assertIn("Subject: =?ISO-2022-JP?B?".lower(), server.mails[0].decode("latin-1").lower())
        self.assertIn("秋の新作をお届けします。".encode("iso2022_jp"), server.mails[0])
        code, output = send("gone@example.jp")
        self.assertEqual((code, output.splitlines()[0]), (1, "not sent: RCPT TO, reply 550, status 5.1.1"))
        self.assertEqual(len(server.mails), 1)


if __name__ == "__main__":
    unittest.main()
