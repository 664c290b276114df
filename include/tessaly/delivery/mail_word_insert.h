#pragma once

#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

namespace delivery {
TESSALY_API CString HtmlEscaped(CString const& value);
}

// A row of the table of merge words. Both texts are empty where the row has none; null only ends the table.
struct WORD_INSERT_STRUCT {
    char const* menu_string;    // label in the application's menu
    char const* insert_string;  // merge word as it stands in a mail
};

// Merge words: names between "<%" and "%>" in a subject or body (in HTML source "&lt;%" and "%&gt;"), each of
// which is replaced by that value of the recipient. The ID of a merge word is its row in the
// table and the element number of the customer row. A merge word that is no column of the customer has an ID
// behind those.
//
// An object holds one text with merge words and is used by one thread at a time; the static operations by any
// number.
class TESSALY_API MailWordInsert {
  public:
    static constexpr int word_count = 56;
    static constexpr int no_word = -1;
    // The rows by ID, and the terminating row of two nulls.
    static WORD_INSERT_STRUCT const itsMailInsertDefinition[word_count + 1];

    enum TextForm : int { plain_text = 0, html_source = 1 };  // the argument `html`

    MailWordInsert() = default;
    MailWordInsert(char const* origin) : origin_(origin) {}
    void SetOriginMail(char const* origin) { origin_ = origin; }

    // The held text merged for `customer`, as by the static operation below.
    CString GetMailWordInsert(OneCustomer customer, int html);

    // `origin` merged for `customer`. Unknown words stay as they are; a value is not searched for merge
    // words. With `html` not 0, the marks are those of HTML source and values are escaped for it. An empty or
    // null `origin` gives the empty text; any other gives at least one blank.
    static CString GetMailWordInsert(OneCustomer customer, char const* origin, int html);

    // ID of the first row whose menu string begins `text`, or no_word. Rows without one are passed over.
    static int GetIDFromMenuString(char const* text);

    // ID of the merge word with which `text` begins, in its HTML form if `html` is not 0, or no_word.
    static int GetIDFromInsertString(char const* text, int html);

    // Sets `found` to those merge words of earlier versions that occur in `text`, each once, in a fixed
    // order. They are found in their plain form only, and are never merged.
    static void CheckOldMailWord(CString text, CArray<CString, CString>& found);

  private:
    friend CString delivery::HtmlEscaped(CString const& value);
    static CString HtmlAmpEcnode(char const* text);

    CString origin_;
};
