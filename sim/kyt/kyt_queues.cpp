#include "sim/kyt/kyt_queues.h"

#include "sim/base/c_boundary.h"
#include "sim/kyt/kyt_complaints.h"
#include "sim/kyt/kyt_references.h"
#include "sim/wire/run_dir.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr int default_send_timeout_ms = 5000;

struct queue_table {
    std::map<std::uint32_t, queue> open;
    std::uint32_t next = 1; // handles are not used again, so that a stale one is noticed
};

queue_table &queues() {
    // Never destroyed: a client may send while it exits.
    static auto *table = new queue_table;
    return *table;
}

std::uint32_t open_queue() {
    queue_table &table = queues();
    if (table.next == 0)
        return 0;
    queue &made = table.open[table.next];
    made.handle = table.next;
    made.owner = getpid();
    return table.next++;
}

void close_queue(std::uint32_t handle) {
    const std::string left = references().describe_open(handle);
    if (!left.empty())
        complain("queue " + std::to_string(handle) + " is closed before all of its message " +
                 "references are dropped: " + left);
    queues().open.erase(handle);
}

int descriptor_of(std::uint32_t handle) {
    const found_queue found = find_queue(handle);
    if (found.usable != nullptr)
        return found.usable->socket.get();
    complain_once(cause::queue, "kyt_sim_queue_fd of queue " + std::to_string(handle) +
                                    " failed: " + found.reason);
    return -1;
}

int copy_run_dir(char *path, size_t size) {
    const std::string directory = run_dir();
    if (path == nullptr || directory.size() >= size)
        return -1;
    std::memcpy(path, directory.c_str(), directory.size() + 1);
    return 0;
}

} // namespace

found_queue find_queue(std::uint32_t handle) {
    const auto entry = queues().open.find(handle);
    if (entry == queues().open.end())
        return {.reason = "there is no such queue"};
    queue &found = entry->second;
    if (found.owner != getpid())
        return {.reason = "it belongs to process " + std::to_string(found.owner) +
                          "; a forked process opens a queue of its own"};
    return {.usable = &found};
}

std::string connect_queue(queue &q) {
    connection made = connect_service(run_dir(), send_timeout_ms());
    if (!made.socket)
        return std::move(made.reason);
    q.socket = std::move(made.socket);
    q.reader = queue().reader;
    return {};
}

std::string give_up_connection(queue &q) {
    const file_descriptor socket = std::move(q.socket);
    frame arrived;
    frame_result result;
    while ((result = q.reader.read(socket.get(), arrived)).status == frame_status::done)
        q.rescued.push_back(std::move(arrived));
    if (result.status == frame_status::broken)
        complain("queue " + std::to_string(q.handle) + " has lost a message: " + result.reason);
    return result.status == frame_status::dismissed ? result.reason : std::string();
}

int send_timeout_ms() {
    const char *value = std::getenv("VELLSIM_SEND_TIMEOUT_MS");
    if (value == nullptr || *value == '\0')
        return default_send_timeout_ms;
    int timeout = 0;
    const char *end = value + std::strlen(value);
    const auto [stop, error] = std::from_chars(value, end, timeout);
    if (error == std::errc() && stop == end && timeout > 0)
        return timeout;
    complain_once(cause::setting, std::string("VELLSIM_SEND_TIMEOUT_MS is \"") + value +
                                      "\", not a number of milliseconds above 0; taken as " +
                                      std::to_string(default_send_timeout_ms));
    return default_send_timeout_ms;
}

} // namespace sim

uint32_t kyt_sim_queue_open(void) {
    return sim::guarded(0u, sim::open_queue);
}

void kyt_sim_queue_close(uint32_t queue) {
    sim::guarded(0, [=] {
        sim::close_queue(queue);
        return 0;
    });
}

int kyt_sim_queue_fd(uint32_t queue) {
    return sim::guarded(-1, [=] { return sim::descriptor_of(queue); });
}

int kyt_sim_run_dir(char *path, size_t size) {
    return sim::guarded(-1, [=] { return sim::copy_run_dir(path, size); });
}
