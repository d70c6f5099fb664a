#include "mdb_options.h"

#include "common_options.h"
#include "input_error.h"
#include "text_input.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

text_input read_mdb(const mdb_options &options) {
    return options.live ? read_command({"bridge", "-j", "-d", "mdb", "show"})
                        : read_text(options.mdb_path);
}

loaded_mdb load_newer(const mdb_options &options) {
    loaded_mdb loaded = {parse_mdb(read_mdb(options), options.wanted_bridges()),
                         choose_source(options.live, options.links_path, options.numbering_option)};
    check_bridges(loaded.table, loaded.source);
    return loaded;
}

loaded_mdb load_older(const older_options &older, const mdb_options &options,
                      const interface_source &source) {
    if (older.mdb_path.empty())
        return {{}, source};
    loaded_mdb loaded = {parse_mdb(read_text(older.mdb_path), options.wanted_bridges()),
                         older.links_path.empty() ? source
                                                  : choose_source(false, older.links_path)};
    loaded.source.remedy =
        fmt::format("; give its own recorded links with {} FILE", older.links_option);
    check_bridges(loaded.table, loaded.source);
    return loaded;
}

// One numbering for both, in which the older ports keep the numbers that they had when they were
// alone.
interface_indexes numbered_together(const loaded_mdbs &loaded) {
    const auto &[newer, older] = loaded;
    std::vector<interface_use> uses = interface_uses(older.table);
    for (interface_use &use : interface_uses(newer.table))
        uses.push_back(std::move(use));
    std::set<std::uint32_t> taken = bridge_indexes(older.table);
    taken.merge(bridge_indexes(newer.table));
    return interface_indexes(uses, newer.source, true, taken);
}

template <typename Numbering>
l2_plans plan_both(const loaded_mdbs &loaded, const bridge_vlans &vlans, Numbering &&numbering_of) {
    const auto plan = [&](const loaded_mdb &one) {
        const interface_indexes indexes(interface_uses(one.table), one.source, false);
        return plan_l2(one.table, numbering_of(one, indexes), vlans);
    };
    return {plan(loaded.newer), plan(loaded.older)};
}

// A bridge without entries is in the links all the same.
void check_named(const mdb_options &options, const loaded_mdbs &loaded) {
    const auto is_in = [](const loaded_mdb &one, const std::string &bridge) {
        return one.table.bridges.contains(bridge) || one.source.find(bridge) != 0;
    };
    check_named_bridges(
        options.bridges, options.vlans,
        [&](const std::string &bridge) {
            return is_in(loaded.newer, bridge) || is_in(loaded.older, bridge);
        },
        fmt::format("no such bridge is in {} or {}", loaded.newer.table.name,
                    loaded.newer.source.name));
}

} // namespace

void mdb_options::add_to(CLI::App &command) {
    CLI::Option *path = command.add_option(
        "MDB", mdb_path, "What `bridge -j -d mdb show` printed: a file, or - for standard input");
    CLI::Option *from_kernel = command.add_flag(
        "--live", live,
        "Take this machine's databases and links instead of MDB; runs `bridge` and `ip`");
    from_kernel->excludes(path);
    path->option_text("FILE");
    command
        .add_option("--links", links_path,
                    "What `ip -j link show` printed, for the ports' indexes; without it they are "
                    "this machine's")
        ->option_text("FILE")
        ->excludes(from_kernel);
    command.add_flag(
        "--number-interfaces", number_interfaces,
        "Number unknown port names from 1 in order of appearance, and print which got which");
    add_vlan_option(command, vlans,
                    "whose name does not say it, as br10 does, and whose entries have no \"vid\"");
    add_bridge_option(command, bridges, "entries");
    add_quiet_option(command, quiet);
}

void mdb_options::check(const std::vector<std::string> &other_inputs) const {
    if (!live && mdb_path.empty())
        throw usage_error(
            "which database? Name a file, - for standard input, or --live for this machine");
    std::vector<std::string> inputs = {mdb_path, links_path};
    inputs.insert(inputs.end(), other_inputs.begin(), other_inputs.end());
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw usage_error("standard input (-) can be read only once");
    parse_vlans(vlans);
}

void older_options::add_to(CLI::App &command) {
    CLI::Option *older =
        command
            .add_option("--older", mdb_path,
                        "A database that was sent before: only what changed since is sent")
            ->option_text("FILE");
    command
        .add_option("--older-links", links_path,
                    "The links of --older, where its ports are not all in the newer ones")
        ->option_text("FILE")
        ->needs(older);
}

void older_options::check(const mdb_options &newer) const {
    newer.check({mdb_path, links_path});
    if (!links_path.empty() && newer.number_interfaces)
        throw usage_error(
            "--number-interfaces numbers the ports of one list of links; leave out --older-links");
}

std::set<std::string> mdb_options::wanted_bridges() const {
    return {bridges.begin(), bridges.end()};
}

loaded_mdbs read_mdbs(const mdb_options &options, const older_options &older) {
    loaded_mdb newer = load_newer(options);
    loaded_mdb before = load_older(older, options, newer.source);
    return {std::move(newer), std::move(before)};
}

l2_plans plan_entries(const loaded_mdbs &loaded, const bridge_vlans &vlans) {
    return plan_both(loaded, vlans, [](const loaded_mdb &, const interface_indexes &indexes) {
        return kernel_numbering(indexes);
    });
}

l2_plans plan_switch_entries(const loaded_mdbs &loaded, const bridge_vlans &vlans) {
    return plan_both(loaded, vlans, [](const loaded_mdb &one, const interface_indexes &indexes) {
        return switch_numbering(one.table, indexes);
    });
}

l2_plans load_l2(const mdb_options &options, const older_options &older_one, std::ostream &out) {
    const bridge_vlans vlans = parse_vlans(options.vlans);
    const loaded_mdbs loaded = read_mdbs(options, older_one);
    check_named(options, loaded);
    if (!options.number_interfaces)
        return plan_entries(loaded, vlans);
    const interface_indexes indexes = numbered_together(loaded);
    l2_plans plans = {plan_l2(loaded.newer.table, kernel_numbering(indexes), vlans),
                      plan_l2(loaded.older.table, kernel_numbering(indexes), vlans)};
    if (!options.quiet)
        print_numbered(indexes, out);
    return plans;
}

} // namespace feed
