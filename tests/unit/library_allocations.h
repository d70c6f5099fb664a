// The library's own allocations: counted, held against their releases, and made to fail.
//
// Programs that use it are linked with --wrap for malloc, calloc and free, so that the calls in the
// library's objects come here; those within the C and C++ libraries do not.
#pragma once

#include <cstddef>
#include <vector>

class LibraryAllocations {
public:
    // Watching ends with the object. There is one at a time.
    LibraryAllocations();
    ~LibraryAllocations();
    LibraryAllocations(const LibraryAllocations &) = delete;
    LibraryAllocations &operator=(const LibraryAllocations &) = delete;

    // The next allocation but `number` - 1 returns null: 1 is the next one.
    void fail(unsigned number = 1);

    // Sizes as they were asked for, those that failed included, since the last time.
    std::vector<std::size_t> take_sizes();

    // Allocations that were not released, and releases of what was no allocation of the library's
    // or null.
    std::size_t unreleased() const;
    unsigned wrong_releases() const;

    // Releases a block that the library handed to its caller, or null.
    static void release(void *block);
};
