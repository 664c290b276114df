// A page as the application divides it: tags and addresses lie within it, one behind the other; without
// active content; and its text.

#include "engine/mails/html_addresses.h"
#include "engine/mails/html_cleaning.h"
#include "engine/mails/html_source.h"
#include "engine/mails/html_tokens.h"
#include "fuzz_target.h"

void FuzzOne(std::string_view bytes) {
    std::string const page = fuzz::TextOf(bytes);
    engine::HtmlTokens tokens(page);
    engine::HtmlTag tag;
    std::size_t done = 0;
    while (tokens.Next(tag)) {
        fuzz::Check(tag.begin >= done && tag.end > tag.begin && tag.content_end >= tag.end &&
                        tag.content_end <= page.size(),
                    "tags follow each other");
        bool const is_comment = tag.name == engine::html_comment || tag.name == engine::html_declaration;
        fuzz::Check(page[tag.begin] == '<' && (is_comment || page[tag.end - 1] == '>'),
                    "a tag has its brackets");
        done = tag.content_end;
        for (engine::HtmlAttribute const& attribute : tag.attributes) {
            fuzz::Check(attribute.begin <= attribute.end && attribute.end < tag.end,
                        "a value lies in its tag");
            std::size_t last = attribute.begin;
            for (engine::HtmlPlace const& place : engine::UrlsIn(page, {attribute.begin, attribute.end})) {
                fuzz::Check(place.begin >= last && place.begin <= place.end && place.end <= attribute.end,
                            "an address lies in its style");
                last = place.end;
            }
        }
    }
    engine::CleanPage const clean = engine::WithoutActiveContent(page);
    engine::CleanPage const again = engine::WithoutActiveContent(clean.page);
    fuzz::Check(again.removed.empty() && again.page == clean.page, "a clean page stays as it is");
    fuzz::Check(
        std::count(page.begin(), page.end(), '\n') == std::count(clean.page.begin(), clean.page.end(), '\n'),
        "lines keep their numbers");
    CString const text = engine::TextOfHtml(CString(page.c_str()));
    fuzz::Check(text.Find("\r\n\r\n\r\n") < 0 || page.find('&') != page.npos, "one empty line in a row");
}
