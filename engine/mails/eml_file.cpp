#include "engine/mails/eml_file.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/mails/html_addresses.h"
#include "engine/mails/html_edit.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_pictures.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/mail_text.h"
#include "engine/mails/received_text.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// A part's name as that of a file; `number` makes one up, with the type's extension for a picture.
std::string SafeName(MimeFormatStruct const& part, std::size_t number) {
    std::string safe = OnOneLine(NameOfPart(part));
    std::replace_if(
        safe.begin(), safe.end(), [](char c) { return not_for_names.find(c) != not_for_names.npos; }, '_');
    if (safe.find_first_not_of('.') == safe.npos) safe = "file" + std::to_string(number);
    CString type, subtype, parameters;
    MimeDecodeTool::SplitContentType(part.m_strContentType, type, subtype, parameters);
    if (type.Trim().CompareNoCase("image") == 0 && fs::path(safe).extension().empty())
        safe += "." + Out(subtype.Trim());
    return safe;
}

}  // namespace

CString EmlOf(MailVersion const& version) {
    CMimeAnalyze parts = version.html ? *version.html : PartsOf(ComposeText(version.body));
    for (CString const& attachment : version.attachments) parts.AddMIMENormalAttach(attachment);
    FoldWords(parts);
    CString header, body;
    parts.GetMimeString(header, body, CMimeAnalyze::with_attachments, nullptr);
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
    std::string const content = ReadWholeFile(file, "ファイル");
    CString const text{std::string_view(content)};
    CMimeAnalyze parts;
    if (static_cast<std::size_t>(text.GetLength()) != content.size() ||
        parts.AnalyzeMime(text) != CMimeAnalyze::ok)
        throw Failure(Failure::unsuitable_file, "メールとして読めません: " + file);
    if (parts.GetDataTypeFromNowSetData() == CMimeAnalyze::type_nothing)
        throw Failure(Failure::incomplete_mail, "文面のないメールです: " + file);
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(text, mail);
    std::string const subject = OnOneLine(SubjectOf(mail));
    if (subject.empty()) throw Failure(Failure::incomplete_mail, "件名のないメールです: " + file);
    MimeFormatStruct part;
    parts.GetMIMETextpart(part);
    texts_.draft =
        Write("draft.txt", "Subject: " + subject + "\n\n" + (parts.TextPartExist() ? TextOf(part) : ""));
    if (parts.HtmlPartExist()) UnpackHtml(parts);
    UnpackAttachments(parts);
}

std::string UnpackedEml::Write(std::string const& name, std::string_view content) const {
    std::string path = folder_ + "/" + name;
    MakeFolder(fs::path(path).parent_path().string());
    if (!ReplaceFile(path, content))
        throw Failure(Failure::not_written, "作業用のファイルを書けません: " + path);
    return path;
}

// Pictures get a file each, and the HTML names it in place of the part.
void UnpackedEml::UnpackHtml(CMimeAnalyze const& parts) {
    MimeFormatStruct part;
    parts.GetMIMEHtmlpart(part);
    std::string const html = TextOf(part);
    MailPictures pictures;
    std::size_t number = 0;
    for (MimeFormatStruct const& picture : parts.GetConstRefOfMimeHtmlAttach()) {
        std::string const folder = "picture" + std::to_string(++number) + "/",
                          safe = SafeName(picture, number);
        Write(folder + safe, ContentOf(picture));
        CString id;
        picture.GetContentId(id);
        pictures.Add(Out(id), {}, folder + safe);
    }
    HtmlEdit edit(html);
    HtmlTokens tokens(html);
    HtmlTag tag;
    while (tokens.Next(tag))
        for (HtmlAddress const& named : AddressesIn(html, tag, NamesPicture)) {
            HtmlPlace const place = named.place;
            std::string const* const file =
                pictures.Find(std::string_view(html).substr(place.begin, place.end - place.begin));
            if (file) edit.Replace(place, *file);
        }
    texts_.html = Write("mail.html", edit.Whole());
}

void UnpackedEml::UnpackAttachments(CMimeAnalyze& parts) {
    for (int i = 0; i < parts.CountMIMENormalAttach(); ++i) {
        MimeFormatStruct part;
        parts.GetMIMENormalAttach(i, part);
        std::string const name = SafeName(part, static_cast<std::size_t>(i) + 1);
        texts_.attach.push_back(Write("attachment" + std::to_string(i) + "/" + name, ContentOf(part)));
    }
}

}  // namespace engine
