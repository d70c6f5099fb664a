#include "sim/switch/client_table.h"

namespace sim {

std::string_view client_state_name(client_state state) {
    switch (state) {
    case client_state::registered:
        return "registered";
    case client_state::deregistered:
        return "deregistered";
    case client_state::replaced:
        return "replaced";
    case client_state::lost:
        return "lost";
    case client_state::rejected:
        return "rejected";
    }
    return "unknown";
}

std::optional<std::uint8_t> client_table::free_id() const {
    for (unsigned id = 1; id < id_holders_.size(); ++id) {
        if (id_holders_[id] == 0) {
            return static_cast<std::uint8_t>(id);
        }
    }
    return std::nullopt;
}

client_key client_table::add(const client &added) {
    const client_key key = ++last_key_;
    clients_.emplace(key, added);
    if (added.state == client_state::registered) {
        ++id_holders_[added.id];
    } else {
        gone_.emplace(++departures_, key);
        forget_oldest_gone();
    }
    return key;
}

void client_table::end(client_key key, client_state how) {
    client *ended = find(key);
    if (ended == nullptr || ended->state != client_state::registered) {
        return;
    }
    ended->state = how;
    --id_holders_[ended->id];
    gone_.emplace(++departures_, key);
    forget_oldest_gone();
}

void client_table::forget_oldest_gone() {
    if (gone_.size() > gone_clients_kept) {
        clients_.erase(gone_.begin()->second);
        gone_.erase(gone_.begin());
    }
}

client *client_table::find(client_key key) {
    const auto found = clients_.find(key);
    return found == clients_.end() ? nullptr : &found->second;
}

} // namespace sim
