#include "l2_message.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

Fields operator+(Fields first, const Fields &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes before(const Fields &fields) {
    std::string digits;
    for (const auto &field : fields)
        digits += field.before;
    return hex(digits);
}

Bytes after(const Fields &fields) {
    std::string digits;
    for (const auto &field : fields)
        digits += field.after.empty() ? field.before : field.after;
    return hex(digits);
}

GuardedBuffer::GuardedBuffer(const Bytes &content, Side side, std::size_t distance) : size_(content.size()) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const auto usable = (size_ + distance + page - 1) / page * page;
    pages_size_ = usable + 2 * page;
    void *const pages = mmap(nullptr, pages_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED || mprotect(static_cast<std::uint8_t *>(pages) + page, usable, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("no pages to guard a message with");
    pages_ = static_cast<std::uint8_t *>(pages);

    auto *const first = pages_ + page;
    const auto at = side == Side::front ? distance : usable - size_ - distance;
    start_ = patched(pattern(usable), at, content);
    std::copy(start_.begin(), start_.end(), first);
    data_ = first + at;
}

GuardedBuffer::~GuardedBuffer() {
    munmap(pages_, pages_size_);
}

bool GuardedBuffer::surroundings_untouched() const {
    const auto *const first = pages_ + (pages_size_ - start_.size()) / 2;
    const auto *const start = start_.data();
    const auto at = data_ - first;
    return std::equal(start, start + at, first) && std::equal(start + at + size_, start + start_.size(), data_ + size_);
}

L2MessageTest::L2MessageTest() {
    set_client_state(acknowledged);
    fake::platform().callers_reference = &reference_;
}

Fields L2MessageTest::header(std::string_view count, const Field &flags) {
    return {{"b1", "e7"}, {"b2"}, {"b3b4", count}, {"b5b6", "6261"}, flags};
}

int L2MessageTest::update(std::uint8_t *message, std::size_t length, std::uint16_t count) {
    return vell_send_l2_mc_update(message, length, count, 0x6261, reinterpret_cast<std::uintptr_t>(&reference_));
}

fake::Send L2MessageTest::update_sent(const Bytes &payload, std::uint32_t queue) const {
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

void L2MessageTest::expect_converted(const Fields &message, std::uint16_t count, const fake::Calls &traces) {
    const auto start = before(message);
    const auto expected = after(message);
    for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
        for (const std::size_t distance : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message()
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
