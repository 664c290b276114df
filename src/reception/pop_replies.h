#pragma once

#include <string_view>
#include <unordered_map>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/reception/mail_pop.h"

// What the lines of a POP3 server say (RFC 1939). Lines end with CR LF, as SocketSupport hands them out.
namespace reception {

using PopList = CArray<PopMailInfo, PopMailInfo>;

inline constexpr std::string_view closing_line = ".\r\n";

enum class ListStep { more, end, bad_unique_id };

// The time stamp of a greeting with its angle brackets, for APOP (RFC 1939 7); empty for one that has none:
// it holds exactly one "@".
CString TimeStampOf(std::string_view greeting);

// A line of the answer to LIST: a further row, if it is not blank; or the end. A number that is none counts
// as 0. How many lines come is for the caller to count.
ListStep TakeSizeLine(CString const& line, PopList& list);

// The lines of the answer to UIDL. A line usually tells of the row at its own place; else of the first row of
// its number, and without one it is dropped. A unique ID of more than 70 characters is bad (RFC 1939 7).
class UniqueIdReader {
  public:
    explicit UniqueIdReader(PopList& list) : list_(list) {}
    ListStep Take(CString const& line);

  private:
    int RowOf(long number, int place);

    PopList& list_;
    int lines_ = 0;
    std::unordered_map<long, int> first_rows_;  // by number, once they are needed
};

}  // namespace reception
