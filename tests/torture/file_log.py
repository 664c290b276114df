"""The library file_faults: how a program is run with it, and what it recorded."""

import collections
import os
import pathlib
import struct

LIBRARY = os.environ["FILE_FAULTS"]
HEADER = struct.Struct("<8siIIIqqQ")

Change = collections.namedtuple("Change", "kind error path other flags place length data")


def variables(root=None, log=None, fail=None, kill=None, no_sync=False, time=None, boot_id=None):
    """The environment of a process that runs with the library; file_faults.cpp says what each means."""
    given = {"ROOT": root and os.path.realpath(root), "LOG": log, "FAIL": fail, "KILL": kill,
             "NO_SYNC": "1" if no_sync else None, "TIME": time, "BOOT_ID": boot_id}
    sanitizer = os.environ.get("ASAN_OPTIONS", "")
    return {"LD_PRELOAD": LIBRARY, "ASAN_OPTIONS": f"{sanitizer}:verify_asan_link_order=0".lstrip(":"),
            **{"FILE_FAULTS_" + name: str(value) for name, value in given.items() if value is not None}}


def read(file, root):
    """The changes that succeeded, in their order, with paths below `root`. What was sent has no path."""
    content, place, changes = pathlib.Path(file).read_bytes(), 0, []
    root = os.path.realpath(root)
    while place + HEADER.size <= len(content):
        kind, error, path, other, flags, offset, length, data = HEADER.unpack_from(content, place)
        texts = content[place + HEADER.size:place + HEADER.size + path + other + data]
        place += HEADER.size + path + other + data
        names = [texts[:path].decode(), texts[path:path + other].decode()]
        names = [os.path.relpath(name, root) if name else "" for name in names]
        if error == 0:
            changes.append(Change(kind.rstrip(b"\0").decode(), error, *names, flags, offset, length, texts[path + other:]))
    return changes
