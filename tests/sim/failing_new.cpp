#include "tests/sim/failing_new.h"

#include <cstdlib>
#include <new>

long sim_test::allocations_left = -1;

void *operator new(std::size_t size) {
    if (sim_test::allocations_left > 0 && --sim_test::allocations_left == 0)
        throw std::bad_alloc();
    if (void *memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
