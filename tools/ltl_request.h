// Requests for LTL indexes, from sending one to what the LTL manager answers.
#pragma once

#include "client_session.h"

#include <cstdint>
#include <string>
#include <vector>

namespace feed {

struct ltl_result {
    std::uint32_t index = 0;
    std::uint32_t interfaces = 0;
};

// "LTL 0x4000 with 3 interfaces"
std::string result_text(const ltl_result &result);

// Each throws refused_request when it was refused, session_error when the request could not be
// sent, was not answered, or was answered for something else.
ltl_result allocate_ltl(client_session &client, std::uint32_t vlan, std::uint32_t tag,
                        const std::vector<std::uint32_t> &interfaces);
ltl_result change_ltl(client_session &client, std::uint32_t index, std::uint32_t tag,
                      const std::vector<std::uint32_t> &interfaces);
ltl_result release_ltl(client_session &client, std::uint32_t index, std::uint32_t tag);

} // namespace feed
