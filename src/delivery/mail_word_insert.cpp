#include "tessaly/delivery/mail_word_insert.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/view_of.h"
#include "tessaly/delivery/merge_pieces.h"
#include "tessaly/text/dates.h"

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

using platform::ViewOf;

// The marks around the name of a merge word.
struct Marks {
    std::string_view opening, closing;
};
constexpr Marks plain_marks{"<%", "%>"};
constexpr Marks html_marks{"&lt;%", "%&gt;"};

// Name of the merge word of a row; empty where it has none. No name holds the byte '%', which is never half
// of a character.
constexpr std::string_view NameOf(std::size_t id) {
    std::string_view word = MailWordInsert::itsMailInsertDefinition[id].insert_string;
    if (word.empty()) return word;
    word.remove_prefix(plain_marks.opening.size());
    word.remove_suffix(plain_marks.closing.size());
    return word;
}
constexpr std::size_t shortest_name = 6, longest_name = 14;

// The names by a hash without collisions.
struct NameSlot {
    std::array<char, longest_name> name{};
    unsigned char size = 0;
    signed char id = MailWordInsert::no_word;

    constexpr std::string_view Name() const { return {name.data(), size}; }
};
constexpr std::size_t slot_count = 128;
constexpr std::size_t SlotOf(std::string_view name) {
    auto const byte = [name](std::size_t place) -> std::size_t {
        return static_cast<unsigned char>(name[place]);
    };
    std::size_t const size = name.size();
    return (byte(1) + byte(size - 1) + 2 * byte(size - 2) + 3 * byte(size - 4)) % slot_count;
}
constexpr std::array<NameSlot, slot_count> slots = [] {
    std::array<NameSlot, slot_count> table{};
    for (std::size_t id = 0; id < word_count; ++id) {
        std::string_view const name = NameOf(id);
        if (name.empty()) continue;
        NameSlot& slot = table[SlotOf(name)];
        std::copy(name.begin(), name.end(), slot.name.begin());
        slot.size = static_cast<unsigned char>(name.size());
        slot.id = static_cast<signed char>(id);
    }
    return table;
}();
static_assert([] {
    for (std::size_t id = 0; id < word_count; ++id) {
        std::string_view const name = NameOf(id);
        if (!name.empty() && (name.size() < shortest_name || slots[SlotOf(name)].id != static_cast<int>(id)))
            return false;
    }
    return true;
}());

// The merge word whose name begins `text`, right behind an opening mark; null: there is none.
template <Marks const& marks>
NameSlot const* FindName(std::string_view text) {
    std::string_view const name = text.substr(0, text.substr(0, longest_name + 1).find('%'));
    if (name.size() < shortest_name || name.size() > longest_name) return nullptr;
    NameSlot const& slot = slots[SlotOf(name)];
    return slot.Name() == name && text.substr(name.size()).starts_with(marks.closing) ? &slot : nullptr;
}

enum WordID { id_customer = 0, id_birthday = 8, id_entry_date = 54, id_renewal_date = 55 };

// The members of the customer that are values of merge words.
constexpr auto members = [] {
    std::array<CString OneCustomer::*, word_count> table{};
    table[1] = &OneCustomer::Email;
    table[2] = &OneCustomer::KanjiSei;
    table[3] = &OneCustomer::KanjiMei;
    table[4] = &OneCustomer::KanaSei;
    table[5] = &OneCustomer::KanaMei;
    table[6] = &OneCustomer::Company;
    table[7] = &OneCustomer::CompanyPost;
    table[8] = &OneCustomer::Birthday;
    table[9] = &OneCustomer::ZipCode1;
    table[11] = &OneCustomer::Prefecture;
    table[12] = &OneCustomer::Address1;
    table[13] = &OneCustomer::Address2;
    table[15] = &OneCustomer::Phone1;
    table[17] = &OneCustomer::Fax1;
    table[19] = &OneCustomer::Portable1;
    table[28] = &OneCustomer::ExtraA;
    table[29] = &OneCustomer::ExtraB;
    table[30] = &OneCustomer::ExtraC;
    table[31] = &OneCustomer::ExtraD;
    table[32] = &OneCustomer::ExtraE;
    table[33] = &OneCustomer::ExtraF;
    table[34] = &OneCustomer::ExtraG;
    table[35] = &OneCustomer::ExtraH;
    table[36] = &OneCustomer::ExtraI;
    table[37] = &OneCustomer::ExtraJ;
    table[38] = &OneCustomer::ExtraK;
    table[39] = &OneCustomer::ExtraL;
    table[40] = &OneCustomer::ExtraM;
    table[41] = &OneCustomer::ExtraN;
    table[42] = &OneCustomer::ExtraO;
    table[43] = &OneCustomer::ExtraP;
    table[44] = &OneCustomer::ExtraQ;
    table[45] = &OneCustomer::ExtraR;
    table[46] = &OneCustomer::ExtraS;
    table[47] = &OneCustomer::ExtraT;
    return table;
}();

CString DateText(COleDateTime const& date) {
    char text[text::date_data_size];
    Convert_COleDateTime2DateData(date, text);
    return text;
}

// The value of a merge word: a text of the customer, or one made in `made`, as that of a word that is no
// column would be.
CString const& ValueOf(OneCustomer const& customer, int id, CString& made) {
    constexpr int date_size = 10, time_size = 9;  // "2004/02/29", " 09:05:00"
    switch (id) {
        case id_customer: made.Format("%d", customer.CustomerID); return made;
        case id_entry_date: made = DateText(customer.EntryDate); return made;
        case id_renewal_date: made = DateText(customer.RenewalDate); return made;
        case id_birthday:
            if (customer.Birthday.GetLength() <= date_size) return customer.Birthday;
            made = customer.Birthday;
            made.Delete(date_size, time_size);
            return made;
        default: return customer.*members[static_cast<std::size_t>(id)];
    }
}

// The merged text as it grows, written directly into the string of the result.
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

// Takes the first piece off `rest`, with the word behind it; null behind the last piece.
template <Marks const& marks>
NameSlot const* TakePiece(std::string_view& rest, std::string_view& piece) {
    for (std::size_t mark = 0;; mark += marks.opening.size()) {
        mark = rest.find(marks.opening, mark);
        piece = rest.substr(0, mark);
        if (mark == rest.npos) return nullptr;
        std::size_t const name = mark + marks.opening.size();
        if (NameSlot const* const word = FindName<marks>(rest.substr(name))) {
            rest.remove_prefix(name + word->size + marks.closing.size());
            return word;
        }
    }
}

template <Marks const& marks>
std::vector<delivery::MergePiece> PiecesOf(std::string_view rest) {
    std::vector<delivery::MergePiece> pieces;
    for (std::string_view piece;;) {
        NameSlot const* const word = TakePiece<marks>(rest, piece);
        pieces.push_back({piece, word ? word->id : MailWordInsert::no_word});
        if (!word) return pieces;
    }
}

// Merges `origin`; `encode` turns a value into its form in the text, null leaves it unchanged.
template <Marks const& marks, class Encode>
CString Merge(OneCustomer const& customer, std::string_view origin, Encode encode) {
    MergedText merged(origin.size() + origin.size() / 4 + 64);
    for (std::string_view rest = origin, piece;;) {
        NameSlot const* const word = TakePiece<marks>(rest, piece);
        merged.Append(piece);
        if (!word) return merged.Take();
        CString made;
        CString const& value = ValueOf(customer, word->id, made);
        if constexpr (std::is_null_pointer_v<Encode>)
            merged.Append(value.View());
        else
            merged.Append(encode(value).View());
    }
}

// ID of the merge word at the start of `text`.
template <Marks const& marks>
int FindWord(std::string_view text) {
    if (!text.starts_with(marks.opening)) return MailWordInsert::no_word;
    NameSlot const* const word = FindName<marks>(text.substr(marks.opening.size()));
    return word ? word->id : MailWordInsert::no_word;
}

}  // namespace

CString MailWordInsert::GetMailWordInsert(OneCustomer customer, int html) {
    return GetMailWordInsert(std::move(customer), origin_, html);
}

CString MailWordInsert::GetMailWordInsert(OneCustomer customer, char const* origin, int html) {
    std::string_view const text = ViewOf(origin);
    if (text.empty()) return {};
    CString merged = html ? Merge<html_marks>(customer, text, &HtmlAmpEcnode)
                          : Merge<plain_marks>(customer, text, nullptr);
    return merged.IsEmpty() ? CString(' ') : merged;
}

int MailWordInsert::GetIDFromMenuString(char const* text) {
    std::string_view const menu = ViewOf(text);
    for (int id = 0; id < MailWordInsert::word_count; ++id) {
        std::string_view const label = itsMailInsertDefinition[id].menu_string;
        if (!label.empty() && menu.starts_with(label)) return id;
    }
    return no_word;
}

int MailWordInsert::GetIDFromInsertString(char const* text, int html) {
    return html ? FindWord<html_marks>(ViewOf(text)) : FindWord<plain_marks>(ViewOf(text));
}

void MailWordInsert::CheckOldMailWord(CString text, CArray<CString, CString>& found) {
    constexpr std::string_view old_words[] = {
        "<%郵便番号(上3桁)%>",    "<%郵便番号(下4桁)%>",       "<%番地%>",
        "<%建物名等%>",           "<%電話番号(市外局番)%>",    "<%電話番号(市内局番以下)%>",
        "<%FAX番号(市外局番)%>",  "<%FAX番号(市内局番以下)%>", "<%携帯番号(0*0)%>",
        "<%携帯番号(それ以外)%>",
    };
    found.RemoveAll();
    for (std::string_view const word : old_words)
        if (text.View().find(word) != std::string_view::npos) found.Add(CString(word));
}

CString MailWordInsert::HtmlAmpEcnode(char const* text) {
    CString encoded;
    for (std::string_view rest = ViewOf(text); !rest.empty();) {
        std::size_t const plain = std::min(rest.find_first_of("<>\"& "), rest.size());
        encoded.Append(rest.substr(0, plain));
        rest.remove_prefix(plain);
        if (rest.empty()) break;
        encoded.Append(EntityOf(rest[0]));
        rest.remove_prefix(1);
    }
    return encoded;
}

namespace delivery {

std::vector<MergePiece> MergePieces(std::string_view text, MergeMarks marks) {
    return marks == MergeMarks::html ? PiecesOf<html_marks>(text) : PiecesOf<plain_marks>(text);
}

CString MergeValue(OneCustomer const& customer, int word) {
    CString made;
    return ValueOf(customer, word, made);
}

CString HtmlEscaped(CString const& value) { return MailWordInsert::HtmlAmpEcnode(value); }

}  // namespace delivery
