#include "reception/mail_fields.h"

#include <algorithm>
#include <cstdlib>

#include "mime/ascii.h"
#include "platform/clock.h"
#include "tessaly/mime/encoded_words.h"

namespace reception {

namespace {

constexpr auto npos = std::string_view::npos;

std::string WithoutBlanks(std::string_view text) {
    std::string kept(text);
    std::erase_if(kept, [](char c) { return c == ' '; });
    return kept;
}

// Quoted strings and encoded words may contain a text like an address or an ID. One that is opened and not
// closed is kept; an end that is missing once is missing for all that follow, and is not searched again.
std::string WithoutQuotedText(std::string_view text) {
    std::string kept;
    bool words_end = true;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = npos;
        if (text[at] == '"') {
            end = text.find('"', at + 1);
        } else if (words_end && text.substr(at, 2) == "=?") {
            end = text.find("?=", at + 2);
            words_end = end != npos;
        }
        if (end == npos)
            kept += text[at++];
        else
            at = end + (text[at] == '"' ? 1 : 2);
    }
    return kept;
}

// The text outside of the comments; a comment that is not closed ends the text.
std::string DateText(std::string_view value) {
    std::string kept;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] == '(') {
            at = value.find(')', at);
            if (at == npos) break;
        } else if (value[at] != '\r' && value[at] != '\n') {
            kept += value[at];
        }
    }
    return kept;
}

// Reads a date part by part.
class DateParts {
  public:
    explicit DateParts(std::string_view text) : text_(text) {}

    // The word up to the next blank, or ":" too for a time; false at the end of the text.
    bool Take(std::string_view& word, std::string_view ends, std::string_view skipped) {
        at_ = std::min(text_.find_first_not_of(skipped, at_), text_.size());
        if (at_ == text_.size()) return false;
        std::size_t const end = std::min(text_.find_first_of(ends, at_), text_.size());
        word = text_.substr(at_, end - at_);
        at_ = end;
        return true;
    }
    bool TakeNumber(int& number, std::string_view ends, std::string_view skipped) {
        std::string_view word;
        if (!Take(word, ends, skipped)) return false;
        number = std::atoi(std::string(word).c_str());
        return true;
    }
    bool ColonFollows() const {
        std::size_t const next = text_.find_first_not_of(' ', at_);
        return next != npos && text_[next] == ':';
    }
    std::string_view Rest() const { return text_.substr(at_); }

  private:
    std::string_view text_;
    std::size_t at_ = 0;
};

// The first field of a name in the text of a report, with the lines that continue it, from behind its colon.
std::string_view FieldIn(std::string_view text, std::string_view name) {
    for (std::size_t line = 0; line < text.size();) {
        std::size_t end = text.find('\n', line);
        std::string_view rest = text.substr(line);
        if (mime::EqualNoCase(rest.substr(0, name.size()), name) &&
            rest.substr(name.size()).starts_with(':')) {
            while (end != npos && end + 1 < text.size() && (text[end + 1] == ' ' || text[end + 1] == '\t'))
                end = text.find('\n', end + 1);
            return text.substr(line, end - line).substr(name.size() + 1);
        }
        if (end == npos) break;
        line = end + 1;
    }
    return {};
}

constexpr long seconds_per_minute = 60;
constexpr std::string_view blank = " ";
constexpr std::string_view blank_or_colon = " :";
constexpr std::string_view months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct Zone {
    std::string_view name;
    int minutes;
};
constexpr Zone zones[] = {{"JST", 540},  {"UT", 0},     {"GMT", 0},    {"EDT", -240},
                          {"EST", -300}, {"CDT", -300}, {"CST", -360}, {"MDT", -360},
                          {"MST", -420}, {"PDT", -420}, {"PST", -480}, {"Z", 0}};

// The military zones but J and Z (RFC 5322 4.3): A to I and K to M lie east, N to Y west.
bool TakeMilitary(std::string_view zone, int& minutes) {
    if (zone.size() != 1 || zone[0] < 'A' || zone[0] > 'Y' || zone[0] == 'J') return false;
    char const letter = zone[0];
    int const hours = letter <= 'I' ? letter - 'A' + 1 : letter <= 'M' ? letter - 'K' + 10 : 'N' - letter - 1;
    minutes = hours * 60;
    return true;
}

int ZoneMinutes(std::string_view zone) {
    int minutes = 0;
    for (Zone const& known : zones)
        if (known.name == zone) return known.minutes;
    if (TakeMilitary(zone, minutes)) return minutes;
    int const number = std::clamp(std::atoi(std::string(zone).c_str()), -999999, 999999);
    int const size = std::abs(number);
    minutes = size / 100 * 60 + size % 100;
    return number < 0 ? -minutes : minutes;
}

}  // namespace

CString const* HeaderOf(MimeFormatStruct const& mail, std::string_view name) {
    for (MimeHeaderStruct const& header : mail.m_aHeader)
        if (mime::EqualNoCase(header.m_strName.View(), name)) return &header.m_strValue;
    return nullptr;
}

std::string WithoutComments(std::string_view value) {
    std::string kept;
    for (std::size_t at = 0; at < value.size();) {
        std::size_t const start = at;
        char const c = value[at];
        if (c == '(') {
            at = value.find(')', at);
            at = at == npos ? value.size() : at + 1;
            continue;
        }
        if (c == '"')
            at = value.find('"', at + 1);
        else if (value.substr(at, 2) == "=?")
            at = value.find("?=", at + 2) == npos ? npos : value.find("?=", at + 2) + 1;
        at = at == npos ? value.size() : at + 1;
        if (c != ' ' && c != '\t') kept.append(value.substr(start, at - start));
    }
    return kept;
}

bool TakeMessageID(std::string_view value, CString& id) {
    id.Empty();
    if (value.find(' ') == npos) return false;
    std::size_t const open = value.find('<'), close = value.rfind('>');
    if (open == npos && close == npos) {
        id = CString(std::string_view(WithoutBlanks(value)));
        return true;
    }
    if (open == npos) {
        id = CString(std::string_view(WithoutBlanks(value.substr(0, close))));
        return !id.IsEmpty();
    }
    if (close == npos) {
        if (open + 1 == value.size()) return false;
        id = CString(std::string_view(WithoutBlanks(value.substr(open + 1))));
        return true;
    }
    if (open > close) return false;
    id = CString(value.substr(open + 1, close - open - 1));
    return !id.IsEmpty();
}

bool FirstMessageID(MimeFormatStruct::Headers const& headers, std::string_view name, CString& id) {
    for (MimeHeaderStruct const& header : headers)
        if (mime::EqualNoCase(header.m_strName.View(), name) && TakeMessageID(header.m_strValue.View(), id))
            return true;
    return false;
}

bool TakeReferencedID(MimeFormatStruct const& mail, CString& id) {
    id.Empty();
    CString const* value = HeaderOf(mail, "references");
    if (!value) value = HeaderOf(mail, "in-reply-to");
    if (!value) return false;
    std::string const text = WithoutQuotedText(WithoutComments(value->View()));
    std::size_t const close = text.rfind('>');
    std::size_t const open = close == npos ? npos : text.rfind('<', close);
    if (open == npos) return false;
    id = CString(std::string_view(text).substr(open + 1, close - open - 1));
    return true;
}

bool TakeFromAddress(MimeFormatStruct const& mail, CString& address) {
    CString const* value = nullptr;
    for (char const* name : {"from", "sender", "return-path"})
        if (!value) value = HeaderOf(mail, name);
    if (!value) return false;
    std::string const text = WithoutQuotedText(WithoutComments(value->View()));
    std::string_view found = text;
    if (std::size_t const open = found.find('<'); open != npos)
        found = found.substr(open + 1, found.substr(open + 1).find('>'));
    else
        found = found.substr(0, found.find(','));
    address = CString(found);
    return true;
}

CString SubjectOf(MimeFormatStruct const& mail) {
    CString const* value = HeaderOf(mail, "subject");
    if (!value) return {};
    std::string decoded(mime::DecodedWordsRoom(value->View().size()), '\0');
    MIMEbase64decoding(decoded.data(), *value);
    std::string_view const text = decoded.c_str();
    return CString(text.substr(text.starts_with(' ') ? 1 : 0));
}

CString ReportField(MimeFormatStruct const& mail, std::string_view type, std::string_view field) {
    for (MimeFormatStruct const& child : mail.m_aChild) {
        if (!mime::ContainsNoCase(child.m_strContentType.View(), type)) continue;
        std::string_view const found = FieldIn(child.m_strBody.View(), field);
        if (found.data() == nullptr) continue;
        CString value(found);
        value.Replace("\r\n", "");
        return value.Trim();
    }
    return {};
}

bool TakeSendDate(MimeFormatStruct const& mail, COleDateTime& date) {
    CString const* value = HeaderOf(mail, "date");
    if (!value) return false;
    std::string const text = DateText(value->View());
    std::size_t const comma = text.find(',');
    DateParts parts(std::string_view(text).substr(comma == npos ? 0 : comma + 1));
    int day = 0, year = 0, hour = 0, minute = 0, second = 0;
    std::string_view name;
    if (!parts.TakeNumber(day, blank, blank) || !parts.Take(name, blank, blank)) return false;
    auto const month = std::find(std::begin(months), std::end(months), name);
    if (month == std::end(months)) return false;
    if (!parts.TakeNumber(year, blank, blank) || !parts.TakeNumber(hour, blank_or_colon, blank) ||
        !parts.TakeNumber(minute, blank_or_colon, blank_or_colon))
        return false;
    if (parts.ColonFollows() && !parts.TakeNumber(second, blank, blank_or_colon)) return false;
    std::string const zone = WithoutBlanks(parts.Rest());
    COleDateTime there;
    if (zone.empty() || there.SetDateTime(year, static_cast<int>(month - std::begin(months)) + 1, day, hour,
                                          minute, second) != 0)
        return false;
    int const minutes =
        static_cast<int>(-platform::StandardTimezone() / seconds_per_minute) - ZoneMinutes(zone);
    COleDateTime const here = there + COleDateTimeSpan(0, 0, minutes, 0);
    if (here.GetStatus() != COleDateTime::valid) return false;
    date = here;
    return true;
}

}  // namespace reception
