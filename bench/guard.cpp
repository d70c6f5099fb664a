// The record is a line "built with: ...", then a line "COUNT: LABEL" for each guarded operation.
#include "guard.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <gnu/libc-version.h>
#include <map>
#include <stdexcept>

namespace bench {

namespace {

constexpr double tolerance = 0.03;
constexpr char renew[] = "./dev bench --renew";

struct record {
    std::string built_with;
    std::map<std::string, double> counts;
};

record read_record(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    record read;
    const std::string head = "built with: ";
    for (std::string line; std::getline(file, line);) {
        const auto colon = line.find(": ");
        if (line.starts_with(head))
            read.built_with = line.substr(head.size());
        else if (colon != std::string::npos && !line.starts_with('#'))
            read.counts[line.substr(colon + 2)] = std::stod(line.substr(0, colon));
    }
    return read;
}

} // namespace

std::string built_with() {
#ifdef __clang__
    const std::string compiler = "Clang " + std::to_string(__clang_major__) + '.' +
                                 std::to_string(__clang_minor__) + '.' +
                                 std::to_string(__clang_patchlevel__);
#else
    const std::string compiler = "GCC " __VERSION__;
#endif
#ifdef __OPTIMIZE__
    const char *const optimised = "";
#else
    const char *const optimised = ", not optimised";
#endif
    return compiler + ", glibc " + gnu_get_libc_version() + optimised;
}

void write_record(const std::string &path, const operations &table,
                  const std::vector<costs> &results) {
    std::ofstream file(path);
    file << "# Instructions of the library's operations, as callgrind counts them. Renewed with\n# "
         << renew << "; say in the commit why they changed.\nbuilt with: " << built_with() << '\n';
    for (std::size_t i = 0; i < table.size(); ++i)
        file << std::lround(results[i].of[vell].instructions) << ": " << label(table[i]) << '\n';
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

bool is_comparable(const std::string &path) {
    const std::string recorded = read_record(path).built_with;
    if (recorded == built_with())
        return true;
    std::printf("SKIPPED: no instruction counts were compared. %s is of a library built with\n"
                "%s; this one is built with\n%s.\n",
                path.c_str(), recorded.c_str(), built_with().c_str());
    return false;
}

bool keeps_to_record(const std::string &path, const operations &table,
                     const std::vector<costs> &results) {
    const record recorded = read_record(path);
    bool keeps = recorded.counts.size() == table.size();
    if (!keeps)
        std::printf("FAILED: %s has %zu operations; the table guards %zu\n", path.c_str(),
                    recorded.counts.size(), table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        const std::string name = label(table[i]);
        const auto found = recorded.counts.find(name);
        if (found == recorded.counts.end()) {
            std::printf("FAILED: %s is not in %s; add it with %s\n", name.c_str(), path.c_str(),
                        renew);
            keeps = false;
            continue;
        }
        const double before = found->second, now = std::round(results[i].of[vell].instructions);
        const bool grew = now > before * (1 + tolerance);
        const bool shrank = now < before * (1 - tolerance);
        std::printf("%-6s  %8.0f instructions, on record %8.0f  %s\n", grew ? "FAILED" : "ok", now,
                    before, name.c_str());
        if (shrank)
            std::printf("        %.1f %% less: renew the record with %s\n",
                        100 * (1 - now / before), renew);
        if (grew)
            std::printf("        %.1f %% more; only if that is worth it: %s\n",
                        100 * (now / before - 1), renew);
        keeps = keeps && !grew;
    }
    return keeps;
}

} // namespace bench
