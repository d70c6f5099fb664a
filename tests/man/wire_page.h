// vell-wire(5), read once: a page that does not keep to its own form throws std::runtime_error with
// the line.
#pragma once

#include "tests/support/bytes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace wire {

// A field of a drawing, with its row of the table below the drawing.
struct Field {
    std::string name;
    std::size_t offset = 0;
    std::size_t width = 0;
    std::string from = {};
    std::string order = {};
    std::string contents = {};
};

// The fields in order, without a gap.
using Drawing = std::vector<Field>;
std::size_t size_of(const Drawing &drawing);

struct ServiceRequest {
    std::uint32_t sap = 0;
    std::uint32_t opcode = 0;
    std::uint32_t option_word1 = 0;
    std::string function = {};
};

struct ManagerRequest {
    std::string function = {};
    std::string platform_function = {};
};

struct Flag {
    unsigned bit = 0;
    std::uint32_t mask = 0;
    std::string name = {};

    bool operator==(const Flag &) const = default;
};

// Requests and drawings go by the name of their section.
struct Page {
    std::map<std::string, Drawing> drawings = {};
    std::map<std::string, ServiceRequest> service_requests = {};
    std::map<std::string, ManagerRequest> manager_requests = {};
    std::vector<std::string> messages_of_one_call = {};
    std::vector<Flag> flags = {};
    bytes dump = {};
    bytes decoded = {};
};

const Page &page();

const Drawing &drawing(std::string_view section);

// The field of that name that a drawing has once.
const Field &field(const std::string &section, const std::string &name);

} // namespace wire
