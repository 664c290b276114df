#include "tessaly/compose/mail_data_structure.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "compose/mime_text.h"
#include "mime/ascii.h"
#include "mime/boundary.h"
#include "mime/quoted_printable.h"
#include "platform/file.h"
#include "platform/view_of.h"
#include "tessaly/compose/attach_file_manager.h"
#include "tessaly/customers/one_customer.h"
#include "tessaly/delivery/mail_word_insert.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/storage/base64_text.h"
#include "tessaly/text/check_directory.h"
#include "tessaly/text/directories.h"
#include "tessaly/text/kcodec.h"

using enum mime::MailBodyEncoding;
using enum text::CheckDirectoryResult;
using enum text::MakeDirectoryResult;

using mime::ContainsNoCase;
using mime::EqualNoCase;

namespace {

constexpr auto npos = std::string_view::npos;

// Whether a file name holds a character that file names must not have. A broken character hides none.
bool HoldsForbidden(std::string_view name) {
    constexpr std::string_view forbidden = "\\/:*<>|";
    for (std::size_t at = 0; at < name.size(); at += platform::WholeCharacterSize(name, at))
        if (forbidden.find(name[at]) != npos) return true;
    return false;
}

bool Holds(CMailDataStructure::Attachments const& list, int index) {
    return index >= 0 && index < list.GetSize();
}

// The markup, charset and transfer encoding of the text of an entity.
struct TextForm {
    bool is_text = false, html = false, ascii = false;
    int encoding = 0;  // MailBodyEncoding, or 0
};

TextForm FormOf(MimeFormatStruct const& entity) {
    TextForm form;
    if (entity.m_strContentTypeName.IsEmpty()) {
        form.is_text = true;
    } else if (EqualNoCase(entity.m_strContentTypeName.View(), "content-type")) {
        CString type, subtype, params;
        MimeDecodeTool::SplitContentType(entity.m_strContentType, type, subtype, params);
        bool const plain = ContainsNoCase(subtype.View(), "plain");
        form.html = !plain && ContainsNoCase(subtype.View(), "html");
        form.is_text = ContainsNoCase(type.View(), "text") && (plain || form.html);
        form.ascii = ContainsNoCase(params.View(), "us-ascii");
    }
    if (EqualNoCase(entity.m_strContentTransferEncodingName.View(), "content-transfer-encoding")) {
        std::string_view const encoding = entity.m_strContentTransferEncoding.View();
        form.encoding = ContainsNoCase(encoding, "base64")             ? MAIL_BODY_BASE64
                        : ContainsNoCase(encoding, "quoted-printable") ? MAIL_BODY_QUOTED_PRINTABLE
                                                                       : 0;
    }
    return form;
}

CString Encoded(CString const& text, int encoding) {
    if (encoding == MAIL_BODY_QUOTED_PRINTABLE) return mime::QuotedPrintable(text.View());
    if (encoding != MAIL_BODY_BASE64) return text;
    std::string base64(static_cast<std::size_t>(text.GetLength()) / 3 * 4 + 13, '\0');
    normal_base64encoding(base64.data(), text);
    return CString(base64.c_str());
}

}  // namespace

CMailDataStructure& CMailDataStructure::operator=(CMailDataStructure const& other) {
    Copy(other);
    return *this;
}

void CMailDataStructure::Copy(CMailDataStructure const& other) {
    m_mimeText = other.m_mimeText;
    m_bTextExist = other.m_bTextExist;
    m_mimeHtml = other.m_mimeHtml;
    m_bHtmlExist = other.m_bHtmlExist;
    m_aHtmlAttach = other.m_aHtmlAttach;
    m_aNormalAttach = other.m_aNormalAttach;
}

void CMailDataStructure::Init() {
    InitTextBody();
    InitHtmlBody();
    InitHtmlAttach();
    InitNormalAttach();
}

void CMailDataStructure::InitTextBody() {
    m_mimeText.Init();
    m_bTextExist = 0;
}

void CMailDataStructure::InitHtmlBody() {
    m_mimeHtml.Init();
    m_bHtmlExist = 0;
}

void CMailDataStructure::SetMIMETextBody(MimeFormatStruct& part) {
    m_mimeText = part;
    m_bTextExist = 1;
}

void CMailDataStructure::SetMIMEHtmlBody(MimeFormatStruct& part) {
    m_mimeHtml = part;
    m_bHtmlExist = 1;
}

int CMailDataStructure::GetDataTypeFromNowSetData() const {
    bool const mixed = !m_aNormalAttach.IsEmpty();
    if (m_bHtmlExist) {
        if (m_aHtmlAttach.IsEmpty()) return mixed ? type_html_mixed : type_html;
        return mixed ? type_html_related_mixed : type_html_related;
    }
    if (m_bTextExist) return mixed ? type_text_mixed : type_text;
    return type_nothing;
}

int CMailDataStructure::GetMimeString(CString& header, CString& body, int withAttach, OneCustomer* customer) {
    header.Empty();
    body.Empty();
    int const held = GetDataTypeFromNowSetData();
    if (held == type_nothing) return failed;
    bool const is_html = held != type_text && held != type_text_mixed;
    bool const mixed = withAttach && !m_aNormalAttach.IsEmpty();
    if (customer) {
        InsertCustomerInfo(m_mimeText, *customer);
        if (is_html) InsertCustomerInfo(m_mimeHtml, *customer);
    }
    compose::MimeText out([this] { return MakeBoundary(); });
    if (!is_html && !mixed) {
        out.Single(m_mimeText);
    } else {
        out.Text(m_mimeText);
        if (is_html) out.Alternative(m_mimeHtml);
        if (is_html && !m_aHtmlAttach.IsEmpty()) out.Related(m_aHtmlAttach);
        if (mixed) out.Mixed(m_aNormalAttach);
    }
    header = out.Header();
    body = out.Body();
    return ok;
}

int CMailDataStructure::AnalyzeMime(CString mail) {
    if (mail.IsEmpty()) return failed;
    MimeFormatStruct root;
    if (!MimeDecodeTool::MimeDecode(mail, root)) return not_decoded;
    int const content_class = CheckHeader(root);
    switch (content_class) {
        case class_mixed:
            for (MimeFormatStruct& part : root.m_aChild) TakeFromMixed(part);
            break;
        case class_related:
            for (MimeFormatStruct& part : root.m_aChild) TakeFromRelated(part);
            break;
        case class_alternative:
            for (MimeFormatStruct& part : root.m_aChild) TakeFromAlternative(part);
            break;
        case class_file: m_aNormalAttach.Add(root); break;
        default:
            if (!TakeBody(content_class, root)) m_mimeText = root;
    }
    return ok;
}

// A part whose kind a level cannot hold is dropped, also one of the level's own kind.
void CMailDataStructure::TakeFromMixed(MimeFormatStruct& part) {
    int const content_class = CheckHeader(part);
    if (content_class == class_other || content_class == class_file) {
        m_aNormalAttach.Add(part);
    } else if (content_class == class_related) {
        for (MimeFormatStruct& child : part.m_aChild) TakeFromRelated(child);
    } else if (content_class == class_alternative) {
        for (MimeFormatStruct& child : part.m_aChild) TakeFromAlternative(child);
    } else {
        TakeBody(content_class, part);
    }
}

void CMailDataStructure::TakeFromRelated(MimeFormatStruct& part) {
    int const content_class = CheckHeader(part);
    if (content_class == class_other || content_class == class_file) {
        m_aHtmlAttach.Add(part);
    } else if (content_class == class_alternative) {
        for (MimeFormatStruct& child : part.m_aChild) TakeFromAlternative(child);
    } else {
        TakeBody(content_class, part);
    }
}

void CMailDataStructure::TakeFromAlternative(MimeFormatStruct& part) { TakeBody(CheckHeader(part), part); }

bool CMailDataStructure::TakeBody(int content_class, MimeFormatStruct& part) {
    if (content_class == class_text)
        SetMIMETextBody(part);
    else if (content_class == class_html)
        SetMIMEHtmlBody(part);
    else
        return false;
    return true;
}

int CMailDataStructure::GetMIMENormalAttach(int index, MimeFormatStruct& out) {
    if (!Holds(m_aNormalAttach, index)) return failed;
    out = m_aNormalAttach[index];
    return ok;
}

CString CMailDataStructure::GetMIMENormalAttachName(int index) {
    CAttachFileManager file;
    if (!Holds(m_aNormalAttach, index) || file.SetFileInfoFromMimeFormatStruct(m_aNormalAttach[index]) < 0)
        return {};
    return file.GetFileName();
}

CString CMailDataStructure::GetMIMENormalAttachBodyBase64(int index) {
    CAttachFileManager file;
    if (!Holds(m_aNormalAttach, index) || file.SetFileInfoFromMimeFormatStruct(m_aNormalAttach[index]) < 0)
        return {};
    return file.GetFileBodyBase64();
}

int CMailDataStructure::AddMIMENormalAttach(CString mimeText) {
    MimeFormatStruct part;
    if (!MimeDecodeTool::MimeDecode(mimeText, part)) return 0;
    m_aNormalAttach.Add(part);
    return 1;
}

void CMailDataStructure::AddMIMENormalAttach(MimeFormatStruct part) { m_aNormalAttach.Add(part); }

int CMailDataStructure::RemoveAtMIMENormalAttach(int index) {
    if (!Holds(m_aNormalAttach, index)) return failed;
    m_aNormalAttach.RemoveAt(index);
    return ok;
}

int CMailDataStructure::SaveMIMENormalAttach(int index, CString dir, int& size, int raw, int useName,
                                             char const* name) {
    if (CheckDirectory(dir) != directory_exists && MakeDirectoryCompel(dir) != make_directory_ok)
        return no_directory;
    if (useName && !name) return no_given_name;
    CString const file = useName ? CString(name) : GetMIMENormalAttachName(index);
    if (file.IsEmpty()) return empty_name;
    if (HoldsForbidden(file.View())) return bad_name;
    CString content = GetMIMENormalAttachBodyBase64(index);
    std::string decoded;
    std::string_view bytes = content.View();
    if (!raw) {
        content.Remove('\r');
        content.Remove('\n');
        decoded.resize(mime::Base64DecodedRoom(static_cast<std::size_t>(content.GetLength())));
        decoded.resize(static_cast<std::size_t>(normal_base64decoding(decoded.data(), content)));
        bytes = decoded;
    }
    if (!platform::WriteWholeFile(dir + "\\" + file, bytes)) return not_written;
    size = static_cast<int>(bytes.size());
    return saved;
}

CString CMailDataStructure::QuotedPrintableEncorder(CString s) { return mime::QuotedPrintable(s.View()); }

CString CMailDataStructure::QuotedPrintableDecoder(char const* s) {
    std::string_view const text = platform::ViewOf(s);
    auto const decoded = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    decoded[mime::DecodeQuotedText(text, decoded.get())] = '\0';
    return CString(decoded.get());
}

CString CMailDataStructure::MakeBoundary() { return mime::NewBoundary("_TESSALY_MULTIPART_", "_"); }

int CMailDataStructure::CheckHeader(MimeFormatStruct& entity) {
    int const content_class = CheckContentType(entity.m_strContentType);
    if (content_class == class_none) return class_other;
    if (content_class != class_text && content_class != class_html) return content_class;
    CString type, subtype, params;
    MimeDecodeTool::SplitContentType(entity.m_strContentType, type, subtype, params);
    bool const named = mime::FindParameter(entity.m_strContentDisposition.View(), "filename=") != npos ||
                       mime::FindParameter(params.View(), "name=") != npos;
    return named ? class_file : content_class;
}

int CMailDataStructure::CheckContentType(CString value) {
    static constexpr struct {
        std::string_view type, subtype;
        int content_class;
    } classes[] = {
        {"multipart", "mixed", class_mixed},
        {"multipart", "related", class_related},
        {"multipart", "alternative", class_alternative},
        {"text", "plain", class_text},
        {"text", "html", class_html},
    };
    if (value.IsEmpty()) return class_none;
    CString type, subtype, params;
    MimeDecodeTool::SplitContentType(value, type, subtype, params);
    for (auto const& row : classes)
        if (ContainsNoCase(type.View(), row.type) && ContainsNoCase(subtype.View(), row.subtype))
            return row.content_class;
    return class_other;
}

void CMailDataStructure::InsertCustomerInfo(MimeFormatStruct& entity, OneCustomer& customer) {
    TextForm const form = FormOf(entity);
    if (!form.is_text) return;
    std::string_view const body = entity.m_strBody.View();
    auto const decoded = std::make_unique_for_overwrite<char[]>(mime::MailBodyRoom(body.size()) + 1);
    int length = 0;
    DecodeMailBody(entity.m_strBody, form.encoding, decoded.get(), length);
    decoded[static_cast<std::size_t>(length)] = '\0';
    KCodeC code;
    char const* const origin = form.ascii ? decoded.get() : code.jis7tosj(decoded.get());
    CString merged = MailWordInsert::GetMailWordInsert(customer, origin, form.html ? 1 : 0);
    if (!form.ascii) merged = code.sjtojis7(merged, 0);
    entity.m_strBody = Encoded(merged, form.encoding);
}
