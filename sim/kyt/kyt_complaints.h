// What libkyt says on standard error.
#pragma once

#include <string>

namespace sim {

// Why a call may fail. A client that goes on calling hears of each cause once.
enum class cause { argument, queue, message, node, length, setting, unreachable, lost, count };

void complain(const std::string &text);
void complain_once(cause why, const std::string &text);

// A send has succeeded: what fails from now on is news again.
void forget_complaints();

} // namespace sim
