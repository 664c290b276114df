"""Damages each file of an environment: cut at places, with flipped bytes, missing. Commands that read it show every row
or say that something is wrong; what they do not accept is not written over; nobody who has a mail is mailed again."""

import argparse
import collections
import random
import re
import sys

import disk
from recording_server import RecordingServer
from recordings import chosen
from shop import UNKNOWN, Fault, Shop, furnish

CUTS, FLIPS = 50, 200
SENT = ("0", "1")  # mails
HAVE_IT = ("完了", UNKNOWN)
NOT_DATA = re.compile(r"/LOG/|/\.lock$|/UNDO/|^shop/INBOX/(seen|actions.tsv)$")
# By file what reads it, what would write it, and whether it can change who is mailed. The first that fits.
READERS = [(re.compile(pattern), *row) for pattern, *row in (
    (r"^shop\.tsl", ["customers", "list"], ["customers", "set", 1, "会社名=変"], True),
    (r"systemoption\.dat", ["settings"], ["settings", "from.name=変"], True),
    (r"DB/testmailinginfo", ["testers", "list"], ["testers", "add", "メールアドレス=w@example.jp"], False),
    (r"DB/dbseq", ["customers", "list", "--all"], ["customers", "add", "メールアドレス=w@example.jp"], False),
    (r"DB/", ["customers", "list", "--all"], ["customers", "set", 1, "会社名=変"], True),
    (r"MAIL/mail(list|seq)", ["mail", "list"], ["mail", "new", "--draft", "draft.txt"], True),
    (r"MAIL/(\d+)/hist", ["report", "{}"], ["receive", "--from-dir", "answers"], True),
    (r"MAIL/(\d+)/me(rd|li)", ["target", "{}"], ["target", "{}", "--apply"], True),
    (r"MAIL/(\d+)/", ["mail", "show", "{}"], ["mail", "edit", "{}", "--draft", "other.txt"], False),
    (r"message\.key", ["settings"], ["settings", "from.name=変"], False),
    (r"CONSENT/refusals", ["refusals", "list"], ["refusals", "add", "w@example.jp"], True),
    (r"CONSENT/suspended", ["suppressed", "list"], ["suppressed", "add", "w@example.jp"], True),
    (r"EXTRACT/", ["group", "list"], ["group", "rename", "全員", "変"], False),
    (r"INBOX/", ["inbox", "list"], ["receive", "--from-dir", "kept"], False))]


def with_environment(words):
    count = 2 if words[0] in ("customers", "testers", "mail", "group", "inbox", "refusals", "suppressed") else 1
    return (*words[:count], "shop.tsl", *words[count:])


def damages(content, cuts, flips, chance):
    """Names of damages with what they leave; None for a missing file."""
    places = sorted({0, len(content) - 1, *(chance.randrange(len(content)) for _ in range(cuts - 2))}) if content else []
    left = [("missing", None)] + [(f"cut at {place}", content[:place]) for place in places[:cuts]]
    for _ in range(flips if content else 0):
        place, bit = chance.randrange(len(content)), 1 << chance.randrange(8)
        left.append((f"byte {place} ^ {bit}", content[:place] + bytes([content[place] ^ bit]) + content[place + 1:]))
    return left


class Whole:
    """A shop with sent mails, as it is before any damage."""

    def __init__(self, shop):
        self.shop = shop
        furnish(shop)
        server = RecordingServer(shop, drops=0.2, refuses=0.2)
        shop.must("send", "shop.tsl", 0, "--smtp", server.address, codes=(0, 1))
        self.tree = disk.tree_of(shop.folder)
        self.have_it = {mail: {row["メールアドレス"] for row in shop.rows("report", mail) if row["状態"] in HAVE_IT} for mail in SENT}
        self.rows, self.subjects = {}, {}

    def shown(self, words):
        """What a reading command shows of the whole data."""
        if words not in self.rows:
            self.rows[words] = self.shop.must(*words).out
        return self.rows[words]

    def files(self):
        return [path for path, content in self.tree.items()
                if content is not None and path.startswith("shop") and not NOT_DATA.search("/" + path) and not NOT_DATA.search(path)]

    def try_out(self, path, content):
        """A word for how the damage was met."""
        shop = self.shop
        found, reads, writes, mails = next((pattern.search(path), *row) for pattern, *row in READERS if pattern.search(path))
        read, write = (tuple(str(word).format(*found.groups()) for word in with_environment(words)) for words in (reads, writes))
        disk.put_tree(self.tree, shop.folder)
        whole = self.shown(read)
        put(shop.folder / path, content)
        result, faults = shop.run(*read), []
        if result.code == 0 and not result.err and not set(whole.splitlines()) <= set(result.out.splitlines()):
            faults.append(f"{' '.join(read)} shows other rows without a word")
        if result.code not in (0, 1) or (result.code == 1 and not result.err):
            faults.append(f"{' '.join(read)}: exit code {result.code}, told: {result.err!r}")
        for mail in SENT if mails else ():
            faults += self.sent_again(mail)
        written = shop.run(*write)
        now = (shop.folder / path).read_bytes() if (shop.folder / path).exists() else None
        if result.code == 1 and now != content:
            faults.append(f"{' '.join(read)} refused it, and {' '.join(write)} wrote it (exit code {written.code})")
        if faults:
            raise Fault("; ".join(faults))
        return "refused" if result.code else "told" if result.err else "accepted"

    def sent_again(self, mail):
        server = RecordingServer(self.shop)
        self.shop.run("send", "shop.tsl", mail, "--smtp", server.address, "--threads", 1)
        server.stop()
        twice = {address for address, _ in server.taken} & self.have_it[mail]
        return [f"send {mail} mailed {len(twice)} of {len(self.have_it[mail])} again"] if twice else []


def put(file, content):
    if content is None:
        file.unlink()
    else:
        file.write_bytes(content)


def run(number=None, cuts=CUTS, flips=FLIPS, seed=0, only="", tell=lambda *_: None):
    """So many cuts and flips of each file, and `number` of these, taken at random, or all. Gives how many damages there
    were, and the faults."""
    with Shop() as shop:
        whole, faults = Whole(shop), []
        files = [path for path in sorted(whole.files()) if only in path]
        wanted = chosen([damages(whole.tree[path], cuts, flips, random.Random(f"{seed} {path}")) for path in files], number, seed)
        for path, of_this in zip(files, wanted):
            found, before = collections.Counter(), len(faults)
            for name, content in of_this:
                try:
                    found[whole.try_out(path, content)] += 1
                except (Fault, AssertionError) as fault:
                    faults.append(f"{path}, {name}: {fault}")
            tell(f"{path}: {dict(found)}, {len(faults) - before} faults")
        return sum(map(len, wanted)), faults


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture damage", description=__doc__)
    parser.add_argument("number", nargs="?", help="damages to try, taken at random; all (the default) for each")
    parser.add_argument("--cuts", type=int, default=CUTS, help="places at which each file is cut")
    parser.add_argument("--flips", type=int, default=FLIPS, help="bytes of each file of which a bit is flipped, one at a time")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    parser.add_argument("--only", default="", help="files whose path holds this")
    arguments = parser.parse_args()
    number = None if arguments.number in (None, "all") else int(arguments.number)
    tried, faults = run(number, arguments.cuts, arguments.flips, arguments.seed, arguments.only, print)
    print(*faults, sep="\n")
    print(f"damage: {tried} damages, {len(faults)} faults, seed {arguments.seed}")
    if faults:
        sys.exit(f"again: scripts/torture damage {arguments.number or 'all'} --only '{arguments.only}' --cuts {arguments.cuts} --flips {arguments.flips} --seed {arguments.seed}")


if __name__ == "__main__":
    main()
