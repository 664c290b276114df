"""A mail server that answers as it is told, for what the built-in post box never does."""

import socketserver
import threading


class SmtpServer:
    """`answers`: by verb ("" for the greeting, "." for the end of a mail) the reply; or a function of the command that
    gives it, or None to hang up. What is not told is accepted. `commands` holds what came. With `tls` (a context) each
    connection begins with its handshake, or with `upgrade` goes on with it behind STARTTLS; `resumed` tells of each
    whether it went on with an earlier session."""

    def __init__(self, test, answers, tls=None, upgrade=False):
        self.answers, self.commands, self.mails, self.resumed = answers, [], [], []
        outer = self

        class Conversation(socketserver.StreamRequestHandler):
            def handle(self):
                if tls and not upgrade:
                    self.secure()
                if not self.reply("", "", "220 ready"):
                    return
                while line := self.rfile.readline():
                    command = line.decode("latin-1").rstrip("\r\n")
                    outer.commands.append(command)
                    verb = command.split(" ")[0].upper()
                    answer = self.reply(verb, command, "354 go on" if verb == "DATA" else "250 ok")
                    if not answer or verb == "QUIT":
                        return
                    if verb == "STARTTLS" and answer.startswith("2") and tls:
                        self.secure()
                    if answer.startswith("354"):
                        mail = b"".join(iter(self.rfile.readline, b".\r\n"))
                        if not self.reply(".", mail.decode("latin-1"), "250 taken"):
                            return
                        outer.mails.append(mail)

            def finish(self):
                super().finish()
                self.connection.close()

            def secure(self):
                self.connection = tls.wrap_socket(self.connection, server_side=True)
                outer.resumed.append(self.connection.session_reused)
                self.rfile, self.wfile = self.connection.makefile("rb"), self.connection.makefile("wb", 0)

            def reply(self, verb, command, usual):
                answer = outer.answers.get(verb, usual)
                answer = answer(command) if callable(answer) else answer
                if answer is not None:
                    answer = answer or usual
                    self.wfile.write(answer.encode() + b"\r\n")
                return answer

        self.server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Conversation)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # a client that was killed hangs up anywhere
        self.address = "127.0.0.1:%d" % self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.02}).start()
        test.addCleanup(self.stop)

    def stop(self):
        self.server.shutdown()
        self.server.server_close()
