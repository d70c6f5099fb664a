// Runs a fuzz target on every file of the folders and files it is given, once each and in order;
// fails when there is none. This takes the place of libFuzzer's main where a corpus is replayed as
// a test.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(int argc, char **argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i]))
            files.emplace_back(argv[i]);
        else
            for (const auto &entry : fs::directory_iterator(argv[i]))
                files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int main(int argc, char **argv) {
    const auto files = files_of(argc, argv);
    for (const auto &file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
        if (!in) {
            std::fprintf(stderr, "%s cannot be read\n", file.c_str());
            return 1;
        }
        std::printf("%s\n", file.c_str());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(content.data()),
                               content.size());
    }
    std::printf("%zu inputs\n", files.size());
    if (files.empty())
        std::fprintf(stderr, "there is no input to replay\n");
    return files.empty() ? 1 : 0;
}
