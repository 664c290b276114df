"""Cuts the power at points of every command that changes something, and opens what is then on the disk: it has to be as
before or as after, and behind `send` nobody may have been mailed twice or missed."""

import argparse
import random
import sys

import disk
from recordings import chosen, record_all
from shop import Fault, Shop

def points(recorded, flavours):
    """Behind how many changes the power is cut, and what survives. The logs tell nothing about the state."""
    return [(count, flavour) for count in range(len(recorded.changes) + 1)
            if count == 0 or "/LOG/" not in recorded.changes[count - 1].path for flavour in flavours]


def cut(recorded, wanted, seed):
    """Judges the points of one command, a sorted list; a list of faults."""
    faults, found = [], {}
    now, made = disk.Disk(recorded.before), 0
    for count, flavour in wanted:
        while made < count:
            now.apply(recorded.changes[made])
            made += 1
        tree = now.tree_after_cut(random.Random(f"{seed} {recorded.name} {count} {flavour}"), flavour)
        try:
            word = recorded.judge(tree, count, flavour)
            found[word] = found.get(word, 0) + 1
        except (Fault, AssertionError) as fault:
            faults.append(f"{recorded.name}, cut behind change {count} of {len(recorded.changes)} ({flavour}): {fault}")
    return found, faults


def run(number=None, seed=0, only="", flavours=disk.FLAVOURS, no_sync=False, tell=lambda *_: None):
    """Cuts at `number` points, taken at random, or at all, of commands that bring what they write to the disk, or with
    `no_sync` do not. Gives how many points there were and the faults."""
    with Shop() as shop:
        recorded = record_all(shop, only, no_sync=no_sync)
        wanted, faults = chosen([points(one, flavours) for one in recorded], number, seed), []
        for one, of_this in zip(recorded, wanted):
            found, mine = cut(one, of_this, seed)
            tell(f"{one.name}: {len(one.changes)} changes, {len(of_this)} cuts, {found}, {len(mine)} faults")
            faults += mine
        return sum(map(len, wanted)), faults


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
        sys.exit(f"again: scripts/torture power {arguments.number or 'all'} --seed {arguments.seed} --only '{arguments.only}'")


if __name__ == "__main__":
    main()
