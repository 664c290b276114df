"""The date of the information page from a small web server, through a real Tinyproxy that asks for user and password.

Tinyproxy runs in the foreground from a scratch folder and is ended by its id."""

import http.server
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from cli import PATIENCE, CommandTest, wait_for  # noqa: E402

SKIPPED = 77
CONFIGURATION = """
Port {port}
Listen 127.0.0.1
Timeout 60
LogFile "{folder}/log"
LogLevel Info
BasicAuth shop geheim
Upstream http 127.0.0.1:{origin}
"""


class Page(http.server.BaseHTTPRequestHandler):
    """Stands for the page's own server, whatever its name."""

    def do_GET(self):
        self.server.asked.append(self.path)
        if self.server.delay:
            time.sleep(self.server.delay)
        try:
            self.send_response(self.server.status)
            for name, value in self.server.headers.items():
                self.send_header(name, value)
            self.end_headers()
        except OSError:
            pass  # the client has closed the connection

    def log_message(self, *_):
        pass


class ThroughTinyproxy(CommandTest):
    def setUp(self):
        super().setUp()
        self.new_shop()
        self.origin = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Page)
        self.origin.asked, self.origin.status, self.origin.delay = [], 200, 0
        self.origin.headers = {"Last-Modified": "Tue, 05 Oct 2004 00:30:15 GMT"}
        threading.Thread(target=self.origin.serve_forever, args=(0.02,)).start()
        self.addCleanup(lambda: (self.origin.shutdown(), self.origin.server_close()))
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        self.put("conf", CONFIGURATION.format(port=port, folder=self.folder, origin=self.origin.server_address[1]))
        self.proxy = subprocess.Popen(["tinyproxy", "-d", "-c", self.folder / "conf"], stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL)
        self.addCleanup(self.stop)
        self.tessaly("settings", "shop.tsl", f"news.proxy=127.0.0.1:{port}")

        def answers():
            with socket.socket() as probe:
                return probe.connect_ex(("127.0.0.1", port)) == 0
        self.assertTrue(wait_for(answers))

    def stop(self):
        self.proxy.send_signal(signal.SIGTERM)
        try:
            self.proxy.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.proxy.kill()
            self.proxy.wait()

    def news(self, **options):
        return self.tessaly("news", "shop.tsl", **options)

    def test_what_the_page_and_the_proxy_say(self):
        self.assertIn("プロキシーに断られました。", self.news(code=1).err)
        self.tessaly("settings", "shop.tsl", "news.proxy-user=shop", "news.proxy-password=falsch")
        self.assertIn("HTTP status 401 Unauthorized", self.news(code=1).err)  # so Tinyproxy says it
        self.assertEqual(self.origin.asked, [])
        self.tessaly("settings", "shop.tsl", "news.proxy-password=geheim")
        self.assertEqual(self.news().out, "お知らせの更新日時: 2004/10/05 09:30:15\n")
        self.assertEqual(self.origin.asked, ["http://www.tessaly.example:80/links/tsl/5/?p=tsl5_start_info"])
        self.origin.headers = {"last-modified": "Tue, 05 Oct 2004 00:30:15 GMT"}
        self.assertEqual(self.news().out, "お知らせはありますが、更新日時は分かりません。\n")
        self.origin.status = 404
        self.assertIn("お知らせのページがありません。", self.news(code=1).err)
        self.origin.status = 503
        self.assertIn("プロキシーを通して、お知らせを見られませんでした。", self.news(code=1).err)
        self.origin.delay = 8
        start = time.monotonic()
        self.assertIn("Timeout.", self.news(code=1).err)
        self.assertLess(time.monotonic() - start, 7)


if __name__ == "__main__":
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    if not shutil.which("tinyproxy"):
        print("Skipped: this test needs the package tinyproxy-bin.")
        sys.exit(SKIPPED)
    unittest.main()
