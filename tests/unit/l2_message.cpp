#include "l2_message.h"

#include <string>

Fields operator+(Fields first, const Fields &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

bytes before(const Fields &fields) {
    std::string digits;
    for (const auto &field : fields)
        digits += field.before;
    return hex(digits);
}

bytes after(const Fields &fields) {
    std::string digits;
    for (const auto &field : fields)
        digits += field.after.empty() ? field.before : field.after;
    return hex(digits);
}

L2MessageTest::L2MessageTest() {
    set_client_state(acknowledged);
    fake::platform().callers_reference = &reference_;
}

Fields L2MessageTest::header(std::string_view count, const Field &flags) {
    return {{"b1", "e7"}, {"b2"}, {"b3b4", count}, {"b5b6", "6261"}, flags};
}

int L2MessageTest::update(std::uint8_t *message, std::size_t length, std::uint16_t count) {
    return vell_send_l2_mc_update(message, length, count, 0x6261,
                                  reinterpret_cast<std::uintptr_t>(&reference_));
}

fake::Send L2MessageTest::update_sent(const bytes &payload, std::uint32_t queue) const {
    return sent({.queue = queue,
                 .sap = 213,
                 .opcode = 75821,
                 .option_word1 = 1,
                 .payload = payload,
                 .reference = fake::Reference::callers});
}

fake::Calls L2MessageTest::traced(int line) {
    const char *const body = line == 436   ? "Sent OOB begin marker\n"
                             : line == 478 ? "Send VELL_OP_ADD/DEL_L2_MBD update\n"
                             : line == 486 ? "Send lkup mode change\n"
                                           : "Sent OOB end marker\n";
    return logged(trace_of("vell_send_l2_mc_update", line, body, acknowledged.uuid));
}

void L2MessageTest::expect_converted(const Fields &message, std::uint16_t count,
                                     const fake::Calls &traces) {
    const auto start = before(message);
    const auto expected = after(message);
    for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
        for (const std::size_t distance : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE(
                testing::Message()
                << "distance " << distance
                << (side == GuardedBuffer::Side::front ? " from the front" : " from the back"));
            GuardedBuffer buffer(start, side, distance);
            EXPECT_EQ(update(buffer.data(), start.size(), count), 1);
            EXPECT_CALLS(traces, update_sent(expected));
            EXPECT_EQ(buffer.content(), expected);
            EXPECT_TRUE(buffer.surroundings_untouched());
            EXPECT_EQ(fake::platform().payload_address, buffer.data());
        }
    }
}
