// Tags of a hostile page: the replacements against plain ones that search, delete and insert one tag after
// the other. The first line of the input is the tag that is looked for.

#include "tessaly/html/html_scan.h"

#include "fuzz_target.h"

namespace {

// Calls `take(begin, end)` for the text of each tag, going on from each "<" in turn.
template <class Take>
void PlainScan(std::string const& html, Take take) {
    for (std::size_t at = 0; (at = html.find('<', at)) != html.npos;) {
        std::size_t const begin = at + 1, end = html.find('>', begin);
        if (begin >= html.size() || end == html.npos) return;
        std::size_t const inner = html.find('<', begin);
        if (end != begin && inner < end) {
            at = begin;
            continue;
        }
        if (end != begin) take(begin, end);
        at = end + 1;
    }
}

template <class Change>
int PlainReplace(std::string const& html, std::string& out, Change change) {
    int count = 0;
    std::ptrdiff_t offset = 0;
    out = html;
    PlainScan(html, [&](std::size_t begin, std::size_t end) {
        CHtmlElement element;
        CString tag;
        if (!ExpandHtmlElement(CString(html.substr(begin, end - begin).c_str()), element) ||
            !change(element) || !element.GetTagString(tag))
            return;
        std::string const inside(tag.View().substr(1, tag.View().size() - 2));
        std::size_t const place = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(begin) + offset);
        out.erase(place, end - begin);
        out.insert(place, inside);
        offset += static_cast<std::ptrdiff_t>(inside.size()) - static_cast<std::ptrdiff_t>(end - begin);
        ++count;
    });
    return count;
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string_view rest = bytes;
    std::string const wanted = fuzz::TextOf(fuzz::TakeLine(rest)), html = fuzz::TextOf(rest);
    CHtmlElement source, destination;
    destination.m_strName = "x";
    if (html.empty() || html.size() > 4096 || !ExpandHtmlElement(CString(wanted.c_str()), source)) return;

    CHtmlElems all, once;
    ExtractHtmlElement(CString(html.c_str()), all, 1);
    ExtractHtmlElement(CString(html.c_str()), once, 0);
    for (CHtmlElement const& element : all) fuzz::Check(once.IsInEntryElement(element), "no element is lost");
    for (int i = 1; i < once.GetSize(); ++i) fuzz::Check(once[i] != once[i - 1], "each stands once");

    CHtmlElemRepPair pairs;
    pairs.Add({source, destination});
    std::string plain;
    CString out;
    int count = PlainReplace(html, plain, [&](CHtmlElement& element) {
        if (element != source) return false;
        element = destination;
        return true;
    });
    fuzz::Check(ReplaceHtmlElement(CString(html.c_str()), pairs, out) == count, "as many elements");
    fuzz::Check(out.View() == plain, "the same page with other elements");

    if (source.m_bEndTag || source.m_aAttribute.IsEmpty()) return;
    CHtmlAttribute const& attribute = source.m_aAttribute[0];
    count = PlainReplace(html, plain, [&](CHtmlElement& element) {
        if (element.m_bEndTag || element.m_strName != source.m_strName ||
            !element.m_aAttribute.IsInEntryAttribute(attribute))
            return false;
        element.m_aAttribute.SetValue(attribute.m_strName, "New");
        return true;
    });
    fuzz::Check(ReplaceHtmlAttrVal(CString(html.c_str()), source.m_strName, attribute, "New", out) == count,
                "as many values");
    fuzz::Check(out.View() == plain, "the same page with other values");
}
