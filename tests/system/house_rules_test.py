"""Who may include what: the arrows between the rooms lead one way (docs/architecture.md)."""

import pathlib
import re
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ROOMS = {"backup", "compose", "customers", "delivery", "environment", "extract", "html", "import", "information",
         "mailstore", "mime", "reception", "storage", "text"}
# C++ headers that speak to the system, or cannot be compiled for code page 932.
NOT_FOR_THE_LIBRARY = {"chrono", "csignal", "filesystem", "fstream", "iostream", "thread"}
# The engine shows nothing by itself.
NOT_FOR_THE_ENGINE = {"iostream"}
COMPILER_HEADERS = {"emmintrin.h"}


def includes(folder):
    """Each source below a folder with one of its includes, written as it stands there: <x> or "x"."""
    for file in sorted(folder.rglob("*")):
        if file.suffix in (".h", ".cpp"):
            for included in re.findall(r'^\s*#\s*include\s+(<[^>]*>|"[^"]*")', file.read_text(), re.M):
                yield file, included


def allowed_rooms(root):
    """By room of the library, itself, platform and what else its CMake target names; each room by its folder in src."""
    rooms = {}
    for file in (root / "src").rglob("CMakeLists.txt"):
        if declared := re.search(r"tessaly_room\(([^)]*)\)", file.read_text()):
            name, *depends = declared[1].split()
            if name != file.parent.name or file.parent.parent != root / "src":
                raise ValueError(f"{file}: not the folder of a room {name}")
            rooms[name] = {name, "platform", *depends[1:]}
    return rooms


def allowed_engine_rooms(root):
    """The same for the rooms of the engine, which are declared in one place."""
    text = (root / "engine/CMakeLists.txt").read_text()
    return {name: {name, *depends.split()[1:]}
            for name, depends in re.findall(r"^tessaly_engine_room\((\w+)([^)]*)\)", text, re.M)}


def linked(cmake, target):
    """What the text of a CMakeLists.txt links to a target, and whose include folders it gives it."""
    words = {word for listed in re.findall(r"target_link_libraries\(%s\s([^)]*)\)" % target, cmake) for word in listed.split()}
    folders = [listed for listed in re.findall(r"target_include_directories\(%s\s([^)]*)\)" % target, cmake)]
    return words - {"PRIVATE", "PUBLIC"}, set(re.findall(r"rooms/(\w+)", " ".join(folders)))


def circle(arrows):
    """Nodes of a circle among arrows {from: {to, ...}}, empty if there is none."""
    left = {node: targets - {node} for node, targets in arrows.items()}
    while True:
        ends = [node for node, targets in left.items() if not targets & left.keys()]
        if not ends:
            return sorted(left)
        for node in ends:
            del left[node]


def room_of(included):
    """The room that an included header belongs to: "tessaly/text/width.h" to text, "tessaly/text.h" to tessaly, the face."""
    parts = included.split("/")
    return parts[1] if parts[0] == "tessaly" and len(parts) == 3 else parts[0]


def is_standard(included):
    return included[0] == "<" and "." not in included and "/" not in included


def allowed(root, rooms, engine, file, included):
    part = file.relative_to(root).parts
    name, first = included[1:-1], included[1:-1].split("/")[0]
    room = room_of(name)
    if part[0] == "include":
        if included[0] == "<":
            return is_standard(included) and name not in NOT_FOR_THE_LIBRARY
        if first != "tessaly":
            return False
        return len(part) == 3 or room in {"platform": {"platform"}, "protocol": {"platform", "protocol"}, **rooms}.get(part[2], ())
    if part[0] == "platform":
        return included[0] == "<" or room == "platform"
    if part[0] == "protocol" and included[0] == '"':
        return room in {"platform", "protocol"}
    if part[0] == "engine":
        if included[0] == "<":
            return name not in NOT_FOR_THE_ENGINE and not name.startswith("CLI/")
        return first == "tessaly" or (first == "engine" and name.split("/")[1] in engine.get(part[1], set()))
    if part[0] == "postbox":
        return included[0] == "<" or room in {"platform", "postbox", "protocol"}
    if part[0] == "cli":
        return included[0] == "<" or first in {"cli", "engine", "postbox", "tessaly"}
    if included[0] == "<":
        return name in COMPILER_HEADERS or (is_standard(included) and name not in NOT_FOR_THE_LIBRARY)
    return room in rooms.get(part[1], set())


def violations(root):
    rooms, engine = allowed_rooms(root), allowed_engine_rooms(root)
    return [f"{file.relative_to(root)}: {included}"
            for part in ("platform", "protocol", "include", "src", "engine", "postbox", "cli")
            for file, included in includes(root / part) if not allowed(root, rooms, engine, file, included)]


# What writes, makes or removes files by itself, for which the engine has engine/base/whole_file.
RAW_WRITING = re.compile(r"\bstd::(ofstream|fstream|fopen|rename|remove)\b(?!\(\w+\.begin)|\b(fs|std::filesystem)::(copy|copy_file|"
                         r"rename|remove|remove_all|create_director\w*|resize_file|permissions)\(|\bO_(CREAT|WRONLY|RDWR)\b")
# The functions themselves, the locks, the permissions of what is there, and the records and the journal, which have an order
# of syncs of their own.
MAY_WRITE = {"base/whole_file.cpp", "environment/file_record.cpp", "environment/folder_lock.cpp",
             "environment/private_files.cpp", "sending/journal_file.cpp"}


def raw_writing(root):
    """Each line of the engine that writes a file without those functions."""
    return [f"{file.relative_to(root)}:{number}: {line.strip()}"
            for file in sorted((root / "engine").rglob("*.[ch]*")) if str(file.relative_to(root / "engine")) not in MAY_WRITE
            for number, line in enumerate(file.read_text().splitlines(), 1) if file.suffix != ".txt" and RAW_WRITING.search(line)]


class HouseRules(unittest.TestCase):
    def test_the_rooms_keep_to_their_neighbours(self):
        self.assertEqual(allowed_rooms(ROOT).keys(), ROOMS)
        self.assertGreater(len(list(includes(ROOT / "src"))), 100)
        self.assertEqual(violations(ROOT), [])
        self.assertGreater(len(list(includes(ROOT / "protocol"))), 20)
        self.assertEqual(circle(allowed_rooms(ROOT)), [])
        folders = {file.parent.name for file in (ROOT / "engine").glob("*/*.h")}
        self.assertEqual(allowed_engine_rooms(ROOT).keys(), folders)
        self.assertEqual(circle(allowed_engine_rooms(ROOT)), [])

    def test_the_post_box_is_built_without_the_library(self):
        cmake = (ROOT / "postbox/CMakeLists.txt").read_text()
        self.assertEqual(linked(cmake, "tessaly_postbox"),
                         ({"tessaly_flags", "OpenSSL::SSL", "Threads::Threads"}, {"postbox", "protocol", "platform"}))
        self.assertIn("tessaly", linked(cmake + "\ntarget_link_libraries(tessaly_postbox PUBLIC tessaly)", "tessaly_postbox")[0])

    def test_a_wrong_arrow_is_seen(self):
        wrong = {"platform/a.cpp": ['"storage/my_db.h"', '"tessaly/text.h"', '"protocol/smtps.h"'],
                 "protocol/a.cpp": ["<openssl/ssl.h>", "<unistd.h>", "<chrono>", '"storage/my_db.h"', '"tessaly/text.h"'],
                 "src/text/a.h": ["<unistd.h>", "<sys/stat.h>", "<openssl/ssl.h>", "<curl/curl.h>", "<chrono>",
                                  '"tessaly/text.h"', '"include/tessaly/text.h"', '"customers/one_customer.h"',
                                  '"engine/mails/draft.h"'],
                 "src/customers/a.h": ['"extract/extract_action.h"', '"tessaly/extract/extract_action.h"', '"tessaly/text.h"', '"protocol/smtps.h"'],
                 "include/tessaly/a.h": ['"engine/mails/draft.h"', '"text/width.h"'],
                 "include/tessaly/text/a.h": ["<unistd.h>", '"text/width.h"', '"tessaly/text.h"', '"tessaly/storage/my_db.h"'],
                 "include/tessaly/platform/a.h": ['"tessaly/text/width.h"'],
                 "engine/mails/a.cpp": ["<iostream>", "<CLI/CLI.hpp>", '"engine/sending/mailing.h"', '"cli/terminal.h"',
                                        '"storage/my_db.h"', '"platform/cstring.h"', '"missing.h"'],
                 "postbox/a.cpp": ['"engine/base/failure.h"', '"cli/terminal.h"', '"tessaly/mime.h"', '"tessaly/mime/base64.h"', '"storage/my_db.h"'],
                 "cli/a.cpp": ['"storage/my_db.h"', '"platform/cstring.h"', '"../src/storage/my_db.h"', '"missing.h"']}
        right = {"platform/posix/b.cpp": ["<unistd.h>", '"platform/file.h"'],
                 "protocol/b.h": ["<string>", '"platform/file.h"', '"protocol/smtps.h"'],
                 "src/storage/b.h": ["<string>", '"text/dates.h"', '"platform/file.h"', '"protocol/smtps.h"'],
                 "include/tessaly/b.h": ["<string>", '"tessaly/text.h"', '"tessaly/text/width.h"'],
                 "include/tessaly/customers/b.h": ["<string>", '"tessaly/platform/cstring.h"', '"tessaly/text/width.h"'],
                 "src/extract/b.h": ['"tessaly/customers/one_customer.h"', '"extract/extract_action.h"'],
                 "engine/sending/b.cpp": ["<thread>", '"engine/mails/draft.h"', '"tessaly/text.h"'],
                 "postbox/b.cpp": ["<openssl/ssl.h>", '"platform/file.h"', '"tessaly/platform/md5.h"', '"protocol/mail_dots.h"', '"postbox/b.h"'],
                 "cli/b.cpp": ["<unistd.h>", "<CLI/CLI.hpp>", '"cli/b.h"', '"engine/mails/draft.h"', '"tessaly/text.h"']}
        with tempfile.TemporaryDirectory() as scratch:
            root = pathlib.Path(scratch)
            rooms = {"text": "", "storage": "DEPENDS protocol text", "customers": "DEPENDS text storage", "extract": "DEPENDS customers"}
            texts = {f"src/{room}/CMakeLists.txt": f"tessaly_room({room} {words})" for room, words in rooms.items()}
            texts["engine/CMakeLists.txt"] = "tessaly_engine_room(mails)\ntessaly_engine_room(sending DEPENDS mails)\n"
            for name, lines in {**wrong, **right}.items():
                texts[name] = "".join(f"#include {line}\n" for line in lines)
            for name, content in texts.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(content)
            wanted = [f"{name}: {line}" for name in wrong for line in wrong[name]]
            self.assertEqual(sorted(violations(root)), sorted(wanted))

    def test_the_engine_writes_through_its_own_functions_alone(self):
        self.assertEqual(raw_writing(ROOT), [])
        for line in ("std::ofstream file(name);", "fs::copy(a, b);", "fs::remove_all(path, error);",
                     "std::filesystem::create_directories(path);", "open(name, O_WRONLY | O_CREAT);"):
            self.assertTrue(RAW_WRITING.search(line), line)

    def test_a_circle_is_seen(self):
        self.assertEqual(circle({"a": {"a", "b"}, "b": {"c"}, "c": set()}), [])
        self.assertEqual(circle({"a": {"b"}, "b": {"c"}, "c": {"b"}, "d": set()}), ["a", "b", "c"])


if __name__ == "__main__":
    unittest.main()
