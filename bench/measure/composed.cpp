// HTML mails: one customer's mail out of its parts, and the tags of a page.
#include <tessaly/customers.h>
#include <tessaly/mime.h>

#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

constexpr int mails = 20000, scans = 100;
constexpr std::size_t page_size = 2048, attachment_size = 20480, scanned_size = 100 << 10;

std::string Page(std::size_t size) {
    std::string page =
        "<html><head><title>案内</title></head><body bgcolor=\"#ffffff\"><p>&lt;%名前(姓)%&gt; 様</p>";
    for (int i = 0; page.size() < size; ++i)
        page += "<p class=\"lead\">春のセールのご案内です。</p>\r\n<img src=\"item" + std::to_string(i) +
                ".gif\" width=120 alt=\"商品\"><a href=\"https://example.jp/?id=1\">くわしく</a><br>\r\n";
    return page + "</body></html>";
}

CMimeAnalyze Parts() {
    HtmlMailEncoder encoder;
    std::string text;
    while (text.size() < page_size) text += "<%名前(姓)%> 様、春のセールのご案内です。\r\n";
    encoder.SetPlainText(text.c_str());
    encoder.SetHtmlText(Page(page_size).c_str());
    CString type, subtype, params;
    encoder.Encode(0, 0, 0);
    encoder.GetContentTypeString(type, subtype, params);
    CMimeAnalyze parts;
    std::string const base64 =
        "Content-Type: image/png; name=\"a.png\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
        std::string(attachment_size / 3 * 4, 'A');
    if (parts.AnalyzeMime("Content-Type: " + type + "/" + subtype + params + "\r\n\r\n" +
                          encoder.GetMailBodyString()) != 0 ||
        !parts.AddMIMENormalAttach(CString(base64.c_str())))
        throw std::runtime_error("no mail to compose");
    return parts;
}

}  // namespace

void Composed() {
    CMimeAnalyze const parts = Parts();
    OneCustomer customer;
    customer.KanjiSei = "高橋";
    CString header, body;
    double const composing = Best([&] {
        for (int i = 0; i < mails; ++i) {
            CMimeAnalyze mail = parts;
            mail.GetMimeString(header, body, 1, &customer);
        }
    });
    Row("compose 2 KB HTML + text, 20 KB attachment", mails / composing, "mails/s");
    Note(std::to_string(body.GetLength()) + " bytes a mail");

    std::string const page = Page(scanned_size);
    CString const html(page.c_str());
    CString out;
    int count = 0;
    double const listing = Best([&] {
        for (int i = 0; i < scans; ++i) {
            CHtmlElems elements;
            ExtractHtmlElement(html, elements, 1);
            count = elements.GetSize();
        }
    });
    Row("HTML: list all tags", scans * Megabytes(page) / listing, "MB/s in");
    Note(std::to_string(count) + " tags");
    double const distinct = Best([&] {
        for (int i = 0; i < scans; ++i) {
            CHtmlElems elements;
            ExtractHtmlElement(html, elements, 0);
            count = elements.GetSize();
        }
    });
    Row("HTML: list distinct tags", scans * Megabytes(page) / distinct, "MB/s in");
    double const replacing = Best([&] {
        for (int i = 0; i < scans; ++i)
            count = ReplaceHtmlAttrVal(html, "img", "src", "item7.gif", "cid:7", out);
    });
    Row("HTML: replace one picture's address", scans * Megabytes(page) / replacing, "MB/s in");
    Note(std::to_string(count) + " tags written anew");
}

}  // namespace measure
