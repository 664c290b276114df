#include "delivery/mail_word_insert.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "text/dates.h"

constexpr WORD_INSERT_STRUCT MailWordInsert::itsMailInsertDefinition[word_count + 1] = {
    {"個人情報ID", "<%個人情報ID%>"},
    {"メールアドレス", "<%メールアドレス%>"},
    {"名前(姓)", "<%名前(姓)%>"},
    {"名前(名)", "<%名前(名)%>"},
    {"かな(せい)", "<%かな(せい)%>"},
    {"かな(めい)", "<%かな(めい)%>"},
    {"会社名", "<%会社名%>"},
    {"部署名", "<%部署名%>"},
    {"生年月日", "<%生年月日%>"},
    {"郵便番号", "<%郵便番号%>"},
    {"", ""},
    {"都道府県", "<%都道府県%>"},
    {"市区町村", "<%市区町村%>"},
    {"番地以下", "<%番地以下%>"},
    {"", ""},
    {"電話番号", "<%電話番号%>"},
    {"", ""},
    {"FAX番号", "<%FAX番号%>"},
    {"", ""},
    {"携帯番号", "<%携帯番号%>"},
    {"", ""},
    {"DM送付可否", ""},
    {"DM以外送付可否", ""},
    {"余白1", ""},
    {"余白2", ""},
    {"余白3", ""},
    {"余白4", ""},
    {"余白5", ""},
    {"", "<%拡張属性A%>"},
    {"", "<%拡張属性B%>"},
    {"", "<%拡張属性C%>"},
    {"", "<%拡張属性D%>"},
    {"", "<%拡張属性E%>"},
    {"", "<%拡張属性F%>"},
    {"", "<%拡張属性G%>"},
    {"", "<%拡張属性H%>"},
    {"", "<%拡張属性I%>"},
    {"", "<%拡張属性J%>"},
    {"", "<%拡張属性K%>"},
    {"", "<%拡張属性L%>"},
    {"", "<%拡張属性M%>"},
    {"", "<%拡張属性N%>"},
    {"", "<%拡張属性O%>"},
    {"", "<%拡張属性P%>"},
    {"", "<%拡張属性Q%>"},
    {"", "<%拡張属性R%>"},
    {"", "<%拡張属性S%>"},
    {"", "<%拡張属性T%>"},
    {"余白6", ""},
    {"余白7", ""},
    {"余白8", ""},
    {"余白9", ""},
    {"余白10", ""},
    {"削除フラグ", ""},
    {"登録日時", "<%登録日時%>"},
    {"更新日時", "<%更新日時%>"},
    {nullptr, nullptr},
};

namespace {

constexpr std::size_t word_count = MailWordInsert::word_count;

std::string_view View(char const* text) { return text ? text : ""; }

// The marks around the name of a merge word.
struct Marks {
    std::string_view opening, closing;
};
constexpr Marks plain_marks{"<%", "%>"};
constexpr Marks html_marks{"&lt;%", "%&gt;"};

// Names of the merge words by ID; empty where a row has none. No name holds the byte '%', which is never half
// of a character either.
constexpr std::array<std::string_view, word_count> names = [] {
    std::array<std::string_view, word_count> table{};
    for (std::size_t id = 0; id < word_count; ++id) {
        std::string_view word = MailWordInsert::itsMailInsertDefinition[id].insert_string;
        if (word.empty()) continue;
        word.remove_prefix(plain_marks.opening.size());
        word.remove_suffix(plain_marks.closing.size());
        table[id] = word;
    }
    return table;
}();
constexpr std::size_t shortest_name = 6, longest_name = 14;

// IDs by a hash of the name that gives each name a slot of its own.
constexpr std::size_t slot_count = 128;
constexpr std::size_t SlotOf(std::string_view name) {
    auto const byte = [name](std::size_t place) -> std::size_t {
        return static_cast<unsigned char>(name[place]);
    };
    const std::size_t size = name.size();
    return (byte(1) + byte(size - 1) + 2 * byte(size - 2) + 3 * byte(size - 4)) % slot_count;
}
constexpr std::array<signed char, slot_count> ids_by_slot = [] {
    std::array<signed char, slot_count> ids{};
    ids.fill(MailWordInsert::no_word);
    for (std::size_t id = 0; id < word_count; ++id)
        if (!names[id].empty()) ids[SlotOf(names[id])] = static_cast<signed char>(id);
    return ids;
}();
static_assert([] {
    for (const std::string_view& name : names)
        if (!name.empty() && (name.size() < shortest_name || name.size() > longest_name ||
                              names[static_cast<std::size_t>(ids_by_slot[SlotOf(name)])] != name))
            return false;
    return true;
}());

// A merge word in a text: its ID, and its length with both marks.
struct Word {
    int id = MailWordInsert::no_word;
    std::size_t length = 0;
};

// The merge word with which `text` begins.
Word FindWord(std::string_view text, Marks const& marks) {
    if (!text.starts_with(marks.opening)) return {};
    text.remove_prefix(marks.opening.size());
    const std::string_view name = text.substr(0, text.substr(0, longest_name + 1).find('%'));
    if (name.size() < shortest_name || name.size() > longest_name) return {};
    int const id = ids_by_slot[SlotOf(name)];
    if (id == MailWordInsert::no_word || names[static_cast<std::size_t>(id)] != name) return {};
    if (!text.substr(name.size()).starts_with(marks.closing)) return {};
    return {id, marks.opening.size() + name.size() + marks.closing.size()};
}

enum WordID { id_customer = 0, id_birthday = 8, id_entry_date = 54, id_renewal_date = 55 };

// Where the values that are texts of the customer stand.
constexpr auto members = [] {
    using Customer = OneCustomer;
    std::array<CString Customer::*, word_count> table{};
    table[1] = &Customer::Email;
    table[2] = &Customer::KanjiSei;
    table[3] = &Customer::KanjiMei;
    table[4] = &Customer::KanaSei;
    table[5] = &Customer::KanaMei;
    table[6] = &Customer::Company;
    table[7] = &Customer::CompanyPost;
    table[8] = &Customer::Birthday;
    table[9] = &Customer::ZipCode1;
    table[11] = &Customer::Prefecture;
    table[12] = &Customer::Address1;
    table[13] = &Customer::Address2;
    table[15] = &Customer::Phone1;
    table[17] = &Customer::Fax1;
    table[19] = &Customer::Portable1;
    table[28] = &Customer::ExtraA;
    table[29] = &Customer::ExtraB;
    table[30] = &Customer::ExtraC;
    table[31] = &Customer::ExtraD;
    table[32] = &Customer::ExtraE;
    table[33] = &Customer::ExtraF;
    table[34] = &Customer::ExtraG;
    table[35] = &Customer::ExtraH;
    table[36] = &Customer::ExtraI;
    table[37] = &Customer::ExtraJ;
    table[38] = &Customer::ExtraK;
    table[39] = &Customer::ExtraL;
    table[40] = &Customer::ExtraM;
    table[41] = &Customer::ExtraN;
    table[42] = &Customer::ExtraO;
    table[43] = &Customer::ExtraP;
    table[44] = &Customer::ExtraQ;
    table[45] = &Customer::ExtraR;
    table[46] = &Customer::ExtraS;
    table[47] = &Customer::ExtraT;
    return table;
}();

CString DateText(COleDateTime const& date) {
    char text[date_data_size];
    Convert_COleDateTime2DateData(date, text);
    return text;
}

CString ValueOf(OneCustomer const& customer, int id) {
    CString value;
    switch (id) {
        case id_customer: value.Format("%d", customer.CustomerID); break;
        case id_birthday:
            // A time may stand behind the date.
            value = customer.Birthday;
            value.Delete(10, 9);
            break;
        case id_entry_date: value = DateText(customer.EntryDate); break;
        case id_renewal_date: value = DateText(customer.RenewalDate); break;
        default: value = customer.*members[static_cast<std::size_t>(id)]; break;
    }
    return value;
}

// The merged text as it grows, written straight into the string that is handed out.
class MergedText {
  public:
    explicit MergedText(std::size_t expected) { Reserve(expected); }

    void Append(std::string_view text) {
        if (text.size() > room_ - used_) Reserve(std::max(2 * room_, used_ + text.size()));
        std::memcpy(place_ + used_, text.data(), text.size());
        used_ += text.size();
    }
    CString Take() {
        text_.ReleaseBuffer(static_cast<int>(used_));
        return std::move(text_);
    }

  private:
    void Reserve(std::size_t room) {
        if (room > INT_MAX) throw std::bad_alloc();
        if (used_ > 0) text_.ReleaseBuffer(static_cast<int>(used_));
        place_ = text_.GetBuffer(static_cast<int>(room));
        room_ = room;
    }

    CString text_;
    char* place_ = nullptr;
    std::size_t used_ = 0, room_ = 0;
};

std::string_view EntityOf(char c) {
    switch (c) {
        case '<': return "&lt;";
        case '>': return "&gt;";
        case '"': return "&quot;";
        case '&': return "&amp;";
        case ' ': return "&nbsp;";
        default: return {};
    }
}

}  // namespace

CString MailWordInsert::GetMailWordInsert(OneCustomer customer, int html) {
    return GetMailWordInsert(std::move(customer), origin_, html);
}

CString MailWordInsert::GetMailWordInsert(OneCustomer customer, char const* origin, int html) {
    std::string_view rest = View(origin);
    if (rest.empty()) return {};
    Marks const& marks = html ? html_marks : plain_marks;
    MergedText merged(rest.size() + rest.size() / 4 + 64);
    for (;;) {
        const std::size_t mark = rest.find(marks.opening);
        merged.Append(rest.substr(0, mark));
        if (mark == rest.npos) break;
        rest.remove_prefix(mark);
        const Word word = FindWord(rest, marks);
        if (word.id == no_word) {
            merged.Append(marks.opening);
            rest.remove_prefix(marks.opening.size());
            continue;
        }
        const CString value = ValueOf(customer, word.id);
        merged.Append(html ? HtmlAmpEcnode(value).View() : value.View());
        rest.remove_prefix(word.length);
    }
    CString result = merged.Take();
    return result.IsEmpty() ? CString(' ') : result;
}

int MailWordInsert::GetIDFromMenuString(char const* text) {
    const std::string_view menu = View(text);
    for (int id = 0; id < MailWordInsert::word_count; ++id) {
        const std::string_view label = itsMailInsertDefinition[id].menu_string;
        if (!label.empty() && menu.starts_with(label)) return id;
    }
    return no_word;
}

int MailWordInsert::GetIDFromInsertString(char const* text, int html) {
    Marks const& marks = html ? html_marks : plain_marks;
    const std::size_t longest = marks.opening.size() + longest_name + marks.closing.size();
    return text ? FindWord({text, strnlen(text, longest)}, marks).id : no_word;
}

void MailWordInsert::CheckOldMailWord(CString text, CArray<CString, CString>& found) {
    constexpr std::string_view old_words[] = {
        "<%郵便番号(上3桁)%>",    "<%郵便番号(下4桁)%>",       "<%番地%>",
        "<%建物名等%>",           "<%電話番号(市外局番)%>",    "<%電話番号(市内局番以下)%>",
        "<%FAX番号(市外局番)%>",  "<%FAX番号(市内局番以下)%>", "<%携帯番号(0*0)%>",
        "<%携帯番号(それ以外)%>",
    };
    found.RemoveAll();
    for (const std::string_view word : old_words)
        if (text.View().find(word) != std::string_view::npos) found.Add(CString(word));
}

CString MailWordInsert::HtmlAmpEcnode(char const* text) {
    CString encoded;
    for (std::string_view rest = View(text); !rest.empty();) {
        const std::size_t plain = std::min(rest.find_first_of("<>\"& "), rest.size());
        encoded.Append(rest.substr(0, plain));
        rest.remove_prefix(plain);
        if (rest.empty()) break;
        encoded.Append(EntityOf(rest[0]));
        rest.remove_prefix(1);
    }
    return encoded;
}
