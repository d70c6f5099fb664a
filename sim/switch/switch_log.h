// The service's own log: the file log/service in the run directory, and standard error.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/log_line.h"

#include <cstdint>
#include <string>

namespace sim {

class switch_log {
public:
    switch_log(std::string run_directory, bool quiet);

    // Levels are those of service.h.
    void write(std::uint32_t level, const std::string &text);

private:
    bool append(const log_line &line);

    std::string run_directory_;
    bool quiet_;
    bool file_failed_ = false;
    file_descriptor spare_; // so that a switch that has run out of descriptors can still say so
};

} // namespace sim
