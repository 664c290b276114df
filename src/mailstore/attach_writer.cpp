#include "tessaly/mailstore/attach_writer.h"

#include <limits>
#include <string>
#include <string_view>

#include "environment/data_key.h"
#include "platform/file.h"
#include "storage/decimal.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/text/directories.h"

using enum storage::ErrorCode;

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr char const* terminal_names[] = {"pc", "nd", "at", "sb", "wl"};

bool IsPlainName(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return false;
    for (std::size_t at = 0; at < name.size();) {
        std::size_t const size = platform::CharacterSize(name, at);
        auto const last = static_cast<unsigned char>(name[at + size - 1]);
        // No double-byte character ends below 0x40; the host would take a '/' there for a divider.
        if (size == 1 ? last < 0x20 || last == '\\' || last == '/' || last == ':' : last < 0x40) return false;
        at += size;
    }
    return true;
}

void RemoveLineEnds(std::string& text) {
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
}

}  // namespace

AttachWriter::~AttachWriter() {
    if (!empties_work_folder_) return;
    if (CString const folder = GetFolderPathForAttachFileTemporary(); !folder.IsEmpty())
        ClearDirectoryCompel(folder);
}

int AttachWriter::Fail(int code) {
    error_.SetErr(code);
    return failed;
}

int AttachWriter::SetEnvManager(EnvManager* env) {
    if (env_ || !env) return failed;
    env_ = env;
    return done;
}

int AttachWriter::SetVersion(int version) {
    if (version < version_plain || version > version_terminals) return failed;
    version_ = version;
    return done;
}

int AttachWriter::SetMailID(long id) {
    if (id < new_mail || id > std::numeric_limits<int>::max()) return failed;
    mail_id_ = static_cast<int>(id);
    if (mail_id_ == new_mail) DeleteAllString();
    return done;
}

int AttachWriter::SetTermType(TermType term) {
    if (term < 0 || term >= terminal_count) return failed;
    term_ = term;
    return done;
}

// The conditions of the work folder, which is the same for every mail.
bool AttachWriter::KnowsFolders() const {
    return env_ && version_ != not_set_yet && (version_ != version_terminals || term_ != not_set_yet);
}

bool AttachWriter::CheckNecessaryInfo() const { return KnowsFolders() && mail_id_ >= new_mail; }

CString AttachWriter::TermName() const { return terminal_names[term_]; }

// Empty for a new mail.
CString AttachWriter::UnderMailFolder(CString const& rest) const {
    if (!CheckNecessaryInfo() || mail_id_ == new_mail) return {};
    CString path = env_->DataPath("MAIL\\" + storage::Decimal(mail_id_) + rest);
    PathFix(path);
    return path;
}

CString AttachWriter::GetDirPathForAttachFileList() const {
    return UnderMailFolder(version_ == version_terminals ? "\\ATTACH\\" : "");
}

CString AttachWriter::GetFilePathForAttachFileList() const {
    CString const file = storage::Decimal(mail_id_) + ".dat";
    return UnderMailFolder(version_ == version_terminals
                               ? "\\ATTACH\\at_" + (KnowsFolders() ? TermName() : "") + file
                               : "\\attc" + file);
}

CString AttachWriter::GetFolderPathForAttachFileBody() const {
    if (!KnowsFolders()) return {};
    return UnderMailFolder(version_ == version_terminals ? "\\ATTACH\\" + TermName() + "\\" : "\\ATTACH\\");
}

CString AttachWriter::GetFolderPathForAttachFileTemporary() const {
    if (!KnowsFolders()) return {};
    CString path =
        env_->DataPath(version_ == version_terminals ? "MAIL\\ATEMP\\" + TermName() + "\\" : "MAIL\\ATEMP\\");
    PathFix(path);
    return path;
}

// Empty for a name that could lead elsewhere.
CString AttachWriter::BodyPath(CString const& name) const {
    CString const folder = GetFolderPathForAttachFileBody();
    return folder.IsEmpty() || !IsPlainName(name.View()) ? CString() : folder + name + ".base64";
}

int AttachWriter::LoadAttachList(char const* key) {
    if (!CheckNecessaryInfo()) return failed;
    SetElementNumber(element_count);
    if (mail_id_ == new_mail) return done;
    environment::DataKey const used(*env_, version_ == version_plain || key,
                                    version_ == version_plain ? nullptr : key);
    int const result =
        used.IsKnown() ? LoadCSVFile(GetFilePathForAttachFileList(), used.Get()) : load_wrong_width;
    bool const nothing = result == load_missing || result == load_empty;
    bool const good = result == load_ok && GetElementNumber() == element_count;
    if (!good) SetElementNumber(element_count);
    return nothing || good ? done : Fail(attach_list_format);
}

CString AttachWriter::GetAttachListElement(int record, int field) {
    if (record < 0 || record >= GetRecordNumber())
        error_.SetErr(attach_list_missing);
    else if (field < 0 || field >= element_count)
        error_.SetErr(attach_bad_element_number);
    else
        return GetStringElement(field, record);
    return {};
}

int AttachWriter::SetAttachListRecordToMemory(CString name, CString info) {
    XCStringArrayEx record(element_count);
    record[element_name] = name;
    record[element_info] = info;
    return InsertString(record) ? set_ok : not_set;
}

int AttachWriter::InitAttachListAndData() {
    if (!CheckNecessaryInfo()) return failed;
    for (int record = 0; record < GetRecordNumber(); ++record)
        if (CString const path = BodyPath(GetStringElement(element_name, record)); !path.IsEmpty())
            platform::RemoveFile(path);
    DeleteAllString();
    return done;
}

int AttachWriter::GetAttachDataString(CString name, CString& out) {
    std::string text;
    CString const path = BodyPath(name);
    if (path.IsEmpty() || !platform::ReadWholeFile(path, text)) return failed;
    out = CString(text.c_str());
    return done;
}

int AttachWriter::DecodeAttachDataToWorkDir(CString name) {
    std::string text;
    CString const path = BodyPath(name);
    if (path.IsEmpty() || !platform::ReadWholeFile(path, text)) return failed;
    RemoveLineEnds(text);
    // A NUL would end the decoding as if the text were whole; a file that a crash left half written holds
    // NULs.
    if (text.find('\0') != std::string::npos) return Fail(attach_file_format);
    std::string content(text.size() + 1, '\0');
    int const size =
        text.empty() ? 0 : base64decoding(content.data(), text.c_str(), static_cast<int>(content.size()));
    if (size < 0) return Fail(attach_file_format);
    content.resize(static_cast<std::size_t>(size));
    CString const folder = GetFolderPathForAttachFileTemporary();
    MakeDirectoryCompel(folder);
    return platform::WriteWholeFile(folder + name, content) ? done : Fail(attach_file_write_failed);
}

int AttachWriter::EncodeTempDataToDataDir(CString name, int fromRoot) {
    CString const target = BodyPath(name);
    std::string content;
    CString const folder =
        fromRoot && env_ ? env_->DataPath("MAIL\\ATEMP\\") : GetFolderPathForAttachFileTemporary();
    if (!IsPlainName(name.View()) || !platform::ReadWholeFile(folder + name, content) ||
        !mime::FitsBase64Body(content.size()))
        return Fail(attach_file_read_failed);
    if (target.IsEmpty()) return Fail(attach_file_write_failed);
    MakeDirectoryCompel(GetFolderPathForAttachFileBody());
    return platform::WriteWholeFile(target, mime::Base64Body(content)) ? done
                                                                       : Fail(attach_file_write_failed);
}

int AttachWriter::CheckAllFile() {
    for (int record = 0; record < GetRecordNumber(); ++record) {
        CString const path = BodyPath(GetStringElement(element_name, record));
        if (path.IsEmpty() || !platform::Stream(platform::OpenStream(path, "rb")))
            return Fail(attach_file_missing);
    }
    return done;
}

int AttachWriter::SaveList(CString const& path, bool at_home) {
    environment::DataKey const key =
        version_ == version_plain ? environment::DataKey(*env_, 1, nullptr) : environment::DataKey(*env_);
    bool const saved =
        key.IsKnown() && (at_home ? SaveCSVFile(path, 0, key.Get()) : SaveCSVFileCopy(path, key.Get()));
    return saved ? done : Fail(attach_list_write_failed);
}

int AttachWriter::SaveAttachList() {
    if (!CheckNecessaryInfo()) return failed;
    if (mail_id_ == new_mail) return Fail(attach_bad_mail_id_set);
    MakeDirectoryCompel(GetDirPathForAttachFileList());
    return SaveList(GetFilePathForAttachFileList(), true);
}

int AttachWriter::WriteFromMemoryToFileAppointFileName(CString path) {
    return env_ ? SaveList(path, false) : Fail(attach_list_write_failed);
}

CString AttachWriter::GetBase64EncodedStringForFile(CString path) {
    std::string content;
    if (!platform::ReadWholeFile(path, content) || !mime::FitsBase64Body(content.size())) return {};
    std::string text = mime::Base64Body(content);
    if (!text.ends_with(line_end)) text += line_end;
    return CString(std::string_view(text));
}
