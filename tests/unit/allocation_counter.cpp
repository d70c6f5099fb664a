#include "allocation_counter.h"

#include "fake/platform.h"

#include <cstddef>

namespace {

bool counting = false;
unsigned counted = 0;

void count_allocation() {
    if (counting && fake::platform_depth == 0)
        ++counted;
}

} // namespace

AllocationCounter::AllocationCounter() {
    counted = 0;
    counting = true;
}

AllocationCounter::~AllocationCounter() {
    counting = false;
}

unsigned AllocationCounter::allocations() const {
    return counted;
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define UNDER_ADDRESS_SANITIZER
#endif

#ifdef UNDER_ADDRESS_SANITIZER

// The sanitizer owns the allocator and tells of its calls. Its header does not come with every
// compiler.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void *,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void *));

namespace {

void on_allocation(const volatile void *, std::size_t) {
    count_allocation();
}

void on_free(const volatile void *) {}

[[maybe_unused]] const int installed =
    __sanitizer_install_malloc_and_free_hooks(on_allocation, on_free);

} // namespace

#else

// The program's own allocator stands before libc's, for libc itself and every library, and hands on
// to it.
extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);

void *malloc(std::size_t size) noexcept {
    count_allocation();
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    count_allocation();
    return __libc_calloc(count, size);
}

void *realloc(void *block, std::size_t size) noexcept {
    count_allocation();
    return __libc_realloc(block, size);
}

void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    count_allocation();
    return __libc_memalign(alignment, size);
}
}

#endif
