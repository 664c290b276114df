#include "engine/mails/html_page.h"

#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/mails/html_addresses.h"
#include "engine/mails/html_cleaning.h"
#include "engine/mails/html_edit.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_pictures.h"

namespace engine {
namespace {

constexpr std::string_view head =
    "<meta charset=\"utf-8\"><meta http-equiv=\"Content-Security-Policy\" "
    "content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'\">";

std::string DataAddress(MimeFormatStruct const& part) {
    std::string base64(part.m_strBody.View());
    std::erase_if(base64, [](char c) { return c == '\r' || c == '\n'; });
    CString type;
    part.GetContentType(type);
    return "data:" + Out(type) + ";base64," + base64;
}

MailPictures PicturesOf(CMimeAnalyze const& parts) {
    MailPictures pictures;
    for (MimeFormatStruct const& part : parts.GetConstRefOfMimeHtmlAttach()) {
        CString id;
        part.GetContentId(id);
        pictures.Add(Out(id), {}, DataAddress(part));
    }
    return pictures;
}

bool LiesInPage(std::string_view address) {
    std::string const plain = LowerCase(Trimmed(address.substr(0, address.find(','))));
    return plain.empty() || plain.starts_with('#') || plain.starts_with("data:image/");
}

// Behind the document type, in front of everything else: a policy counts in the head alone, and a browser
// begins the head with it.
std::size_t PlaceOfHead(std::string_view page) {
    HtmlTokens tokens(page);
    HtmlTag tag;
    std::size_t done = 0;
    while (tokens.Next(tag) && Trimmed(page.substr(done, tag.begin - done)).empty()) {
        bool const is_type = LowerCase(page.substr(tag.begin, 9)) == "<!doctype";
        if (is_type) return tag.end;
        if (tag.name != html_comment && tag.name != html_declaration) break;
        done = tag.end;
    }
    return 0;
}

}  // namespace

HtmlPage PageOf(CMimeAnalyze const& parts) {
    MailPictures const pictures = PicturesOf(parts);
    std::string const page = WithoutActiveContent(Out(HtmlIn(parts))).page;
    HtmlPage result;
    HtmlEdit edit(page);
    std::size_t const top = PlaceOfHead(page);
    edit.Replace({top, top}, head);
    HtmlTokens tokens(page);
    HtmlTag tag;
    while (tokens.Next(tag)) {
        for (HtmlAddress const& named : AddressesIn(page, tag, NamesLoaded)) {
            HtmlPlace const place = named.place;
            std::string_view const address =
                std::string_view(page).substr(place.begin, place.end - place.begin);
            std::string const* const picture = pictures.Find(address);
            if (!picture && LiesInPage(address)) continue;
            if (!picture) ++result.left_out;
            std::string_view const shown = picture ? std::string_view(*picture) : "";
            named.in_style ? edit.Replace(place, shown) : edit.ReplaceValue(place, shown);
        }
    }
    result.html = edit.Whole();
    return result;
}

}  // namespace engine
