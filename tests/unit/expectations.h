// The platform calls that tests expect, in the words of the library: requests, releases and
// messages.
#pragma once

#include "fake/platform.h"

#include <string>
#include <string_view>

inline constexpr std::uint32_t error = 102;
inline constexpr std::uint32_t trace = 104;

struct Request {
    std::uint32_t queue = 0;
    std::uint32_t sap = 0;
    std::uint32_t opcode = 0;
    std::uint32_t option_word1 = 0;
    bytes payload = {};
    fake::Reference reference = fake::Reference::own;
};

// The one kyt_send of a request.
fake::Send sent(const Request &request);

// The release of the library's own reference, which the send with that number filled in.
fake::Drop released(std::uint32_t queue, unsigned send = 1);

// A record as the history and the client log take it: the level's word, the text and its NUL.
bytes log_record(std::uint32_t level, std::string_view text);

// A message as each of the three sinks should see it.
struct Message {
    std::uint32_t level = 0;
    std::uint32_t uuid = 384;
    std::string format = {};
    std::string text = {};
    std::string client_text = {};
};

// An error or a trace whose text behind function, line and marker is `body`, without values.
Message error_of(const std::string &function, int line, const std::string &body,
                 std::uint32_t uuid = 384);
Message trace_of(const std::string &function, int line, const std::string &body,
                 std::uint32_t uuid = 384);

// The calls of one step of a message.
fake::HistoryCheck history_asked(std::uint32_t level);
fake::ConsoleCheck console_asked(std::uint32_t level);
fake::HistoryEvent to_history(const Message &message);
fake::DebugPrint to_console(const Message &message);
fake::ClientLog to_client_log(const Message &message);

// All calls of a message with both gates open.
fake::Calls logged(const Message &message);

// All calls of a message with both gates closed.
fake::Calls logged_to_client_alone(const Message &message);
