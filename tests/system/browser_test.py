"""An HTML mail as headless Chromium draws it: a customer's page has the same pixels as one written by hand with the name
and the picture beside it; what a page of hostile HTML asks a server for, before and after it became a mail."""

import email
import http.server
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import threading
import unittest
import zlib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from cli import PATIENCE, CommandTest, from_jis  # noqa: E402

SKIPPED = 77
STYLE = "<style>h1 { font-size: 30px } td { background: url(back.png) }</style>"
BODY = "<h1>{name} 様</h1><p>春の案内<br><img src=\"{folder}logo.png\" alt=\"\"></p><table><tr><td>{name}</td></tr></table>"

# What each asks the server for: "URL" is an address of its own, "RUN" a script that fetches it.
ACTIVE = ("<script>RUN</script>", "<img src=x onerror=\"RUN\">", "<iframe src=URL></iframe>", "<style>@import url(URL);</style>",
          "<link rel=stylesheet href=URL>", "<object data=URL></object>", "<embed src=URL>", "<svg onload=\"RUN\"></svg>",
          "<iframe srcdoc=\"<img src=URL>\"></iframe>", "<iframe src=\"&#106;ava&Tab;script:RUN\"></iframe>",
          "<!-- --!><script>RUN</script>-->", "<!--><script>RUN</script>-->", "</ x='><script>RUN</script>'>",
          "<svg><style><img src=x onerror=\"RUN\"></style></svg>", "<xmp><a title='</xmp><script>RUN</script>'></a></xmp>",
          "<noscript><a title='</noscript><script>RUN</script>'></a></noscript>", "<style></stylex><a title='</style><script>RUN</script>'>",
          "<details open ontoggle=RUN>x</details>",
          "<img src=x onerror=\"RUN\"/title=\"a>b\">", "<p style=\"x:'>'\"onclick=1><script>RUN</script>")
PASSIVE = ("<img src=URL>", "<img srcset=URL>", "<p style='background:url(URL)'>x</p>", "<video poster=URL></video>",
           "<audio src=URL preload=auto></audio>", "<table background=URL><tr><td>x</table>",
           "<b style=\"background:image-set('URL' 1x)\">x</b>", "<style>i { background: u\\72l(URL) }</style><i>x</i>")


class Asked(http.server.ThreadingHTTPServer):
    """Keeps the numbers that it was asked for."""

    def __init__(self):
        asked = self.asked = set()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                asked.add(int(self.path[1:]))
                self.send_error(404)

            def log_message(self, *_):
                pass

        super().__init__(("127.0.0.1", 0), Handler)
        threading.Thread(target=self.serve_forever, daemon=True).start()


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

    def test_a_hostile_page_runs_nothing_and_its_preview_loads_nothing(self):
        self.new_shop("a@example.jp,表,,Y")
        server = Asked()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)

        def asked_by(page):
            server.asked.clear()
            self.shot(page)
            return set(server.asked)

        lines = ["<!DOCTYPE html><html><head><meta charset=utf-8></head><body>"]
        for number, line in enumerate(ACTIVE + PASSIVE):
            address = f"http://127.0.0.1:{server.server_address[1]}/{number}"
            lines.append(line.replace("RUN", f"top.document.createElement('img').src='{address}'" if "'" not in line else
                                      f"top.document.createElement(`img`).src=`{address}`").replace("URL", address))
        self.put("page.html", "\n".join(lines))
        self.put("draft.txt", "Subject: x\n")
        every, passive = set(range(len(ACTIVE + PASSIVE))), set(range(len(ACTIVE), len(ACTIVE + PASSIVE)))
        self.assertEqual(asked_by("page.html"), every)
        self.tessaly("mail", "new", "shop.tsl", "--draft", "draft.txt", "--html", "page.html", "--force")
        self.tessaly("mail", "export", "shop.tsl", 0, "0.eml")
        mail = email.message_from_bytes((self.folder / "0.eml").read_bytes())
        (html,) = [part.get_payload(decode=True) for part in mail.walk() if part.get_content_type() == "text/html"]
        self.put("sent.html", from_jis(html))
        self.assertEqual(asked_by("sent.html"), passive)
        self.tessaly("preview", "shop.tsl", 0, "--customer", 0, "--html", "preview.html")
        self.assertEqual(asked_by("preview.html"), set())


if __name__ == "__main__":
    if not shutil.which("chromium"):
        print("Skipped: this test needs the package chromium.")
        sys.exit(SKIPPED)
    unittest.main()
