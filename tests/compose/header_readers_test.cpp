#include <gtest/gtest.h>

#include <string>

#include "tessaly/compose/attach_file_manager.h"
#include "tessaly/compose/eml_file_decoder.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/reception/mail_analyzer.h"
#include "tests/support/processor_time.h"

namespace {

// All readers of the header fields of a mail from outside.
void ReadHeaders(CString const& mail) {
    MailAnalyzer analyzer;
    analyzer.MailAnalysis(mail);
    EmlFileDecoder().EmlDecode(mail);
    MimeFormatStruct entity;
    MimeDecodeTool::MimeDecode(mail, entity);
    CString text;
    entity.GetContentType(text);
    entity.GetCharset(text);
    entity.GetNameParamFromContentType(text);
    entity.GetMIMENormalAttachName();
    entity.SetNameParamToContentType("n");
    entity.ContentIdIs("x");
    CAttachFileManager().SetFileInfoFromMimeFormatStruct(entity);
}

// Openings that are never closed, in each field: a step that searches the end once per opening would take
// hours.
TEST(HeaderReaders, HostileFieldsTakeLinearTime) {
    constexpr int bytes = 50000;
    for (char const* field : {"From: ", "Sender: ", "References: ", "In-Reply-To: ", "Message-ID: ",
                              "Message-ID: <", "Subject: ", "Date: ", "Date: 5 Oct 2004 ",
                              "Content-Type: multipart/report; ", "Content-Type: text/plain; charset=",
                              "Content-Type: multipart/related; type=", "Content-Disposition: attachment; ",
                              "Content-Disposition: attachment; filename=\"", "Content-ID: "}) {
        for (char const* repeated : {"=?a",
                                     "=?",
                                     "?=",
                                     "=?a?=",
                                     "\"",
                                     "\"a\" ",
                                     "\\\"",
                                     "\\",
                                     "(",
                                     ")",
                                     "()",
                                     "<",
                                     ">",
                                     "<a> ",
                                     ",",
                                     ";",
                                     ":",
                                     " ",
                                     "\t",
                                     "1 ",
                                     "1:",
                                     "a/",
                                     "\r\n ",
                                     "\r\n\t=?a",
                                     "\r\nMessage-ID: >",
                                     "=?iso-2022-jp?b?",
                                     "=?iso-2022-jp?b?GyRC?=",
                                     "=?iso-2022-jp?q?=?=",
                                     "=?shift_jis?x",
                                     "=?utf-8?b?a",
                                     "\x1B$B",
                                     "\x1B(I",
                                     "\x0E",
                                     "\x81",
                                     "\xE0\\",
                                     "\xA4",
                                     "name=",
                                     "filename=\"",
                                     "charset=",
                                     "boundary=\"a\";",
                                     "report-type=",
                                     "type="}) {
            auto const mail = [&](int size) {
                std::string text = std::string("Content-Transfer-Encoding: 7bit\r\n") + field;
                while (text.size() < static_cast<std::size_t>(size)) text += repeated;
                return CString((text + "\r\n\r\nx").c_str());
            };
            EXPECT_TRUE(TakesLinearTime(bytes, mail, ReadHeaders)) << field << repeated;
        }
    }
}

}  // namespace
