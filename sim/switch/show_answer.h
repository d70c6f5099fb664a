// The switch's side of `vellsim show`: its tables as JSON.
#pragma once

#include "sim/switch/service.h"

#include <string>
#include <string_view>

namespace sim {

struct show_answer {
    bool is_error = false;
    std::string text;
};

// `request` is the payload of a show request.
show_answer answer_show(const service &vell, std::string_view request);

} // namespace sim
