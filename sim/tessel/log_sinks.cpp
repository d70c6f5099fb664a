// The history and the per-client log: a record is one line of log/history or log/client in the run
// directory.
#include "sim/base/c_boundary.h"
#include "sim/wire/log_file.h"
#include "sim/wire/run_dir.h"

#include <tessel.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

enum outcome : uint32_t { written = 0, dropped = 1 };

// Said once: a process that cannot log may try to log a lot.
outcome drop(const std::string &reason) {
    static bool is_said = false;
    if (!is_said)
        std::fprintf(stderr, "libtessel: log records are dropped: %s\n", reason.c_str());
    is_said = true;
    return dropped;
}

// A record is a level and a text that ends in a NUL, and the length counts both; but only the
// length is relied on.
bool take_record(const void *record, uint32_t length, sim::log_line &line) {
    if (record == nullptr || length <= sizeof line.level)
        return false;
    std::memcpy(&line.level, record, sizeof line.level);
    const char *text = static_cast<const char *>(record) + sizeof line.level;
    line.text.assign(text, strnlen(text, length - sizeof line.level));
    return true;
}

outcome append_record(sim::log_line line, const void *record, uint32_t length) {
    if (!take_record(record, length, line))
        return drop("a record of " + std::to_string(length) + " bytes is not a level with a text");
    const std::string directory = sim::run_dir();
    if (const std::string reason = sim::check_run_dir(directory); !reason.empty())
        return drop(reason);
    line.time = sim::log_time_now();
    line.pid = static_cast<uint32_t>(getpid());
    const std::string reason = sim::append_log_line(directory, line);
    return reason.empty() ? written : drop(reason);
}

uint32_t log_record(const char *sink, uint32_t uuid, uint32_t module, const void *record,
                    uint32_t length) {
    const sim::errno_keeper keeper;
    return sim::guarded(dropped, [&] {
        sim::log_line line;
        line.sink = sink;
        line.uuid = uuid;
        line.module = module;
        return append_record(std::move(line), record, length);
    });
}

} // namespace

uint32_t tessel_hist_event(uint32_t module, uint32_t length, const void *record) {
    return log_record("history", 0, module, record, length);
}

uint32_t tessel_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t module, uint32_t, uint32_t,
                                            uint32_t length, const void *record) {
    return log_record("client", uuid, module, record, length);
}
