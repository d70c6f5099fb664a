// Where interface indexes come from.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace feed {

// The recorded links, or the machine itself.
struct interface_source {
    std::string name; // for error messages: "links.json", "this machine"
    std::function<std::uint32_t(const std::string &)> find; // 0: not there
    std::string remedy; // for a name that is not there, behind the complaint
};
// Whether the command has --number-interfaces, which is a remedy then.
enum class numbering { offered, not_offered };

interface_source recorded_links(const std::string &name, std::map<std::string, std::uint32_t> links,
                                numbering option = numbering::offered);
interface_source this_machine(numbering option = numbering::offered);

// What `ip` prints of this machine when `live`, else the links of the file, else, without a path,
// this machine's. Throws input_error.
interface_source choose_source(bool live, const std::string &links_path,
                               numbering option = numbering::offered);

} // namespace feed
