// The LTL indexes that a client has allocated, one for each layer-2 entry that it is to stand for.
#pragma once

#include "client_session.h"
#include "comparison.h"
#include "l2_entry.h"
#include "text_input.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace feed {

struct ltl_key {
    std::uint32_t index = 0;

    friend auto operator<=>(const ltl_key &, const ltl_key &) = default;
};

// "LTL 0x4000"
std::string key_text(const ltl_key &key);

struct ltl {
    std::size_t entry = 0; // of the database, counted from 0
    ltl_key key;
    std::uint32_t vlan = 0;
    std::uint32_t tag = 0;
    std::vector<std::uint32_t> interfaces; // as the switch counts them, sorted
};

class ltl_book {
public:
    // Allocates, changes and releases LTL indexes until there is one for each entry's ports, which
    // are counted as the switch does. What the LTL manager refuses stays undone. Throws
    // session_error.
    void follow(client_session &client, const std::vector<l2_entry> &entries);

    std::size_t allocated() const { return allocated_; }
    std::size_t changed() const { return changed_; }
    std::size_t released() const { return released_; }
    std::size_t requests() const { return allocated_ + changed_ + released_ + refusals_.size(); }

    // Of each request that was refused, what and why.
    const std::vector<std::string> &refusals() const { return refusals_; }

    std::vector<ltl> all() const;

private:
    template <typename Request>
    bool try_request(Request &&request);
    void allocate(client_session &client, const l2_entry &entry);
    void release_others(client_session &client, const std::set<l2_key> &wanted);

    std::map<l2_key, ltl> ltls_;
    std::uint32_t last_tag_ = 0;
    std::size_t allocated_ = 0;
    std::size_t changed_ = 0;
    std::size_t released_ = 0;
    std::vector<std::string> refusals_;
};

// What `vellsim show ltl --json` prints. Throws input_error.
std::vector<ltl> parse_held_ltls(const text_input &input);

comparison compare_ltls(const std::vector<ltl> &fed, const std::vector<ltl> &held);

} // namespace feed
