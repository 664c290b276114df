#pragma once

#include <optional>
#include <string>
#include <string_view>

// The syntax of header fields is ASCII in texts of any code: the words of searches and comparisons are ASCII,
// and only the case of ASCII letters is ignored. Blanks are spaces and tabs.
namespace mime {

constexpr char LowerCase(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
// By whole characters of code page 932, as CString::MakeLower.
std::string Lowered(std::string_view text);
bool EqualNoCase(std::string_view a, std::string_view b) noexcept;
// The place of `word`, or npos; linear in `text` for the short words of headers. An empty word is found at 0.
std::size_t FindNoCase(std::string_view text, std::string_view word) noexcept;
inline bool ContainsNoCase(std::string_view text, std::string_view word) noexcept {
    return FindNoCase(text, word) != std::string_view::npos;
}

// The place behind the first `name` ("charset=") of a header's parameters, or npos. It begins at a whole
// character: the first letter of a name may be the second byte of one.
std::size_t FindParameter(std::string_view params, std::string_view name) noexcept;

// The end of the value of a parameter. Old and broken mails are read too, and each reader's treatment of a
// bad value is part of its results.
struct ParameterForm {
    std::string_view ends = ";";       // of a value that is not quoted: before the first of these
    bool needs_closing_quote = false;  // otherwise a value without one goes on to the end
    bool drops_blanks = false;         // behind the value
};
// The value of the first parameter `name` ("charset="), without its quotes; none without one.
std::optional<std::string_view> ParameterIn(std::string_view params, std::string_view name,
                                            ParameterForm const& form = {}) noexcept;

std::string_view TrimmedLeft(std::string_view text) noexcept;
std::string_view TrimmedRight(std::string_view text) noexcept;
inline std::string_view Trimmed(std::string_view text) noexcept { return TrimmedRight(TrimmedLeft(text)); }
std::string Trimmed(std::string&& text);

}  // namespace mime
