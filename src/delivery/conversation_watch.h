#pragma once

#include <span>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/storage/log_writer.h"

// What the secure mail clients have in common: they watch a conversation that a component holds, keep its
// log, note how far it came, and have a sentence for the user for each way in which it can fail.
namespace delivery {

// The status that a line sets by its beginning, in capitals.
struct ConversationStep {
    std::string_view beginning;
    int status;
};
// The first that holds gives the sentence. `holds`: what else is in the text, empty for nothing.
struct TextSentence {
    std::string_view beginning, holds;
    char const* sentence;
};
struct NumberSentence {
    int number;
    char const* sentence;
};

struct ConversationTables {
    std::span<ConversationStep const> sent, information;
    // Whether a received line, in capitals, ends the progress.
    bool (*fails)(std::string_view line, int status);
    std::span<TextSentence const> texts;
    std::span<NumberSentence const> codes;
    std::span<NumberSentence const> statuses;
    // A sent line that begins so stands in the log as `shown`.
    std::string_view secret;
    char const* shown;
};

class ConversationWatch {
  public:
    // The tables must stay.
    explicit ConversationWatch(ConversationTables const& tables) : tables_(tables) { Init(); }
    // Log, status and failure as at the start; the message of the last error stays.
    void Init();
    LogWriter& Log() { return log_; }
    int Status() const { return status_; }
    CString const& Message() const { return message_; }

    // The events. An error, and a line that fails, freeze the status.
    void TakeError(char const* description);
    void TakeLine(int direction, char const* line);
    // `mark`: four bytes in brackets.
    void Write(char const* mark, CString const& text);
    // The sentence for a text and a code, else for the status, else the text itself. The log gets both.
    CString SentenceFor(CString const& text, int code);

  private:
    void Advance(std::span<ConversationStep const> steps, std::string_view line);

    ConversationTables const& tables_;
    LogWriter log_;
    int status_ = 0;
    bool failed_ = false;
    CString message_;
};

}  // namespace delivery
