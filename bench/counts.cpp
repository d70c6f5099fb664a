// Instruction counts: callgrind runs this program once for all of them and writes a part of its
// output for each.
#include "measure.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

namespace fs = std::filesystem;

// Removes itself and what is in it.
struct scratch_folder {
    fs::path path;
    scratch_folder() {
        std::string pattern = fs::temp_directory_path() / "vellbench-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("cannot make a folder like " + pattern);
        path = pattern;
    }
    ~scratch_folder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

double total_of(const fs::path &part) {
    std::ifstream file(part);
    const std::string key = "totals: ";
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(key))
            return std::stod(line.substr(key.size()));
    throw std::runtime_error("callgrind wrote no total into " + part.string());
}

} // namespace

void count_instructions(const operations &table, const std::string &arguments,
                        std::vector<costs> &results) {
    const scratch_folder folder;
    const fs::path out = folder.path / "out";
    const std::string command = "valgrind -q --tool=callgrind --toggle-collect=bench_counted "
                                "--dump-after=bench_count_ends --callgrind-out-file='" +
                                out.string() + "' '" + fs::read_symlink("/proc/self/exe").string() +
                                "' " + arguments;
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("callgrind failed; it is in Debian's package valgrind");
    unsigned part = 0;
    for (std::size_t i = 0; i < table.size(); ++i)
        for (unsigned v = 0; v < version_count; ++v)
            if (table[i].run[v])
                results[i].of[v].instructions =
                    total_of(out.string() + "." + std::to_string(++part)) / table[i].batch /
                    table[i].repeats;
}

} // namespace bench
