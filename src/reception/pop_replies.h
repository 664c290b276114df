#pragma once

#include <string_view>
#include <unordered_map>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/reception/mail_pop.h"

// The lines of the lists of a POP3 server (RFC 1939). They have no line end; a blank one is ignored.
namespace reception {

using PopList = CArray<PopMailInfo, PopMailInfo>;

// A line of the answer to LIST: a further row. A number that cannot be read counts as 0. The caller counts
// the lines.
void TakeSizeLine(std::string_view line, PopList& list);

// The lines of the answer to UIDL. A line usually belongs to the row at its own place; else to the first row
// of its number, and without one it is dropped. A unique ID of more than 70 characters is bad (RFC 1939 7).
class UniqueIdReader {
  public:
    explicit UniqueIdReader(PopList& list) : list_(list) {}
    // False for a bad unique ID.
    bool Take(std::string_view line);

  private:
    int RowOf(long number, int place);

    PopList& list_;
    int lines_ = 0;
    std::unordered_map<long, int> first_rows_;  // by number, once they are needed
};

}  // namespace reception
