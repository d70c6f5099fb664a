#include "sim/kyt/kyt_complaints.h"

#include <bitset>
#include <cstdio>

namespace sim {

namespace {

constexpr std::size_t index_of(cause why) {
    return static_cast<std::size_t>(why);
}

std::bitset<index_of(cause::count)> said;

} // namespace

void complain(const std::string &text) {
    std::fprintf(stderr, "libkyt: %s\n", text.c_str());
}

void complain_once(cause why, const std::string &text) {
    if (!said[index_of(why)])
        complain(text);
    said[index_of(why)] = true;
}

void forget_complaints() {
    // A wrong setting fails no send, so a send that succeeds does not make it right.
    const bool setting = said[index_of(cause::setting)];
    said.reset();
    said[index_of(cause::setting)] = setting;
}

} // namespace sim
