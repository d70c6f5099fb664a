#include "links.h"

#include "input_error.h"
#include "json_input.h"
#include "printable.h"

#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace feed {

namespace {

constexpr char producer[] = "`ip -j link show`";
constexpr std::uint32_t largest_index = std::numeric_limits<std::int32_t>::max();

} // namespace

std::map<std::string, std::uint32_t> parse_links(const text_input &input) {
    const json_document document = parse_json(input, producer);
    std::map<std::string, std::uint32_t> links;
    for (const json_view &link : json_view(document).elements(
             fmt::format("an array of interfaces, the output of {}", producer))) {
        link.expect_object("an interface, an object");
        const json_view name = link.member("ifname", "the interface's name");
        const std::uint32_t index = link.member("ifindex", "the interface's index")
                                        .number(1, largest_index, "an interface index");
        if (!links.emplace(name.string("the interface's name"), index).second)
            name.fail(fmt::format("the interface {} stands twice",
                                  in_quotes(name.value().get<std::string>())));
    }
    return links;
}

} // namespace feed
