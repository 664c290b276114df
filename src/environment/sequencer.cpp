#include "tessaly/environment/sequencer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "platform/file.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/platform/dialog.h"

using enum environment::SeqIDType;

namespace {

constexpr int first_value = 0;
constexpr int step_value = 1;

struct Sequence {
    char const* file;  // below the data directory
    int limit;         // the first value that is not given out
};
constexpr Sequence sequences[] = {
    {"DB\\dbseq.dat", 9'999'999},
    {"MAIL\\mailseq.dat", 10'000},
    {"EXTRACT\\extrseq.dat", 10'000},
};

[[noreturn]] void Refuse(char const* reason) {
    AfxMessageBox(reason);
    AfxThrowUserException();
}

// The file of a sequence, made if it is missing and opened for one step.
class CounterFile {
  public:
    // false when it cannot be opened or read.
    bool Open(CString const& path, int first) {
        if (!file_.Open(path, CFile::modeReadWrite | CFile::modeCreate | CFile::modeNoTruncate)) return false;
        char text[longest_line + 1];
        size_ = file_.Read(text, longest_line);
        if (size_ == 0) {
            value_ = first;
            return file_.GetLength() == 0;
        }
        text[std::find(text, text + size_, '\n') - text] = '\0';
        constexpr std::int64_t lowest = std::numeric_limits<int>::min();
        constexpr std::int64_t highest = std::numeric_limits<int>::max();
        value_ = static_cast<int>(std::clamp<std::int64_t>(std::strtol(text, nullptr, 10), lowest, highest));
        return true;
    }
    bool IsEmpty() const { return size_ == 0; }
    // The number at the start of the first line, 0 if there is none; one beyond an int becomes the nearest
    // int.
    int Value() const { return value_; }
    // Writes over the start before it cuts the rest, so that a failure in between never leaves an empty file,
    // with which the sequence would start again.
    bool Write(int value) {
        std::string const text = std::to_string(value);
        file_.SeekToBegin();
        return file_.Write(text.data(), static_cast<unsigned>(text.size())) &&
               (size_ <= text.size() || file_.SetLength(static_cast<std::int64_t>(text.size()))) &&
               file_.CloseChecked();
    }

  private:
    static constexpr std::size_t longest_line = 64;  // bytes behind it are ignored

    CFile file_;
    std::size_t size_ = 0;  // of the file, up to longest_line
    int value_ = 0;
};

}  // namespace

Sequencer::Sequencer(EnvManager* env, SeqIDType type) {
    if (!SetEnvManager(env)) Refuse("Invalid EnvManager Pointer.");
    if (!SetSeqType(type)) Refuse("Invalid Sequence Type.");
}

int Sequencer::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    env_ = env;
    return 1;
}

int Sequencer::SetSeqType(SeqIDType type) {
    if (!env_ || type < seq_customer || type > seq_extract) return 0;
    path_ = env_->DataPath(sequences[type].file);
    type_ = type;
    first_ = first_value;
    limit_ = sequences[type].limit;
    step_ = step_value;
    return 1;
}

int Sequencer::CurrentValue(int* value) {
    CounterFile file;
    if (!value || type_ == seq_not_set || !file.Open(path_, first_)) return 0;
    *value = file.Value();
    return file.IsEmpty() ? file.Write(first_) : *value >= first_;
}

int Sequencer::NextValue(int* value) {
    CounterFile file;
    if (!value || type_ == seq_not_set || !file.Open(path_, first_)) return 0;
    *value = file.Value();
    return *value >= first_ && *value < limit_ && file.Write(*value + step_);
}

int Sequencer::SetValue(int value) {
    CounterFile file;
    return type_ != seq_not_set && value >= first_ && file.Open(path_, first_) && file.Write(value);
}
