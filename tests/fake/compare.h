// Comparing what was called with what should have been, so that a difference is read at a glance.
#pragma once

#include "fake/calls.h"

#include <gtest/gtest.h>

namespace fake {

// Success when the lists are equal; otherwise the first call that differs, argument by argument,
// and both lists.
testing::AssertionResult same_calls(const Calls &actual, const Calls &expected);

inline void add(Calls &calls, const Call &call) {
    calls.push_back(call);
}

inline void add(Calls &calls, const Calls &more) {
    calls.insert(calls.end(), more.begin(), more.end());
}

// One list of single calls and lists of calls.
template <typename... Parts>
Calls in_order(const Parts &...parts) {
    Calls calls;
    (add(calls, parts), ...);
    return calls;
}

} // namespace fake
