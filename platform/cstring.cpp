#include "tessaly/platform/cstring.h"

#include <sys/single_threaded.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/cstring_pool.h"
#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"

namespace {

// In front of the header of a text that does not belong to a pool.
struct Prefix {
    std::uint32_t capacity;  // bytes without the NUL
    std::uint32_t unused;
};

constexpr std::size_t longest_text = 0x7FFFFFF0;
constexpr char const* blanks = " \t\r\n\v\f";

using platform::ViewOf;

std::string_view UpToNul(std::string_view text) noexcept {
    void const* nul = text.empty() ? nullptr : std::memchr(text.data(), 0, text.size());
    return nul ? text.substr(0, static_cast<char const*>(nul) - text.data()) : text;
}

bool HasCharacter(std::string_view set, std::string_view character) noexcept {
    for (std::size_t at = 0; at < set.size(); at += platform::CharacterSize(set, at))
        if (set.substr(at, platform::CharacterSize(set, at)) == character) return true;
    return false;
}

}  // namespace

CString::EmptyBlock CString::empty_ = {{1, 0}, {}};

void CString::AddReference() const noexcept {
    if (text_ == EmptyText()) return;
    auto& references = HeaderOf(text_)->references;
    if (__libc_single_threaded)
        references.store(references.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    else
        references.fetch_add(1, std::memory_order_relaxed);
}

void CString::Release() noexcept {
    if (text_ != EmptyText()) ReleaseText(text_);
}

void CString::ReleaseText(char* text) noexcept {
    auto& references = HeaderOf(text)->references;
    std::uint32_t before = references.load(std::memory_order_relaxed);
    if (__libc_single_threaded)
        references.store(before - 1, std::memory_order_relaxed);
    else
        before = references.fetch_sub(1, std::memory_order_acq_rel);
    if ((before & ~pool_mark) != 1) return;
    if (before & pool_mark)
        CStringPool::ReleaseText(text);
    else
        std::free(text - sizeof(Header) - sizeof(Prefix));
}

char* CString::Allocate(std::size_t capacity) {
    if (capacity > longest_text) throw std::bad_alloc();
    std::size_t const size = (sizeof(Prefix) + sizeof(Header) + capacity + 1 + 15) & ~std::size_t{15};
    char* block = static_cast<char*>(std::malloc(size));
    if (!block) throw std::bad_alloc();
    new (block) Prefix{static_cast<std::uint32_t>(size - sizeof(Prefix) - sizeof(Header) - 1), 0};
    new (block + sizeof(Prefix)) Header{1, 0};
    char* text = block + sizeof(Prefix) + sizeof(Header);
    text[0] = 0;
    return text;
}

// Bytes that may be written at `text` without a new block; 0 where the text must not be written to.
std::size_t CString::CapacityOf(char const* text) noexcept {
    if (text == EmptyText() || HeaderOf(text)->references.load(std::memory_order_relaxed) & pool_mark)
        return 0;
    return reinterpret_cast<Prefix const*>(text - sizeof(Header) - sizeof(Prefix))->capacity;
}

bool CString::IsShared(char const* text) noexcept {
    return HeaderOf(text)->references.load(std::memory_order_acquire) != 1;
}

void CString::Own(std::size_t capacity) {
    std::size_t const present = CapacityOf(text_);
    if (present > 0 && capacity <= present && !IsShared(text_)) return;
    std::string_view const text = View();
    char* block = Allocate(std::max(capacity, text.size()));
    std::memcpy(block, text.data(), text.size() + 1);
    HeaderOf(block)->length = static_cast<std::uint32_t>(text.size());
    Release();
    text_ = block;
}

void CString::SetLength(std::size_t length) noexcept {
    text_[length] = 0;
    HeaderOf(text_)->length = static_cast<std::uint32_t>(length);
}

// `text` may lie inside this object's own text, and holds no NUL.
void CString::Assign(std::string_view text) {
    if (text.empty()) return Empty();
    if (text.size() <= CapacityOf(text_) && !IsShared(text_)) {
        std::memmove(text_, text.data(), text.size());
        return SetLength(text.size());
    }
    char* block = Allocate(text.size());
    std::memcpy(block, text.data(), text.size());
    Release();
    text_ = block;
    SetLength(text.size());
}

CString::CString(char const* text) : text_(EmptyText()) { Assign(ViewOf(text)); }

CString::CString(char const* text, int length) : text_(EmptyText()) {
    if (text && length > 0) Assign({text, strnlen(text, static_cast<std::size_t>(length))});
}

CString::CString(std::string_view text) : text_(EmptyText()) { Assign(UpToNul(text)); }

CString::CString(char c, int repeat) : text_(EmptyText()) {
    if (c == 0 || repeat <= 0) return;
    auto const length = static_cast<std::size_t>(repeat);
    text_ = Allocate(length);
    std::memset(text_, c, length);
    SetLength(length);
}

CString& CString::operator=(CString const& other) noexcept {
    other.AddReference();
    Release();
    text_ = other.text_;
    return *this;
}

CString& CString::operator=(CString&& other) noexcept {
    if (this != &other) {
        Release();
        text_ = other.text_;
        other.text_ = EmptyText();
    }
    return *this;
}

CString& CString::operator=(char const* text) {
    Assign(ViewOf(text));
    return *this;
}

CString& CString::operator=(std::string_view text) {
    Assign(UpToNul(text));
    return *this;
}

CString& CString::operator=(char c) {
    Assign(UpToNul({&c, 1}));
    return *this;
}

void CString::Empty() noexcept {
    Release();
    text_ = EmptyText();
}

char CString::GetAt(int index) const noexcept {
    return index >= 0 && index < GetLength() ? text_[index] : '\0';
}

void CString::SetAt(int index, char c) {
    if (index < 0 || index >= GetLength()) return;
    auto const length = static_cast<std::size_t>(GetLength());
    Own(length);
    text_[index] = c;
    if (c == 0) SetLength(static_cast<std::size_t>(index));
}

CString& CString::operator+=(char const* text) { return Append(ViewOf(text)); }

CString& CString::Append(std::string_view text) {
    text = UpToNul(text);
    if (text.empty()) return *this;
    std::size_t const old_length = View().size();
    std::size_t const length = old_length + text.size();
    if (length <= CapacityOf(text_) && !IsShared(text_)) {
        std::memmove(text_ + old_length, text.data(), text.size());
    } else {
        // `text` may lie inside the old block, which is therefore released last.
        char* block =
            Allocate(old_length == 0 ? length : std::max(length, std::min(2 * old_length, longest_text)));
        std::memcpy(block, text_, old_length);
        std::memcpy(block + old_length, text.data(), text.size());
        Release();
        text_ = block;
    }
    SetLength(length);
    return *this;
}

void CString::FormatV(char const* format, va_list arguments) {
    char small[512];
    va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(small, sizeof small, format, arguments);
    if (length < 0) {
        Empty();
    } else if (static_cast<std::size_t>(length) < sizeof small) {
        Assign(ViewOf(small));
    } else {
        char* block = Allocate(static_cast<std::size_t>(length));
        std::vsnprintf(block, static_cast<std::size_t>(length) + 1, format, again);
        Release();
        text_ = block;
        SetLength(std::strlen(block));
    }
    va_end(again);
}

void CString::Format(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

void CString::AppendFormat(char const* format, ...) {
    CString tail;
    va_list arguments;
    va_start(arguments, format);
    tail.FormatV(format, arguments);
    va_end(arguments);
    Append(tail.View());
}

char* CString::GetBuffer(int length) {
    Own(std::max(length > 0 ? static_cast<std::size_t>(length) : 0, View().size()));
    return text_;
}

char* CString::GetBufferSetLength(int length) {
    std::size_t const wanted = length > 0 ? static_cast<std::size_t>(length) : 0;
    std::size_t const present = View().size();
    Own(std::max(wanted, present));
    if (wanted > present) std::memset(text_ + present, 0, wanted - present);
    SetLength(wanted);
    return text_;
}

void CString::ReleaseBuffer(int length) {
    std::size_t const capacity = CapacityOf(text_);
    if (capacity == 0) return;
    std::size_t const limit = length < 0 ? capacity : std::min(capacity, static_cast<std::size_t>(length));
    SetLength(strnlen(text_, limit));
    if (IsEmpty()) Empty();
}

int CString::Find(char c, int start) const noexcept {
    if (start < 0 || start > GetLength() || c == 0) return -1;
    std::size_t const place = platform::Find(View(), c, static_cast<std::size_t>(start));
    return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

int CString::Find(char const* text, int start) const noexcept {
    if (start < 0 || start > GetLength()) return -1;
    std::size_t const place = platform::Find(View(), ViewOf(text), static_cast<std::size_t>(start));
    return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

int CString::ReverseFind(char c) const noexcept {
    std::size_t const place = c == 0 ? std::string_view::npos : platform::ReverseFind(View(), c);
    return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

int CString::FindOneOf(char const* set) const noexcept {
    std::string_view const text = View();
    for (std::size_t at = 0; at < text.size(); at += platform::CharacterSize(text, at))
        if (HasCharacter(ViewOf(set), text.substr(at, platform::CharacterSize(text, at))))
            return static_cast<int>(at);
    return -1;
}

CString CString::Left(int count) const {
    return count >= GetLength() ? *this
                                : CString(View().substr(0, count > 0 ? static_cast<std::size_t>(count) : 0));
}

CString CString::Right(int count) const {
    return count >= GetLength() ? *this : Mid(GetLength() - std::max(count, 0));
}

CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const {
    int const from = std::clamp(first, 0, GetLength());
    int const size = std::clamp(count, 0, GetLength() - from);
    if (size == GetLength()) return *this;
    return CString(View().substr(static_cast<std::size_t>(from), static_cast<std::size_t>(size)));
}

CString& CString::TrimLeft() { return TrimLeft(blanks); }
CString& CString::TrimRight() { return TrimRight(blanks); }
CString& CString::Trim() { return TrimRight().TrimLeft(); }
CString& CString::Trim(char const* set) { return TrimRight(set).TrimLeft(set); }
CString& CString::TrimLeft(char c) {
    char const set[] = {c, 0};
    return TrimLeft(set);
}
CString& CString::TrimRight(char c) {
    char const set[] = {c, 0};
    return TrimRight(set);
}

CString& CString::TrimLeft(char const* set) {
    std::string_view const text = View();
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t const size = platform::CharacterSize(text, at);
        if (!HasCharacter(ViewOf(set), text.substr(at, size))) break;
        at += size;
    }
    if (at > 0) Assign(text.substr(at));
    return *this;
}

CString& CString::TrimRight(char const* set) {
    std::string_view const text = View();
    std::size_t end = 0;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const size = platform::CharacterSize(text, at);
        if (!HasCharacter(ViewOf(set), text.substr(at, size))) end = at + size;
        at += size;
    }
    if (end < text.size()) Assign(text.substr(0, end));
    return *this;
}

CString& CString::MakeLower() {
    if (IsEmpty()) return *this;
    std::size_t const length = View().size();
    Own(length);
    platform::Lower(text_, length);
    return *this;
}

CString& CString::MakeUpper() {
    if (IsEmpty()) return *this;
    std::size_t const length = View().size();
    Own(length);
    platform::Upper(text_, length);
    return *this;
}

int CString::Replace(char const* from, char const* to) {
    std::string_view const text = View();
    std::string_view const word = ViewOf(from);
    std::string_view const other = ViewOf(to);
    if (word.empty()) return 0;
    std::size_t place = platform::Find(text, word);
    if (place == std::string_view::npos) return 0;
    std::string result;
    std::size_t done = 0;
    int count = 0;
    for (; place != std::string_view::npos; place = platform::Find(text, word, done)) {
        result.append(text, done, place - done).append(other);
        done = place + word.size();
        ++count;
    }
    result.append(text, done);
    Assign(result);
    return count;
}

int CString::Replace(char from, char to) {
    char const word[] = {from, 0};
    char const other[] = {to, 0};
    return Replace(word, other);
}

int CString::Remove(char c) { return Replace(c, '\0'); }

int CString::Insert(int index, char const* text) {
    std::string_view const word = ViewOf(text);
    if (word.empty()) return GetLength();
    auto const at = static_cast<std::size_t>(std::clamp(index, 0, GetLength()));
    std::string result(View());
    result.insert(at, word);
    Assign(result);
    return GetLength();
}

int CString::Delete(int index, int count) {
    if (index < 0 || index >= GetLength() || count <= 0) return GetLength();
    auto const at = static_cast<std::size_t>(index);
    std::string result(View());
    result.erase(at, static_cast<std::size_t>(count));
    Assign(result);
    return GetLength();
}

int CString::Compare(char const* text) const noexcept { return platform::mbscmp(text_, text); }
int CString::CompareNoCase(char const* text) const noexcept { return platform::mbsicmp(text_, text); }

namespace {

CString Joined(std::string_view a, std::string_view b) {
    CString result;
    char* text = result.GetBuffer(static_cast<int>(a.size() + b.size()));
    std::copy(b.begin(), b.end(), std::copy(a.begin(), a.end(), text));
    result.ReleaseBuffer(static_cast<int>(a.size() + b.size()));
    return result;
}

}  // namespace

CString operator+(CString const& a, CString const& b) { return Joined(a.View(), b.View()); }
CString operator+(CString&& a, CString const& b) { return std::move(a += b); }
CString operator+(CString const& a, char const* b) { return Joined(a.View(), ViewOf(b)); }
CString operator+(CString&& a, char const* b) { return std::move(a += b); }
CString operator+(char const* a, CString const& b) { return Joined(ViewOf(a), b.View()); }
CString operator+(CString const& a, char b) { return Joined(a.View(), UpToNul({&b, 1})); }
