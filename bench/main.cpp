// Measures the table of operations, or part of it, and prints it.
#include "guard.h"
#include "measure.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <getopt.h>
#include <iomanip>
#include <stdexcept>

namespace bench {

namespace {

struct options {
    std::string only, json, guard, renew;
    int curves = 0, no_times = 0, no_counts = 0, guarded = 0;
    int for_callgrind = 0; // this is the run under callgrind
};

constexpr char usage[] =
    "usage: vellbench [OPTION]...\n"
    "Measures libvell's operations against floors and plain versions.\n"
    "  --only TEXT   only the operations whose names contain this\n"
    "  --curves      the sizes between as well\n"
    "  --no-times    count instructions only\n"
    "  --no-counts   measure times only, without valgrind\n"
    "  --json FILE   write the results into this file as well\n"
    "  --guard FILE  compare the guarded operations' counts with those in this file\n"
    "  --renew FILE  write the guarded operations' counts into this file\n";

options read_options(int argc, char **argv) {
    options chosen;
    const option known[] = {{"only", required_argument, nullptr, 'o'},
                            {"curves", no_argument, &chosen.curves, 1},
                            {"no-times", no_argument, &chosen.no_times, 1},
                            {"no-counts", no_argument, &chosen.no_counts, 1},
                            {"json", required_argument, nullptr, 'j'},
                            {"guard", required_argument, nullptr, 'g'},
                            {"renew", required_argument, nullptr, 'r'},
                            {"help", no_argument, nullptr, 'h'},
                            {"guarded", no_argument, &chosen.guarded, 1},
                            {"for-callgrind", no_argument, &chosen.for_callgrind, 1},
                            {nullptr, 0, nullptr, 0}};
    for (int given; (given = getopt_long(argc, argv, "", known, nullptr)) != -1;)
        switch (given) {
        case 0:
            break;
        case 'o':
            chosen.only = optarg;
            break;
        case 'j':
            chosen.json = optarg;
            break;
        case 'g':
            chosen.guard = optarg;
            chosen.guarded = 1;
            break;
        case 'r':
            chosen.renew = optarg;
            chosen.guarded = 1;
            break;
        case 'h':
            std::fputs(usage, stdout);
            std::exit(0);
        default:
            std::fputs(usage, stderr);
            std::exit(2);
        }
    return chosen;
}

operations selected(const options &chosen) {
    operations all, some;
    add_requests(all);
    add_l2_messages(all);
    add_flood_updates(all);
    for (operation &op : all)
        if ((chosen.curves != 0 || !op.on_curve) && (chosen.guarded == 0 || op.guarded) &&
            label(op).find(chosen.only) != std::string::npos)
            some.push_back(std::move(op));
    // Nobody compares with the floor or the plain version of what is guarded.
    if (chosen.guarded != 0)
        for (operation &op : some)
            op.run[floor_version] = op.run[plain_version] = nullptr;
    return some;
}

std::string arguments_for_callgrind(const options &chosen) {
    return std::string("--for-callgrind") + (chosen.curves != 0 ? " --curves" : "") +
           (chosen.guarded != 0 ? " --guarded" : "") +
           (chosen.only.empty() ? "" : " --only='" + chosen.only + "'");
}

using measure = double cost::*;

// Of the library to another version: "-" where there is none. A time is starred when it misses its
// target by more than times differ from run to run.
std::string ratio(const operation &op, const costs &result, version to, measure what) {
    const double other = result.of[to].*what;
    if (other == 0)
        return "- ";
    const double value = result.of[vell].*what / other;
    const bool missed = what == &cost::nanoseconds && op.target != 0 && op.target_of == to &&
                        value > op.target + 0.02;
    char text[16];
    std::snprintf(text, sizeof(text), "%.2f%c", value, missed ? '*' : ' ');
    return text;
}

std::string target(const operation &op) {
    if (op.target == 0)
        return "";
    char text[24];
    std::snprintf(text, sizeof(text), "%.2f of %s", op.target, version_names[op.target_of]);
    return text;
}

void print_table(const operations &table, const std::vector<costs> &results) {
    constexpr measure time = &cost::nanoseconds, count = &cost::instructions;
    // Times or counts that were not asked for are missing.
    const auto number = [](const char *format, double value) {
        char text[24];
        std::snprintf(text, sizeof(text), format, value);
        return std::string(value == 0 ? "-" : text);
    };
    std::printf("%-66s %21s %15s  %15s\n%-66s %10s %10s %7s %7s  %7s %7s  %s\n", "", "vell",
                "ratio to floor", "ratio to plain", "operation", "ns", "instr.", "time ", "instr.",
                "time ", "instr.", "target (* missed)");
    for (std::size_t i = 0; i < table.size(); ++i) {
        const operation &op = table[i];
        const costs &result = results[i];
        const auto to = [&](version other, measure what) { return ratio(op, result, other, what); };
        std::printf("%-66s %10s %10s %7s %7s  %7s %7s  %s\n", label(op).c_str(),
                    number("%.1f", result.of[vell].nanoseconds).c_str(),
                    number("%.0f", result.of[vell].instructions).c_str(),
                    to(floor_version, time).c_str(), to(floor_version, count).c_str(),
                    to(plain_version, time).c_str(), to(plain_version, count).c_str(),
                    target(op).c_str());
    }
}

void write_json(std::ostream &out, const operations &table, const std::vector<costs> &results) {
    out << std::fixed << std::setprecision(1) << "{\"built_with\": \"" << built_with()
        << "\", \"operations\": [";
    for (std::size_t i = 0; i < table.size(); ++i) {
        const operation &op = table[i];
        out << (i == 0 ? "\n" : ",\n") << "  {\"name\": \"" << op.name
            << "\", \"size\": " << op.size << ", \"unit\": \"" << op.unit << "\", \"history\": \""
            << (op.history_open ? "open" : "closed") << '"';
        for (unsigned v = 0; v < version_count; ++v)
            if (op.run[v])
                out << ", \"" << version_names[v] << "\": {\"ns\": " << results[i].of[v].nanoseconds
                    << ", \"instructions\": " << std::llround(results[i].of[v].instructions) << '}';
        out << '}';
    }
    out << "\n]}\n";
}

int run(const options &chosen) {
    const operations table = selected(chosen);
    register_clients();
    for (const operation &op : table)
        if (!versions_agree(op)) {
            std::fprintf(stderr, "vellbench: %s: the versions do not make the same calls\n",
                         label(op).c_str());
            return 1;
        }
    if (chosen.for_callgrind != 0) {
        run_for_callgrind(table);
        return 0;
    }
    if (!chosen.guard.empty() && !is_comparable(chosen.guard))
        return 0;

    std::vector<costs> results(table.size());
    if (chosen.no_counts == 0)
        count_instructions(table, arguments_for_callgrind(chosen), results);
    if (!chosen.guard.empty())
        return keeps_to_record(chosen.guard, table, results) ? 0 : 1;
    if (!chosen.renew.empty()) {
        write_record(chosen.renew, table, results);
        return 0;
    }
    if (chosen.no_times == 0)
        measure_times(table, results);
    print_table(table, results);
    if (!chosen.json.empty()) {
        std::ofstream file(chosen.json);
        write_json(file, table, results);
        if (!file.flush())
            throw std::runtime_error("cannot write " + chosen.json);
    }
    return 0;
}

} // namespace

} // namespace bench

int main(int argc, char **argv) {
    try {
        return bench::run(bench::read_options(argc, argv));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vellbench: %s\n", error.what());
        return 1;
    }
}
