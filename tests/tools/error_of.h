// The text with which something is refused.
#pragma once

#include "input_error.h"

#include <string>
#include <utility>

namespace feed {

template <typename Action>
std::string error_of(Action &&action) {
    try {
        std::forward<Action>(action)();
    } catch (const input_error &error) {
        return error.what();
    }
    return "(no error)";
}

} // namespace feed
