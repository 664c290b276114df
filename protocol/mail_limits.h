#pragma once

// Limits of the texts that a server may send; longer ones are failures.
namespace protocol {

// Bytes of an SMTP reply or of one line of it, and of a line of POP3 outside of messages. RFC 5321 4.5.3.1.5
// and RFC 2449 4 allow 512 a line; what servers send stays below a few KiB.
inline constexpr int reply_limit = 64 * 1024;
// Answers to the prompts of AUTH LOGIN; a server that goes on prompting does not implement the method.
inline constexpr int login_prompt_limit = 8;
inline constexpr int message_limit = 1024 * 1024 * 1024;  // bytes of a message

}  // namespace protocol
