// Received mail: decoding, every operation on what came out of it, the analysis, and a registration's text.
// The division of a multipart body is compared with one that looks for its delimiters as they stand. The
// first line of the input is the boundary for that.

#include <vector>

#include "customers/registration_mail.h"
#include "fuzz_target.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/reception/mail_analyzer.h"

namespace {

class Tool : public MimeDecodeTool {
  public:
    using MimeDecodeTool::CrLfConv;
    using MimeDecodeTool::SplitMailBody;
};

// The same division by searching the text for each delimiter in turn.
bool PlainSplit(std::string const& body, std::string const& boundary, std::vector<std::string>& parts) {
    std::string const open = "\r\n--" + boundary + "\r\n", close = "\r\n--" + boundary + "--",
                      text = "\r\n" + body;
    std::size_t const end = text.find(close);
    std::size_t at = text.find(open);
    if (end == text.npos || at == text.npos) return false;
    std::size_t begin = at + open.size();
    while ((at = text.find(open, begin)) != text.npos && at <= end) {
        parts.push_back(text.substr(begin, at - begin));
        begin = at + open.size();
    }
    at = text.find(close, begin);
    if (at == text.npos) return false;
    parts.push_back(text.substr(begin, at - begin));
    return true;
}

void BothDivideAlike(std::string const& boundary, std::string const& text) {
    std::string const body(Tool::CrLfConv(CString(text.c_str())).View());
    std::vector<std::string> plain;
    CArray<CString, CString> parts;
    bool const whole = PlainSplit(body, boundary, plain);
    fuzz::Check(Tool::SplitMailBody(CString(body.c_str()), parts, boundary.c_str()) == (whole ? 1 : 0),
                "both say the same of a body");
    fuzz::Check(static_cast<std::size_t>(parts.GetSize()) == plain.size(), "both find as many parts");
    for (std::size_t i = 0; i < plain.size(); ++i)
        fuzz::Check(parts[static_cast<int>(i)].View() == plain[i], "both find the same parts");
}

void Use(MimeFormatStruct& entity) {
    CString text;
    unsigned long size = 0;
    entity.ConvertBodyToCp932String(text);
    entity.GetNameParamFromContentType(text);
    entity.GetMIMENormalAttachName();
    entity.GetSizeAfterDecode(size);
    if (entity.GetSizeAfterBase64Decode(size) || entity.GetSizeAfterQuotedPrintableDecode(size)) {
        std::vector<char> out(size);
        fuzz::Check(entity.GetBodyAfterBase64Decode(out.data()) ||
                        entity.GetBodyAfterQuotedPrintableDecode(out.data()),
                    "what has a size can be decoded");
    }
    entity.SetNameParamToContentType("名前.txt");
    for (MimeFormatStruct& child : entity.m_aChild) Use(child);
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string_view rest = bytes;
    std::string const boundary = fuzz::TextOf(fuzz::TakeLine(rest)), text = fuzz::TextOf(rest);
    if (boundary.find_first_of("\r\n") == boundary.npos) BothDivideAlike(boundary, text);
    constexpr std::size_t shallow = 20000;  // Use goes down by itself
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(CString(text.c_str()), mail);
    if (text.size() < shallow) Use(mail);
    MailAnalyzer analyzer;
    analyzer.SetResistWithEmpty(1);
    analyzer.SetRefuseWithKeyword(1, "停止");
    analyzer.SetMailData(CString(text.c_str()));
    analyzer.MailAnalysis();
    fuzz::Check(analyzer.GetMailType() != MailAnalyzer::not_analysed, "every mail is of some kind");
    for (bool const strict : {false, true}) {
        customers::ElementValues values;
        if (customers::ReadRegistration(text, customers::ElementTypes{}, strict, values))
            fuzz::Check(!values[customers::element_address].IsEmpty(), "who registers has an address");
    }
}
