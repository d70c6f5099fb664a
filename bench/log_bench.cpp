// What a log message costs, against the plain way of writing one: two snprintf calls.
//
// Both versions run in turn within each round, so that whatever else the machine does weighs on
// both alike, and the figures are medians over the rounds. Run it under callgrind with --once to
// count instructions instead.
#include "client/log.h"
#include "median.h"
#include "plain_log.h"

#include <chrono>
#include <cstdio>
#include <string_view>
#include <vector>

std::uint32_t vell_client_uuid = 384;

namespace {

// A per-interface trace of a flood update, the message that is logged most.
void fast_message(unsigned i) {
    vell::vell_log(vell::log_trace, "vell_find_oiflist_delta", 1206,
                   "%s(%d):TRACE: IfIdx: %d Op: %d\n", 0x1a000000u + i, 1 + i % 2);
}
void plain_message(unsigned i) {
    plain_log(104, "vell_find_oiflist_delta", 1206, "%s(%d):TRACE: IfIdx: %d Op: %d\n",
              "%s(%d):IfIdx: %d Op: %d\n", 0x1a000000u + i, 1 + i % 2);
}

// An error without values: function, line and text.
void fast_error(unsigned) {
    vell::vell_log(vell::log_error, "vell_send_v6_mroute_update", 700,
                   "%s(%d):ERROR: Client not registered\n");
}
void plain_error(unsigned) {
    plain_log(102, "vell_send_v6_mroute_update", 700, "%s(%d):ERROR: Client not registered\n",
              "%s(%d):ERROR: Client not registered\n");
}

double nanoseconds_each(void (*message)(unsigned), unsigned count) {
    const auto start = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < count; ++i)
        message(i);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / count;
}

void compare(const char *name, void (*fast)(unsigned), void (*plain)(unsigned), bool history) {
    constexpr unsigned rounds = 41;
    constexpr unsigned messages = 20000;
    history_takes_messages = history;
    std::vector<double> fast_times, plain_times, ratios;
    for (unsigned round = 0; round < rounds; ++round) {
        fast_times.push_back(nanoseconds_each(fast, messages));
        plain_times.push_back(nanoseconds_each(plain, messages));
        ratios.push_back(fast_times.back() / plain_times.back());
    }
    std::printf("%-16s  %-7s  %9.1f  %9.1f  %6.2f\n", name, history ? "open" : "closed",
                median(fast_times), median(plain_times), median(ratios));
}

// A thousand messages of one version, for an instruction count.
int run_once(std::string_view version) {
    void (*const message)(unsigned) = version == "fast"    ? fast_message
                                      : version == "plain" ? plain_message
                                                           : nullptr;
    if (message == nullptr) {
        std::fprintf(stderr, "log_bench: --once takes fast or plain\n");
        return 2;
    }
    for (unsigned i = 0; i < 1000; ++i)
        message(i);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--once")
        return run_once(argv[2]);
    std::printf("%-16s  %-7s  %9s  %9s  %6s\n", "message", "history", "vell ns", "plain ns",
                "ratio");
    for (const bool history : {true, false}) {
        compare("interface trace", fast_message, plain_message, history);
        compare("error", fast_error, plain_error, history);
    }
    return records_seen == 0;
}
