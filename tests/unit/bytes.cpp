#include "bytes.h"

Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(0xa1 + 0x35 * i + i / 256);
    return bytes;
}

Bytes zero_padded(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

Bytes patched(Bytes bytes, std::size_t offset, const Bytes &patch) {
    for (std::size_t i = 0; i < patch.size(); ++i)
        bytes.at(offset + i) = patch[i];
    return bytes;
}

Bytes joined(Bytes first, const Bytes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes part(const Bytes &bytes, std::size_t offset, std::size_t size) {
    Bytes result(size);
    for (std::size_t i = 0; i < size; ++i)
        result[i] = bytes.at(offset + i);
    return result;
}

Bytes hex(std::string_view digits) {
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (digits[i] == ' ')
            continue;
        bytes.push_back(
            static_cast<std::uint8_t>(std::stoul(std::string(digits.substr(i, 2)), nullptr, 16)));
        ++i;
    }
    return bytes;
}

Bytes characters(const std::string &text) {
    return {text.begin(), text.end()};
}

Bytes word(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
            static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
}
