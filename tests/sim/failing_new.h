// Allocations that fail when a test wants them to. A program that links failing_new.cpp has its
// operator new replaced.
#pragma once

namespace sim_test {

// Counts down at each allocation; the one at which it reaches 0 fails, and no other does.
extern long allocations_left;

// Runs the call with its nth allocation failing. Returns whether the call made as many, so that one
// did fail.
template <class Call>
bool with_failing_allocation(long nth, Call call) {
    allocations_left = nth;
    call();
    const bool failed = allocations_left == 0;
    allocations_left = -1;
    return failed;
}

} // namespace sim_test
