// What libkyt says on stderr, and the fence that keeps C++ exceptions from its C callers.
#pragma once

#include <exception>
#include <string>

namespace sim {

// Why a send or a receive may fail. A client that goes on sending hears of each cause once.
enum class cause { argument, queue, node, length, setting, unreachable, lost, count };

void complain(const std::string &text);
void complain_once(cause why, const std::string &text);

// A send has succeeded: what fails from now on is news again.
void forget_complaints();

// Runs the body of a C function; `otherwise` is its result when memory runs out.
template <class Result, class Body>
Result guarded(Result otherwise, Body body) noexcept {
    try {
        return body();
    } catch (const std::exception &) {
        return otherwise;
    }
}

} // namespace sim
