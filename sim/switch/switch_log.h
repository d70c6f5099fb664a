// The service's own log: the file log/service in the run directory, and standard error.
//
// A peer that repeats a mistake does not fill it: of equal lines in a row the first three are
// written, the others are counted ("9 more like the line before").
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/log_line.h"

#include <cstdint>
#include <string>

namespace sim {

class switch_log {
public:
    switch_log(std::string run_directory, bool quiet);
    switch_log(const switch_log &) = delete;
    switch_log &operator=(const switch_log &) = delete;
    ~switch_log() { write_count(); }

    // Levels are those of service.h.
    void write(std::uint32_t level, const std::string &text);

private:
    std::string append(const log_line &line);
    void put(std::uint32_t level, const std::string &text);
    void write_count();

    std::string run_directory_;
    bool quiet_;
    bool file_failed_ = false;
    std::uint32_t last_level_ = 0;
    std::string last_text_;
    std::uint64_t times_ = 0;     // the last line came
    std::uint64_t uncounted_ = 0; // of these, neither written nor counted in the log
    file_descriptor spare_; // so that a switch that has run out of descriptors can still say so
};

} // namespace sim
