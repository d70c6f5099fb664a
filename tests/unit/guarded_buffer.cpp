#include "guarded_buffer.h"

#include <algorithm>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

GuardedBuffer::GuardedBuffer(const bytes &content, Side side, std::size_t distance)
    : size_(content.size()) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const auto usable = (size_ + distance + page - 1) / page * page;
    pages_size_ = usable + 2 * page;
    void *const pages = mmap(nullptr, pages_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED ||
        mprotect(static_cast<std::uint8_t *>(pages) + page, usable, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("no pages to guard a message with");
    pages_ = static_cast<std::uint8_t *>(pages);

    auto *const first = pages_ + page;
    const auto at = side == Side::front ? distance : usable - size_ - distance;
    start_ = patched(pattern(usable), at, content);
    std::copy(start_.begin(), start_.end(), first);
    data_ = first + at;
}

GuardedBuffer::~GuardedBuffer() {
    munmap(pages_, pages_size_);
}

std::uint8_t *GuardedBuffer::first_page() const {
    return pages_ + (pages_size_ - start_.size()) / 2;
}

void GuardedBuffer::make_read_only() {
    if (mprotect(first_page(), start_.size(), PROT_READ) != 0)
        throw std::runtime_error("the pages cannot be made read-only");
}

bool GuardedBuffer::surroundings_untouched() const {
    const auto *const first = first_page();
    const auto *const start = start_.data();
    const auto at = data_ - first;
    return std::equal(start, start + at, first) &&
           std::equal(start + at + size_, start + start_.size(), data_ + size_);
}
