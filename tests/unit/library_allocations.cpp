#include "library_allocations.h"

#include "fake/platform.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

struct Watch {
    bool on = false;
    unsigned fail_in = 0;
    std::vector<std::size_t> sizes = {};
    std::vector<const void *> blocks = {};
    unsigned wrong_releases = 0;
};
Watch watch;

bool watching() {
    return watch.on && fake::platform_depth == 0;
}

bool fails(std::size_t size) {
    watch.sizes.push_back(size);
    return watch.fail_in != 0 && --watch.fail_in == 0;
}

void *allocated(void *block) {
    watch.blocks.push_back(block);
    return block;
}

bool forget(const void *block) {
    const auto found = std::find(watch.blocks.begin(), watch.blocks.end(), block);
    if (found == watch.blocks.end())
        return false;
    watch.blocks.erase(found);
    return true;
}

} // namespace

LibraryAllocations::LibraryAllocations() {
    watch = {.on = true};
}

LibraryAllocations::~LibraryAllocations() {
    watch = {};
}

void LibraryAllocations::fail(unsigned number) {
    watch.fail_in = number;
}

std::vector<std::size_t> LibraryAllocations::take_sizes() {
    return std::exchange(watch.sizes, {});
}

std::size_t LibraryAllocations::unreleased() const {
    return watch.blocks.size();
}

unsigned LibraryAllocations::wrong_releases() const {
    return watch.wrong_releases;
}

extern "C" {

void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *block);

void *__wrap_malloc(std::size_t size) {
    if (!watching())
        return __real_malloc(size);
    return fails(size) ? nullptr : allocated(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    if (!watching())
        return __real_calloc(count, size);
    return fails(count * size) ? nullptr : allocated(__real_calloc(count, size));
}

void __wrap_free(void *block) {
    if (watching() && block != nullptr && !forget(block)) {
        ++watch.wrong_releases;
        return;
    }
    __real_free(block);
}
}

void LibraryAllocations::release(void *block) {
    __wrap_free(block);
}
