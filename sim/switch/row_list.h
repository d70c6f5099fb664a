// The rows of a table as `vellsim show` answers them.
#pragma once

#include "sim/switch/show_query.h"

#include <cstdint>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

// Collects a table's rows, as many as the query's limit lets through, and makes the whole answer of
// them.
class row_list {
public:
    explicit row_list(const show_query &query)
        : limit_(query.limit),
          narrowed_(query.client || query.group || query.source || query.vlan) {}

    bool wants_row() {
        ++matched_;
        return !limit_ || matched_ <= *limit_;
    }

    void add(const std::string &row) {
        rows_ += rows_.empty() ? "" : ",\n";
        rows_ += row;
    }
    void add(const nlohmann::ordered_json &row) {
        add(row.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    }

    // Only a limited answer says how many rows there are without the limit, and only a narrowed one
    // that it is; a route table is a whole of its own. `more` are further members.
    std::string text(std::string_view name, std::string_view more = {}) const {
        const std::string matched = limit_ ? fmt::format(",\"matched\":{}", matched_) : "";
        const char *const narrowed = narrowed_ ? ",\"narrowed\":true" : "";
        return fmt::format("{{\"{}\":[{}]{}{}{}}}", name, rows_, matched, narrowed, more);
    }

private:
    std::optional<std::uint32_t> limit_;
    bool narrowed_;
    std::uint64_t matched_ = 0;
    std::string rows_;
};

} // namespace sim
