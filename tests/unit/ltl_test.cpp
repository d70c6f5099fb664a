#include "ltl_test.h"

#include <cstdio>

bytes bytes_of(const Oif &oif) {
    const std::uint32_t other = ~oif.if_index * 0x01010105;
    // The flag's byte, and next to it bytes in which the flag's bit says the opposite.
    const bytes flags = oif.svi ? hex("04fbfbfb") : hex("fb040404");
    bytes raw = word(other) + flags;
    raw = raw + word(other + 1) + word(other + 2);
    raw = raw + word(oif.if_index);
    return raw + word(other + 3) + word(other + 4) + word(other + 5);
}

bytes bytes_of(const Oifs &oifs) {
    bytes raw;
    for (const auto &oif : oifs)
        raw = raw + bytes_of(oif);
    return raw;
}

bytes bytes_of(const Updates &updates) {
    bytes raw;
    for (const auto &update : updates)
        raw = raw + word(update.if_index) + word(update.operation);
    return raw;
}

LtlTest::LtlTest() {
    set_client_state(client);
}

void LtlTest::TearDown() {
    LibraryTest::TearDown();
    EXPECT_EQ(allocations_.unreleased(), 0U);
    EXPECT_EQ(allocations_.wrong_releases(), 0U);
}

fake::Calls LtlTest::error_logged(const std::string &function, int line, const std::string &format,
                                  const std::string &text) {
    auto message = error_of(function, line, text, client.uuid);
    message.format = "%s(%d):ERROR: " + format;
    return logged(message);
}

fake::Calls LtlTest::trace_logged(const std::string &function, int line, const std::string &format,
                                  const std::string &text) {
    auto message = trace_of(function, line, text, client.uuid);
    message.format = "%s(%d):TRACE: " + format;
    return logged(message);
}

fake::Calls LtlTest::looked_up(std::uint32_t if_index) {
    return {fake::IfIndexType{if_index}, fake::IfIndexFields{if_index}};
}

fake::Calls LtlTest::delta_traced(const std::string &bitmask, const Updates &updates) {
    const std::string function = "vell_find_oiflist_delta";
    auto calls = fake::in_order(
        trace_logged(function, 1201, "FLC_BITMASK: 0x%x\n", "FLC_BITMASK: " + bitmask + "\n"),
        trace_logged(function, 1202, "Update list:\n", "Update list:\n"));
    for (const auto &update : updates)
        fake::add(calls, trace_logged(function, 1206, "IfIdx: %d Op: %d\n",
                                      "IfIdx: " + signed_text(update.if_index) +
                                          " Op: " + signed_text(update.operation) + "\n"));
    return calls;
}

std::string signed_text(std::uint32_t number) {
    return std::to_string(static_cast<std::int32_t>(number));
}

std::string hex_text(std::uint32_t number) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(number));
    return text;
}
