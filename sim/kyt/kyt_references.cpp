#include "sim/kyt/kyt_references.h"

#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"

#include <cstring>
#include <type_traits>

namespace sim {

namespace {

constexpr std::uint32_t reference_magic = 0x5254594b; // "KYTR"

// How a reference looks inside; the rest of it is zero.
struct reference_body {
    std::uint32_t magic;
    std::uint32_t queue;
    std::uint64_t serial;
};
static_assert(sizeof(reference_body) == 16 && sizeof(kyt_msg_ref) == 64);
static_assert(std::has_unique_object_representations_v<reference_body>);

reference_body body_of(const kyt_msg_ref *reference) {
    reference_body body;
    std::memcpy(&body, reference, sizeof body);
    return body;
}

} // namespace

std::uint64_t reference_ledger::open(std::uint32_t queue) {
    open_.emplace(next_, queue);
    ++sent_;
    return next_++;
}

std::string reference_ledger::why_not_open(std::uint32_t queue,
                                           const kyt_msg_ref *reference) const {
    if (reference == nullptr)
        return "the reference is null";
    const reference_body body = body_of(reference);
    const auto entry = open_.find(body.serial);
    const bool given = body.magic == reference_magic && body.serial != 0 && body.serial < next_;
    if (!given || (entry != open_.end() && entry->second != body.queue))
        return "this is not a reference that kyt_send has filled in";
    if (entry != open_.end() && entry->second == queue)
        return {};
    return "the reference of message " + std::to_string(body.serial) +
           (entry == open_.end() ? " was released before"
                                 : " belongs to queue " + std::to_string(entry->second));
}

std::string reference_ledger::close(std::uint32_t queue, const kyt_msg_ref *reference) {
    std::string reason = why_not_open(queue, reference);
    if (reason.empty())
        open_.erase(body_of(reference).serial);
    else
        ++wrong_drops_;
    return reason;
}

void write_reference(kyt_msg_ref *reference, std::uint32_t queue, std::uint64_t serial) {
    const reference_body body{reference_magic, queue, serial};
    std::memset(reference, 0, sizeof *reference);
    std::memcpy(reference, &body, sizeof body);
}

reference_ledger &references() {
    // Never destroyed: a client may release references while it exits.
    static auto *ledger = new reference_ledger;
    return *ledger;
}

} // namespace sim

void kyt_drop(uint32_t queue, kyt_msg_ref *reference) {
    sim::guarded(0, [=] {
        const std::string reason = sim::references().close(queue, reference);
        if (!reason.empty())
            sim::complain("wrong kyt_drop from queue " + std::to_string(queue) + ": " + reason);
        return 0;
    });
}

void kyt_sim_get_counts(kyt_sim_counts *counts) {
    if (counts != nullptr)
        *counts = sim::guarded(kyt_sim_counts{}, [] { return sim::references().counts(); });
}
