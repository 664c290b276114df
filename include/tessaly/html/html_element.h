#pragma once

#include <utility>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The tags of an HTML text as values: an element has its name and the names and values of its attributes in
// lower case (by CString::MakeLower, full-width Latin letters included), because tags are lowered whole
// before they are divided. Operations give 1 for success or true, 0 for failure or false; an output is then
// unchanged. Nothing here is shared between threads.

class TESSALY_API CHtmlAttribute {
  public:
    CString m_strName;
    CString m_strValue;

    CHtmlAttribute() = default;
    CHtmlAttribute(CString name, CString value) noexcept
        : m_strName(std::move(name)), m_strValue(std::move(value)) {}
    CHtmlAttribute(CHtmlAttribute const&) = default;
    CHtmlAttribute(CHtmlAttribute&&) noexcept = default;
    CHtmlAttribute& operator=(CHtmlAttribute const&) = default;
    CHtmlAttribute& operator=(CHtmlAttribute&&) noexcept = default;
    virtual ~CHtmlAttribute() = default;
    int operator==(CHtmlAttribute const& other) const {
        return m_strName == other.m_strName && m_strValue == other.m_strValue;
    }
    int operator!=(CHtmlAttribute const& other) const { return !(*this == other); }
};

// In the order of the tag; of equal names the first one counts.
class TESSALY_API CHtmlAttrs : public CArray<CHtmlAttribute> {
  public:
    CHtmlAttrs() = default;
    CHtmlAttrs(CHtmlAttrs const&) = default;
    CHtmlAttrs(CHtmlAttrs&&) noexcept = default;
    CHtmlAttrs& operator=(CHtmlAttrs const&) = default;
    CHtmlAttrs& operator=(CHtmlAttrs&&) noexcept = default;
    virtual ~CHtmlAttrs() = default;
    int IsInEntryAttribute(CHtmlAttribute const& attribute) const;
    int IsInEntryAttrName(CString const& name) const;
    int SetValue(CString const& name, CString const& value);
    int GetValue(CString const& name, CString& value) const;

  private:
    static constexpr int none = -1;
    int Find(CString const& name) const;
};

class TESSALY_API CHtmlElement {
  public:
    CString m_strName;
    int m_bEndTag = 0;
    CHtmlAttrs m_aAttribute;

    CHtmlElement() = default;
    CHtmlElement(CHtmlElement const&) = default;
    CHtmlElement(CHtmlElement&&) noexcept = default;
    CHtmlElement& operator=(CHtmlElement const&) = default;
    CHtmlElement& operator=(CHtmlElement&&) noexcept = default;
    virtual ~CHtmlElement() = default;
    // Equal in name, end flag and attributes, in their order.
    int operator==(CHtmlElement const& other) const;
    int operator!=(CHtmlElement const& other) const { return !(*this == other); }
    // "</name>", or "<name attribute="value">" with every value in double quotes, whatever its bytes. 0
    // without a name, and for a start tag with an attribute that has none.
    int GetTagString(CString& out) const;
    // Whether this element has the name of `pattern` and all its attributes. An end tag matches an end tag
    // only; for a start tag the end flag of the pattern does not count.
    int IsParticalAgreement(CHtmlElement const& pattern) const;
};

class TESSALY_API CArrayOfString : public CArray<CString> {
  public:
    CArrayOfString() = default;
    CArrayOfString(CArrayOfString const&) = default;
    CArrayOfString& operator=(CArrayOfString const&) = default;
    virtual ~CArrayOfString() = default;
    int IsInEntryString(CString const& text) const;
};

class TESSALY_API CHtmlElems : public CArray<CHtmlElement> {
  public:
    CHtmlElems() = default;
    CHtmlElems(CHtmlElems const&) = default;
    CHtmlElems& operator=(CHtmlElems const&) = default;
    virtual ~CHtmlElems() = default;
    int IsInEntryElement(CHtmlElement const& element) const;
    // Each name once, in the order of first appearance; in time linear in the number of elements.
    void GetElemNames(CArrayOfString& out) const;
    // The values that the first attribute of that name has in the elements of that name, each once.
    void GetAttrVals(CString const& elemName, CString const& attrName, CArrayOfString& out) const;
};

// Replacements: the first of a pair is the source, the second the destination.
class TESSALY_API CHtmlElemRepPair : public CArray<std::pair<CHtmlElement, CHtmlElement>> {
  public:
    CHtmlElemRepPair() = default;
    CHtmlElemRepPair(CHtmlElemRepPair const&) = default;
    CHtmlElemRepPair& operator=(CHtmlElemRepPair const&) = default;
    virtual ~CHtmlElemRepPair() = default;
    // The destination of the first pair whose source equals `src`.
    int GetDestElem(CHtmlElement const& src, CHtmlElement& dest) const;
};
