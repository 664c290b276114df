"""The recordings that power.py and errors.py go through, and how they choose among the points of each."""

import collections
import random

import commands
import disk
from recorded import Recorded
from recorded_sending import KINDS, RecordedSending
from shop import furnish


def record_all(shop, only, **options):
    """Every command that changes something, recorded on a furnished shop; those whose words hold `only`. The options are those of
    file_log.variables."""
    furnish(shop)
    shop.checks = shop.has("env", "check")
    base = disk.tree_of(shop.folder)
    recorded = [Recorded(shop, base, command, **options) for command in commands.ALL if only in commands.named(command.words)]
    return recorded + [RecordedSending(shop, base, *kind) for kind in KINDS if only in kind[0]]


def chosen(points, number, seed):
    """By recording those of its points that are tried: all, or `number` of them, as many of one recording as of another
    where it has them. `points`: a list for each recording."""
    of_all = [list(of_one) for of_one in points]
    left = [list(of_one) for of_one in of_all]
    if number is None or number >= sum(map(len, left)):
        return left
    chance, taken = random.Random(seed), collections.defaultdict(list)
    for of_one in left:
        chance.shuffle(of_one)
    while number > 0:
        for at in chance.sample(range(len(left)), len(left)):
            if left[at] and number > 0:
                taken[at].append(left[at].pop())
                number -= 1
    return [sorted(taken[at], key=of_all[at].index) for at in range(len(left))]
