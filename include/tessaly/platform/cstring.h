#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "tessaly/platform/export.h"

// A byte string in code page 932 with value semantics. It is one pointer wide, shares its text with its
// copies until one of them writes, and costs no allocation while empty. It never holds a NUL: any text given
// to it ends at its first NUL, so GetLength() is always strlen of the text.
//
// Positions and lengths are bytes. Searches, trims and case changes step over whole double-byte characters
// (lead bytes 0x81-0x9F and 0xE0-0xFC), so an ASCII byte is never found inside one. A lead byte at the end of
// the text counts as a character of its own.
//
// Threads: different objects may be used from different threads even if they share a text; one object may
// not.
class TESSALY_API CString {
  public:
    CString() noexcept : text_(EmptyText()) {}
    CString(CString const& other) noexcept : text_(other.text_) { AddReference(); }
    CString(CString&& other) noexcept : text_(other.text_) { other.text_ = EmptyText(); }
    // A null text gives the empty string, here and in every operation that takes a char const*.
    CString(char const* text);
    CString(unsigned char const* text) : CString(reinterpret_cast<char const*>(text)) {}
    // At most `length` bytes of `text`.
    CString(char const* text, int length);
    explicit CString(std::string_view text);
    // `repeat` times the byte `c`.
    explicit CString(char c, int repeat = 1);
    ~CString() { Release(); }

    CString& operator=(CString const& other) noexcept;
    CString& operator=(CString&& other) noexcept;
    CString& operator=(char const* text);
    CString& operator=(std::string_view text);
    CString& operator=(char c);

    operator char const*() const noexcept { return text_; }
    std::string_view View() const noexcept { return {text_, HeaderOf(text_)->length}; }
    int GetLength() const noexcept { return static_cast<int>(HeaderOf(text_)->length); }
    bool IsEmpty() const noexcept { return HeaderOf(text_)->length == 0; }
    void Empty() noexcept;
    // The byte at `index`; 0 at or behind the end and for a negative index.
    char GetAt(int index) const noexcept;
    char operator[](int index) const noexcept { return GetAt(index); }
    // Replaces one byte; an index out of range does nothing, a NUL ends the text there.
    void SetAt(int index, char c);

    CString& operator+=(CString const& text) { return Append(text.View()); }
    CString& operator+=(char const* text);
    CString& operator+=(std::string_view text) { return Append(text); }
    CString& operator+=(char c) { return Append({&c, 1}); }
    CString& Append(std::string_view text);

    // As printf; the result may have any length. The old text may be an argument. Pass a CString as (char
    // const*).
    void Format(char const* format, ...) __attribute__((format(printf, 2, 3)));
    void AppendFormat(char const* format, ...) __attribute__((format(printf, 2, 3)));
    void FormatV(char const* format, va_list arguments) __attribute__((format(printf, 2, 0)));

    // Room for at least `length` bytes and a NUL, to be written directly. It begins with the present text.
    // ReleaseBuffer must follow before any other operation.
    char* GetBuffer(int length);
    // Room for `length` bytes in all, so that appending up to that allocates once. The text stays.
    void Reserve(int length) { GetBuffer(length); }
    // As GetBuffer; the length becomes `length`.
    char* GetBufferSetLength(int length);
    // Ends direct writing: the text ends at `length` (-1: at its NUL), or at the first NUL before that.
    void ReleaseBuffer(int length = -1);

    // Position of the first match at or behind `start`, or -1. An empty text is found at `start`.
    int Find(char c, int start = 0) const noexcept;
    int Find(char const* text, int start = 0) const noexcept;
    int ReverseFind(char c) const noexcept;
    // First position whose character is one of those in `set`, or -1.
    int FindOneOf(char const* set) const noexcept;

    // Byte ranges, cut to the text.
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // Without arguments: blank, tab, CR, LF, vertical tab, form feed.
    CString& TrimLeft();
    CString& TrimRight();
    CString& Trim();
    CString& TrimLeft(char const* set);
    CString& TrimRight(char const* set);
    CString& Trim(char const* set);
    CString& TrimLeft(char c);
    CString& TrimRight(char c);

    // ASCII and full-width Latin letters change case; every other character stays.
    CString& MakeLower();
    CString& MakeUpper();

    // Number of places changed.
    int Replace(char const* from, char const* to);
    int Replace(char from, char to);
    int Remove(char c);
    // Result: the new length.
    int Insert(int index, char const* text);
    int Delete(int index, int count = 1);

    // Below, equal or above 0, as mbscmp and mbsicmp.
    int Compare(char const* text) const noexcept;
    int CompareNoCase(char const* text) const noexcept;

    void Swap(CString& other) noexcept { std::swap(text_, other.text_); }

    friend bool operator==(CString const& a, CString const& b) noexcept {
        return a.text_ == b.text_ || a.View() == b.View();
    }
    friend bool operator==(CString const& a, char const* b) noexcept {
        return a.View() == std::string_view(b ? b : "");
    }
    friend bool operator==(CString const& a, std::string_view b) noexcept { return a.View() == b; }
    friend bool operator<(CString const& a, CString const& b) noexcept { return a.Compare(b) < 0; }
    friend bool operator>(CString const& a, CString const& b) noexcept { return a.Compare(b) > 0; }
    friend bool operator<=(CString const& a, CString const& b) noexcept { return a.Compare(b) <= 0; }
    friend bool operator>=(CString const& a, CString const& b) noexcept { return a.Compare(b) >= 0; }

    friend TESSALY_API CString operator+(CString const& a, CString const& b);
    friend TESSALY_API CString operator+(CString&& a, CString const& b);
    friend TESSALY_API CString operator+(CString const& a, char const* b);
    friend TESSALY_API CString operator+(CString&& a, char const* b);
    friend TESSALY_API CString operator+(char const* a, CString const& b);
    friend TESSALY_API CString operator+(CString const& a, char b);

  private:
    friend class CStringPool;

    // Directly in front of the text. A text of its own has its capacity in front of the header; a text of a
    // pool has none, and belongs to the pool's block.
    struct Header {
        std::atomic<std::uint32_t> references;
        std::uint32_t length;
    };
    struct EmptyBlock {
        Header header;
        char text[8];
    };
    static constexpr std::uint32_t pool_mark = 0x80000000U;
    static EmptyBlock empty_;

    static char* EmptyText() noexcept { return empty_.text; }
    static Header* HeaderOf(char const* text) noexcept {
        return reinterpret_cast<Header*>(const_cast<char*>(text) - sizeof(Header));
    }
    explicit CString(char* adopted, std::nullptr_t) noexcept : text_(adopted) {}
    void AddReference() const noexcept;
    void Release() noexcept;
    static void ReleaseText(char* text) noexcept;
    static char* Allocate(std::size_t capacity);
    static std::size_t CapacityOf(char const* text) noexcept;
    static bool IsShared(char const* text) noexcept;
    // Makes the text this object's own with room for `capacity` bytes, keeping its contents.
    void Own(std::size_t capacity);
    void SetLength(std::size_t length) noexcept;
    void Assign(std::string_view text);

    char* text_;
};

template <>
struct std::hash<CString> {
    std::size_t operator()(CString const& text) const noexcept {
        return std::hash<std::string_view>{}(text.View());
    }
};
