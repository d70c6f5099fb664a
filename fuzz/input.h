// Values drawn from the front of a fuzz input. Once it is used up they are all 0, which every
// target takes for "succeed" or "stop".
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace fuzz {

class Input {
public:
    Input(const std::uint8_t *data, std::size_t size) : at_(data), left_(size) {}

    bool used_up() const { return left_ == 0; }

    std::uint8_t byte() {
        if (left_ == 0)
            return 0;
        --left_;
        return *at_++;
    }

    std::uint16_t half() {
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | static_cast<unsigned>(byte()) << 8);
    }

    std::uint32_t word() {
        const std::uint32_t low = half();
        return low | std::uint32_t{half()} << 16;
    }

    bool flip() { return (byte() & 1) != 0; }

    // Less than `bound`, which is at most 256.
    std::uint32_t below(std::uint32_t bound) { return byte() % bound; }

    // True for one byte in `n`, and never once the input is used up.
    bool one_in(std::uint32_t n) { return below(n) == n - 1; }

    // Small numbers, edges, and any number.
    std::uint32_t number() {
        static constexpr std::uint32_t edges[] = {0xff,       0x100,      0x101,      0x7fff,
                                                  0x8000,     0xffff,     0x10000,    0x10001,
                                                  0x7fffffff, 0x80000000, 0x80000001, 0xfffffffe,
                                                  0xffffffff, 0x12345678, 0x00ff00ff, 0xdeadbeef};
        const std::uint8_t choice = byte();
        if (choice < 0x80)
            return choice;
        if (choice < 0xb0)
            return edges[choice % std::size(edges)];
        return choice < 0xc0 ? half() : word();
    }

    // A status that is not 0.
    std::uint32_t failure() {
        const std::uint32_t status = number();
        return status == 0 ? 1 : status;
    }

    // 0 for most bytes, otherwise a failure.
    std::uint32_t status() { return byte() < 0xd0 ? 0 : failure(); }

private:
    const std::uint8_t *at_;
    std::size_t left_;
};

} // namespace fuzz
