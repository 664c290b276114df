#include "tessaly/html/html_element.h"

#include <algorithm>
#include <unordered_set>

namespace {

// Adds each text once.
class Once {
  public:
    explicit Once(CArrayOfString& out) : out_(out) { out_.RemoveAll(); }
    void Add(CString const& text) {
        if (known_.insert(text).second) out_.Add(text);
    }

  private:
    CArrayOfString& out_;
    std::unordered_set<CString> known_;
};

}  // namespace

int CHtmlAttrs::Find(CString const& name) const {
    for (int i = 0; i < GetSize(); ++i)
        if ((*this)[i].m_strName == name) return i;
    return none;
}

int CHtmlAttrs::IsInEntryAttribute(CHtmlAttribute const& attribute) const {
    return std::any_of(begin(), end(), [&](CHtmlAttribute const& own) { return own == attribute; });
}

int CHtmlAttrs::IsInEntryAttrName(CString const& name) const { return Find(name) != none; }

int CHtmlAttrs::SetValue(CString const& name, CString const& value) {
    int const at = Find(name);
    if (at == none) return 0;
    (*this)[at].m_strValue = value;
    return 1;
}

int CHtmlAttrs::GetValue(CString const& name, CString& value) const {
    int const at = Find(name);
    if (at == none) return 0;
    value = (*this)[at].m_strValue;
    return 1;
}

int CHtmlElement::operator==(CHtmlElement const& other) const {
    return m_strName == other.m_strName && m_bEndTag == other.m_bEndTag &&
           std::equal(m_aAttribute.begin(), m_aAttribute.end(), other.m_aAttribute.begin(),
                      other.m_aAttribute.end(),
                      [](CHtmlAttribute const& a, CHtmlAttribute const& b) { return (a == b) != 0; });
}

int CHtmlElement::GetTagString(CString& out) const {
    if (m_strName.IsEmpty()) return 0;
    CString tag = m_bEndTag ? "</" : "<";
    tag += m_strName;
    if (!m_bEndTag) {
        for (CHtmlAttribute const& attribute : m_aAttribute) {
            if (attribute.m_strName.IsEmpty()) return 0;
            tag += " " + attribute.m_strName + "=\"" + attribute.m_strValue + "\"";
        }
    }
    out = tag + ">";
    return 1;
}

int CHtmlElement::IsParticalAgreement(CHtmlElement const& pattern) const {
    if (m_strName != pattern.m_strName) return 0;
    if (m_bEndTag) return pattern.m_bEndTag ? 1 : 0;
    return std::all_of(
        pattern.m_aAttribute.begin(), pattern.m_aAttribute.end(),
        [&](CHtmlAttribute const& wanted) { return m_aAttribute.IsInEntryAttribute(wanted) != 0; });
}

int CArrayOfString::IsInEntryString(CString const& text) const {
    return std::find(begin(), end(), text) != end();
}

int CHtmlElems::IsInEntryElement(CHtmlElement const& element) const {
    return std::any_of(begin(), end(), [&](CHtmlElement const& own) { return own == element; });
}

void CHtmlElems::GetElemNames(CArrayOfString& out) const {
    Once names(out);
    for (CHtmlElement const& element : *this) names.Add(element.m_strName);
}

void CHtmlElems::GetAttrVals(CString const& elemName, CString const& attrName, CArrayOfString& out) const {
    Once values(out);
    CString value;
    for (CHtmlElement const& element : *this)
        if (element.m_strName == elemName && element.m_aAttribute.GetValue(attrName, value))
            values.Add(value);
}

int CHtmlElemRepPair::GetDestElem(CHtmlElement const& src, CHtmlElement& dest) const {
    auto const pair = std::find_if(begin(), end(), [&](auto const& own) { return own.first == src; });
    if (pair == end()) return 0;
    dest = pair->second;
    return 1;
}
