#include "flood_answer.h"

#include "manager_answer.h"

#include <vell.h>

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <memory>

namespace feed {

namespace {

struct deleter {
    void operator()(std::uint8_t *result) const { std::free(result); }
};
using result_buffer = std::unique_ptr<std::uint8_t, deleter>;

result_buffer take_result(const received_message &message) {
    std::uint8_t *result = nullptr;
    const bool read = vell_handle_l2_mc_update_flood_ltl_resp(message.handle(), &result) == 1;
    result_buffer buffer(result);
    if (!read)
        reject_answer(message, flood_update_request, "it has another form");
    return buffer;
}

template <typename Record>
Record read_record(const std::uint8_t *from) {
    Record record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

void check_vlan(const received_message &message, std::uint32_t answered, std::uint32_t asked,
                std::size_t number) {
    if (answered != asked) {
        reject_answer(
            message, flood_update_request,
            fmt::format("entry {} is of VLAN {}, expected VLAN {}", number + 1, answered, asked));
    }
}

} // namespace

flood_answer read_flood_answer(const received_message &message,
                               const std::vector<flood_change> &changes) {
    const result_buffer result = take_result(message);
    const auto head = read_record<vell_l2_message>(result.get());
    if (ntohs(head.count) != changes.size()) {
        reject_answer(
            message, flood_update_request,
            fmt::format("it is of {} VLANs, expected {}", ntohs(head.count), changes.size()));
    }
    flood_answer answer;
    answer.all_done = head.flags != 0;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const auto record = read_record<vell_flood_result>(result.get() + sizeof head +
                                                           i * sizeof(vell_flood_result));
        check_vlan(message, ntohl(record.vlan), changes[i].vlan, i);
        answer.acknowledged.push_back((record.flags & VELL_FLOOD_ACKNOWLEDGED) != 0);
    }
    answer.statuses =
        entry_statuses(message, static_cast<std::uint32_t>(answer.acknowledged.size()));
    return answer;
}

} // namespace feed
