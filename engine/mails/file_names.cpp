#include "engine/mails/file_names.h"

#include <algorithm>
#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/trimmed.h"
#include "engine/mails/mail_store.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// Of a name on the disk, where ".base64" and the ending of a file in the making stand behind it. (NAME_MAX is
// 255.)
constexpr std::size_t longest_name = 220, longest_extension = 20;

// The start of a text in UTF-8, of whole characters.
std::string_view Start(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
    return text.substr(0, bytes);
}

std::string ExtensionOf(std::string_view name) {
    std::string extension = fs::path(name).extension().string();
    return extension.size() <= longest_extension ? extension : "";
}

std::string Safe(std::string_view given) {
    std::string name = Out(IntoWithGeta(OnOneLine(given)));
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return c == '\x7F' || not_for_names.find(c) != not_for_names.npos; }, '_');
    return std::string(Trimmed(name, " "));
}

bool IsNamedAs(std::string_view name, std::string_view type) {
    std::string const extension = ExtensionOf(name);
    if (type.starts_with("image/"))
        return std::string_view(MediaTypeOf(std::string(name))).starts_with("image/");
    return type == "message/rfc822" ? extension == ".eml" : !extension.empty();
}

// `name` with an ending, no longer than names may be.
std::string WithEnding(std::string_view name, std::string const& ending) {
    return std::string(Trimmed(Start(name, longest_name - ending.size()), " ")) + ending;
}

}  // namespace

std::string FileNames::Take(std::string_view given, std::string_view type, std::size_t number) {
    std::string name = Safe(given);
    bool const made_up = name.find_first_not_of(". ") == name.npos;
    if (made_up) name = "file" + std::to_string(number);
    bool const must_tell = made_up || type.starts_with("image/") || type == "message/rfc822";
    std::string extension = ExtensionOf(name);
    std::string stem = name.substr(0, name.size() - extension.size());
    if (must_tell && !IsNamedAs(name, type)) {
        stem = name;
        extension = ExtensionFor(type);
    }
    std::string taken = WithEnding(stem, extension);
    for (int copy = 2; !taken_.insert(taken).second; ++copy)
        taken = WithEnding(stem, " (" + std::to_string(copy) + ")" + extension);
    return taken;
}

}  // namespace engine
