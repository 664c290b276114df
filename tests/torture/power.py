"""Cuts the power at every point of every command that changes something, and opens what is then on the disk."""

import argparse
import random
import re
import sys

import commands
import disk
import file_log
from shop import Fault, Shop, furnish

NOON = 1790000000  # the clock stands, so that two runs of a command write the same
# What belongs to no state: logs, locks, what is in the making or being undone, and numbers that are drawn once.
TRANSIENT = re.compile(r"(^|/)(LOG|ATEMP|UNDO|\.undo(\.new|\.old)?)(/|$)|\.lock$|\.tessaly-new\d*$|\.work(\.log)?$|seq\.dat$|"
                       r"\.record$|_復旧\.txt$")


def state(tree):
    return {path: content for path, content in tree.items() if not TRANSIENT.search(path)}


def differences(one, other):
    return sorted(path for path in one.keys() | other.keys() if one.get(path, 0) != other.get(path, 0))


class Recorded:
    """A command, run once with its changes recorded: the disk before, each change, the disk behind it."""

    def __init__(self, shop, base, command):
        self.command = command
        disk.put_tree(base, shop.folder)
        for given in command.given:
            shop.must(*given)
        self.before = disk.tree_of(shop.folder)
        log = shop.folder.with_name(shop.folder.name + ".log")
        shop.addCleanup(log.unlink, True)
        shop.must(*command.words, variables=file_log.variables(shop.folder, log, time=NOON))
        self.after = disk.tree_of(shop.folder)
        self.changes = file_log.read(log, shop.folder)
        self.seen = shop.view() if command.random or command.steps else None
        self.again = shop.run(*command.words, variables=file_log.variables(time=NOON)).code
        log.unlink()
        played = disk.Disk(self.before)
        for change in self.changes:
            played.apply(change)
        if missing := differences(played.tree(), self.after):
            raise Fault(f"{self.name}: the record does not lead to {missing}")

    @property
    def name(self):
        return commands.named(self.command.words)

    def old_or_new(self, shop, tree):
        """Which of the two a disk is; a Fault when it is neither."""
        if self.command.random:
            return self.old_or_new_as_seen(shop)
        now = state(tree)
        for word, wanted in (("old", self.before), ("new", self.after)):
            if now == state(wanted):
                return word
        if self.command.steps:
            return "between"
        raise Fault("neither old nor new: old but " + ", ".join(differences(now, state(self.before))) +
                    "; new but " + ", ".join(differences(now, state(self.after))))

    def old_or_new_as_seen(self, shop):
        if "new.tsl" in self.command.words:
            return "new" if shop.run("env", "info", "new.tsl").code == 0 else "old"
        out = {name for name in self.after if "/" not in name} - {name for name in self.before if "/" not in name}
        for name in out:
            written = (shop.folder / name).exists()
            if written and len((shop.folder / name).read_bytes()) != len(self.after[name]):
                raise Fault(f"{name} is not whole")
            return "new" if written else "old"
        return "new" if shop.view() == self.seen else "old"


def judge(shop, recorded, tree):
    """Opens a disk as a cut left it."""
    disk.put_tree(tree, shop.folder)
    variables = file_log.variables(time=NOON)
    shop.must("customers", "list", "shop.tsl", variables=variables)
    if shop.checks:
        shop.must("env", "check", "shop.tsl", variables=variables)
    found = recorded.old_or_new(shop, disk.tree_of(shop.folder))
    allowed = {"old": (0,), "new": (recorded.again,), "between": (0, recorded.again)}[found]
    shop.must(*recorded.command.words, codes=allowed, variables=variables)
    shop.must("customers", "list", "shop.tsl", variables=variables)
    if recorded.command.steps and (other := [key for key, rows in shop.view().items() if rows != recorded.seen[key]]):
        raise Fault(f"run again, it does not come to the same: {other}")
    return found


def points(recorded, flavours):
    """Behind how many changes the power is cut, and what survives. Where nothing changed that could be lost there is
    nothing to see."""
    return [(count, flavour) for count in range(len(recorded.changes) + 1) for flavour in flavours]


def cut(shop, recorded, wanted, seed):
    """Judges the points of one command, a sorted list; a list of faults."""
    faults, found = [], {}
    now, made = disk.Disk(recorded.before), 0
    for count, flavour in wanted:
        while made < count:
            now.apply(recorded.changes[made])
            made += 1
        tree = now.tree_after_cut(random.Random(f"{seed} {recorded.name} {count} {flavour}"), flavour)
        try:
            word = judge(shop, recorded, tree)
            found[word] = found.get(word, 0) + 1
        except (Fault, AssertionError) as fault:
            faults.append(f"{recorded.name}, cut behind change {count} of {len(recorded.changes)} ({flavour}): {fault}")
    return found, faults


def run(number=None, seed=0, only="", flavours=disk.FLAVOURS, tell=lambda *_: None):
    """Cuts at `number` points, taken at random, or at all. Gives how many there were and the faults."""
    with Shop() as shop:
        furnish(shop)
        shop.checks = shop.has("env", "check")
        base = disk.tree_of(shop.folder)
        recorded = [Recorded(shop, base, command) for command in commands.ALL if only in commands.named(command.words)]
        wanted = [(i, *point) for i, one in enumerate(recorded) for point in points(one, flavours)]
        if number is not None and number < len(wanted):
            wanted = sorted(random.Random(seed).sample(wanted, number))
        faults = []
        for i, one in enumerate(recorded):
            mine = [(count, flavour) for at, count, flavour in wanted if at == i]
            found, of_this = cut(shop, one, mine, seed)
            tell(f"{one.name}: {len(one.changes)} changes, {len(mine)} cuts, {found}, {len(of_this)} faults")
            faults += of_this
        return len(wanted), faults


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture power", description=__doc__)
    parser.add_argument("number", nargs="?", help="points to cut at, taken at random; all (the default) for each")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    parser.add_argument("--only", default="", help="commands whose words hold this")
    arguments = parser.parse_args()
    number = None if arguments.number in (None, "all") else int(arguments.number)
    cuts, faults = run(number, arguments.seed, arguments.only, tell=print)
    print(*faults, sep="\n")
    print(f"power: {cuts} cuts, {len(faults)} faults, seed {arguments.seed}")
    if faults:
        sys.exit(f"again: scripts/torture power {arguments.number or 'all'} --seed {arguments.seed}")


if __name__ == "__main__":
    main()
