#include "interface_source.h"

#include "links.h"
#include "text_input.h"

#include <net/if.h>
#include <utility>

namespace feed {

namespace {

constexpr const char *or_numbers = ", or have unknown names numbered with --number-interfaces";

} // namespace

interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links) {
    return {name,
            [known = std::move(links)](const std::string &interface) {
                const auto found = known.find(interface);
                return found == known.end() ? 0 : found->second;
            },
            std::string(", so the two recordings do not belong together; give the links that were recorded with this "
                        "table") +
                or_numbers};
}

interface_source this_machine() {
    return {"this machine", [](const std::string &interface) { return if_nametoindex(interface.c_str()); },
            std::string("; give the recorded links with --links FILE") + or_numbers};
}

interface_source choose_source(bool live, const std::string &links_path) {
    if (!live && links_path.empty())
        return this_machine();
    const text_input links = live ? read_command({"ip", "-j", "link", "show"}) : read_text(links_path);
    interface_source source = recorded_links(links.name, parse_links(links));
    if (live)
        source.remedy = "; it may have gone since the table was read: try again";
    return source;
}

} // namespace feed
