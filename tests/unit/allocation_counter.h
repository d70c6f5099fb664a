// Counts the allocations of a piece of code, those within the fake platform not included.
#pragma once

class AllocationCounter {
public:
    // Counting ends with the counter. There is one at a time.
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter &) = delete;
    AllocationCounter &operator=(const AllocationCounter &) = delete;

    unsigned allocations() const;
};
