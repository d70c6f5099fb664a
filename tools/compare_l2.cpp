#include "compare_l2.h"

#include <fmt/format.h>
#include <functional>

namespace feed {

namespace {

std::string bridge_text(const l2_entry &entry) {
    return fmt::format("{}", entry.bridge);
}

std::string permanence_text(const l2_entry &entry) {
    return entry.permanent ? "permanent" : "learned";
}

// "7 8 10 (flags 0x4)": the flags behind a port that has any.
std::string ports_text(const l2_entry &entry) {
    std::string text;
    for (const l2_port &port : entry.ports) {
        text += fmt::format("{}{}", text.empty() ? "" : " ", port.if_index);
        if (port.flags != 0)
            text += fmt::format(" (flags {:#x})", port.flags);
    }
    return text.empty() ? "none" : text;
}

constexpr compared_field<l2_entry> fields[] = {
    {"bridge", bridge_text}, {"state", permanence_text}, {"ports", ports_text}};

} // namespace

comparison compare_l2(const std::vector<l2_entry> &fed, const std::vector<l2_entry> &held) {
    return compare_by_key(fed, held, std::identity(),
                          std::span<const compared_field<l2_entry>>(fields));
}

} // namespace feed
