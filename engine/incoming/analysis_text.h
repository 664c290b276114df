#pragma once

#include "engine/incoming/mail_reader.h"

namespace engine {

// A mail as IncomingMail::ForAnalysis gives it.
CString AnalysisText(MailTree const& tree);

}  // namespace engine
