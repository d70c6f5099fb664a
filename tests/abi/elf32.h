// Just enough of a 32-bit shared object to hold its interface against the header.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace elf32 {

struct symbol {
    bool function = false;
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    std::string version; // of an undefined symbol, such as GLIBC_2.0; empty when it has none
};

struct segment {
    std::uint32_t type = 0;
    std::uint32_t flags = 0;
};

struct shared_object {
    std::map<std::string, symbol> exported;
    std::map<std::string, symbol> undefined;
    std::set<std::string>
        needed_at_load; // undefined symbols that are not looked up as late as their first call
    std::vector<std::string> needed;
    std::map<std::int32_t, std::uint32_t> dynamic_tags;
    std::vector<segment> segments;
    std::string soname;
};

// Throws std::runtime_error when the file is not a 32-bit x86 shared object.
shared_object read(const std::string &path);

} // namespace elf32
