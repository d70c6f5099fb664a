#include "interface_indexes.h"

#include "input_error.h"
#include "printable.h"

#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <net/if.h>
#include <set>

namespace feed {

namespace {

// The N of if<N>, or 0.
std::uint32_t index_in_name(const std::string &name) {
    if (!name.starts_with("if"))
        return 0;
    std::int32_t index = 0;
    const char *end = name.data() + name.size();
    const auto result = std::from_chars(name.data() + 2, end, index);
    return result.ec == std::errc() && result.ptr == end && index > 0 ? static_cast<std::uint32_t>(index) : 0;
}

using name_visitor = std::function<void(const std::string &name, std::size_t entry, const std::string &pointer)>;

void visit_names(const mroute_table &table, const name_visitor &visit) {
    for (std::size_t i = 0; i < table.entries.size(); ++i) {
        const mroute_entry &entry = table.entries[i];
        if (entry.state != mroute_state::resolved)
            continue;
        visit(entry.iif, i, "/iif");
        for (std::size_t n = 0; n < entry.oifs.size(); ++n)
            visit(entry.oifs[n].name, i, fmt::format("/multipath/{}/oif", n));
    }
}

} // namespace

interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links) {
    return {name, [known = std::move(links)](const std::string &interface) {
                const auto found = known.find(interface);
                return found == known.end() ? 0 : found->second;
            }};
}

interface_source this_machine() {
    return {"this machine", [](const std::string &interface) { return if_nametoindex(interface.c_str()); }};
}

interface_indexes::interface_indexes(const mroute_table &table, const interface_source &source, bool number_unknown) {
    std::set<std::uint32_t> used;
    visit_names(table, [&](const std::string &name, std::size_t entry, const std::string &pointer) {
        if (indexes_.contains(name))
            return;
        std::uint32_t index = source.find(name);
        if (index == 0)
            index = index_in_name(name);
        if (index == 0 && !number_unknown) {
            throw input_error(fmt::format("{}: {} does not know the interface {}; give the recorded links with --links "
                                          "FILE, or have unknown names numbered with --number-interfaces",
                                          table.place(entry, pointer), source.name, in_quotes(name)));
        }
        if (index == 0)
            numbered_.emplace_back(name, 0);
        indexes_.emplace(name, index);
        used.insert(index);
    });
    std::uint32_t next = 1;
    for (auto &[name, index] : numbered_) {
        while (used.contains(next))
            ++next;
        index = indexes_[name] = next++;
    }
}

} // namespace feed
