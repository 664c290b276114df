"""A mail server that records, by envelope, each mail that it takes before it answers, and can be slow or hang up."""

import collections
import random
import re
import socketserver
import threading
import time


class RecordingServer:
    """`farewell`: seconds that the answer to QUIT takes; `drops`: the part of the mails whose connection it closes in
    place of an answer, though it took them (`silent`: it keeps the connection and says nothing); `refuses`: the part of
    the recipients that it refuses for now. With `tls` (a context) connections begin with a handshake, or with `upgrade`
    go on with one."""

    def __init__(self, test, tls=None, upgrade=False, farewell=0.0, drops=0.0, silent=False, refuses=0.0, seed=0):
        self.taken, self.dropped, self.refused = collections.Counter(), 0, 0
        self.chance, self.lock = random.Random(seed), threading.Lock()
        self.farewell, self.drops, self.silent, self.refuses = farewell, drops, silent, refuses
        outer = self

        class Conversation(socketserver.StreamRequestHandler):
            disable_nagle_algorithm = True

            def handle(self):
                if tls and not upgrade:
                    self.secure()
                self.say(b"220 ready")
                recipients = []
                while line := self.rfile.readline():
                    verb = line[:4].upper()
                    if verb == b"DATA":
                        self.say(b"354 go on")
                        if not self.take(recipients):
                            return
                    elif verb == b"RCPT":
                        recipients = self.recipient(line, recipients)
                    elif verb == b"EHLO" and upgrade and tls:
                        self.say(b"250-here\r\n250 STARTTLS")
                    elif verb == b"QUIT":
                        time.sleep(outer.farewell)
                        return self.say(b"221 bye")
                    else:
                        recipients = [] if verb in (b"MAIL", b"RSET") else recipients
                        self.say(b"250 ok")
                    if verb == b"STAR":
                        self.secure()

            def take(self, recipients):
                lines = []
                while (line := self.rfile.readline()) != b".\r\n":
                    if not line:
                        return False
                    lines.append(line)
                if not outer.record(recipients, b"".join(lines)):
                    if outer.silent:
                        self.rfile.read()
                    return False
                self.say(b"250 taken")
                return True

            def recipient(self, line, recipients):
                if outer.happens(outer.refuses):
                    outer.refused += 1
                    self.say(b"450 later")
                    return recipients
                self.say(b"250 ok")
                return [*recipients, re.search(rb"<(.*)>", line)[1].decode()]

            def say(self, reply):
                self.wfile.write(reply + b"\r\n")

            def secure(self):
                self.connection = tls.wrap_socket(self.connection, server_side=True)
                self.rfile, self.wfile = self.connection.makefile("rb"), self.connection.makefile("wb", 0)

            def finish(self):
                super().finish()
                self.connection.close()

        class Server(socketserver.ThreadingTCPServer):
            daemon_threads, request_queue_size, block_on_close = True, 64, False

        self.server = Server(("127.0.0.1", 0), Conversation)
        self.server.handle_error = lambda *_: None  # a client that was killed hangs up anywhere
        self.port = self.server.server_address[1]
        self.address = f"127.0.0.1:{self.port}"
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.02}, daemon=True).start()
        test.addCleanup(self.stop)

    def happens(self, part):
        with self.lock:
            return part > 0 and self.chance.random() < part

    def record(self, recipients, mail):
        """False where it hangs up behind the mail."""
        subject = re.search(rb"^Subject: *(.*?)\r$", mail, re.M)[1].decode()
        with self.lock:
            for recipient in recipients:
                self.taken[recipient, subject] += 1
            drops = self.drops > 0 and self.chance.random() < self.drops
            self.dropped += drops
            return not drops

    def stop(self):
        self.server.shutdown()
        self.server.server_close()
