#include "sim/switch/batches.h"

#include "sim/switch/limits.h"
#include "sim/wire/log_line.h"

#include <algorithm>

namespace sim {

namespace {

template <typename Item>
Item &add_to(std::deque<Item> &kept, Item added) {
    if (kept.size() == batches_kept) {
        kept.pop_front();
    }
    return kept.emplace_back(std::move(added));
}

} // namespace

l2_batch &batch_table::add(const sender_name &from) {
    return add_to(batches_, l2_batch{.key = ++last_key_, .from = from});
}

l2_batch *batch_table::find(batch_key key) {
    const auto found = std::ranges::find(batches_, key, &l2_batch::key);
    return found == batches_.end() ? nullptr : &*found;
}

batch_key batch_table::begin(const sender_name &from) {
    l2_batch &begun = add(from);
    begun.begun = log_time_now();
    begun.open = true;
    return begun.key;
}

void batch_table::add_message(batch_key key, std::size_t records) {
    if (l2_batch *counted = find(key)) {
        ++counted->messages;
        counted->records += records;
    }
}

void batch_table::end(batch_key key) {
    if (l2_batch *ended = find(key)) {
        ended->ended = log_time_now();
        ended->open = false;
    }
}

void batch_table::abandon(batch_key key) {
    if (l2_batch *abandoned = find(key)) {
        abandoned->open = false;
    }
}

void batch_table::add_lone_end(const sender_name &from) {
    add(from).ended = log_time_now();
}

void batch_table::add_other(const sender_name &from, std::uint32_t marker) {
    add_to(others_, other_marker{from, marker, log_time_now()});
}

} // namespace sim
