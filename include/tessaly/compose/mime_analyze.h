#pragma once

#include "tessaly/compose/mail_data_structure.h"

// A mail that was sorted into its parts (AnalyzeMime), to be read: the kinds of its parts, copies of the
// parts, and references to the attachments.
class TESSALY_API CMimeAnalyze : public CMailDataStructure {
  public:
    CMimeAnalyze() = default;
    CMimeAnalyze(CMimeAnalyze const&) = default;
    CMimeAnalyze& operator=(CMimeAnalyze const& other) {
        CMailDataStructure::operator=(other);
        return *this;
    }
    ~CMimeAnalyze() override = default;

    int TextPartExist() const { return m_bTextExist; }
    int HtmlPartExist() const { return m_bHtmlExist; }
    void GetMIMETextpart(MimeFormatStruct& out) const { out = m_mimeText; }
    void GetMIMEHtmlpart(MimeFormatStruct& out) const { out = m_mimeHtml; }
    int CountMIMEHtmlAttach() const { return m_aHtmlAttach.GetSize(); }
    int CountMIMENormalAttach() const { return m_aNormalAttach.GetSize(); }
    // 1 and a copy; 0 for a bad index.
    int GetMIMEHtmlAttach(int const& index, MimeFormatStruct& out) const {
        if (index < 0 || index >= m_aHtmlAttach.GetSize()) return 0;
        out = m_aHtmlAttach[index];
        return 1;
    }
    Attachments& GetRefOfMimeHtmlAttach() { return m_aHtmlAttach; }
    Attachments const& GetConstRefOfMimeHtmlAttach() const { return m_aHtmlAttach; }
    Attachments& GetRefOfMimeNormalAttach() { return m_aNormalAttach; }
};
