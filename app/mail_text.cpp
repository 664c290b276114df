#include "mail_text.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tessaly/delivery.h"
#include "tessaly/mime.h"
#include "tessaly/text.h"

namespace app {
namespace {

// Lead bytes of code page 932 whose characters lie outside the 94 rows of JIS X 0208: user-defined ones, then
// IBM's.
constexpr unsigned first_outside = 0xF0, first_ibm = 0xFA, last_ibm = 0xFC;
constexpr std::uint16_t geta_mark = 0x81AC;
// Where the same characters stand inside the 94 rows: NEC's row 13 and NEC's selection of IBM's characters.
constexpr std::pair<std::uint16_t, std::uint16_t> nec_rows[] = {
    {0x8140, 0x81FC}, {0x8740, 0x879C}, {0xED40, 0xEEFC}};

using IbmTable = std::array<std::uint16_t, (last_ibm - first_ibm + 1) * 256>;

IbmTable MakeIbmTable() {
    std::array<std::uint16_t, 65536> inside{};
    for (auto const& [first, last] : nec_rows)
        for (unsigned code = first; code <= last; ++code)
            if (auto const unit = platform::UnicodeOf(static_cast<std::uint16_t>(code));
                unit != 0 && inside[unit] == 0)
                inside[unit] = static_cast<std::uint16_t>(code);
    IbmTable table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        auto const unit = platform::UnicodeOf(static_cast<std::uint16_t>((first_ibm << 8) + i));
        table[i] = unit != 0 ? inside[unit] : 0;
    }
    return table;
}

std::uint16_t Inside(unsigned code) {
    static const IbmTable table = MakeIbmTable();
    const std::uint16_t moved = code >= first_ibm << 8 ? table[code - (first_ibm << 8)] : 0;
    return moved ? moved : geta_mark;
}

bool IsAscii(CString const& text) { return IsStrAscii(text) == 1; }

}  // namespace

CString Mailable(CString const& text, bool one_line) {
    std::string wide(static_cast<std::size_t>(text.GetLength()) * 2 + 1, '\0');
    xc_han2zen_sjis_kana(wide.data(), text);
    std::string result;
    const std::string_view view(wide.c_str());
    for (std::size_t at = 0; at < view.size();) {
        const std::size_t size = platform::CharacterSize(view, at);
        auto const lead = static_cast<unsigned char>(view[at]);
        if (size == 2 && lead >= first_outside) {
            const std::uint16_t code = Inside(lead << 8U | static_cast<unsigned char>(view[at + 1]));
            result += static_cast<char>(code >> 8);
            result += static_cast<char>(code & 0xFF);
        } else if (size == 1 && (lead >= 0x80 || lead == 0x7F)) {
            result += '?';
        } else if (size == 1 && lead < 0x20 && (one_line || (lead != '\r' && lead != '\n' && lead != '\t'))) {
            result += ' ';
        } else {
            result.append(view, at, size);
        }
        at += size;
    }
    return CString(std::string_view(result));
}

CString HeaderText(CString const& text) {
    if (IsAscii(text)) return text;
    // In the encoded words of EncodeFileName single bytes are JIS-Roman, which has other signs for these two.
    if (text.Find('\\') < 0 && text.Find('~') < 0) return MailSend::EncodeFileName(text);
    KCodeC code;
    char* encoded = nullptr;
    MIMEBase64EncodeForJIS(&encoded, code.sjtojis7(text, 0));
    const std::unique_ptr<char[]> owned(encoded);
    return CString(encoded);
}

CString HeaderMailbox(Mailbox const& mailbox) {
    if (mailbox.name.IsEmpty()) return mailbox.address;
    CString name = HeaderText(mailbox.name);
    if (IsAscii(mailbox.name)) {
        name.Replace("\\", "\\\\");
        name.Replace("\"", "\\\"");
        name = "\"" + name + "\"";
    }
    return name + " <" + mailbox.address + ">";
}

MailText Merge(Draft const& draft, OneCustomer const& customer) {
    MailText text;
    text.to_address = customer.Email;
    CString name = customer.KanjiSei;
    if (!name.IsEmpty() && !customer.KanjiMei.IsEmpty()) name += " ";
    name += customer.KanjiMei;
    text.to_name = Mailable(name, true).Trim();
    text.subject = Mailable(MailWordInsert::GetMailWordInsert(customer, draft.subject, 0), true);
    text.body = CrLfConverter(Mailable(MailWordInsert::GetMailWordInsert(customer, draft.body, 0), false));
    return text;
}

}  // namespace app
