// Snapshots written by hand.
#pragma once

#include "feed/plan.h"
#include "tests/feed/input_text.h"
#include "tests/support/scratch.h"

#include <fmt/format.h>
#include <fstream>
#include <initializer_list>
#include <string>

namespace feed {

// A directory with these files. Errors name them without it.
class snapshot_text {
public:
    snapshot_text(std::initializer_list<std::pair<std::string, std::string>> files) {
        for (const auto &[name, text] : files) {
            put(name, text);
        }
    }

    void put(const std::string &name, const std::string &text) const {
        std::ofstream(folder_ / name) << text;
    }

    const std::string &path() const { return folder_.path(); }

    plan read(const plan_options &options = {}) const {
        return read_plan({folder_.path()}, options);
    }

    std::string error(const plan_options &options = {}) const {
        std::string text = error_of([&] { read(options); });
        const std::string folder = folder_.path() + "/";
        for (std::size_t at = text.find(folder); at != text.npos; at = text.find(folder)) {
            text.erase(at, folder.size());
        }
        return text;
    }

private:
    scratch_directory folder_;
};

constexpr std::uint32_t kernel_type = 1u << 26;

// A list of links as `ip` prints it, with no more than is looked at.
inline std::string links_text(std::initializer_list<std::pair<std::string, std::uint32_t>> links) {
    std::string text;
    for (const auto &[name, index] : links) {
        text += fmt::format(R"({}{{"ifindex":{},"ifname":"{}"}})", text.empty() ? "" : ",", index,
                            name);
    }
    return "[" + text + "]";
}

inline std::string mdb_text(const std::string &entries, const std::string &router = "{}") {
    return R"([{"mdb":[)" + entries + R"(],"router":)" + router + "}]";
}

// The same of a port of a bridge.
inline std::string port_text(const std::string &bridge, const std::string &name,
                             std::uint32_t index, bool floods = true,
                             const std::string &state = "forwarding") {
    return fmt::format(
        R"({{"ifindex":{},"ifname":"{}","master":"{}","state":"{}","mcast_flood":{}}})", index,
        name, bridge, state, floods);
}

inline std::string ports_text(std::initializer_list<std::string> ports) {
    std::string text;
    for (const std::string &port : ports) {
        text += (text.empty() ? "" : ",") + port;
    }
    return "[" + text + "]";
}

} // namespace feed
