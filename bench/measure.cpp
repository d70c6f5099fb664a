// Times: the versions of an operation take turns within each round, and the least time of all
// rounds is the result, since what disturbs a run only ever makes it longer. The rounds are spread
// over several passes through the table, each with the stack elsewhere: a disturbance of some
// seconds, or a record that lies badly across cache lines, spoils one pass alone.
#include "measure.h"

#include "null_platform.h"
#include "versions/versions.h"

#include <algorithm>
#include <time.h>

namespace bench {

namespace {

constexpr std::uint32_t queue = 7;
constexpr unsigned passes = 8, rounds_of_pass = 6;
constexpr double turn = 2e6; // nanoseconds

void restore(const operation &op) {
    if (op.restore)
        op.restore();
}

void prepare(const operation &op) {
    null_platform::history_open = op.history_open;
    vell_register_kyt_q(op.registered ? queue : 0);
    floor_register_kyt_q(op.registered ? queue : 0);
    restore(op);
}

double nanoseconds_on(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

// By the clock on the wall, or by the thread's own where that says less: it stops while another
// process has the processor, but takes longer to read.
double nanoseconds_of_batch(const operation &op, const runner &run) {
    const double thread_start = nanoseconds_on(CLOCK_THREAD_CPUTIME_ID);
    const double start = nanoseconds_on(CLOCK_MONOTONIC);
    run(op.batch);
    const double taken = nanoseconds_on(CLOCK_MONOTONIC) - start;
    return std::min(taken, nanoseconds_on(CLOCK_THREAD_CPUTIME_ID) - thread_start);
}

double nanoseconds_each(const operation &op, const runner &run) {
    double taken = 0, runs = 0;
    for (; taken < turn; runs += op.batch) {
        restore(op);
        taken += nanoseconds_of_batch(op, run);
    }
    return taken / runs / op.repeats;
}

void take_turns(const operation &op, costs &result) {
    for (unsigned v = 0; v < version_count; ++v)
        if (op.run[v]) {
            double &least = result.of[v].nanoseconds;
            const double time = nanoseconds_each(op, op.run[v]);
            least = least == 0 ? time : std::min(least, time);
        }
}

std::uint64_t checksum(const operation &op, const runner &run) {
    prepare(op);
    null_platform::start_recording();
    const std::uint32_t results = run(std::min(op.batch, 3U));
    null_platform::record(&results, sizeof(results));
    return null_platform::checksum();
}

template <typename Do>
[[gnu::noinline]] void with_stack_moved(unsigned bytes, Do what) {
    auto *volatile moved = __builtin_alloca(bytes);
    static_cast<void>(moved);
    what();
}

} // namespace

void register_clients() {
    constexpr std::uint32_t uuid = 5;
    constexpr char name[] = "/bench";
    vell_register(queue, uuid, name);
    vell_register_ack(nullptr);
    floor_register(queue, uuid, name);
    floor_register_ack(nullptr);
}

bool versions_agree(const operation &op) {
    const std::uint64_t sum = checksum(op, op.run[vell]);
    return std::all_of(op.run, op.run + version_count,
                       [&](const runner &run) { return !run || checksum(op, run) == sum; });
}

void measure_times(const operations &table, std::vector<costs> &results) {
    // Four positions within a cache line, spread over a page.
    constexpr unsigned step = 512 + 16;
    for (unsigned pass = 0; pass < passes; ++pass)
        with_stack_moved(pass * step, [&] {
            for (std::size_t i = 0; i < table.size(); ++i) {
                prepare(table[i]);
                for (unsigned round = 0; round < rounds_of_pass; ++round)
                    take_turns(table[i], results[i]);
            }
        });
}

// Callgrind collects within the first of these and writes a part of its output after the second.
// They are found by name.
extern "C" {
[[gnu::noinline]] void bench_counted(const runner &run, unsigned times) {
    run(times);
}
[[gnu::noinline]] void bench_count_ends() {
    asm volatile("");
}
}

void run_for_callgrind(const operations &table) {
    for (const operation &op : table)
        for (const runner &run : op.run) {
            if (!run)
                continue;
            prepare(op);
            run(std::min(op.batch, 2U)); // binds what is called
            restore(op);
            bench_counted(run, op.batch);
            bench_count_ends();
        }
}

} // namespace bench
