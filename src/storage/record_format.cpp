#include "storage/record_format.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <vector>

namespace storage {
namespace {

// The length modifier of a conversion.
enum class Length { none, hh, h, l, ll, j, z, t, L };

struct Conversion {
    std::string text;  // with its "*" replaced by the values
    Length length = Length::none;
    char kind = 0;
};

class QuotedFormatter {
  public:
    explicit QuotedFormatter(va_list arguments) { va_copy(arguments_, arguments); }
    ~QuotedFormatter() { va_end(arguments_); }
    QuotedFormatter(QuotedFormatter const&) = delete;
    QuotedFormatter& operator=(QuotedFormatter const&) = delete;

    std::string Fill(char const* at) {
        while (*at) {
            std::size_t const plain = std::strcspn(at, "%");
            result_.append(at, plain);
            at += plain;
            if (!*at) break;
            Conversion conversion = Read(at);
            if (!conversion.kind) {  // cut short by the end of the format
                result_ += conversion.text;
                break;
            }
            Convert(conversion);
        }
        result_.resize(std::strlen(result_.c_str()));
        return std::move(result_);
    }

  private:
    // Reads one conversion and moves `at` behind it.
    Conversion Read(char const*& at) {
        Conversion conversion;
        conversion.text = *at++;
        for (; *at && std::strchr("-+ #0123456789.*'", *at); ++at) {
            if (*at == '*')
                AddStar(conversion.text);
            else
                conversion.text += *at;
        }
        struct Modifier {
            std::string_view text;
            Length length;
        };
        static constexpr Modifier modifiers[] = {{"hh", Length::hh}, {"h", Length::h}, {"ll", Length::ll},
                                                 {"l", Length::l},   {"j", Length::j}, {"z", Length::z},
                                                 {"t", Length::t},   {"L", Length::L}};
        for (Modifier const& modifier : modifiers) {
            if (std::strncmp(at, modifier.text.data(), modifier.text.size()) != 0) continue;
            conversion.length = modifier.length;
            conversion.text += modifier.text;
            at += modifier.text.size();
            break;
        }
        if (*at) {
            conversion.kind = *at;
            conversion.text += *at++;
        }
        return conversion;
    }

    // A negative width is a flag and a width; a negative precision counts as none.
    void AddStar(std::string& text) {
        int const value = va_arg(arguments_, int);
        if (value < 0 && text.back() == '.')
            text.pop_back();
        else
            text += std::to_string(value);
    }

    void Convert(Conversion const& conversion) {
        switch (conversion.kind) {
            case '%': result_ += '%'; break;
            case 's':
                if (conversion.length == Length::l)
                    Print(conversion, va_arg(arguments_, wchar_t const*));
                else
                    AddQuoted(va_arg(arguments_, char const*));
                break;
            case 'd':
            case 'i': ConvertSigned(conversion); break;
            case 'o':
            case 'u':
            case 'x':
            case 'X': ConvertUnsigned(conversion); break;
            case 'c':
                if (conversion.length == Length::l)
                    Print(conversion, va_arg(arguments_, wint_t));
                else
                    Print(conversion, va_arg(arguments_, int));
                break;
            case 'a':
            case 'A':
            case 'e':
            case 'E':
            case 'f':
            case 'F':
            case 'g':
            case 'G':
                if (conversion.length == Length::L)
                    Print(conversion, va_arg(arguments_, long double));
                else
                    Print(conversion, va_arg(arguments_, double));
                break;
            case 'p': Print(conversion, va_arg(arguments_, void*)); break;
            case 'n': static_cast<void>(va_arg(arguments_, void*)); break;
            default: result_ += conversion.text; break;
        }
    }

    void ConvertSigned(Conversion const& conversion) {
        switch (conversion.length) {
            case Length::l: Print(conversion, va_arg(arguments_, long)); break;
            case Length::ll: Print(conversion, va_arg(arguments_, long long)); break;
            // Types of their own that are alike here. NOLINTNEXTLINE(bugprone-branch-clone)
            case Length::j: Print(conversion, va_arg(arguments_, std::intmax_t)); break;
            case Length::z:
            case Length::t: Print(conversion, va_arg(arguments_, std::ptrdiff_t)); break;
            default: Print(conversion, va_arg(arguments_, int)); break;
        }
    }

    void ConvertUnsigned(Conversion const& conversion) {
        switch (conversion.length) {
            case Length::l: Print(conversion, va_arg(arguments_, unsigned long)); break;
            case Length::ll: Print(conversion, va_arg(arguments_, unsigned long long)); break;
            // NOLINTNEXTLINE(bugprone-branch-clone)
            case Length::j: Print(conversion, va_arg(arguments_, std::uintmax_t)); break;
            case Length::z:
            case Length::t: Print(conversion, va_arg(arguments_, std::size_t)); break;
            default: Print(conversion, va_arg(arguments_, unsigned)); break;
        }
    }

    template <class Type>
    void Print(Conversion const& conversion, Type value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        int const length = std::snprintf(nullptr, 0, conversion.text.c_str(), value);
        if (length <= 0) return;
        std::vector<char> printed(static_cast<std::size_t>(length) + 1);
        std::snprintf(printed.data(), printed.size(), conversion.text.c_str(), value);
#pragma GCC diagnostic pop
        result_.append(printed.data(), static_cast<std::size_t>(length));
    }

    void AddQuoted(char const* value) {
        for (char const* at = value ? value : "(null)"; *at; ++at) {
            if (*at == '"') result_ += '"';
            result_ += *at;
        }
    }

    va_list arguments_;
    std::string result_;
};

}  // namespace

std::string FormatQuoted(char const* format, va_list arguments) {
    return format ? QuotedFormatter(arguments).Fill(format) : std::string();
}

}  // namespace storage
