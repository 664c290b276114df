#include <algorithm>
#include <cstdio>

#include "platform/file.h"
#include "platform/version_readers.h"
#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"

// The version resource of a Windows program ("PE Format" and "VS_VERSIONINFO" of the platform's
// documentation).
namespace platform {
namespace {

// Offsets of the fields in the headers of the file.
enum HeaderPlace : std::size_t {
    new_header_at = 0x3C,  // in the DOS header
    dos_header_size = 0x40,
    section_count_at = 6,  // from "PE\0\0" on
    optional_size_at = 20,
    optional_at = 24,
    directories_at_32 = 96,  // in the optional header, by its magic number
    directories_at_64 = 112,
    resource_directory = 2,
    directory_size = 8,
    virtual_size_at = 8,  // in a section header
    address_at = 12,
    raw_size_at = 16,
    raw_offset_at = 20,
    section_size = 40,
};
constexpr std::uint16_t magic_32 = 0x10B, magic_64 = 0x20B;

// Offsets in a resource directory and its entries.
enum ResourcePlace : std::size_t {
    named_count_at = 12,
    number_count_at = 14,
    resource_directory_size = 16,
    entry_offset_at = 4,
    entry_size = 8,
    leaf_size = 16,
};
constexpr std::uint32_t version_type = 16;
constexpr std::uint32_t is_directory = 0x80000000;

constexpr std::size_t most_sections = 96;  // the loader's limit
constexpr std::size_t most_entries = 4096;
constexpr std::size_t largest_resource = 256 * 1024;

// Reads a program by the addresses at which it is loaded.
class Image {
  public:
    explicit Image(CFile& file) : file_(file) {
        std::string const dos = ReadAt(file, 0, dos_header_size);
        if (!dos.starts_with("MZ")) return;
        std::uint64_t const start = NumberAt<std::uint32_t>(dos, new_header_at);
        std::string const header = ReadAt(file, start, optional_at + 0xFFFF);
        if (!header.starts_with(std::string_view("PE\0\0", 4))) return;
        std::size_t const optional_size = NumberAt<std::uint16_t>(header, optional_size_at);
        resources_ = ResourceAddress(From(header, optional_at).substr(0, optional_size));
        std::size_t const count =
            std::min<std::size_t>(NumberAt<std::uint16_t>(header, section_count_at), most_sections);
        sections_ = ReadAt(file, start + optional_at + optional_size, count * section_size);
    }
    // Address of the resources; 0 in a file that has none or is no program.
    std::uint32_t Resources() const { return resources_; }
    std::string Read(std::uint64_t address, std::size_t size) const {
        for (std::string_view section = sections_; section.size() >= section_size;
             section.remove_prefix(section_size)) {
            std::uint64_t const first = NumberAt<std::uint32_t>(section, address_at);
            std::uint64_t const raw_size = NumberAt<std::uint32_t>(section, raw_size_at);
            if (address < first || address - first >= raw_size) continue;
            std::uint64_t const within = address - first;
            return ReadAt(file_, NumberAt<std::uint32_t>(section, raw_offset_at) + within,
                          static_cast<std::size_t>(std::min<std::uint64_t>(size, raw_size - within)));
        }
        return {};
    }

  private:
    static std::uint32_t ResourceAddress(std::string_view optional) {
        auto const magic = NumberAt<std::uint16_t>(optional, 0);
        if (magic != magic_32 && magic != magic_64) return 0;
        std::size_t const directories = magic == magic_32 ? directories_at_32 : directories_at_64;
        // The field in front of the first directory is their number.
        if (NumberAt<std::uint32_t>(optional, directories - 4) <= resource_directory) return 0;
        return NumberAt<std::uint32_t>(optional, directories + resource_directory * directory_size);
    }

    CFile& file_;
    std::uint32_t resources_ = 0;
    std::string sections_;
};

// The target of the entry of a resource directory with the given number, or of its first entry without a
// number; 0 for none.
std::uint32_t EntryOf(Image const& image, std::uint32_t directory, std::optional<std::uint32_t> number) {
    std::uint64_t const address = std::uint64_t{image.Resources()} + directory;
    std::string const header = image.Read(address, resource_directory_size);
    std::size_t const count =
        std::min<std::size_t>(NumberAt<std::uint16_t>(header, named_count_at) +
                                  std::size_t{NumberAt<std::uint16_t>(header, number_count_at)},
                              most_entries);
    std::string const entries = image.Read(address + resource_directory_size, count * entry_size);
    for (std::string_view entry = entries; entry.size() >= entry_size; entry.remove_prefix(entry_size))
        if (!number || NumberAt<std::uint32_t>(entry, 0) == *number)
            return NumberAt<std::uint32_t>(entry, entry_offset_at);
    return 0;
}

// Type, name and language are three directories, one below the other.
std::string VersionResource(Image const& image) {
    if (image.Resources() == 0) return {};
    std::uint32_t entry = EntryOf(image, 0, version_type);
    for (int level = 0; level < 2; ++level) {
        if (!(entry & is_directory)) return {};
        entry = EntryOf(image, entry & ~is_directory, std::nullopt);
    }
    if (entry == 0 || entry & is_directory) return {};
    std::string const leaf = image.Read(std::uint64_t{image.Resources()} + entry, leaf_size);
    std::size_t const size = std::min<std::size_t>(NumberAt<std::uint32_t>(leaf, 4), largest_resource);
    return image.Read(NumberAt<std::uint32_t>(leaf, 0), size);
}

// UTF-16 up to its NUL, in code page 932; a character without a form there becomes "?".
std::string TextOf(std::string_view units) {
    std::string text;
    for (std::size_t at = 0; at + 2 <= units.size(); at += 2) {
        auto const unit = NumberAt<std::uint16_t>(units, at);
        if (unit == 0) break;
        if ((unit & 0xFC00) == 0xDC00) continue;  // the first half gave the "?" of the character
        std::uint16_t const code = Cp932Of(unit);
        if (code > 0xFF) text += static_cast<char>(code >> 8);
        text += code ? static_cast<char>(code) : '?';
    }
    return text;
}

std::size_t TextSize(std::string_view units) {
    std::size_t size = 0;
    while (size + 2 <= units.size() && NumberAt<std::uint16_t>(units, size) != 0) size += 2;
    return size;
}

// A block of the version resource: length, length of the value, type, key, value, and the blocks that it
// holds. Each part begins at a multiple of four bytes from the start of the resource.
struct Block {
    std::string key;
    std::string_view value;  // up to the end of the block
    std::string_view inner;
};
constexpr std::size_t block_header_size = 6;
constexpr std::uint16_t text_type = 1;

// Takes the block at the start of `rest`; nothing when there is none.
std::optional<Block> TakeBlock(std::string_view& rest) {
    std::size_t const length = NumberAt<std::uint16_t>(rest, 0);
    if (length < block_header_size) return {};
    std::string_view const whole = rest.substr(0, length);
    rest = From(rest, RoundedUp(length, 4));
    std::string_view const key = From(whole, block_header_size);
    std::string_view const value = From(whole, RoundedUp(block_header_size + TextSize(key) + 2, 4));
    bool const is_text = NumberAt<std::uint16_t>(whole, 4) == text_type;
    std::size_t const value_size = std::size_t{NumberAt<std::uint16_t>(whole, 2)} * (is_text ? 2 : 1);
    return Block{TextOf(key), value, From(value, RoundedUp(value_size, 4))};
}

// The first block of that key in a row of blocks.
std::optional<Block> FindBlock(std::string_view blocks, std::string_view key) {
    while (std::optional<Block> block = TakeBlock(blocks))
        if (EqualNoCase(block->key, key)) return block;
    return {};
}

}  // namespace

std::optional<std::string> ItemOfPortableExecutable(CFile& file, std::string_view item) {
    std::string const resource = VersionResource(Image(file));
    bool const whole = resource.size() >= NumberAt<std::uint16_t>(resource, 0);
    auto const root = whole ? FindBlock(resource, "VS_VERSION_INFO") : std::nullopt;
    if (!root) return {};
    auto const variables = FindBlock(root->inner, "VarFileInfo");
    auto const translation = variables ? FindBlock(variables->inner, "Translation") : std::nullopt;
    if (!translation || translation->value.size() < 4) return {};
    char table_key[9];
    std::snprintf(table_key, sizeof table_key, "%04x%04x", NumberAt<std::uint16_t>(translation->value, 0),
                  NumberAt<std::uint16_t>(translation->value, 2));
    auto const texts = FindBlock(root->inner, "StringFileInfo");
    auto const table = texts ? FindBlock(texts->inner, table_key) : std::nullopt;
    auto const found = table ? FindBlock(table->inner, item) : std::nullopt;
    if (!found) return {};
    return TextOf(found->value);
}

}  // namespace platform
