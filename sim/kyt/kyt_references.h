// The process's account of message references: which are open, and from which queue.
#pragma once

#include <kyt.h>
#include <kyt_sim.h>

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unordered_map>

namespace sim {

class reference_ledger {
public:
    // Opens the reference of a message that was sent from this queue and returns its serial number.
    // Numbers are not used again, so that a second release is noticed.
    std::uint64_t open(std::uint32_t queue, std::uint32_t opcode);

    // Closes the reference. Returns an empty string, or why it is not one to close; then only the
    // count of wrong drops changes.
    std::string close(std::uint32_t queue, const kyt_msg_ref *reference);

    // The references that this process has opened and not closed, from one queue or from all:
    // "2 of opcode 75831, 1 of opcode 75796", or nothing. Each is described once.
    std::string describe_open(std::optional<std::uint32_t> queue = {});

    kyt_sim_counts counts() const { return {sent_, open_.size(), wrong_drops_}; }

private:
    std::string why_not_open(std::uint32_t queue, const kyt_msg_ref *reference) const;

    struct sent_message {
        std::uint32_t queue;
        std::uint32_t opcode;
        pid_t sender;
        bool is_described;
    };

    std::unordered_map<std::uint64_t, sent_message> open_; // by serial number
    std::uint64_t next_ = 1;
    std::uint64_t sent_ = 0;
    std::uint64_t wrong_drops_ = 0;
};

// Writes what identifies an open reference into the caller's, wherever it lies.
void write_reference(kyt_msg_ref *reference, std::uint32_t queue, std::uint64_t serial);

// Of this process.
reference_ledger &references();

} // namespace sim
