#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/export.h"

// One row of a table: its cells in plain form, numbers and dates as text. A row that is made to be kept
// reserves its cells once, so that it costs its pointers and no slack.
class TESSALY_API XCStringArrayEx : public CStringArray {
  public:
    XCStringArrayEx() = default;
    // `cells` empty cells.
    explicit XCStringArrayEx(int cells) { SetSize(cells); }
    XCStringArrayEx(XCStringArrayEx const&) = default;
    XCStringArrayEx(XCStringArrayEx&&) noexcept = default;
    XCStringArrayEx& operator=(XCStringArrayEx const&) = default;
    XCStringArrayEx& operator=(XCStringArrayEx&&) noexcept = default;
    virtual ~XCStringArrayEx() = default;

    using CStringArray::Copy;
    // Empties `to` and appends all cells of `from`. Result: `to`.
    static XCStringArrayEx& Copy(XCStringArrayEx& to, XCStringArrayEx const& from) { return to = from; }
};
