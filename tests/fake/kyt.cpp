// The message transport of the fake platform.
#include "fake/platform.h"

#include <kyt.h>

#include <cstring>

namespace fake {
namespace {

// Different for every send, and in every byte of the reference.
kyt_msg_ref content_of_send(std::size_t number) {
    kyt_msg_ref content;
    for (std::size_t i = 0; i < sizeof content.opaque; ++i)
        content.opaque[i] = static_cast<std::uint8_t>(0x80 + i + 61 * number);
    return content;
}

void fill_in(kyt_msg_ref *reference) {
    auto &sent = platform().sent;
    const auto content = content_of_send(sent.size() + 1);
    sent.push_back({reference, content, platform().whose(reference), false});
    if (reference != nullptr)
        *reference = content;
}

// The number of the send whose reference this is, counted from 1, or 0; it is released from then
// on.
unsigned release(const kyt_msg_ref *reference) {
    auto &sent = platform().sent;
    for (std::size_t i = sent.size(); i-- > 0;) {
        auto &one = sent[i];
        if (one.released || reference == nullptr || one.address != reference)
            continue;
        if (std::memcmp(reference, &one.content, sizeof one.content) != 0)
            continue;
        one.released = true;
        return static_cast<unsigned>(i + 1);
    }
    return 0;
}

bytes copy_of(const void *data, std::uint32_t length) {
    const auto *raw = static_cast<const std::uint8_t *>(data);
    return raw == nullptr ? bytes() : bytes(raw, raw + length);
}

std::vector<std::uint32_t> option_words(const std::uint32_t *options) {
    if (options == nullptr)
        return {};
    return {options, options + KYT_SEND_OPTION_WORDS};
}

} // namespace
} // namespace fake

extern "C" {

int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.payload_address = static_cast<const std::uint8_t *>(payload);
    platform.calls.push_back(fake::Send{.queue = queue,
                                        .node = node,
                                        .sap = sap,
                                        .opcode = opcode,
                                        .payload = fake::copy_of(payload, length),
                                        .reference = platform.whose(reference),
                                        .flags = flags,
                                        .options = fake::option_words(options)});
    const auto result = platform.kyt_send.play();
    if (result != -1)
        fake::fill_in(reference);
    else if (reference != nullptr && platform.failures_write_outputs.value_or(false))
        *reference = fake::content_of_send(platform.sent.size() + 1);
    return result;
}

void kyt_drop(uint32_t queue, kyt_msg_ref *reference) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::Drop{
        .queue = queue, .reference = platform.whose(reference), .send = fake::release(reference)});
    platform.kyt_drop.run();
}

void *kyt_payload_get(void *message) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::PayloadGet{message});
    return platform.kyt_payload_get.play();
}
}
