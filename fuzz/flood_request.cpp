// Flood updates of any old and new interfaces, as their description says: results, messages,
// lookups and the request's bytes. Of interfaces with the same index the library may put any first;
// the model takes over its order, once it has seen that nothing was lost.
#include "client/client_state.h"
#include "fuzz/platform.h"

#include <vell.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace fuzz;

constexpr std::uint32_t oif_size = 32;
constexpr std::uint32_t delta_head = 24;
constexpr std::uint32_t update_size = 8;

std::uint32_t word_at(const std::uint8_t *at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof(word));
    return word;
}

void put(std::uint8_t *at, std::uint32_t word) {
    std::memcpy(at, &word, sizeof(word));
}

// Entries in a buffer.
struct Oifs {
    std::uint8_t *at;
    std::uint32_t count;

    std::uint32_t index(std::uint32_t i) const { return word_at(at + i * oif_size + 16); }
    bool svi(std::uint32_t i) const { return (at[i * oif_size + 4] & 0x04) != 0; }
};

void make_oifs(const Oifs &oifs, Input &input) {
    static constexpr std::uint32_t indexes[] = {0, 1,          2,          3,          4,
                                                5, 0x1a000000, 0x7fffffff, 0x80000000, 0xffffffff};
    for (std::uint32_t i = 0; i < oifs.count; ++i) {
        std::uint8_t *const entry = oifs.at + i * oif_size;
        const std::uint8_t choice = input.byte();
        fill_with_pattern(entry, oif_size, static_cast<std::uint8_t>(choice ^ i));
        put(entry + 16, choice < 0xf0 ? indexes[choice % std::size(indexes)] : input.word());
        entry[4] = static_cast<std::uint8_t>(choice & 0x40 ? 0xfb | choice >> 3 : choice & 0xfb);
    }
}

// Holds that the entries were sorted, as wholes, and gives the model the order they are in.
void take_order(const Oifs &was, const Oifs &sorted) {
    for (std::uint32_t i = 1; i < sorted.count; ++i)
        FUZZ_CHECK(sorted.index(i - 1) <= sorted.index(i));
    std::vector<bool> found(was.count);
    for (std::uint32_t i = 0; i < was.count; ++i) {
        const Bytes entry(was.at + i * oif_size, oif_size);
        std::uint32_t j = 0;
        while (j < was.count &&
               (found[j] || !equal(entry, Bytes(sorted.at + j * oif_size, oif_size))))
            ++j;
        FUZZ_CHECK(j < was.count);
        found[j] = true;
    }
    if (was.count != 0)
        std::memcpy(was.at, sorted.at, was.count * oif_size);
}

// The bit of one interface; returns the status.
std::uint32_t model_bitmask(std::uint8_t *bitmask, std::uint32_t index) {
    static constexpr char function[] = "vell_set_flc_bitmask";
    const Event &type = expect(Call::if_index_type, {index});
    if (const std::uint32_t status = type.answer) {
        expect_log("%s(%d):ERROR: Failed to get if_index type for 0x%x, status 0x%x\n", function,
                   1055, index, status);
        return status;
    }
    if (type.stored[0] != 26)
        return 0;
    const Event &fields = expect(Call::if_index_fields, {index});
    const std::uint32_t slot = fields.stored[0];
    if (const std::uint32_t status = fields.answer) {
        expect_log("%s(%d):ERROR: Failed to get if_index fields for 0x%x, status 0x%x\n", function,
                   1063, index, status);
        return status;
    }
    put(bitmask, word_at(bitmask) | 1u << slot % 32);
    return 0;
}

// One VLAN's delta, of arrays that were sorted.
class Delta {
public:
    explicit Delta(std::uint8_t *delta) : delta_(delta) {}

    std::uint32_t find(const Oifs &was, const Oifs &is) {
        if (was.count == 0 && is.count == 0) {
            expect_log("%s(%d):TRACE: Old and new OIF lists both NULL, return SUCCESS\n", function_,
                       1109);
            return 0;
        }
        merge(was, is);
        if (status_ != 0)
            return status_;
        put(delta_ + 20, updates_);
        expect_log("%s(%d):TRACE: FLC_BITMASK: 0x%x\n", function_, 1201, word_at(delta_ + 12));
        expect_log("%s(%d):TRACE: Update list:\n", function_, 1202);
        for (std::uint32_t k = 0; k < updates_; ++k)
            expect_log("%s(%d):TRACE: IfIdx: %d Op: %d\n", function_, 1206,
                       static_cast<int>(word_at(update(k))),
                       static_cast<int>(word_at(update(k) + 4)));
        return 0;
    }

private:
    void merge(const Oifs &was, const Oifs &is) {
        std::uint32_t i = 0, j = 0;
        bool settled = true; // whether the next new entry is looked at for the first time
        while (j < is.count && status_ == 0) {
            if (settled && is.svi(j)) {
                expect_log("%s(%d):TRACE: Skipping SVI interface: %x\n", function_, 1121,
                           is.index(j++));
                continue;
            }
            if (i == was.count)
                return add_tail(is, j);
            settled = true;
            if (was.index(i) < is.index(j)) {
                write(was.index(i++), 2);
                settled = false;
            } else if (was.index(i) == is.index(j)) {
                flood(is.index(j++), 1134);
                if (++i == was.count && status_ == 0)
                    return add_tail(is, j);
            } else {
                add(is.index(j++), 1158);
            }
        }
        while (i < was.count && status_ == 0)
            write(was.index(i++), 2);
    }

    void add_tail(const Oifs &is, std::uint32_t j) {
        for (; j < is.count && status_ == 0; ++j)
            add(is.index(j), 1175);
    }

    void add(std::uint32_t index, int line) {
        flood(index, line);
        if (status_ == 0)
            write(index, 1);
    }

    void flood(std::uint32_t index, int line) {
        status_ = model_bitmask(delta_ + 12, index);
        if (status_ != 0)
            expect_log("%s(%d):ERROR: Set LC bitmask failed\n", function_, line);
    }

    void write(std::uint32_t index, std::uint32_t operation) {
        put(update(updates_), index);
        put(update(updates_) + 4, operation);
        ++updates_;
    }

    std::uint8_t *update(std::uint32_t k) { return delta_ + delta_head + k * update_size; }

    static constexpr char function_[] = "vell_find_oiflist_delta";
    std::uint8_t *delta_;
    std::uint32_t updates_ = 0;
    std::uint32_t status_ = 0;
};

// A batch of VLANs: the message that the library gets, and the model's copy of it.
struct Batch {
    Buffer message;
    std::vector<std::uint8_t> model;

    Batch(const std::vector<std::uint8_t> &content, std::uint32_t shift)
        : message(content.size(), shift), model(content) {
        std::copy(content.begin(), content.end(), message.data());
    }
    Oifs oifs(std::uint32_t record) { return oifs_in(model.data() + record); }
    Oifs sorted(std::uint32_t record) {
        return {message.data() + record + 74, word_at(model.data() + record + 70)};
    }
    static Oifs oifs_in(std::uint8_t *record) { return {record + 74, word_at(record + 70)}; }
    static std::uint32_t length(const Oifs &oifs) { return 80 + oif_size * oifs.count; }
};

Batch make_batch(std::uint32_t count, Input &input, Input vlans) {
    std::vector<std::uint8_t> content(8);
    fill_with_pattern(content.data(), content.size(), input.byte());
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t at = content.size();
        const std::uint32_t oifs = input.below(7);
        content.resize(at + 80 + oifs * oif_size);
        fill_with_pattern(&content[at], 80, input.byte());
        put(&content[at + 24], input.one_in(32) ? input.number() : vlans.number());
        put(&content[at + 70], oifs);
        make_oifs(Batch::oifs_in(&content[at]), input);
    }
    return Batch(content, input.below(4));
}

std::uint32_t model_build(Batch &was, Batch &is, std::uint32_t count,
                          std::vector<std::uint8_t> &payload) {
    put(payload.data(), count);
    std::uint32_t old_record = 8, new_record = 8, delta = 4;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t vlan = word_at(was.model.data() + old_record + 24);
        put(payload.data() + delta, vlan);
        expect_log("%s(%d):TRACE: Delta for vlan %d\n", "vell_build_nerb_flood_ltl_pyld", 1244,
                   static_cast<int>(vlan));
        const Oifs old_oifs = was.oifs(old_record), new_oifs = is.oifs(new_record);
        take_order(old_oifs, was.sorted(old_record));
        take_order(new_oifs, is.sorted(new_record));
        if (const auto status = Delta(payload.data() + delta).find(old_oifs, new_oifs))
            return status;
        old_record += Batch::length(old_oifs);
        new_record += Batch::length(new_oifs);
        delta += delta_head + update_size * word_at(payload.data() + delta + 20);
    }
    return 0;
}

// What a payload may need, and the first VLAN that the batches disagree on.
struct Walk {
    std::uint32_t size;
    std::uint32_t mismatch;
    std::uint32_t old_vlan, new_vlan;
};

Walk walk(Batch &was, Batch &is, std::uint32_t count) {
    Walk walked = {4 + delta_head * count, count, 0, 0};
    std::uint32_t old_record = 8, new_record = 8;
    for (std::uint32_t i = 0; i < count; ++i) {
        walked.old_vlan = word_at(was.model.data() + old_record + 24);
        walked.new_vlan = word_at(is.model.data() + new_record + 24);
        if (walked.old_vlan != walked.new_vlan) {
            walked.mismatch = i;
            break;
        }
        const Oifs old_oifs = was.oifs(old_record), new_oifs = is.oifs(new_record);
        walked.size += update_size * (old_oifs.count + new_oifs.count);
        old_record += Batch::length(old_oifs);
        new_record += Batch::length(new_oifs);
    }
    return walked;
}

struct Batches {
    Batch *was;
    Batch *is;
    std::uint16_t old_count;
    std::uint16_t new_count;
    void *context;
};

std::uint32_t model_send(const Batches &batches) {
    static constexpr char function[] = "vell_send_l2_mc_update_flood_ltl";
    if (batches.was == nullptr || batches.is == nullptr || batches.context == nullptr) {
        expect_log("%s(%d):ERROR: Null parameters\n", function, 1295);
        return 0;
    }
    if (batches.old_count != batches.new_count) {
        expect_log("%s(%d):ERROR: Old count %d not equal to new count %d\n", function, 1300,
                   batches.old_count, batches.new_count);
        return 0;
    }
    const std::uint32_t count = batches.new_count;
    expect_log("%s(%d):TRACE: Num of msgs %d\n", function, 1304, static_cast<int>(count));
    if (vell_client_q == 0) {
        expect_log("%s(%d):ERROR: Client not registered\n", function, 1310);
        return 0;
    }
    const Walk walked = walk(*batches.was, *batches.is, count);
    if (walked.mismatch != count) {
        expect_log("%s(%d):ERROR: At index %d old VLAN %d not equal to new VLAN %d\n", function,
                   1332, static_cast<int>(walked.mismatch), static_cast<int>(walked.old_vlan),
                   static_cast<int>(walked.new_vlan));
        return 0;
    }
    const std::uint32_t allocated = expect(Call::calloc, {1, walked.size}).answer;
    if (allocated == 0) {
        expect_log("%s(%d):ERROR: Memory allocation failed\n", function, 1352);
        return 0;
    }
    std::vector<std::uint8_t> payload(walked.size);
    std::uint32_t status = model_build(*batches.was, *batches.is, count, payload);
    if (status != 0) {
        expect_log("%s(%d):ERROR: Building NERB request payload failed 0x%x\n", function, 1361,
                   status);
    } else {
        status = expect(Call::flood_update, {vell_client_q, allocated, number_of(batches.context)},
                        payload)
                     .answer;
        if (status != 0)
            expect_log("%s(%d):ERROR: Sending LTL update to NERB failed 0x%x\n", function, 1368,
                       status);
    }
    expect(Call::free, {allocated});
    return status == 0;
}

void fuzz_send(Input &input, std::uint32_t count, Batch &was, Batch &is) {
    const std::uint8_t refusals = input.byte();
    Batches batches = {&was, &is, static_cast<std::uint16_t>(count),
                       static_cast<std::uint16_t>(count), &batches};
    if (refusals >= 0xe0) {
        batches.was = (refusals & 1) != 0 ? nullptr : batches.was;
        batches.is = (refusals & 2) != 0 ? nullptr : batches.is;
        batches.context = (refusals & 4) != 0 ? nullptr : batches.context;
        batches.old_count = (refusals & 8) != 0 ? input.half() : batches.old_count;
    }
    // Counts that are equal by chance must not exceed the records that there are.
    if (batches.old_count != count)
        batches.new_count = static_cast<std::uint16_t>(~batches.old_count);
    vell_client_q = input.one_in(16) ? 0 : 1 + input.byte();
    const auto address = [](Batch *batch) { return batch ? batch->message.data() : nullptr; };
    const std::uint32_t old_length = input.byte(), new_length = input.byte();
    const std::uint32_t result = library([&] {
        return vell_send_l2_mc_update_flood_ltl(address(batches.was), old_length, batches.old_count,
                                                address(batches.is), new_length, batches.new_count,
                                                batches.context);
    });
    FUZZ_CHECK(result == model_send(batches));
}

void fuzz_build(Input &input, std::uint32_t count, Batch &was, Batch &is) {
    std::vector<std::uint8_t> expected(walk(was, is, count).size);
    // VLANs that differ are not looked for here, so the room is for all of them.
    expected.resize(4 + count * (delta_head + 12 * update_size));
    Buffer payload(expected.size(), input.below(4));
    const std::int32_t result = library([&] {
        return vell_build_nerb_flood_ltl_pyld(
            was.message.data(), is.message.data(), static_cast<std::uint16_t>(count),
            reinterpret_cast<vell_flood_payload *>(payload.data()));
    });
    FUZZ_CHECK(static_cast<std::uint32_t>(result) == model_build(was, is, count, expected));
    FUZZ_CHECK(equal(payload.bytes(), expected));
}

// A delta need not start from zeros, and its room is exactly what it may need.
void fuzz_find(Input &input, Batch &was, Batch &is) {
    const Oifs old_oifs = was.oifs(8), new_oifs = is.oifs(8);
    Buffer delta(delta_head + update_size * (old_oifs.count + new_oifs.count), input.below(4));
    fill_with_pattern(delta.data(), delta.size(), input.byte());
    std::vector<std::uint8_t> expected(delta.bytes().begin(), delta.bytes().end());
    const auto entries = [](const Oifs &oifs) {
        return oifs.count == 0 ? nullptr : reinterpret_cast<vell_l2_oif *>(oifs.at);
    };
    const std::int32_t result = library([&] {
        return vell_find_oiflist_delta(entries(was.sorted(8)), old_oifs.count,
                                       entries(is.sorted(8)), new_oifs.count,
                                       reinterpret_cast<vell_flood_delta *>(delta.data()));
    });
    take_order(old_oifs, was.sorted(8));
    take_order(new_oifs, is.sorted(8));
    FUZZ_CHECK(static_cast<std::uint32_t>(result) ==
               Delta(expected.data()).find(old_oifs, new_oifs));
    FUZZ_CHECK(equal(delta.bytes(), expected));
}

void fuzz_parts(Input &input, Batch &was, Batch &is) {
    Buffer bitmask(4, input.below(4));
    put(bitmask.data(), input.number());
    std::vector<std::uint8_t> expected(bitmask.bytes().begin(), bitmask.bytes().end());
    const std::uint32_t index = input.number();
    const std::uint32_t status = library([&] {
        return vell_set_flc_bitmask(reinterpret_cast<std::uint32_t *>(bitmask.data()), index);
    });
    FUZZ_CHECK(status == model_bitmask(expected.data(), index));
    FUZZ_CHECK(equal(bitmask.bytes(), expected));

    const Oifs first = was.sorted(8), second = is.sorted(8);
    if (first.count == 0 || second.count == 0)
        return;
    const int order = vell_oif_comp(first.at, second.at);
    FUZZ_CHECK(order == (first.index(0) > second.index(0)) - (first.index(0) < second.index(0)));
}

} // namespace

void fuzz::run(Input &input) {
    const std::uint32_t what = input.below(8);
    const std::uint32_t count = what < 2 ? 1 : input.below(5);
    const std::uint8_t vlans[] = {input.byte(), input.byte(), input.byte(), input.byte()};
    Batch was = make_batch(count, input, Input(vlans, sizeof vlans));
    Batch is = make_batch(count, input, Input(vlans, sizeof vlans));
    switch (what) {
    case 0:
        fuzz_find(input, was, is);
        break;
    case 1:
        fuzz_parts(input, was, is);
        break;
    case 2:
        fuzz_build(input, count, was, is);
        break;
    default:
        fuzz_send(input, count, was, is);
    }
    FUZZ_CHECK(equal(was.message.bytes(), was.model));
    FUZZ_CHECK(equal(is.message.bytes(), is.model));
}
