// The process's account of message references: which are open, and from which queue.
#pragma once

#include <kyt.h>
#include <kyt_sim.h>

#include <cstdint>
#include <string>
#include <unordered_map>

namespace sim {

class reference_ledger {
public:
    // Opens the reference of a message that was sent from this queue and returns its serial number.
    // Numbers are not used again, so that a second release is noticed.
    std::uint64_t open(std::uint32_t queue);

    // Closes the reference. Returns an empty string, or why it is not one to close; then only the
    // count of wrong drops changes.
    std::string close(std::uint32_t queue, const kyt_msg_ref *reference);

    kyt_sim_counts counts() const { return {sent_, open_.size(), wrong_drops_}; }

private:
    std::string why_not_open(std::uint32_t queue, const kyt_msg_ref *reference) const;

    std::unordered_map<std::uint64_t, std::uint32_t> open_; // serial number to queue
    std::uint64_t next_ = 1;
    std::uint64_t sent_ = 0;
    std::uint64_t wrong_drops_ = 0;
};

// Writes what identifies an open reference into the caller's, wherever it lies.
void write_reference(kyt_msg_ref *reference, std::uint32_t queue, std::uint64_t serial);

// Of this process.
reference_ledger &references();

} // namespace sim
