"""A disk as it may look after the power was cut: files and folders, each with what has certainly reached the disk and
what may be lost. Data since the last sync of a file survive by blocks, the last of them perhaps torn; names since the
last sync of their folder survive one by one."""

import os
import pathlib

BLOCK = 4096
FLAVOURS = ("random", "nothing", "names only", "data only", "everything")


class File:
    def __init__(self, content=b""):
        self.content, self.durable, self.pending = bytearray(content), bytes(content), []

    def write(self, place, data):
        self.pending.append((place, bytes(data)))
        self.resize(max(len(self.content), place + len(data)))
        self.content[place:place + len(data)] = data

    def truncate(self, size):
        if size < len(self.content):
            self.pending.append((size, None))
        self.resize(size)

    def resize(self, size):
        del self.content[size:]
        self.content.extend(bytes(size - len(self.content)))

    def sync(self):
        self.durable, self.pending = bytes(self.content), []

    def after_cut(self, chance, keep):
        """`keep`: of the data everything (True), nothing (False), or whatever (None)."""
        if keep is not None:
            return bytes(self.content) if keep else self.durable
        cuts = [i for i, (_, data) in enumerate(self.pending) if data is None]
        survived = chance.randint(0, len(cuts))  # truncations, in their order
        content = bytearray(self.durable)
        first, last = 0, cuts[survived] if survived < len(cuts) else len(self.pending)
        if survived:
            first = cuts[survived - 1] + 1
            size = self.pending[first - 1][0]
            del content[size:]
            content.extend(bytes(size - len(content)))
        self.survive(content, self.pending[first:last], chance)
        if survived == len(cuts) and len(content) < len(self.content) and chance.random() < 0.5:
            content.extend(bytes(len(self.content) - len(content)))  # the size is known, the data are not there
        return bytes(content)

    @staticmethod
    def survive(content, writes, chance):
        """A block comes to the disk as it is at some time: with a part of its writes, in their order."""
        of_block = {}
        for place, data in writes:
            for block in range(place // BLOCK, (place + max(len(data), 1) - 1) // BLOCK + 1):
                start, end = max(place, block * BLOCK), min(place + len(data), (block + 1) * BLOCK)
                of_block.setdefault(block, []).append((start, data[start - place:end - place]))
        for pieces in of_block.values():
            count = chance.choice((0, len(pieces), chance.randint(0, len(pieces))))
            for i, (start, data) in enumerate(pieces[:count]):
                if i == count - 1 and chance.random() < 0.25:
                    data = data[:chance.randint(0, len(data))]
                if data and len(content) < start + len(data):
                    content.extend(bytes(start + len(data) - len(content)))
                content[start:start + len(data)] = data


class Folder:
    def __init__(self):
        self.entries, self.durable = {}, {}


class Disk:
    def __init__(self, tree):
        """`tree`: as tree_of gives it; all of it has reached the disk."""
        self.root, self.pending = Folder(), []  # (folder to be synced, [(folder, name, what it then is or None)])
        for path, content in sorted(tree.items()):
            folder, name = self.place_of(path)
            folder.entries[name] = folder.durable[name] = Folder() if content is None else File(content)

    def place_of(self, path):
        *folders, name = pathlib.PurePath(path).parts
        folder = self.root
        for part in folders:
            folder = folder.entries[part]
        return folder, name

    def at(self, path):
        if path == ".":
            return self.root
        folder, name = self.place_of(path)
        return folder.entries[name]

    def name(self, folder, *effects):
        self.pending.append((folder, effects))
        for of, name, target in effects:
            self.put(of.entries, name, target)

    @staticmethod
    def put(entries, name, target):
        if target is None:
            entries.pop(name, None)
        else:
            entries[name] = target

    def apply(self, change):
        if change.kind != "send":
            getattr(self, "on_" + change.kind)(change)

    def on_create(self, change):
        folder, name = self.place_of(change.path)
        if name not in folder.entries:
            self.name(folder, (folder, name, File()))
        elif change.flags & os.O_TRUNC:
            folder.entries[name].truncate(0)

    def on_write(self, change):
        self.at(change.path).write(change.place, change.data)

    def on_truncate(self, change):
        self.at(change.path).truncate(change.place)

    def on_allocate(self, change):
        file = self.at(change.path)
        if not change.flags & 1:  # FALLOC_FL_KEEP_SIZE
            file.resize(max(len(file.content), change.place + change.length))

    def on_sync(self, change):
        synced = self.at(change.path)
        if isinstance(synced, File):
            synced.sync()
            return
        for folder, effects in self.pending:
            if folder is synced:
                for of, name, target in effects:
                    self.put(of.durable, name, target)
        self.pending = [entry for entry in self.pending if entry[0] is not synced]

    def on_rename(self, change):
        (source, old), (target, new) = self.place_of(change.path), self.place_of(change.other)
        self.name(target, (source, old, None), (target, new, source.entries[old]))

    def on_link(self, change):
        folder, name = self.place_of(change.other)
        self.name(folder, (folder, name, self.at(change.path)))

    def on_unlink(self, change):
        folder, name = self.place_of(change.path)
        self.name(folder, (folder, name, None))

    on_rmdir = on_unlink

    def on_mkdir(self, change):
        folder, name = self.place_of(change.path)
        self.name(folder, (folder, name, Folder()))

    def tree(self):
        """As the programs that go on see it."""
        return flat(self.root, lambda folder: folder.entries, lambda file: bytes(file.content))

    def tree_after_cut(self, chance, flavour):
        names, data = {"random": (None, None), "nothing": (False, False), "names only": (True, False),
                       "data only": (False, True), "everything": (True, True)}[flavour]
        entries = {}
        of = lambda folder: entries.setdefault(id(folder), dict(folder.durable))
        for _, effects in self.pending:
            if chance.random() < 0.5 if names is None else names:
                for folder, name, target in effects:
                    self.put(of(folder), name, target)
        return flat(self.root, of, lambda file: file.after_cut(chance, data))


def flat(root, entries_of, content_of):
    tree, folders = {}, [("", root)]
    while folders:
        path, folder = folders.pop()
        for name, entry in entries_of(folder).items():
            if isinstance(entry, Folder):
                tree[path + name] = None
                folders.append((path + name + "/", entry))
            else:
                tree[path + name] = content_of(entry)
    return tree


def tree_of(folder):
    """By path below a folder the bytes of each file, None for a folder."""
    return {str(path.relative_to(folder)): None if path.is_dir() else path.read_bytes()
            for path in pathlib.Path(folder).rglob("*")}


def put_tree(tree, folder):
    """Makes the folder hold exactly this; what has its content already stays."""
    folder = pathlib.Path(folder)
    folder.mkdir(exist_ok=True)
    for path in sorted(folder.rglob("*"), reverse=True):
        name = str(path.relative_to(folder))
        if name not in tree or (tree[name] is None) != path.is_dir():
            path.rmdir() if path.is_dir() else path.unlink()
    for name, content in sorted(tree.items()):
        path = folder / name
        if content is None:
            path.mkdir(exist_ok=True)
        elif not path.exists() or path.read_bytes() != content:
            path.write_bytes(content)
