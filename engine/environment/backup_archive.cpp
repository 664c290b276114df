#include "engine/environment/backup_archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>

#include "engine/base/failure.h"
#include "engine/base/sha256.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* list_name = "MANIFEST";
constexpr char const* end_name = "END";
constexpr char const* first_line = "tessaly-backup 1";
constexpr std::string_view made_word = "made ", version_word = "version ", sending_word = "sending ";
constexpr std::size_t block_size = 256 * 1024;
constexpr std::int64_t longest_list = 256 << 20;

struct Closer {
    void operator()(archive* file) const { archive_free(file); }
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using Archive = std::unique_ptr<archive, Closer>;
using Entry = std::unique_ptr<archive_entry, Closer>;

std::string TextOf(BackupManifest const& manifest) {
    std::string lines = std::string(first_line) + "\n" + std::string(made_word) + manifest.made + "\n" +
                        std::string(version_word) + manifest.version + "\n";
    for (int const mail : manifest.sending) ((lines += sending_word) += std::to_string(mail)) += "\n";
    for (FileSum const& file : manifest.files) (lines += LineOf(file)) += "\n";
    return Sealed(lines);
}

std::optional<std::string> After(std::string const& line, std::string_view word) {
    if (!line.starts_with(word)) return {};
    return line.substr(word.size());
}

// A path that leads nowhere but into the data directory, to a file that a backup can hold.
bool IsSafe(std::string const& name) {
    if (name == backup_env_file) return true;
    if (!name.starts_with(backup_data)) return false;
    fs::path const path = name.substr(backup_data.size());
    bool const plain =
        !path.empty() && path.is_relative() && path.lexically_normal().string() == path.string() &&
        std::none_of(path.begin(), path.end(),
                     [](fs::path const& part) { return part.empty() || part == "." || part == ".."; });
    return plain && name.find('\0') == name.npos && BelongsIntoBackup(path.string());
}

std::optional<BackupManifest> ManifestOf(std::string const& text) {
    auto const lines = Unsealed(text);
    if (!lines || lines->size() < 3 || lines->front() != first_line) return {};
    BackupManifest manifest{
        After((*lines)[1], made_word).value_or(""), After((*lines)[2], version_word).value_or(""), {}, {}};
    std::set<std::string> names;
    for (auto line = lines->begin() + 3; line != lines->end(); ++line) {
        if (auto const mail = After(*line, sending_word)) {
            manifest.sending.push_back(WholeNumber(*mail).value_or(0));
            continue;
        }
        std::optional<FileSum> file = SumFromLine(*line);
        if (!file || !IsSafe(file->name) || !names.insert(file->name).second) return {};
        manifest.files.push_back(*std::move(file));
    }
    if (!names.contains(backup_env_file)) return {};
    return manifest;
}

// libarchive does not free its buffer after a write that failed. So it is told of none: what failed is kept
// here and thrown when its call returns.
class Writer {
  public:
    explicit Writer(std::string const& path)
        : path_(path), file_(path, "控え", OutputFile::Begin::anew), archive_(archive_write_new()) {
        Require(archive_ && archive_write_add_filter_none(archive_.get()) == ARCHIVE_OK &&
                archive_write_set_format_gnutar(archive_.get()) == ARCHIVE_OK &&
                archive_write_open(archive_.get(), this, nullptr, PutOut, nullptr) == ARCHIVE_OK);
    }
    Writer(Writer const&) = delete;
    Writer& operator=(Writer const&) = delete;
    void Begin(std::string const& name, std::uint64_t bytes, time_t time) {
        Entry const entry(archive_entry_new());
        archive_entry_copy_pathname(entry.get(), name.c_str());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0600);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes));
        archive_entry_set_mtime(entry.get(), time, 0);
        Require(archive_write_header(archive_.get(), entry.get()) >= ARCHIVE_WARN);
    }
    void Write(std::string_view bytes) {
        while (!bytes.empty()) {
            la_ssize_t const count = archive_write_data(archive_.get(), bytes.data(), bytes.size());
            Require(count > 0);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    void Add(std::string const& name, std::string_view content, time_t time) {
        Begin(name, content.size(), time);
        Write(content);
    }
    void End() { Require(archive_write_close(archive_.get()) == ARCHIVE_OK); }

  private:
    static la_ssize_t PutOut(archive*, void* writer, void const* bytes, std::size_t size) {
        Writer& self = *static_cast<Writer*>(writer);
        try {
            if (!self.trouble_) self.file_.Write({static_cast<char const*>(bytes), size});
        } catch (Failure const& failure) {
            self.trouble_ = failure;
        }
        return static_cast<la_ssize_t>(size);
    }
    void Require(bool done) const {
        if (trouble_) throw Failure(*trouble_);
        if (done) return;
        char const* const reason = archive_ ? archive_error_string(archive_.get()) : nullptr;
        throw Failure(Failure::not_written,
                      "控えを書けません: " + path_ + (reason ? " (" + std::string(reason) + ")" : ""));
    }

    std::string const path_;
    OutputFile file_;
    std::optional<Failure> trouble_;
    Archive archive_;  // writes through the other members until it is gone
};

class Reader {
  public:
    explicit Reader(std::string const& path) : path_(path), archive_(archive_read_new()) {
        if (!archive_ || archive_read_support_format_tar(archive_.get()) < ARCHIVE_WARN ||
            archive_read_open_filename(archive_.get(), path.c_str(), block_size) != ARCHIVE_OK)
            NotWhole();
    }
    // The next entry has to be this one.
    void Begin(std::string const& name) {
        archive_entry* entry = nullptr;
        if (archive_read_next_header(archive_.get(), &entry) < ARCHIVE_WARN || !entry) NotWhole();
        char const* const found = archive_entry_pathname(entry);
        if (!found || name != found) NotWhole();
        if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry)) NotWhole();
        left_ = archive_entry_size(entry);
    }
    std::int64_t Size() const { return left_; }
    void Each(std::function<void(std::string_view)> const& take) {
        std::vector<char> block(block_size);
        for (la_ssize_t count;
             (count = archive_read_data(archive_.get(), block.data(), block.size())) != 0;) {
            if (count < 0) NotWhole();
            take({block.data(), static_cast<std::size_t>(count)});
        }
    }
    std::string Text() {
        if (Size() < 0 || Size() > longest_list) NotWhole();
        std::string text;
        Each([&](std::string_view block) { text += block; });
        return text;
    }
    void End() {
        archive_entry* entry = nullptr;
        if (archive_read_next_header(archive_.get(), &entry) != ARCHIVE_EOF) NotWhole();
    }
    [[noreturn]] void NotWhole() const {
        throw Failure(Failure::unsuitable_file,
                      "この環境の控えではないか、壊れています: " + path_ + "\n何も変えていません。",
                      {.file = path_});
    }

  private:
    std::string path_;
    Archive archive_;
    std::int64_t left_ = 0;
};

void ReadFile(Reader& reader, FileSum const& file, std::string const& place) {
    reader.Begin(file.name);
    std::optional<OutputFile> out;
    if (!place.empty()) {
        MakeFolder(fs::path(place).parent_path().string());
        out.emplace(place, "控えの中身", OutputFile::Begin::anew);
    }
    Sha256 sha;
    std::uint64_t bytes = 0;
    reader.Each([&](std::string_view block) {
        sha.Add(block);
        bytes += block.size();
        if (bytes > file.bytes) reader.NotWhole();
        if (out) out->Write(block);
    });
    if (bytes != file.bytes || sha.Digits() != file.sha256) reader.NotWhole();
}

}  // namespace

bool BelongsIntoBackup(std::string_view path) {
    std::string_view const top = path.substr(0, path.find('/')), name = path.substr(path.rfind('/') + 1);
    return !top.starts_with(".") && top != "UNDO" && top != "LOG" && !path.starts_with("MAIL/ATEMP/") &&
           name != ".lock" && name.find(".tessaly-new") == name.npos && !path.starts_with("DB/import.work") &&
           path != "fwaimport.tmp";
}

bool IsArchive(std::string const& file) {
    constexpr std::size_t place_of_magic = 257;
    std::array<char, 512> head{};
    std::ifstream(file, std::ios::binary).read(head.data(), head.size());
    return std::string_view(head.data(), head.size()).substr(place_of_magic).starts_with("ustar");
}

void WriteArchive(std::string const& archive, BackupManifest const& manifest, Content const& content) {
    Writer writer(archive);
    time_t const now = time(nullptr);
    std::string const list = TextOf(manifest);
    writer.Add(list_name, list, now);
    for (FileSum const& file : manifest.files) {
        writer.Begin(file.name, file.bytes, now);
        Sha256 sha;
        std::uint64_t bytes = 0;
        content(file, [&](std::string_view block) {
            sha.Add(block);
            bytes += block.size();
            if (bytes <= file.bytes) writer.Write(block);
        });
        if (bytes != file.bytes || sha.Digits() != file.sha256)
            throw Failure(Failure::operation_failed, "控えるあいだに変わったファイルがあります: " + file.name,
                          {.file = file.name});
    }
    writer.Add(end_name, Sha256Of(list), now);
    writer.End();
}

BackupManifest ReadArchive(std::string const& archive,
                           std::function<std::string(std::string const& name)> const& place) {
    Reader reader(archive);
    reader.Begin(list_name);
    std::string const list = reader.Text();
    std::optional<BackupManifest> manifest = ManifestOf(list);
    if (!manifest) reader.NotWhole();
    for (FileSum const& file : manifest->files) ReadFile(reader, file, place(file.name));
    reader.Begin(end_name);
    if (reader.Text() != Sha256Of(list)) reader.NotWhole();
    reader.End();
    return *std::move(manifest);
}

}  // namespace engine
