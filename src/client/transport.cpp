#include "client/transport.h"

namespace vell {

namespace {

constexpr std::uint32_t service_node = 0xfe000000;
constexpr std::uint32_t no_flags = 0;
constexpr std::int32_t send_failed = -1;

} // namespace

bool send_request(const service_request &request, std::uint32_t queue, const void *payload,
                  std::uint32_t length, kyt_msg_ref *reference) {
    const std::uint32_t options[KYT_SEND_OPTION_WORDS] = {1, request.option_word1};
    return kyt_send(queue, service_node, request.sap, request.opcode, payload, length, reference,
                    no_flags, options) != send_failed;
}

bool send_and_release(const service_request &request, std::uint32_t queue, const void *payload,
                      std::uint32_t length) {
    kyt_msg_ref reference;
    if (!send_request(request, queue, payload, length, &reference))
        return false;
    kyt_drop(queue, &reference);
    return true;
}

} // namespace vell
