// Measures the table of operations, or part of it, and prints it.
#include "guard.h"
#include "measure.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>

namespace bench {

std::string label(const operation &op) {
    std::string text = op.name;
    if (op.size != 0)
        text += ", " + std::to_string(op.size) + " " + op.unit;
    return op.history_open ? text : text + ", history closed";
}

namespace {

struct options {
    std::string only, json, guard, renew;
    bool curves = false, no_times = false, no_counts = false, for_callgrind = false;
    bool guarded = false;
};

operations selected(const options &chosen) {
    operations all, some;
    add_requests(all);
    add_l2_messages(all);
    add_flood_updates(all);
    for (operation &op : all)
        if ((chosen.curves || !op.on_curve) && (!chosen.guarded || op.guarded) &&
            label(op).find(chosen.only) != std::string::npos)
            some.push_back(std::move(op));
    // Nobody compares with the floor or the plain version of what is guarded.
    if (chosen.guarded)
        for (operation &op : some)
            op.run[floor_version] = op.run[plain_version] = nullptr;
    return some;
}

std::string arguments_for_callgrind(const options &chosen) {
    return std::string("--for-callgrind") + (chosen.curves ? " --curves" : "") +
           (chosen.guarded ? " --guarded" : "") +
           (chosen.only.empty() ? "" : " --only='" + chosen.only + "'");
}

std::string ratio(double cost, double to) {
    if (to == 0)
        return "-";
    char text[16];
    std::snprintf(text, sizeof(text), "%.2f", cost / to);
    return text;
}

void print_table(const operations &table, const std::vector<costs> &results) {
    std::printf("%-68s %11s %11s  %-15s %-15s\n%-68s %11s %11s  %7s %7s %7s %7s\n", "", "vell",
                "vell", " ratio to floor", " ratio to plain", "operation", "ns", "instr.", "time",
                "instr.", "time", "instr.");
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto &[of] = results[i];
        std::printf("%-68s %11.1f %11.0f  %7s %7s %7s %7s\n", label(table[i]).c_str(),
                    of[vell].nanoseconds, of[vell].instructions,
                    ratio(of[vell].nanoseconds, of[floor_version].nanoseconds).c_str(),
                    ratio(of[vell].instructions, of[floor_version].instructions).c_str(),
                    ratio(of[vell].nanoseconds, of[plain_version].nanoseconds).c_str(),
                    ratio(of[vell].instructions, of[plain_version].instructions).c_str());
    }
}

void write_json(std::ostream &out, const operations &table, const std::vector<costs> &results) {
    out << "{\"built_with\": \"" << built_with() << "\", \"operations\": [";
    for (std::size_t i = 0; i < table.size(); ++i) {
        const operation &op = table[i];
        out << (i == 0 ? "\n" : ",\n") << "  {\"name\": \"" << op.name
            << "\", \"size\": " << op.size << ", \"unit\": \"" << op.unit << "\", \"history\": \""
            << (op.history_open ? "open" : "closed") << "\"";
        for (unsigned v = 0; v < version_count; ++v)
            if (op.run[v])
                out << ", \"" << version_names[v]
                    << "\": {\"ns\": " << std::round(results[i].of[v].nanoseconds * 10) / 10
                    << ", \"instructions\": " << std::llround(results[i].of[v].instructions) << "}";
        out << "}";
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
    if (chosen.for_callgrind) {
        run_for_callgrind(table);
        return 0;
    }
    if (!chosen.guard.empty() && !is_comparable(chosen.guard))
        return 0;

    std::vector<costs> results(table.size());
    if (!chosen.no_counts)
        count_instructions(table, arguments_for_callgrind(chosen), results);
    if (!chosen.guard.empty())
        return keeps_to_record(chosen.guard, table, results) ? 0 : 1;
    if (!chosen.renew.empty()) {
        write_record(chosen.renew, table, results);
        return 0;
    }
    if (!chosen.no_times)
        for (std::size_t i = 0; i < table.size(); ++i)
            measure_times(table[i], results[i]);
    if (chosen.json != "-")
        print_table(table, results);
    if (!chosen.json.empty()) {
        std::ofstream file(chosen.json == "-" ? "/dev/stdout" : chosen.json);
        write_json(file, table, results);
        if (!file.flush())
            throw std::runtime_error("cannot write " + chosen.json);
    }
    return 0;
}

} // namespace

} // namespace bench

int main(int argc, char **argv) {
    bench::options chosen;
    CLI::App app("Measures libvell's operations against floors and plain versions");
    app.add_option("--only", chosen.only, "Only the operations whose name contains this");
    app.add_flag("--curves", chosen.curves, "The sizes between, too");
    app.add_flag("--no-times", chosen.no_times, "Count instructions alone");
    app.add_flag("--no-counts", chosen.no_counts, "Measure times alone, without valgrind");
    app.add_option("--json", chosen.json, "Write the results into this file, too; - prints them");
    app.add_option("--guard", chosen.guard, "Compare the counts with those in this file");
    app.add_option("--renew", chosen.renew, "Write the counts into this file");
    app.add_flag("--guarded", chosen.guarded)->group("");
    app.add_flag("--for-callgrind", chosen.for_callgrind)->group("");
    CLI11_PARSE(app, argc, argv);
    chosen.guarded = chosen.guarded || !chosen.guard.empty() || !chosen.renew.empty();
    try {
        return bench::run(chosen);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vellbench: %s\n", error.what());
        return 1;
    }
}
