#include "feed/failure.h"
#include "feed/kernel.h"
#include "feed/program_input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace feed {

namespace {

constexpr int most_tries = 5;

// The kernel changed a table while it was read: what was read is neither the old nor the new one.
struct torn_read : input_error {
    using input_error::input_error;
};

std::string joined(const std::vector<std::string> &command) {
    return fmt::format("`{}`", fmt::join(command, " "));
}

[[noreturn]] void fail(const std::string &path, std::string_view what, int error) {
    throw input_error(fmt::format("{}: {}: {}", shortened(path), what, std::strerror(error)));
}

bool is_torn(const program_end &end) {
    return end.said.find("Dump was interrupted") != std::string::npos;
}

// Throws unless the program did all that it should have.
void check_end(const program_input &program, const program_end &end) {
    if (is_torn(end)) {
        throw torn_read(fmt::format("{}: the table changed while it was read, {} times in a row; "
                                    "try again when less changes",
                                    program.name(), most_tries));
    }
    if (!end.failure.empty()) {
        throw input_error(end.failure);
    }
}

json_part read_program(const kernel_table &table,
                       const std::function<void(const json_view &row)> &take) {
    program_input program(table.command);
    try {
        json_part around = read_json_rows({program.name(), joined(table.command), program.output()},
                                          table.rows, take);
        check_end(program, program.finish());
        return around;
    } catch (const input_error &) {
        // A program that failed may leave half a table: then its own error counts. One that a signal
        // ended was stopped here, from printing the rest.
        if (program.output() >= 0) {
            const program_end end = program.finish();
            if (!end.by_signal) {
                check_end(program, end);
            }
        }
        throw;
    }
}

void record(const kernel_table &table, const std::string &path) {
    const sim::file_descriptor file = sim::above_standard(
        sim::file_descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)));
    if (!file) {
        fail(path, "cannot be written", errno);
    }
    for (int tries = 1;; ++tries) {
        if (::ftruncate(file.get(), 0) != 0 || ::lseek(file.get(), 0, SEEK_SET) != 0) {
            fail(path, "cannot be written", errno);
        }
        program_input program(table.command, file.get());
        const program_end end = program.finish();
        if (!is_torn(end) || tries == most_tries) {
            return check_end(program, end);
        }
    }
}

} // namespace

const std::vector<kernel_table> &kernel_table_list() {
    static const std::vector<kernel_table> list = {
        {"links.json", {"ip", "-j", "link", "show"}, "", "an array of interfaces"},
        {"mdb.json",
         {"bridge", "-j", "-d", "mdb", "show"},
         "/*/mdb",
         "an array with the databases"},
        {"ports.json", {"bridge", "-j", "-d", "link", "show"}, "", "an array of ports"},
        {"vlans.json", {"bridge", "-j", "vlan", "show"}, "", "an array of ports with VLANs"},
        {"routes.json",
         {"ip", "-j", "mroute", "show", "table", "all"},
         "",
         "an array of multicast routes"},
    };
    return list;
}

kernel_tables::kernel_tables(const snapshot &from) : directory_(from.directory) {
    if (is_machine()) {
        return;
    }
    struct stat status {};
    if (::stat(directory_.c_str(), &status) != 0) {
        fail(directory_, "cannot be opened", errno);
    }
    const auto is_there = [&](const kernel_table &table) {
        return ::access(path(table).c_str(), F_OK) == 0;
    };
    if (std::ranges::none_of(kernel_table_list(), is_there)) {
        throw input_error(fmt::format(
            "{}: is not a snapshot: expected a directory with {}", shortened(directory_),
            "routes.json, links.json, mdb.json, ports.json or vlans.json"));
    }
}

std::string kernel_tables::name() const {
    return is_machine() ? "this machine" : shortened(directory_);
}

std::string kernel_tables::path(const kernel_table &table) const {
    return fmt::format("{}{}{}", directory_, directory_.ends_with('/') ? "" : "/", table.file);
}

std::optional<json_part>
kernel_tables::read(std::string_view file,
                    const std::function<void(const json_view &row)> &take) const {
    const kernel_table &table = *std::ranges::find(kernel_table_list(), file, &kernel_table::file);
    std::optional<json_part> around;
    if (is_machine()) {
        around = read_program(table, take);
    } else {
        const sim::file_descriptor input(::open(path(table).c_str(), O_RDONLY | O_CLOEXEC));
        if (!input && errno == ENOENT) {
            return std::nullopt;
        }
        if (!input) {
            fail(path(table), "cannot be opened", errno);
        }
        around = read_json_rows({shortened(path(table)), joined(table.command), input.get()},
                                table.rows, take);
    }
    json_view(*around).expect_array(
        fmt::format("{}, the output of {}", table.contents, joined(table.command)));
    return around;
}

void kernel_tables::learn(const std::string &interface, const json_view &index) {
    const auto number = index.number(1, largest_kernel_index, "an interface index");
    const auto [known, is_new] = indexes_.emplace(interface, number);
    if (is_new) {
        places_.emplace(interface, index.place());
    } else if (known->second != number) {
        const std::string what = fmt::format(
            "{}: the interface {} has the index {} here and {} in {}; record both at one time",
            index.place(), in_quotes(interface), number, known->second, places_.at(interface));
        is_machine() ? throw torn_read(what) : throw input_error(what);
    }
}

void row_place::fail(std::string_view member, const std::string &what) const {
    throw input_error(
        fmt::format("{}{}): {}", std::string_view(text).substr(0, text.size() - 1), member, what));
}

plan read_plan(const snapshot &from, const plan_options &options) {
    for (int tries = 1;; ++tries) {
        try {
            return plan_tables(kernel_tables(from), options);
        } catch (const torn_read &) {
            if (tries == most_tries) {
                throw;
            }
        }
    }
}

void record_snapshot(const std::string &directory) {
    if (::mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST) {
        fail(directory, "cannot be made", errno);
    }
    std::vector<std::pair<std::string, std::string>> names;
    try {
        for (const kernel_table &table : kernel_table_list()) {
            const std::string path = fmt::format("{}/{}", directory, table.file);
            names.emplace_back(path + ".new", path);
            record(table, names.back().first);
        }
        for (const auto &[before, after] : names) {
            if (::rename(before.c_str(), after.c_str()) != 0) {
                fail(after, "cannot be written", errno);
            }
        }
    } catch (...) {
        for (const auto &[before, after] : names) {
            ::unlink(before.c_str());
        }
        throw;
    }
}

} // namespace feed
