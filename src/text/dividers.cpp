#include "tessaly/text/dividers.h"

#include <span>
#include <string_view>

#include "tessaly/platform/mbcs.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;

constexpr std::string_view hokkaido[] = {"北海道"};
constexpr std::string_view fu[] = {"京都府", "大阪府"};
constexpr std::string_view to[] = {"東京都"};
constexpr std::string_view ken[] = {
    "青森県", "岩手県", "宮城県",   "秋田県", "山形県", "福島県",   "茨城県", "栃木県",   "群馬県",
    "埼玉県", "千葉県", "神奈川県", "新潟県", "富山県", "石川県",   "福井県", "山梨県",   "長野県",
    "岐阜県", "静岡県", "愛知県",   "三重県", "滋賀県", "兵庫県",   "奈良県", "和歌山県", "鳥取県",
    "島根県", "岡山県", "広島県",   "山口県", "徳島県", "香川県",   "愛媛県", "高知県",   "福岡県",
    "佐賀県", "長崎県", "熊本県",   "大分県", "宮崎県", "鹿児島県", "沖縄県",
};
static_assert(std::size(ken) == 43);

struct Suffix {
    std::string_view text;
    std::span<std::string_view const> names;
};
constexpr Suffix suffixes[] = {{"道", hokkaido}, {"府", fu}, {"都", to}, {"県", ken}};

bool IsOneOf(std::string_view name, std::span<std::string_view const> names) noexcept {
    for (std::string_view candidate : names)
        if (name == candidate) return true;
    return false;
}

// Bytes of the prefecture's name at the start of the address, 0 when there is none.
std::size_t PrefectureSize(std::string_view address) noexcept {
    for (Suffix const& suffix : suffixes) {
        std::size_t const place = platform::Find(address, suffix.text);
        if (place == npos) continue;
        std::size_t const size = place + suffix.text.size();
        if (IsOneOf(address.substr(0, size), suffix.names)) return size;
    }
    return 0;
}

// Bytes of the first `count` characters, npos when the text has fewer.
std::size_t SizeOfCharacters(std::string_view text, int count) noexcept {
    std::size_t size = 0;
    for (; count > 0; --count) {
        if (size == text.size()) return npos;
        size += platform::CharacterSize(text, size);
    }
    return size;
}

}  // namespace

void xc_divide_address(CString address, CString& prefecture, CString& rest) {
    std::size_t const size = PrefectureSize(address.View());
    prefecture = address.View().substr(0, size);
    rest = address.View().substr(size);
}

void xc_divide_zipcode(CString zip, CString& first, CString& second) {
    CString digits = zip;
    digits.Remove('-');
    if (SizeOfCharacters(digits.View(), 4) == npos) {
        first = zip;
        second.Empty();
        return;
    }
    std::size_t const size = SizeOfCharacters(digits.View(), 3);
    first = digits.View().substr(0, size);
    second = digits.View().substr(size);
}

void xc_divide_telephone(CString phone, CString& first, CString& second) {
    std::size_t const hyphen = phone.View().find('-');
    if (hyphen == npos) {
        first.Empty();
        second = phone;
        return;
    }
    first = phone.View().substr(0, hyphen);
    second = phone.View().substr(hyphen + 1);
}

void xc_format_codenumber(CString text, CString& out) {
    CString code;
    char* const start = code.GetBuffer(text.GetLength());
    char* at = start;
    for (char c : text.View()) {
        bool const digit = c >= '0' && c <= '9';
        bool const first_hyphen = c == '-' && (at == start || at[-1] != '-');
        if (digit || first_hyphen) *at++ = c;
    }
    if (at != start && at[-1] == '-') --at;
    code.ReleaseBuffer(static_cast<int>(at - start));
    out = code;
}
