#include "tests/support/bytes.h"

bytes pattern(std::size_t size) {
    bytes made(size);
    for (std::size_t i = 0; i < size; ++i) {
        made[i] = static_cast<std::uint8_t>(0xa1 + 0x35 * (i % 251));
    }
    return made;
}

bytes zero_padded(bytes first, std::size_t size) {
    first.resize(size);
    return first;
}

bytes patched(bytes original, std::size_t offset, const bytes &patch) {
    for (std::size_t i = 0; i < patch.size(); ++i) {
        original.at(offset + i) = patch[i];
    }
    return original;
}

bytes operator+(bytes first, const bytes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

bytes part(const bytes &whole, std::size_t offset, std::size_t size) {
    bytes result(size);
    for (std::size_t i = 0; i < size; ++i) {
        result[i] = whole.at(offset + i);
    }
    return result;
}

bytes hex(std::string_view digits) {
    bytes made;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (digits[i] == ' ') {
            continue;
        }
        made.push_back(
            static_cast<std::uint8_t>(std::stoul(std::string(digits.substr(i, 2)), nullptr, 16)));
        ++i;
    }
    return made;
}

bytes characters(const std::string &text) {
    return {text.begin(), text.end()};
}

bytes word(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
            static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
}
