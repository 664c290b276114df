#pragma once

#include <optional>

#include "engine/mails/html_mail.h"
#include "engine/mails/jis_template.h"

namespace engine {

// An HTML mail made ready for many customers: its header read, its parts, pictures and boundaries written
// once. For a customer the text and the HTML are merged into their places.
class HtmlTemplate {
  public:
    explicit HtmlTemplate(CMimeAnalyze const& parts);
    // What MergeInto gives, the boundaries aside. No result where the mail has to be made by MergeInto.
    std::optional<MimeMail> Merged(OneCustomer const& customer) const;

  private:
    bool ReadFrame(CMimeAnalyze frame);

    std::optional<JisTemplate> text_, html_;  // none: in no form that is known here
    MimeMail frame_;                          // its body empty
    CString front_, middle_, back_;           // of the body: before, between and behind the two texts
};

}  // namespace engine
