#include "interface_indexes.h"

#include "input_error.h"
#include "printable.h"
#include "sim/base/print.h"

#include <charconv>
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
    return result.ec == std::errc() && result.ptr == end && index > 0
               ? static_cast<std::uint32_t>(index)
               : 0;
}

// Takes each name once; where it stands is worked out for the first time only.
class use_collector {
public:
    template <typename Place>
    void add(const std::string &name, Place &&place) {
        if (seen_.insert(name).second)
            uses_.push_back({name, place()});
    }
    std::vector<interface_use> take() { return std::move(uses_); }

private:
    std::set<std::string> seen_;
    std::vector<interface_use> uses_;
};

} // namespace

std::vector<interface_use> interface_uses(const mroute_table &table) {
    use_collector uses;
    for (std::size_t i = 0; i < table.entries.size(); ++i) {
        const mroute_entry &entry = table.entries[i];
        if (entry.state != mroute_state::resolved)
            continue;
        uses.add(entry.iif, [&] { return table.place(i, "/iif"); });
        for (std::size_t n = 0; n < entry.oifs.size(); ++n)
            uses.add(entry.oifs[n].name,
                     [&] { return table.place(i, fmt::format("/multipath/{}/oif", n)); });
    }
    return uses.take();
}

std::vector<interface_use> interface_uses(const mdb_table &table) {
    use_collector uses;
    for (const mdb_entry &entry : table.entries) {
        if (!entry.on_bridge_itself())
            uses.add(entry.port, [&] { return table.place(entry, "/port"); });
    }
    return uses.take();
}

interface_indexes::interface_indexes(const std::vector<interface_use> &uses,
                                     const interface_source &source, bool number_unknown,
                                     std::set<std::uint32_t> taken) {
    for (const auto &[name, place] : uses) {
        if (indexes_.contains(name))
            continue;
        std::uint32_t index = source.find(name);
        if (index == 0)
            index = index_in_name(name);
        if (index == 0 && !number_unknown) {
            throw input_error(fmt::format("{}: {} has no interface {}{}", place, source.name,
                                          in_quotes(name), source.remedy));
        }
        if (index == 0)
            numbered_.emplace_back(name, 0);
        indexes_.emplace(name, index);
        taken.insert(index);
    }
    std::uint32_t next = 1;
    for (auto &[name, index] : numbered_) {
        while (taken.contains(next))
            ++next;
        index = indexes_[name] = next++;
    }
}

void print_numbered(const interface_indexes &interfaces, std::ostream &out) {
    for (const auto &[name, index] : interfaces.numbered())
        fmt::print(out, "interface {} is number {}\n", printable(name), index);
}

} // namespace feed
