"""Two processes at random on one environment, for a time: whatever a command that succeeded has changed is there at the
end, and nobody has a mail twice."""

import argparse
import collections
import random
import sys
import threading
import time

from recording_server import RecordingServer
from shop import UNKNOWN, Fault, Shop, answer, customer_list

CUSTOMERS = 60
MAILS = 3  # that both may send
BUSY = "ほかの tessaly が使っています"
OWN_COLUMNS = ("会社名", "部署名")  # each process changes its own of every customer


class Process(threading.Thread):
    """Runs one command after the other, and keeps what those that succeeded have changed."""

    def __init__(self, shop, number, seed, until):
        super().__init__()
        self.shop, self.number, self.until = shop, number, until
        self.chance = random.Random(f"{seed} {number}")
        self.added, self.cells, self.refused, self.subjects, self.backups = set(), {}, set(), {}, []
        self.count, self.done, self.faults = 0, collections.Counter(), []

    def run(self):
        turns = (self.add, self.set, self.set, self.imports, self.send, self.send, self.receive, self.new_mail, self.edit,
                 self.backup, self.look)
        while time.monotonic() < self.until and not self.faults:
            self.count += 1
            try:
                self.chance.choice(turns)()
            except (Fault, AssertionError) as fault:
                self.faults.append(f"process {self.number}: {fault}")

    def did(self, *words, codes=(0,)):
        """False where the other process had the environment or the mail for too long."""
        result = self.shop.run(*words)
        if result.code == 1 and BUSY in result.err:
            self.done["busy"] += 1
            return None
        if result.code not in codes:
            raise Fault(f"{' '.join(map(str, words))}: exit code {result.code}\n{result.out}{result.err}")
        self.done[words[0] if words[0] not in ("customers", "mail") else " ".join(words[:2])] += 1
        return result

    def mine(self, name):
        return f"p{self.number}-{self.count}-{name}"

    def add(self):
        address = self.mine("a@example.jp")
        if self.did("customers", "add", "shop.tsl", f"メールアドレス={address}"):
            self.added.add(address)

    def set(self):
        customer, value = self.chance.randrange(CUSTOMERS), self.mine("v")
        if self.did("customers", "set", "shop.tsl", customer, f"{OWN_COLUMNS[self.number]}={value}"):
            self.cells[customer] = value

    def imports(self):
        addresses = [self.mine(f"i{i}@example.jp") for i in range(20)]
        name = self.mine("list.csv")
        self.shop.put(name, "メールアドレス\n" + "\n".join(addresses) + "\n")
        if self.did("customers", "import", "shop.tsl", name):
            self.added.update(addresses)

    def send(self):
        self.did("send", "shop.tsl", self.chance.randrange(MAILS), "--threads", 2, codes=(0, 1))

    def receive(self):
        customer = self.chance.randrange(CUSTOMERS)
        self.shop.put(self.mine("answers") + "/1.eml", answer(f"n{customer}@example.jp", f"<REFUSE>\n{self.mine('')}\n"))
        if self.did("receive", "shop.tsl", "--from-dir", self.mine("answers")):
            self.refused.add(f"n{customer}@example.jp")

    def new_mail(self):
        name = self.mine("draft.txt")
        self.shop.put(name, f"Subject: {name}\n\nx\n")
        if made := self.did("mail", "new", "shop.tsl", "--draft", name):
            self.subjects[int(made.out.split("番号は ")[1].split(" ")[0])] = name

    def edit(self):
        if not self.subjects:
            return
        mail, name = self.chance.choice(sorted(self.subjects)), self.mine("draft.txt")
        self.shop.put(name, f"Subject: {name}\n\nx\n")
        if self.did("mail", "edit", "shop.tsl", mail, "--draft", name):
            self.subjects[mail] = name

    def backup(self):
        if self.did("backup", "shop.tsl", self.mine("copy.dat")):
            self.backups.append((self.mine("copy.dat"), len(self.added)))

    def look(self):
        for words in (("customers", "list"), ("mail", "list"), ("report",)):
            self.did(*words, "shop.tsl")


def judge(shop, processes, server):
    """What is missing at the end, or was mailed twice."""
    faults = [fault for process in processes for fault in process.faults]
    rows = shop.rows("customers", "list", "--columns", "個人情報ID,メールアドレス,DM送付可否," + ",".join(OWN_COLUMNS))
    by_address, by_id = {row["メールアドレス"]: row for row in rows}, {int(row["個人情報ID"]): row for row in rows}
    subjects = {int(row["番号"]): row["件名"] for row in shop.rows("mail", "list")}
    if len(by_address) != len(rows) or len(by_id) != len(rows):
        faults.append("a customer is there twice")
    for process in processes:
        if lost := process.added - by_address.keys():
            faults.append(f"{len(lost)} customers that were added are lost: {sorted(lost)[:5]}")
        column = OWN_COLUMNS[process.number]
        if lost := [i for i, value in process.cells.items() if by_id[i][column] != value]:
            faults.append(f"{column} of the customers {lost[:5]} is not what was set last")
        if lost := [address for address in process.refused if by_address[address]["DM送付可否"] != "N"]:
            faults.append(f"the refusals of {sorted(lost)[:5]} are lost")
        if lost := [mail for mail, subject in process.subjects.items() if subjects.get(mail) != subject]:
            faults.append(f"the mails {lost[:5]} are not as they were written last")
    if twice := [key for key, count in server.taken.items() if count > 1]:
        faults.append(f"{len(twice)} mails went out twice: {sorted(twice)[:5]}")
    for mail in range(MAILS):
        taken = {address for address, subject in server.taken if subject == f"m{mail}"}
        states = {row["メールアドレス"]: row["状態"] for row in shop.rows("report", str(mail))}
        if other := [a for a, state in states.items() if state != UNKNOWN and (state == "完了") != (a in taken)]:
            faults.append(f"the history of mail {mail} does not tell what the server took: {other[:5]}")
    return faults


def run(seconds, seed=0):
    """What both did, by command, how many mails were taken, and the faults."""
    with Shop() as shop:
        server = RecordingServer(shop, refuses=0.1, seed=seed)
        shop.put("list.csv", customer_list(0, CUSTOMERS))
        shop.must("env", "new", "shop.tsl")
        shop.must("settings", "shop.tsl", "from.address=shop@example.jp", "smtp.host=127.0.0.1", f"smtp.port={server.port}",
                  "retry.max=99")
        shop.must("customers", "import", "shop.tsl", "list.csv")
        for mail in range(MAILS):
            shop.put("draft.txt", f"Subject: m{mail}\n\n本文\n")
            shop.must("mail", "new", "shop.tsl", "--draft", "draft.txt")
            shop.must("target", "shop.tsl", mail, "--all")
        processes = [Process(shop, number, seed, time.monotonic() + seconds) for number in range(2)]
        for process in processes:
            process.start()
        for process in processes:
            process.join()
        done = sum((process.done for process in processes), collections.Counter())
        return dict(done), sum(server.taken.values()), judge(shop, processes, server)


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture pair", description=__doc__)
    parser.add_argument("seconds", type=float, help="how long the two run")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    arguments = parser.parse_args()
    done, taken, faults = run(arguments.seconds, arguments.seed)
    print(*faults, sep="\n")
    print(f"pair: {done}, {taken} mails taken, {len(faults)} faults, seed {arguments.seed}")
    if faults:
        sys.exit(f"again (the instants differ): scripts/torture pair {arguments.seconds:g} --seed {arguments.seed}")


if __name__ == "__main__":
    main()
