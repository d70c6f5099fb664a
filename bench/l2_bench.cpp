// What converting layer-2 records to network order costs: one routine that reads a table of record
// types, against a loop for each type that swaps the same fields where they lie.
//
// Both versions convert equal messages in turn within each round, so that whatever else the machine
// does weighs on both alike, and the figures are medians over the rounds. A message is filled anew
// before it is timed: its counts and kinds are in network order afterwards. That both come to the
// same bytes is checked first.
#include "l2/l2_records.h"
#include "median.h"

#include <vell.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

constexpr std::uint8_t pairs_type = 10;

std::uint32_t word_at(const std::uint8_t *at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof(word));
    return word;
}

void put_word(std::uint8_t *at, std::uint32_t word) {
    std::memcpy(at, &word, sizeof(word));
}

void swap_word(std::uint8_t *at) {
    put_word(at, __builtin_bswap32(word_at(at)));
}

void swap_half(std::uint8_t *at) {
    std::uint16_t half;
    std::memcpy(&half, at, sizeof(half));
    half = __builtin_bswap16(half);
    std::memcpy(at, &half, sizeof(half));
}

// Returns whether the block's kind is known.
bool swap_address(std::uint8_t *block) {
    const std::uint32_t kind = word_at(block);
    if (kind != 4 && kind != 8 && kind != 2)
        return false;
    swap_word(block);
    if (kind == 4)
        swap_word(block + 4);
    return true;
}

std::uint32_t plain_pairs(std::uint8_t *record) {
    const std::uint32_t count = word_at(record + 12);
    swap_word(record + 12);
    for (std::uint32_t i = 0; i < 2 * count; ++i)
        swap_word(record + 16 + 4 * i);
    return 80 + 8 * count;
}

std::uint32_t plain_mbd(std::uint8_t *record) {
    for (const unsigned offset : {12u, 16u, 20u, 24u, 28u})
        swap_word(record + offset);
    swap_half(record + 32);
    const std::uint32_t count = word_at(record + 74);
    swap_word(record + 74);
    bool known = swap_address(record + 34) && swap_address(record + 54);
    for (std::uint32_t i = 0; known && i < count; ++i) {
        std::uint8_t *const entry = record + 78 + 32 * i;
        const std::uint32_t kind = word_at(entry);
        for (const unsigned offset : {0u, 4u, 8u, 12u})
            swap_word(entry + offset);
        if (kind == 2)
            swap_word(entry + 16);
        known = kind <= 2;
    }
    return 80 + 32 * count;
}

struct message_shape {
    const char *name;
    std::uint8_t type;
    std::uint32_t entries;
    unsigned records;
    unsigned misalignment; // of the first record
};

std::uint32_t entry_size(const message_shape &shape) {
    return shape.type == pairs_type ? 8 : 32;
}

std::vector<std::uint8_t> message_of(const message_shape &shape) {
    const std::size_t size = 80 + std::size_t{shape.entries} * entry_size(shape);
    std::vector<std::uint8_t> message(shape.misalignment + size * shape.records, 0x5a);
    for (unsigned i = 0; i < shape.records; ++i) {
        std::uint8_t *const record = message.data() + shape.misalignment + i * size;
        record[0] = shape.type;
        if (shape.type == pairs_type) {
            put_word(record + 12, shape.entries);
            continue;
        }
        put_word(record + 34, vell_l2_address_ipv4);
        put_word(record + 54, vell_l2_address_ipv4);
        put_word(record + 74, shape.entries);
        for (std::uint32_t entry = 0; entry < shape.entries; ++entry)
            put_word(record + 78 + 32 * entry, vell_l2_oif_if_index);
    }
    return message;
}

void convert_by_table(std::uint8_t *record, unsigned records) {
    for (; records != 0; --records)
        record += vell::l2_conversion_of(record[0])(record);
}

void convert_plainly(std::uint8_t *record, unsigned records) {
    for (; records != 0; --records)
        record += record[0] == pairs_type ? plain_pairs(record) : plain_mbd(record);
}

double microseconds(void (*convert)(std::uint8_t *, unsigned), const message_shape &shape,
                    const std::vector<std::uint8_t> &fresh, std::vector<std::uint8_t> &message) {
    message = fresh;
    const auto start = std::chrono::steady_clock::now();
    convert(message.data() + shape.misalignment, shape.records);
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count();
}

// Returns whether both versions come to the same bytes.
bool compare(const message_shape &shape) {
    constexpr unsigned rounds = 401;
    const std::vector<std::uint8_t> fresh = message_of(shape);
    std::vector<std::uint8_t> by_table = fresh, plain = fresh;
    std::vector<double> table_times, plain_times, ratios;
    for (unsigned round = 0; round < rounds; ++round) {
        table_times.push_back(microseconds(convert_by_table, shape, fresh, by_table));
        plain_times.push_back(microseconds(convert_plainly, shape, fresh, plain));
        ratios.push_back(table_times.back() / plain_times.back());
        if (by_table != plain)
            return false;
    }
    std::printf("%-6s  %7u  %7u  %10u  %9.1f  %9.1f  %6.2f\n", shape.name, shape.records,
                shape.entries, shape.misalignment, median(table_times), median(plain_times),
                median(ratios));
    return true;
}

constexpr message_shape shapes[] = {
    {"pairs", pairs_type, 1, 2000, 0},     {"pairs", pairs_type, 1, 2000, 1},
    {"pairs", pairs_type, 10000, 4, 0},    {"pairs", pairs_type, 10000, 4, 1},
    {"mbd", vell_l2_mbd_add, 1, 2000, 0},  {"mbd", vell_l2_mbd_add, 1, 2000, 1},
    {"mbd", vell_l2_mbd_add, 10000, 1, 0}, {"mbd", vell_l2_mbd_add, 10000, 1, 1},
};

// Every shape once with one version, for an instruction count.
int run_once(std::string_view version) {
    if (version != "table" && version != "plain") {
        std::fprintf(stderr, "l2_bench: --once takes table or plain\n");
        return 2;
    }
    for (const message_shape &shape : shapes) {
        std::vector<std::uint8_t> message = message_of(shape);
        (version == "table" ? convert_by_table
                            : convert_plainly)(message.data() + shape.misalignment, shape.records);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--once")
        return run_once(argv[2]);
    std::printf("%-6s  %7s  %7s  %10s  %9s  %9s  %6s\n", "record", "records", "entries",
                "misaligned", "table us", "plain us", "ratio");
    for (const message_shape &shape : shapes)
        if (!compare(shape)) {
            std::fprintf(stderr, "l2_bench: the versions differ\n");
            return 1;
        }
    return 0;
}
