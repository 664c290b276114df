#pragma once

// What a server's texts may hold at most; longer ones are failures.
namespace protocol {

// Bytes of an SMTP reply or of one line of it, and of a line of POP3 outside of messages. RFC 5321 4.5.3.1.5
// and RFC 2449 4 allow 512 a line; what servers send stays below a few KiB.
inline constexpr int reply_limit = 64 * 1024;
// Answers to the prompts of AUTH LOGIN; a server that goes on asking does not know the method.
inline constexpr int login_prompt_limit = 8;
inline constexpr int message_limit = 1024 * 1024 * 1024;  // bytes of a message that is fetched

}  // namespace protocol
