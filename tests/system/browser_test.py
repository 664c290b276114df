"""An HTML mail as headless Chromium draws it: a customer's page has the same pixels as one written by hand with the name
and the picture beside it."""

import os
import pathlib
import shutil
import struct
import subprocess
import sys
import unittest
import zlib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from cli import PATIENCE, CommandTest  # noqa: E402

SKIPPED = 77
STYLE = "<style>h1 { font-size: 30px } td { background: url(back.png) }</style>"
BODY = "<h1>{name} 様</h1><p>春の案内<br><img src=\"{folder}logo.png\" alt=\"\"></p><table><tr><td>{name}</td></tr></table>"


def png(red, green, blue, size=40):
    """A square of one colour."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    lines = (b"\0" + bytes((red, green, blue)) * size) * size
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(lines)) + chunk(b"IEND", b""))


class InABrowser(CommandTest):
    def shot(self, page):
        """The picture of a page."""
        process = subprocess.Popen(
            ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
             "--window-size=400,300", f"--user-data-dir={self.folder}/profile",
             f"--screenshot={self.folder}/shot.png", f"file://{self.folder}/{page}"],
            env={**os.environ, "HOME": str(self.folder)}, start_new_session=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            process.wait(PATIENCE)
        finally:
            try:
                os.killpg(process.pid, 9)
            except ProcessLookupError:
                pass
            process.wait()
        content = (self.folder / "shot.png").read_bytes()
        (self.folder / "shot.png").unlink()
        return content

    def test_a_customer_sees_her_name_and_the_pictures(self):
        self.new_shop("a@example.jp,表<b>,,Y", "b@example.jp,高橋,,Y")
        (self.folder / "img").mkdir()
        self.put("img/logo.png", png(220, 20, 60))
        self.put("img/back.png", png(0, 128, 255, 3))
        page = f"<!DOCTYPE html><html><head><meta charset=utf-8>{STYLE.replace('back', 'img/back')}</head><body>"
        self.put("page.html", page + BODY.format(name="<%名前(姓)%>", folder="img/") + "</body></html>")
        self.put("draft.txt", "Subject: <%名前(姓)%>様へ\n")
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt", "--html", "page.html")
        shots = []
        for customer, name in enumerate(("表&lt;b&gt;", "高橋")):
            self.tessaly("preview", "shop.tsl", 0, "--customer", customer, "--html", "other.html")
            self.put("by-hand.html", page + BODY.format(name=name, folder="img/") + "</body></html>")
            self.put("without.html", page + BODY.format(name=name, folder="missing/") + "</body></html>")
            shots.append(self.shot("other.html"))
            self.assertTrue(shots[-1] == self.shot("by-hand.html"), name)
            self.assertFalse(shots[-1] == self.shot("without.html"), "the picture shows")
        self.assertFalse(shots[0] == shots[1], "the name shows")


if __name__ == "__main__":
    if not shutil.which("chromium"):
        print("Skipped: this test needs the package chromium.")
        sys.exit(SKIPPED)
    unittest.main()
