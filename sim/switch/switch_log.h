// The service's own log: the file log/service in the run directory, and standard error.
//
// A peer that repeats a mistake does not fill it: of equal lines in a row the first three are
// written, the others are counted ("9 more like the line before"). Nobody has to read standard
// error: what it does not take at once is left out there, and counted.
#pragma once

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
    void put(std::uint32_t level, const std::string &text);
    void write_count();
    void print(const std::string &text);

    std::string run_directory_;
    bool quiet_;
    bool file_failed_ = false;
    std::uint32_t last_level_ = 0;
    std::string last_text_;
    std::uint64_t times_ = 0;     // the last line came
    std::uint64_t uncounted_ = 0; // of these, neither written nor counted in the log
    std::uint64_t unprinted_ = 0; // lines left out of standard error
};

} // namespace sim
