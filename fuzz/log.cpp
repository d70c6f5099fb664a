// Every message format of the library, with any values, is formatted as by snprintf, and reaches
// the logs that take it: cut at 511 characters, with and without its marker, unspoilt by other
// sinks, and also while a sink logs a message of its own.
#include "client/log.h"

#include "client/client_state.h"
#include "fuzz/platform.h"

#include <string>

namespace {

using namespace fuzz;

struct Values {
    std::string text[2];
    std::uint32_t word[3];
    std::uint16_t half;
    std::uint8_t byte;
};

struct Place {
    vell::log_function function;
    vell::log_line line;
};

// Names of every length that is copied differently, and one with conversions in it.
constexpr Place places[] = {
    {"", 0},           {"a", 7},          {"ab", 42},
    {"abc", 255},      {"abcd", 1000},    {"abcde", 1206},
    {"abcdef", 9},     {"abcdefg", 1},    {"abcdefgh", 999},
    {"abcdefghi", 80}, {"100%d%s%", 101}, {"vell_handle_l2_mc_update_flood_ltl_resp", 99999}};

struct Message {
    void (*log)(const Place &, const Values &);
    void (*expect)(const Place &, const Values &);
};

// MESSAGE(level, format, values...): one message, for the library and for the model.
#define MESSAGE(level, ...)                                                                        \
    {                                                                                              \
        [](const Place &place, [[maybe_unused]] const Values &v) {                                 \
            vell::vell_log(vell::log_##level, place.function, place.line, __VA_ARGS__);            \
        },                                                                                         \
            [](const Place &place, [[maybe_unused]] const Values &v) {                             \
                expect_message(place, __VA_ARGS__);                                                \
            }                                                                                      \
    }

#define expect_message(place, format, ...)                                                         \
    expect_log(format, (place).function.name, (place).line.number __VA_OPT__(, ) __VA_ARGS__)

// The library's formats with the types of their values; a test compares them with the sources.
constexpr Message messages[] = {
    MESSAGE(error, "%s(%d):ERROR: At index %d old VLAN %d not equal to new VLAN %d\n", v.half,
            v.word[0], v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: Building NERB request payload failed 0x%x\n", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: Client has not register\n"),
    MESSAGE(error, "%s(%d):ERROR: Client not registered\n"),
    MESSAGE(error, "%s(%d):ERROR: Failed to get if_index fields for 0x%x, status 0x%x\n", v.word[0],
            v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: Failed to get if_index type for 0x%x, status 0x%x\n", v.word[0],
            v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n"),
    MESSAGE(error, "%s(%d):ERROR: KYT send failed\n"),
    MESSAGE(error, "%s(%d):ERROR: Memory allocation failed\n"),
    MESSAGE(error, "%s(%d):ERROR: NERB get returned err=%d with entry count (%d)", v.word[0],
            v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: NERB get returned err=%d, status=%d, count=%d", v.word[0],
            v.word[1], v.half),
    MESSAGE(error, "%s(%d):ERROR: NERB info returned err=%d in parsing resp, status:%d", v.word[0],
            v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: NERB ltl alloc API returned error %d\n", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: NERB ltl dealloc API returned error %d\n", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: NERB parm returned err=%d, status=%d", v.word[0], v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: NERB parse rsp status=%d", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: NERB returned status=%d for get resp info\n", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: NERB returned status=%d with entry count (%d)\n", v.word[0],
            v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: NERB rsp returned err=%d, status=%d", v.word[0], v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: Nack for vlan %d status %d\n", v.word[0], v.word[1]),
    MESSAGE(error, "%s(%d):ERROR: Null parameters\n"),
    MESSAGE(error, "%s(%d):ERROR: Old count %d not equal to new count %d\n", v.half, v.byte),
    MESSAGE(error, "%s(%d):ERROR: Send stat req to vell failed.. \n"),
    MESSAGE(error, "%s(%d):ERROR: Sending LTL update to NERB failed 0x%x\n", v.word[0]),
    MESSAGE(error, "%s(%d):ERROR: Set LC bitmask failed\n"),
    MESSAGE(error, "%s(%d):ERROR: failure to build nerb payload\n"),
    MESSAGE(error, "%s(%d):ERROR: kyt_send failed : %d\n", static_cast<int>(v.word[0])),
    MESSAGE(error, "%s(%d):ERROR: p_ifidx alloc failed"),
    MESSAGE(error, "%s(%d):ERROR: shared memory segment name length error\n"),
    MESSAGE(trace, "%s(%d):TRACE: %s: Sent Clear counters request\n", v.text[0].c_str()),
    MESSAGE(trace, "%s(%d):TRACE: Delta for vlan %d\n", v.word[0]),
    MESSAGE(trace, "%s(%d):TRACE: FLC_BITMASK: 0x%x\n", v.word[0]),
    MESSAGE(trace, "%s(%d):TRACE: Failed to update client_id\n"),
    MESSAGE(trace, "%s(%d):TRACE: IfIdx: %d Op: %d\n", v.word[0], v.word[1]),
    MESSAGE(trace, "%s(%d):TRACE: Num of msgs %d\n", v.half),
    MESSAGE(trace, "%s(%d):TRACE: Old and new OIF lists both NULL, return SUCCESS\n"),
    MESSAGE(trace, "%s(%d):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n"),
    MESSAGE(trace, "%s(%d):TRACE: Send lkup mode change\n"),
    MESSAGE(trace, "%s(%d):TRACE: Sent OOB begin marker\n"),
    MESSAGE(trace, "%s(%d):TRACE: Sent OOB end marker\n"),
    MESSAGE(trace, "%s(%d):TRACE: Skipping SVI interface: %x\n", v.word[0]),
    MESSAGE(trace, "%s(%d):TRACE: Update list:\n"),
    MESSAGE(trace, "%s(%d):TRACE: client already registered? client-id: %d, vell_client_q: %d\n",
            v.byte, v.word[0]),
};

// Formats whose text can be as long as it takes to have the cut in any part of them.
constexpr Message long_messages[] = {
    MESSAGE(error, "%s(%d):ERROR: "),
    MESSAGE(error, "%s(%d):ERROR: %s", v.text[0].c_str()),
    MESSAGE(error, "%s(%d):ERROR: %s%d, 0x%x (%s)\n", v.text[0].c_str(), v.word[0], v.word[1],
            v.text[1].c_str()),
    MESSAGE(error, "%s(%d):ERROR: %s is at its end\n", v.text[0].c_str()),
    MESSAGE(trace, "%s(%d):TRACE: "),
    MESSAGE(trace, "%s(%d):TRACE: %s", v.text[0].c_str()),
    MESSAGE(trace, "%s(%d):TRACE: %s and %s\n", v.text[0].c_str(), v.text[1].c_str()),
    MESSAGE(trace, "%s(%d):TRACE: %d: %s%x%d%d%s %d.", v.word[0], v.text[0].c_str(), v.word[1],
            static_cast<std::int16_t>(v.half), v.byte, v.text[1].c_str(),
            static_cast<int>(v.word[2])),
};

// Short, around the cuts, or of any length, of every character but NUL.
std::string make_text(Input &input) {
    const std::uint8_t choice = input.byte();
    std::size_t length = choice % 32;
    if (choice >= 0xc0)
        length = input.half() % 1500;
    else if (choice >= 0x60)
        length = 440 + input.byte() % 80;
    std::string text(length, ' ');
    std::uint8_t next = input.byte();
    for (char &c : text) {
        next = static_cast<std::uint8_t>(next % 255 + 1);
        c = static_cast<char>(next);
    }
    return text;
}

Values make_values(Input &input) {
    return {.text = {make_text(input), make_text(input)},
            .word = {input.number(), input.number(), input.number()},
            .half = input.half(),
            .byte = input.byte()};
}

const Message &choose(Input &input) {
    return input.flip() ? long_messages[input.below(std::size(long_messages))]
                        : messages[input.below(std::size(messages))];
}

} // namespace

void fuzz::run(Input &input) {
    vell_client_uuid = input.number();
    setup().log_uuid = vell_client_uuid;
    const Message &message = choose(input);
    const Place &place = places[input.below(std::size(places))];
    const Values values = make_values(input);
    if (input.one_in(4)) {
        const Message *const inner = &choose(input);
        const Place *const inner_place = &places[input.below(std::size(places))];
        const Values inner_values = {
            .text = {"", "inner"}, .word = {input.number(), 2, 3}, .half = 4, .byte = 5};
        setup().within_comes_first = input.flip();
        setup().log_within = [=] { inner->log(*inner_place, inner_values); };
        setup().expect_within = [=] { inner->expect(*inner_place, inner_values); };
    }
    library([&] { message.log(place, values); });
    message.expect(place, values);
}
