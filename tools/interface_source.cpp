#include "interface_source.h"

#include "links.h"
#include "text_input.h"

#include <net/if.h>
#include <utility>

namespace feed {

namespace {

std::string or_numbers(numbering option) {
    return option == numbering::offered
               ? ", or have unknown names numbered with --number-interfaces"
               : "";
}

} // namespace

interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links,
                                numbering option) {
    return {name,
            [known = std::move(links)](const std::string &interface) {
                const auto found = known.find(interface);
                return found == known.end() ? 0 : found->second;
            },
            std::string(", so the two recordings do not belong together; give the links that were "
                        "recorded with this "
                        "table") +
                or_numbers(option)};
}

interface_source this_machine(numbering option) {
    return {"this machine",
            [](const std::string &interface) { return if_nametoindex(interface.c_str()); },
            std::string("; give the recorded links with --links FILE") + or_numbers(option)};
}

interface_source choose_source(bool live, const std::string &links_path, numbering option) {
    if (!live && links_path.empty())
        return this_machine(option);
    const text_input links =
        live ? read_command({"ip", "-j", "link", "show"}) : read_text(links_path);
    interface_source source = recorded_links(links.name, parse_links(links), option);
    if (live)
        source.remedy = "; it may have gone since the table was read: try again";
    return source;
}

} // namespace feed
