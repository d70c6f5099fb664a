#include "interface_source.h"

#include "links.h"
#include "text_input.h"

#include <net/if.h>
#include <utility>

namespace feed {

interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links) {
    return {name, [known = std::move(links)](const std::string &interface) {
                const auto found = known.find(interface);
                return found == known.end() ? 0 : found->second;
            }};
}

interface_source this_machine() {
    return {"this machine", [](const std::string &interface) { return if_nametoindex(interface.c_str()); }};
}

interface_source choose_source(bool live, const std::string &links_path) {
    if (!live && links_path.empty())
        return this_machine();
    const text_input links = live ? read_command({"ip", "-j", "link", "show"}) : read_text(links_path);
    return recorded_links(links.name, parse_links(links));
}

} // namespace feed
