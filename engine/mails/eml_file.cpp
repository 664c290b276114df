#include "engine/mails/eml_file.h"

#include <stdlib.h>

#include <filesystem>
#include <set>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/lower_case.h"
#include "engine/base/shown_text.h"
#include "engine/base/whole_file.h"
#include "engine/mails/file_names.h"
#include "engine/mails/html_addresses.h"
#include "engine/mails/html_edit.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_pictures.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/mail_text.h"
#include "engine/mails/received_text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// The last line end of a text and of its HTML is not kept with a mail (ComposeHtml).
constexpr char const* last_line_end = "\n";

// The location of a picture as the HTML may name it: whole, or from where the HTML lies.
std::string FromThere(std::string_view location, std::string_view html_location) {
    std::string_view const folder = html_location.substr(0, html_location.rfind('/') + 1);
    return std::string(location.starts_with(folder) ? location.substr(folder.size()) : location);
}

// The library ends the text in front of attachments with an empty line, which a reader would take for a line
// of the text: the line end in front of a delimiter belongs to the delimiter (RFC 2046 5.1.1).
CString WithTextAsItIs(CString const& header, CString const& body) {
    constexpr std::string_view line_end = "\r\n";
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(header + "\r\n" + body, mail);
    std::string const delimiter = "\r\n\r\n--" + std::string(mail.m_strBoundary.View());
    std::string result(body.View());
    if (std::size_t const at = result.find(delimiter); at != result.npos) result.erase(at, line_end.size());
    return CString(std::string_view(result));
}

}  // namespace

CString EmlOf(MailVersion const& version) {
    CMimeAnalyze parts = version.html ? *version.html : PartsOf(ComposeText(version.body));
    for (CString const& attachment : version.attachments) parts.AddMIMENormalAttach(attachment);
    FoldWords(parts);
    CString header, body;
    parts.GetMimeString(header, body, CMimeAnalyze::with_attachments, nullptr);
    if (!version.html && !version.attachments.empty()) body = WithTextAsItIs(header, body);
    CString subject = HeaderLine("Subject", Mailable(version.subject, true)) + "\r\n";
    return subject + header + "\r\n" + body;
}

UnpackedEml::UnpackedEml(std::string const& file)
    : folder_((fs::temp_directory_path() / "tessaly-eml-XXXXXX").string()) {
    if (!mkdtemp(folder_.data()))
        throw Failure(Failure::not_written, "作業用のディレクトリを作れません: " + folder_);
    try {
        Unpack(file);
    } catch (...) {
        RemoveWork(folder_);
        throw;
    }
}

UnpackedEml::~UnpackedEml() { RemoveWork(folder_); }

void UnpackedEml::Unpack(std::string const& file) {
    EmlParts parts = ReadEml(ReadWholeFile(file, "ファイル"), file);
    notices_ = parts.lost;
    bool const both = !parts.text.empty() && !parts.html.empty();
    texts_.draft =
        Write("draft.txt", "Subject: " + parts.subject + "\n\n" + parts.text + (both ? last_line_end : ""));
    if (!parts.html.empty()) UnpackHtml(parts);
    UnpackAttachments(parts);
}

std::string UnpackedEml::Write(std::string const& name, std::string_view content) const {
    std::string path = folder_ + "/" + name;
    MakeFolder(fs::path(path).parent_path().string());
    if (!ReplaceFile(path, content))
        throw Failure(Failure::not_written, "作業用のファイルを書けません: " + path);
    return path;
}

// Pictures that the HTML shows get a file each, and the HTML names it in place of the part.
void UnpackedEml::UnpackHtml(EmlParts& parts) {
    MailPictures pictures;
    std::vector<std::string> addresses;
    for (std::size_t i = 0; i < parts.files.size(); ++i) {
        EmlFilePart const& part = parts.files[i];
        std::string const name = FileNames().Take(part.name, part.type, i + 1);
        addresses.push_back("picture" + std::to_string(i + 1) + "/" + PercentEncoded(name, "."));
        pictures.Add(part.content_id, part.location, addresses.back());
        pictures.Add({}, FromThere(part.location, parts.html_location), addresses.back());
    }
    std::set<std::string> shown, missing;
    HtmlEdit edit(parts.html);
    HtmlTokens tokens(parts.html);
    HtmlTag tag;
    while (tokens.Next(tag))
        for (auto const& [place, in_style] : AddressesIn(parts.html, tag, NamesPicture)) {
            std::string const named = parts.html.substr(place.begin, place.end - place.begin);
            std::string const* const address = pictures.Find(named);
            if (!address && LowerCase(named).starts_with("cid:") && missing.insert(named).second)
                notices_.push_back("HTMLが見せる画像が、メールの中にありません: " + ShownLine(named));
            if (!address) continue;
            edit.Replace(place, *address);
            shown.insert(*address);
        }
    texts_.html = Write("mail.html", edit.Whole() + last_line_end);
    for (std::size_t i = parts.files.size(); i-- > 0;) {
        if (!shown.contains(addresses[i])) continue;
        Write(PercentDecoded(addresses[i]), parts.files[i].content);
        parts.files.erase(parts.files.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void UnpackedEml::UnpackAttachments(EmlParts const& parts) {
    FileNames names;
    for (std::size_t i = 0; i < parts.files.size(); ++i) {
        auto const& [type, given, title, content_id, location, content] = parts.files[i];
        std::string const name = names.Take(given.empty() ? title : given, type, i + 1);
        if (content.size() > largest_attachment) {
            notices_.push_back("2MBより大きい添付ファイルは取り込みません: " + name);
            continue;
        }
        bool const renamed = !given.empty() && given != name;
        if (renamed) notices_.push_back("添付ファイルの名前を変えました: " + ShownLine(given) + " → " + name);
        texts_.attach.push_back(Write("attachment" + std::to_string(i) + "/" + name, content));
    }
}

}  // namespace engine
