"""A mailing that is recorded with what it said to the server, so that at each cut it is known who may have the mail."""

import re

import disk
import file_log
from recorded import record
from recording_server import RecordingServer
from shop import UNKNOWN, Fault, customer_list

CUSTOMERS = 150
WINDOW = 96  # intents that are made durable ahead of the threads
MOST_RUNS = 6
BOOTS = ("boot 1", "boot 2")  # files with the boot ids of two starts of the system
KINDS = (("send", 1), ("send, threads", 3), ("send --retry", 2))  # with the number of threads


def handed_over(changes):
    """By recipient the number of changes behind which the mail's final dot has gone to the server."""
    at, open_mails = {}, {}
    for number, change in enumerate(changes, 1):
        if change.kind != "send":
            continue
        mail = open_mails.get(change.flags, b"") + change.data
        if b"RCPT TO" in change.data:
            mail = change.data
        open_mails[change.flags] = mail
        recipient = re.match(rb"RCPT TO:<([^>]*)>", mail)
        if recipient and mail.endswith(b"\r\n.\r\n"):
            at[recipient[1].decode()] = number
            open_mails[change.flags] = b""
    return at


class RecordedSending:
    def __init__(self, shop, base, name, threads):
        self.shop, self.name, self.threads = shop, name, threads
        disk.put_tree(base, shop.folder)
        for number, name_of_boot in enumerate(BOOTS):
            shop.put(name_of_boot, f"5f4dcc3b-0000-4000-8000-00000000000{number}\n")
        retry = ("--retry",) if "--retry" in name else ()
        shop.put("many.csv", customer_list(0, CUSTOMERS))
        shop.must("customers", "import", "shop.tsl", "many.csv", "--replace", "--restore-deleted", "--consent", "x")
        shop.must("target", "shop.tsl", 0, "--all")
        first = RecordingServer(shop, refuses=0.5)
        if retry:
            shop.must("send", "shop.tsl", 0, "--smtp", first.address, codes=(1,))
        self.had = {address for address, _ in first.taken}
        server = RecordingServer(shop)
        self.words = ("send", "shop.tsl", 0, "--threads", threads, *retry)
        self.before, self.changes, _ = record(shop, (*self.words, "--smtp", server.address), boot_id=shop.folder / BOOTS[0])
        self.over = handed_over(self.changes)
        if {address for address, _ in server.taken} != self.over.keys() or len(self.over) + len(self.had) != CUSTOMERS:
            raise Fault(f"{name}: the record and the server do not tell of the same mails")

    def judge(self, tree, count, flavour):
        """Where everything survives, only the process may have ended: the system is the same."""
        kept_running = flavour == "everything"
        disk.put_tree(tree, self.shop.folder)
        handed = {address for address, at in self.over.items() if at <= count}
        return self.resume(handed, BOOTS[0 if kept_running else 1], self.threads if kept_running else WINDOW + self.threads)

    def resume(self, handed, boot, most_unknown):
        """Sends what is left to send behind a run in which the server may have taken the mails of `handed`."""
        shop = self.shop
        if shop.checks:
            shop.must("env", "check", "shop.tsl")
        server = RecordingServer(shop)
        self.send_the_rest(server, shop.folder / boot)
        server.stop()
        taken = {address for address, _ in server.taken}
        unknown = {row["メールアドレス"] for row in shop.rows("report", "0") if row["状態"] == UNKNOWN}
        if twice := (taken & (handed | self.had)) | {address for (address, _), times in server.taken.items() if times > 1}:
            raise Fault(f"{len(twice)} mailed twice: {sorted(twice)[:5]}")
        if missed := self.over.keys() - handed - taken - unknown:
            raise Fault(f"{len(missed)} missed: {sorted(missed)[:5]}")
        if len(unknown - handed) > most_unknown or unknown & self.had:
            raise Fault(f"{len(unknown - handed)} unknown who were not on their way, {len(unknown & self.had)} who have it")
        status, = (row["状態"] for row in shop.rows("report") if row["番号"] == "0")
        if status == "送信中":
            raise Fault("the mail is still shown as going out")
        return "unknown" if unknown else "known"

    def send_the_rest(self, server, boot_id):
        for _ in range(MOST_RUNS):
            result = self.shop.run("send", "shop.tsl", 0, "--smtp", server.address, "--threads", 1,
                                   variables=file_log.variables(boot_id=boot_id))
            if "残っていません" in result.out:
                return
            if result.code != 0:
                raise Fault(f"send: exit code {result.code}\n{result.out}{result.err}")
        raise Fault("it never comes to an end")
