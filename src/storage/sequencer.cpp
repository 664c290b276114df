#include "storage/sequencer.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

#include "environment/env_manager.h"
#include "platform/dialog.h"
#include "platform/file.h"

namespace {

constexpr int first_value = 0;
constexpr int step_value = 1;

struct Sequence {
    char const* file;  // below the data directory
    int limit;         // the first value that is not handed out
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

bool OpenCounter(CFile& file, CString const& path) {
    return file.Open(path,
                     CFile::modeReadWrite | CFile::modeCreate | CFile::modeNoTruncate | CFile::typeBinary);
}

// The number at the start of the first line, 0 if there is none; numbers beyond an int count as its ends.
bool ReadCounter(CFile& file, int* value) {
    constexpr std::size_t longest_line = 64;
    char text[longest_line + 1];
    const std::size_t size = file.Read(text, longest_line);
    if (size == 0) return false;
    text[std::find(text, text + size, '\n') - text] = '\0';
    long const number = std::strtol(text, nullptr, 10);
    *value = static_cast<int>(
        std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    return true;
}

// Writes over the start before it cuts the rest, so that a failure in between never leaves an empty counter,
// which would begin anew.
bool WriteCounter(CFile& file, int value) {
    const std::string text = std::to_string(value);
    auto const size = static_cast<std::int64_t>(text.size());
    bool const longer = file.GetLength() > size;
    file.SeekToBegin();
    return file.Write(text.data(), static_cast<unsigned>(text.size())) && (!longer || file.SetLength(size)) &&
           file.CloseChecked();
}

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
    CFile file;
    if (!value || type_ == seq_not_set || !OpenCounter(file, path_)) return 0;
    if (file.GetLength() == 0) {
        *value = first_;
        return WriteCounter(file, first_);
    }
    return ReadCounter(file, value) && *value >= first_;
}

int Sequencer::NextValue(int* value) {
    CFile file;
    if (!value || type_ == seq_not_set || !OpenCounter(file, path_)) return 0;
    if (file.GetLength() == 0)
        *value = first_;
    else if (!ReadCounter(file, value))
        return 0;
    return *value >= first_ && *value < limit_ && WriteCounter(file, *value + step_);
}

int Sequencer::SetValue(int value) {
    CFile file;
    if (type_ == seq_not_set || value < first_ || !OpenCounter(file, path_)) return 0;
    return WriteCounter(file, value);
}
