"""Kills `tessaly send` at random instants and resumes it, until everyone has the mail: nobody may get it twice, nobody may
be missed, and of nobody may it be unknown but of those whose mail was on its way."""

import argparse
import collections
import pathlib
import random
import signal
import subprocess
import sys

from recording_server import RecordingServer
from shop import PATIENCE, UNKNOWN, Fault, Shop, customer_list, finish

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from certificates import Authority  # noqa: E402

SECURITIES = ("none", "starttls", "tls")
MOST_RUNS = 400  # of one mailing
GENTLE = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
COMPLETE = "完了"

Total = collections.namedtuple("Total", "kills signals mailings recipients taken twice missed unknown dropped")


class Mailing:
    """A mail to a new shop's customers, by chance over one of the ways, to a server with one of the vices."""

    def __init__(self, shop, chance):
        self.shop, self.chance = shop, chance
        self.security, self.threads = chance.choice(SECURITIES), chance.randint(1, 4)
        self.customers = chance.choice((60, 150, 300))
        vice = chance.choice(("none", "slow farewell", "drops", "silence", "refuses"))
        self.name = f"{self.customers} customers, {self.security}, {self.threads} threads, vice of the server: {vice}"
        context = None
        if self.security != "none":
            context = Authority(shop.folder).context("server")
        self.server = RecordingServer(shop, context, self.security == "starttls", seed=chance.random(),
                                      farewell=0.03 if vice == "slow farewell" else 0.0,
                                      drops={"drops": 0.02, "silence": 0.008}.get(vice, 0.0), silent=vice == "silence",
                                      refuses=0.05 if vice == "refuses" else 0.0)
        shop.put("list.csv", customer_list(0, self.customers))
        shop.put("draft.txt", "Subject: m0\n\n<%名前(姓)%> 様\n" + "本文\n" * 30)
        shop.must("env", "new", "shop.tsl")
        shop.must("settings", "shop.tsl", "from.address=shop@example.jp", "smtp.host=localhost", f"smtp.port={self.server.port}",
                  f"smtp.security={self.security}", "smtp.ca-file=" + ("ca.pem" if context else ""), f"smtp.timeout={1 if vice == 'silence' else 10}",
                  "smtp.mails-per-connection=20", "retry.max=99")
        shop.must("customers", "import", "shop.tsl", "list.csv")
        shop.must("mail", "new", "shop.tsl", "--draft", "draft.txt")
        shop.must("target", "shop.tsl", 0, "--all")
        self.command = ("send", "shop.tsl", 0, "--threads", self.threads)
        self.kills = self.signals = self.runs = self.in_flight = 0
        self.span = 0.15  # seconds within which a run ends by a signal

    def run_until(self, number):
        """Sends until everyone has the mail, with `number` kills at most."""
        while self.runs < MOST_RUNS:
            self.runs += 1
            process = self.shop.start(*self.command)
            by = signal.SIGKILL if self.chance.random() < 0.8 else self.chance.choice(GENTLE)
            wanted = self.kills < number
            try:
                process.wait(self.chance.random() * self.span if wanted else PATIENCE)
            except subprocess.TimeoutExpired:
                process.send_signal(by)
                if not wanted:
                    raise Fault(f"a run did not end within {PATIENCE} seconds") from None
                self.kills += by == signal.SIGKILL
                self.signals += by != signal.SIGKILL
                self.in_flight += self.threads if by == signal.SIGKILL else 0
            result = finish(process)
            if "送る相手は残っていません" in result.out:
                return
            if result.code == 0:
                self.span *= 1.5
        raise Fault(f"not everyone has the mail after {MOST_RUNS} runs: {result.out}{result.err}")

    def judge(self):
        rows = self.shop.rows("report", "0")
        states = {row["メールアドレス"]: row["状態"] for row in rows}
        unknown = {address for address, state in states.items() if state == UNKNOWN}
        taken = {address: count for (address, _), count in self.server.taken.items()}
        twice = sum(count - 1 for count in taken.values())
        wanted = {f"n{i}@example.jp" for i in range(self.customers)}
        missed = wanted - taken.keys() - unknown
        total = Total(self.kills, self.signals, 1, self.customers, sum(taken.values()), twice, len(missed), len(unknown),
                      self.server.dropped)
        faults = []
        if twice:
            faults.append(f"{twice} mails went out twice, to {sorted(a for a, n in taken.items() if n > 1)[:5]}")
        if missed:
            faults.append(f"{len(missed)} were missed: {sorted(missed)[:5]}")
        if len(unknown) > self.in_flight + self.server.dropped:
            faults.append(f"{len(unknown)} unknown, though only {self.in_flight} mails were on their way at a kill and "
                          f"{self.server.dropped} were dropped")
        if untold := sorted(a for a, state in states.items() if state == COMPLETE and a not in taken):
            faults.append(f"complete, but the server has none: {untold[:5]}")
        status = [row["状態"] for row in self.shop.rows("report")]
        if status == ["送信中"]:
            faults.append("the mail is still shown as going out")
        return total, faults


def run(number, seed=0, tell=lambda *_: None):
    """At least `number` kills; the total and the faults."""
    total, faults = Total(*[0] * len(Total._fields)), []
    while total.kills < number:
        turn = total.mailings
        with Shop() as shop:
            mailing = Mailing(shop, random.Random(f"{seed} {turn}"))
            of_this = []
            try:
                mailing.run_until(number - total.kills)
            except Fault as fault:
                of_this.append(str(fault))
            one, found = mailing.judge()
            of_this += found
            total = Total(*(a + b for a, b in zip(total, one)))
            tell(f"{mailing.name}: {mailing.runs} runs, {one.kills} kills, {one.signals} signals, {one.unknown} unknown, "
                 f"{len(of_this)} faults")
            faults += [f"mailing {turn} ({mailing.name}): {fault}" for fault in of_this]
    return total, faults


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture kill", description=__doc__)
    parser.add_argument("number", type=int, help="how many kills (signals that can be caught come besides)")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    arguments = parser.parse_args()
    total, faults = run(arguments.number, arguments.seed, print)
    print(*faults, sep="\n")
    print("kill: " + ", ".join(f"{value} {name}" for name, value in total._asdict().items()) +
          f", {len(faults)} faults, seed {arguments.seed}")
    if faults:
        sys.exit(f"again (the instants differ): scripts/torture kill {arguments.number} --seed {arguments.seed}")


if __name__ == "__main__":
    main()
