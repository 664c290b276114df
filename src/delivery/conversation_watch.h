#pragma once

#include <span>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/storage/log_writer.h"

// The common part of the secure mail clients: they watch the conversation of a component, keep its log,
// record the step that it reached, and have a sentence for the user for each kind of failure.
namespace delivery {

// A status, and the beginning of the line that sets it, in capitals.
struct ConversationStep {
    std::string_view beginning;
    int status;
};
// The first match gives the sentence. `holds`: another text that must occur, empty for none.
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
    // A sent line with this beginning stands in the log as `shown`.
    std::string_view secret;
    char const* shown;
};

class ConversationWatch {
  public:
    // The tables must outlive the object.
    explicit ConversationWatch(ConversationTables const& tables) : tables_(tables) { Init(); }
    // Resets log, status and failure; the message of the last error stays.
    void Init();
    LogWriter& Log() { return log_; }
    int Status() const { return status_; }
    CString const& Message() const { return message_; }

    // The events. After an error, and after a line that fails, the status does not change.
    void TakeError(char const* description);
    void TakeLine(int direction, char const* line);
    // `mark`: four bytes in brackets.
    void Write(char const* mark, CString const& text);
    // The sentence for a text and a code, else for the status, else the text itself. Both are logged.
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
