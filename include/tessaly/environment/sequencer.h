#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class EnvManager;

namespace environment {

// The sequences of an environment. A value is never given twice, whatever is deleted.
enum SeqIDType : int {
    seq_not_set = -1,
    seq_customer = 0,  // DB\dbseq.dat, below 9,999,999
    seq_mail = 1,      // MAIL\mailseq.dat, below 10,000
    seq_extract = 2,   // EXTRACT\extrseq.dat, below 10,000
};

}  // namespace environment
using environment::SeqIDType;

// Gives the numeric IDs of an environment from 0 upwards. The counter is a small text file under the data
// directory (the decimal digits of the next value, no line end; an empty file stands for the first value).
// Nothing is held in memory: each call reads and writes the file, and an advance is in the file before the
// value is given out. A write that fails gives failure and leaves the old value.
//
// A file with text that is no number counts as 0. A negative number is no value of a sequence: the operations
// fail with it, since negative IDs have meanings of their own elsewhere.
//
// The environment is not owned and must outlive SetSeqType only. There is no lock: the owners of the IDs draw
// one while they hold their own lock. Results are 1 for success and 0 for failure.
class TESSALY_API Sequencer {
  public:
    Sequencer() = default;
    // Performs SetEnvManager and SetSeqType; a failure is shown in a message box and raises CUserException.
    Sequencer(EnvManager* env, SeqIDType type);

    // 0 for a null pointer, or when one is set already.
    int SetEnvManager(EnvManager* env);
    // 0 with no environment, or for an unknown type; the sequence in use then stays.
    int SetSeqType(SeqIDType type);

    // The value that NextValue would give, without using it up; also at the limit, where NextValue fails.
    // Makes the file if it is missing.
    int CurrentValue(int* value);
    // Gives the next value and advances the file. At the limit: 0 with the exhausted value in `*value`, and
    // the file stays as it is.
    int NextValue(int* value);
    // Makes `value` the next one. 0 for a negative one.
    int SetValue(int value);

  private:
    CString path_;
    EnvManager* env_ = nullptr;
    SeqIDType type_ = environment::seq_not_set;
    int first_ = 0;
    int limit_ = 0;
    int step_ = 1;
};
