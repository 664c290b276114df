"""Commands that are run once while their changes are recorded, so that what a cut leaves of them can be judged."""

import re

import commands
import disk
import file_log
from shop import Fault

NOON = 1790000000  # the clock stands, so that two runs of a command write the same
# What belongs to no state: logs, locks, what is in the making or being undone, and numbers that are drawn once.
TRANSIENT = re.compile(r"(^|/)(LOG|ATEMP|UNDO|\.undo(\.new|\.old)?)(/|$)|\.lock$|\.tessaly-new\d*$|\.work(\.log)?$|seq\.dat$|"
                       r"\.record$|\.csv\.log$|_復旧\.txt$")


def state(tree):
    return {path: content for path, content in tree.items() if not TRANSIENT.search(path)}


def differences(one, other):
    return sorted(path for path in one.keys() | other.keys() if one.get(path, 0) != other.get(path, 0))


def record(shop, words, codes=(0,), **options):
    """Runs a command: the disk before, its changes, the disk behind it."""
    log = shop.folder.with_name(shop.folder.name + ".log")
    shop.addCleanup(log.unlink, True)
    before = disk.tree_of(shop.folder)
    shop.must(*words, codes=codes, variables=file_log.variables(shop.folder, log, **options))
    after, changes = disk.tree_of(shop.folder), file_log.read(log, shop.folder)
    log.unlink()
    played = disk.Disk(before)
    for change in changes:
        played.apply(change)
    if missing := differences(played.tree(), after):
        raise Fault(f"{commands.named(words)}: the record does not lead to {missing}")
    return before, changes, after


class Recorded:
    """A command that changes something, run once."""

    def __init__(self, shop, base, command, **options):
        self.shop, self.command, self.name = shop, command, commands.named(command.words)
        disk.put_tree(base, shop.folder)
        for given in command.given:
            shop.must(*given)
        if command.broken:
            shop.put(command.broken, (shop.folder / command.broken).read_bytes()[:-9])
        self.seen_before = shop.view() if command.random else None
        self.before, self.changes, self.after = record(shop, command.words, time=NOON, **options)
        self.seen = shop.view() if command.random or command.steps else None
        self.again = shop.run(*command.words, variables=file_log.variables(time=NOON)).code

    def judge(self, tree, *_):
        """Opens a disk as a cut left it. Gives the word for its state; a Fault when it must not be so."""
        shop, variables = self.shop, file_log.variables(time=NOON)
        disk.put_tree(tree, shop.folder)
        shop.must("customers", "list", "shop.tsl", variables=variables)
        if shop.checks:
            shop.must("env", "check", "shop.tsl", codes=(0, 1) if self.command.broken else (0,), variables=variables)
        found = self.old_or_new(disk.tree_of(shop.folder))
        allowed = (0,) if found == "old" else (0, self.again)
        shop.must(*self.command.words, codes=allowed, variables=variables)
        shop.must("customers", "list", "shop.tsl", variables=variables)
        if self.command.steps and (other := [key for key, rows in shop.view().items() if rows != self.seen[key]]):
            raise Fault(f"run again, it does not come to the same: {other}")
        return found

    def old_or_new(self, tree):
        """Which of the two a disk is; a Fault when it is neither."""
        if self.command.random:
            return self.old_or_new_as_seen()
        now = state(tree)
        for word, wanted in (("old", self.before), ("new", self.after)):
            if now == state(wanted):
                return word
        if self.command.steps:
            return "between"
        raise Fault("neither old nor new: old but " + ", ".join(differences(now, state(self.before))) +
                    "; new but " + ", ".join(differences(now, state(self.after))))

    def old_or_new_as_seen(self):
        if "new.tsl" in self.command.words:
            return "new" if self.shop.run("env", "info", "new.tsl").code == 0 else "old"
        for name in (name for name in state(self.after).keys() - state(self.before).keys() if "/" not in name):
            written = (self.shop.folder / name).exists()
            if written and len((self.shop.folder / name).read_bytes()) != len(self.after[name]):
                raise Fault(f"{name} is not whole")
            return "new" if written else "old"
        now = self.shop.view()
        if now not in (self.seen, self.seen_before):
            raise Fault("neither old nor new: " + ", ".join(key for key in now if now[key] != self.seen[key]))
        return "new" if now == self.seen else "old"
