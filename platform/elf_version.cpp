#include <algorithm>

#include "platform/file.h"
#include "platform/version_readers.h"
#include "tessaly/platform/mbcs.h"

// The library's own version block is a note of its ELF file (System V ABI, "Note Section"): the name
// "Tessaly", the type 1, and as its content item and value in turn, each with a NUL. The values of this
// layout never change.
namespace platform {
namespace {

constexpr char items[] = "FileVersion\0" TESSALY_VERSION
                         "\0"
                         "ProductVersion\0" TESSALY_VERSION
                         "\0"
                         "InternalName\0tessaly\0"
                         "OriginalFilename\0libtessaly.so\0"
                         "ProductName\0Tessaly\0"
                         "FileDescription\0Tessaly core library\0";

constexpr std::string_view note_name("Tessaly", 8);  // with its NUL  NOLINT(bugprone-string-constructor)
constexpr std::uint32_t note_type = 1;

struct Note {
    std::uint32_t name_size = note_name.size();
    std::uint32_t content_size = sizeof items;
    std::uint32_t type = note_type;
    char name[note_name.size()];
    char content[RoundedUp(sizeof items, 4)];

    constexpr Note() : name(), content() {
        std::copy(note_name.begin(), note_name.end(), name);
        std::copy(std::begin(items), std::end(items), content);
    }
};
[[gnu::section(".note.tessaly"), gnu::used, gnu::aligned(4)]] constinit Note const note;

// ELF of 64 bits, lowest byte first: identification, and the offsets of the fields in its header, in a
// program header and in a note.
constexpr std::string_view elf_start("\177ELF\2\1", 6);
enum ElfPlace : std::size_t {
    table_offset_at = 32,
    entry_size_at = 54,
    entry_count_at = 56,
    header_size = 64,
    segment_type_at = 0,
    segment_offset_at = 8,
    segment_size_at = 32,
    segment_alignment_at = 48,
    program_header_size = 56,
    name_size_at = 0,
    content_size_at = 4,
    type_at = 8,
    note_header_size = 12,
};
constexpr std::uint32_t note_segment = 4;
constexpr std::size_t most_segments = 256;
constexpr std::size_t largest_segment = 64 * 1024;

// The content of the note in a segment of notes; empty without it.
std::string_view ContentOfNote(std::string_view segment, std::size_t alignment) {
    while (segment.size() >= note_header_size) {
        std::size_t const name_size = NumberAt<std::uint32_t>(segment, name_size_at);
        std::size_t const content_size = NumberAt<std::uint32_t>(segment, content_size_at);
        std::size_t const content_at = RoundedUp(note_header_size + name_size, alignment);
        std::string_view const content = From(segment, content_at);
        if (content.size() < content_size) break;
        if (segment.substr(note_header_size, name_size) == note_name &&
            NumberAt<std::uint32_t>(segment, type_at) == note_type)
            return content.substr(0, content_size);
        segment = From(segment, content_at + RoundedUp(content_size, alignment));
    }
    return {};
}

// The literal's own NUL ends the items as an empty name.
std::optional<std::string> ItemOf(std::string_view content, std::string_view item) {
    for (;;) {
        std::string_view const name = content.substr(0, content.find('\0'));
        if (name.empty()) return {};
        content = From(content, name.size() + 1);
        std::string_view const value = content.substr(0, content.find('\0'));
        content = From(content, value.size() + 1);
        if (EqualNoCase(name, item)) return std::string(value);
    }
}

}  // namespace

std::optional<std::string> ItemOfElf(CFile& file, std::string_view item) {
    std::string const header = ReadAt(file, 0, header_size);
    if (header.size() < header_size || !header.starts_with(elf_start) ||
        NumberAt<std::uint16_t>(header, entry_size_at) != program_header_size)
        return {};
    std::size_t const count =
        std::min<std::size_t>(NumberAt<std::uint16_t>(header, entry_count_at), most_segments);
    std::string const table =
        ReadAt(file, NumberAt<std::uint64_t>(header, table_offset_at), count * program_header_size);
    for (std::string_view entry = table; entry.size() >= program_header_size;
         entry.remove_prefix(program_header_size)) {
        if (NumberAt<std::uint32_t>(entry, segment_type_at) != note_segment) continue;
        auto const size =
            std::min<std::uint64_t>(NumberAt<std::uint64_t>(entry, segment_size_at), largest_segment);
        std::string const segment =
            ReadAt(file, NumberAt<std::uint64_t>(entry, segment_offset_at), static_cast<std::size_t>(size));
        std::size_t const alignment = NumberAt<std::uint64_t>(entry, segment_alignment_at) == 8 ? 8 : 4;
        std::string_view const content = ContentOfNote(segment, alignment);
        if (!content.empty()) return ItemOf(content, item);
    }
    return {};
}

}  // namespace platform
