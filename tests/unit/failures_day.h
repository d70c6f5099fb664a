// A client's day: every exported operation, in an order that a client could call them, with what
// each promises when a platform function that it calls fails, or an allocation.
#pragma once

#include "library_test.h"

#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

// Everything that the library keeps from one call to the next. An address that may differ from day
// to day is only null or not.
struct LibraryState {
    ClientState client;
    TlvCursor tlvs;
    std::array<const void *, 3> lists; // OIFs, MTI and GLT encapsulations
    bytes scratch;                     // as much of it as the day uses
    bytes ltl_request;
    bytes ltl_release;

    bool operator==(const LibraryState &) const = default;
};
LibraryState library_state();
void clear_ltl_requests();

// Everything that can be seen of one call: what it returned and called, and what it left behind.
struct Seen {
    std::uint32_t result = 0;
    fake::Calls calls;
    LibraryState state;
    bytes buffer;                    // the caller's, which holds all inputs and outputs
    unsigned callers_references = 0; // message references that the caller must release now

    bool operator==(const Seen &) const = default;
};

// A call in which something fails. It starts with what holds for most: 0 is returned, nothing is
// called after what failed, and the library and the buffer are as they were before the call.
struct Failure {
    const Seen &undisturbed;
    std::string operation;
    std::uint32_t status; // what the platform function returned; 0 when memory was short
    bool written;         // whether it wrote its outputs all the same

    Seen expected;
    std::size_t next_call; // that follows in the undisturbed call

    // A message is logged. `format` and `values` are those after function, line and marker.
    template <typename... Values>
    void error_of(const std::string &function, int line, const char *format, Values... values) {
        log(::error_of(function, line, filled(format, values...), uuid()), "ERROR: ", format);
    }
    template <typename... Values>
    void error(int line, const char *format, Values... values) {
        error_of(operation, line, format, values...);
    }
    void trace(int line, const char *format) {
        log(trace_of(operation, line, format, uuid()), "TRACE: ", format);
    }

    // The library and the buffer are left as by a call that succeeds.
    void leaves_what_success_leaves() {
        expected.state = undisturbed.state;
        expected.buffer = undisturbed.buffer;
    }

    // The failure changes nothing more: the call goes on, but leaves out that many calls.
    void goes_on_without(std::size_t calls) {
        auto all = expected.calls;
        next_call += calls;
        all.insert(all.end(), undisturbed.calls.begin() + static_cast<std::ptrdiff_t>(next_call),
                   undisturbed.calls.end());
        expected = undisturbed;
        expected.calls = all;
    }

private:
    template <typename... Values>
    static std::string filled(const char *format, Values... values) {
        if constexpr (sizeof...(values) == 0) {
            return format;
        } else {
            char text[200];
            std::snprintf(text, sizeof text, format, values...);
            return text;
        }
    }
    std::uint32_t uuid() const { return expected.state.client.uuid; }
    void log(Message message, const std::string &marker, const char *format) {
        message.format = "%s(%d):" + marker + format;
        fake::add(expected.calls, logged(message));
    }
};
using Promise = std::function<void(Failure &)>;

enum class Needs { nothing, queue, acknowledged_client };

struct Operation {
    const char *name;
    std::uint32_t (*call)(std::uint8_t *buffer);
    std::uint32_t result = 0;
    Needs needs = Needs::nothing;

    // At the start of the buffer; the rest of it is a pattern.
    bytes input = {};

    // Prepares the platform's answers.
    void (*arrange)() = nullptr;

    // One for each call of a platform function whose result counts, in order, and one for each
    // allocation. The results of functions that append a TLV or take a message do not count.
    std::vector<Promise> failures = {};
    std::vector<Promise> without_memory = {};
    std::size_t calls_before_memory = 0;

    // Whether the caller gets a message reference when it succeeds.
    bool gives_reference = false;
};

std::vector<Operation> day_of_a_client();

inline constexpr std::size_t day_buffer_size = 1024;
extern kyt_msg_ref callers_reference;
