#include "expectations.h"

#include <tessel.h>

fake::Send sent(const Request &request) {
    return {
        .queue = request.queue,
        .node = 0xfe000000,
        .sap = request.sap,
        .opcode = request.opcode,
        .payload = request.payload,
        .reference = request.reference,
        .flags = 0,
        .options = {1, request.option_word1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
}

fake::Drop released(std::uint32_t queue, unsigned send) {
    return {.queue = queue, .reference = fake::Reference::own, .send = send};
}

bytes log_record(std::uint32_t level, std::string_view text) {
    return word(level) + characters(std::string(text)) + bytes{0};
}

Message error_of(const std::string &function, int line, const std::string &body,
                 std::uint32_t uuid) {
    const auto text = function + "(" + std::to_string(line) + "):ERROR: " + body;
    return {.level = error,
            .uuid = uuid,
            .format = "%s(%d):ERROR: " + body,
            .text = text,
            .client_text = text};
}

Message trace_of(const std::string &function, int line, const std::string &body,
                 std::uint32_t uuid) {
    const auto place = function + "(" + std::to_string(line) + "):";
    return {.level = trace,
            .uuid = uuid,
            .format = "%s(%d):TRACE: " + body,
            .text = place + "TRACE: " + body,
            .client_text = place + body};
}

fake::HistoryCheck history_asked(std::uint32_t level) {
    return {.module = 0x730000, .level = level};
}

fake::ConsoleCheck console_asked(std::uint32_t level) {
    return {.level = level, .first = 0, .second = 0, .third = 1};
}

fake::HistoryEvent to_history(const Message &message) {
    return {.module = 0x730000, .record = log_record(message.level, message.text)};
}

fake::DebugPrint to_console(const Message &message) {
    return {.first = 1,
            .modname = &tessel_dbg_modname,
            .second = 0,
            .format = message.format,
            .text = message.text};
}

fake::ClientLog to_client_log(const Message &message) {
    return {.uuid = message.uuid,
            .module = 0x730000,
            .first = 1,
            .second = 0,
            .record = log_record(message.level, message.client_text)};
}

fake::Calls logged(const Message &message) {
    return {history_asked(message.level), to_history(message), console_asked(message.level),
            to_console(message), to_client_log(message)};
}

fake::Calls logged_to_client_alone(const Message &message) {
    return {history_asked(message.level), console_asked(message.level), to_client_log(message)};
}
