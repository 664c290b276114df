"""Lets the disk fail under every command that changes something: full or broken from the N-th call on, or broken for one
call. The failure has to be told, and everything has to be as before or as after; behind `send` nobody may be mailed twice."""

import argparse
import collections
import random
import sys

import disk
import file_log
from recorded import NOON
from recorded_sending import BOOTS, RecordedSending
from recording_server import RecordingServer
from recordings import chosen, record_all
from shop import Fault, Shop

NEW = ("create", "write", "allocate", "mkdir")
ALL = (*NEW, "truncate", "sync", "rename", "link", "unlink", "rmdir")
WAYS = ((NEW, "+:ENOSPC"), (ALL, ":EIO"), (ALL, "+:EIO"))


def faults_of(recorded):
    """Every way in which one call of the command fails, as file_faults takes it."""
    counts = collections.Counter(change.kind for change in recorded.changes)
    return [f"{','.join(kinds)}:{number}{ending}" for kinds, ending in WAYS
            for number in range(1, sum(counts[kind] for kind in kinds) + 1)]


def judge(recorded, fail):
    """Runs the command with the fault, then opens what it left on a sound disk."""
    shop, server = recorded.shop, None
    disk.put_tree(recorded.before, shop.folder)
    sending = isinstance(recorded, RecordedSending)
    options = {"boot_id": shop.folder / BOOTS[0]} if sending else {"time": NOON}
    words = recorded.words if sending else recorded.command.words
    if sending:
        server = RecordingServer(shop)
        words = (*words, "--smtp", server.address)
    result = shop.run(*words, variables=file_log.variables(shop.folder, fail=fail, **options))
    if result.code not in (0, 1) or (result.code == 1 and not result.err):
        raise Fault(f"exit code {result.code}, told: {result.err!r}")
    if sending:
        server.stop()
        found = recorded.resume({address for address, _ in server.taken}, BOOTS[0], 2 * recorded.threads)
    else:
        found = recorded.judge(disk.tree_of(shop.folder))
        if result.code == 0 and found != "new" and not recorded.command.steps:
            raise Fault(f"exit code 0, though everything is {found}\n{result.out}{result.err}")
    return f"{result.code}, {found}"


def run(number=None, seed=0, only="", tell=lambda *_: None):
    """`number` faults, taken at random, or all. Gives how many there were and what was wrong."""
    with Shop() as shop:
        recorded = record_all(shop, only)
        wanted, faults = chosen([faults_of(one) for one in recorded], number, seed), []
        for one, of_this in zip(recorded, wanted):
            found, before = collections.Counter(), len(faults)
            for fail in of_this:
                try:
                    found[judge(one, fail)] += 1
                except (Fault, AssertionError) as fault:
                    faults.append(f"{one.name}, {fail}: {fault}")
            tell(f"{one.name}: {dict(found)}, {len(faults) - before} faults")
        return sum(map(len, wanted)), faults


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture errors", description=__doc__)
    parser.add_argument("number", nargs="?", help="failures to try, taken at random; all (the default) for each")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    parser.add_argument("--only", default="", help="commands whose words hold this")
    arguments = parser.parse_args()
    number = None if arguments.number in (None, "all") else int(arguments.number)
    tried, faults = run(number, arguments.seed, arguments.only, print)
    print(*faults, sep="\n")
    print(f"errors: {tried} failures, {len(faults)} faults, seed {arguments.seed}")
    if faults:
        sys.exit(f"again: scripts/torture errors {arguments.number or 'all'} --seed {arguments.seed} --only '{arguments.only}'")


if __name__ == "__main__":
    main()
