#include "sim/kyt/kyt_references.h"

#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"

#include <cstring>
#include <map>
#include <type_traits>
#include <unistd.h>

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

std::uint64_t reference_ledger::open(std::uint32_t queue, std::uint32_t opcode) {
    open_.emplace(next_, sent_message{queue, opcode, getpid(), false});
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
    if (!given || (entry != open_.end() && entry->second.queue != body.queue))
        return "this is not a reference that kyt_send has filled in";
    if (entry != open_.end() && entry->second.queue == queue)
        return {};
    return "the reference of message " + std::to_string(body.serial) +
           (entry == open_.end() ? " was released before"
                                 : " belongs to queue " + std::to_string(entry->second.queue));
}

std::string reference_ledger::describe_open(std::optional<std::uint32_t> queue) {
    std::map<std::uint32_t, std::size_t> counts;
    for (auto &[serial, message] : open_) {
        // A forked process has its parent's, which the parent answers for.
        if (message.is_described || message.sender != getpid() ||
            (queue && message.queue != *queue))
            continue;
        message.is_described = true;
        ++counts[message.opcode];
    }
    std::string text;
    for (const auto &[opcode, count] : counts)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " of opcode " +
                std::to_string(opcode);
    return text;
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

namespace {

// After the client's own exit functions and destructors, which may still drop some.
__attribute__((destructor)) void report_at_exit() {
    guarded(0, [] {
        const std::string left = references().describe_open();
        if (!left.empty())
            complain("the process ends with message references that were never dropped: " + left);
        return 0;
    });
}

} // namespace

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
