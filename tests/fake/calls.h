// The platform calls that the fake platform records: one record a function, with everything the
// call was given.
#pragma once

#include "tests/support/bytes.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace fake {

// Whose message reference a call was given: the object that the test named as the caller's, or
// another, which then is the library's own.
enum class Reference { null, callers, own };

struct Send {
    std::uint32_t queue = 0;
    std::uint32_t node = 0;
    std::uint32_t sap = 0;
    std::uint32_t opcode = 0;
    bytes payload = {};
    Reference reference = Reference::own;
    std::uint32_t flags = 0;
    std::vector<std::uint32_t> options = {};

    bool operator==(const Send &) const = default;
};

// `send` says whose reference was released: the first send's is 1. It is 0 when the object at that
// address does not hold what a send wrote there, or was released before.
struct Drop {
    std::uint32_t queue = 0;
    Reference reference = Reference::own;
    unsigned send = 0;

    bool operator==(const Drop &) const = default;
};

struct PayloadGet {
    const void *message = nullptr;

    bool operator==(const PayloadGet &) const = default;
};

// `position_was` and `size_was` are what the two addresses held; `bytes` are `length` bytes of the
// value.
struct AppendTlv {
    const void *array = nullptr;
    const std::uint32_t *position = nullptr;
    const std::uint32_t *size = nullptr;
    std::uint32_t position_was = 0;
    std::uint32_t size_was = 0;
    std::uint32_t capacity = 0;
    std::uint16_t type = 0;
    std::uint16_t length = 0;
    const void *value = nullptr;
    bytes raw = {};
    std::uint32_t reserved = 0;

    bool operator==(const AppendTlv &) const = default;
};

// `value_was` and `cursor_was` are what the two addresses held.
struct NextTlv {
    const void *array = nullptr;
    const void *value_was = nullptr;
    std::uint32_t reserved = 0;
    std::uint32_t cursor_was = 0;

    bool operator==(const NextTlv &) const = default;
};

struct NumTlvs {
    const void *array = nullptr;
    std::uint32_t reserved = 0;

    bool operator==(const NumTlvs &) const = default;
};

struct SizeGet {
    const void *array = nullptr;
    std::uint32_t reserved = 0;

    bool operator==(const SizeGet &) const = default;
};

// The address's 16 bytes are not part of it: they are seen where they arrive.
struct AddressCopy {
    const void *from = nullptr;
    const void *to = nullptr;

    bool operator==(const AddressCopy &) const = default;
};

struct IfIndexType {
    std::uint32_t if_index = 0;

    bool operator==(const IfIndexType &) const = default;
};

struct IfIndexFields {
    std::uint32_t if_index = 0;

    bool operator==(const IfIndexFields &) const = default;
};

// A request with an interface list. Of the 26 bytes of `payload` those of the list's address are 0,
// and the list is in `list`, in host byte order.
enum class ListRequest { alloc, modify };
struct LtlList {
    ListRequest request = ListRequest::alloc;
    std::uint32_t queue = 0;
    bytes payload = {};
    bytes list = {};
    std::uint32_t cookie = 0;

    bool operator==(const LtlList &) const = default;
};

// `entries` has 12 bytes for each that the call said there are.
struct LtlRelease {
    std::uint32_t queue = 0;
    std::uint32_t count = 0;
    bytes entries = {};
    std::uint32_t cookie = 0;

    bool operator==(const LtlRelease &) const = default;
};

// `payload` is as long as its counts say.
struct FloodUpdate {
    std::uint32_t queue = 0;
    bytes payload = {};
    const void *context = nullptr;

    bool operator==(const FloodUpdate &) const = default;
};

struct RspStatus {
    const void *rsp = nullptr;

    bool operator==(const RspStatus &) const = default;
};

// `count_was` is what the address held.
struct RspEntryCount {
    const void *rsp = nullptr;
    std::uint32_t count_was = 0;

    bool operator==(const RspEntryCount &) const = default;
};

struct RspInfo {
    const void *rsp = nullptr;
    std::uint32_t count = 0;

    bool operator==(const RspInfo &) const = default;
};

// `count_was` is what the address held.
struct AllocEntryCount {
    const void *rsp = nullptr;
    std::uint32_t kind = 0;
    std::uint16_t count_was = 0;

    bool operator==(const AllocEntryCount &) const = default;
};

// `same_status`: the status goes where that of the number of entries went.
struct AllocRspParm {
    const void *rsp = nullptr;
    bool same_status = false;
    std::uint32_t kind = 0;

    bool operator==(const AllocRspParm &) const = default;
};

struct HistoryCheck {
    std::uint32_t module = 0;
    std::uint32_t level = 0;

    bool operator==(const HistoryCheck &) const = default;
};

// `record` has as many bytes as the call said.
struct HistoryEvent {
    std::uint32_t module = 0;
    bytes record = {};

    bool operator==(const HistoryEvent &) const = default;
};

struct ConsoleCheck {
    std::uint32_t level = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::uint32_t third = 0;

    bool operator==(const ConsoleCheck &) const = default;
};

struct DebugPrint {
    std::uint32_t first = 0;
    const void *modname = nullptr;
    std::uint32_t second = 0;
    std::string format = {};
    std::string text = {};

    bool operator==(const DebugPrint &) const = default;
};

// `record` has as many bytes as the call said.
struct ClientLog {
    std::uint32_t uuid = 0;
    std::uint32_t module = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    bytes record = {};

    bool operator==(const ClientLog &) const = default;
};

using Call = std::variant<Send, Drop, PayloadGet, AppendTlv, NextTlv, NumTlvs, SizeGet, AddressCopy,
                          IfIndexType, IfIndexFields, LtlList, LtlRelease, FloodUpdate, RspStatus,
                          RspEntryCount, RspInfo, AllocEntryCount, AllocRspParm, HistoryCheck,
                          HistoryEvent, ConsoleCheck, DebugPrint, ClientLog>;
using Calls = std::vector<Call>;

// A call as people read it: the function, and each argument by name.
struct Argument {
    std::string name;
    std::string text;
};
struct Description {
    std::string function;
    std::vector<Argument> arguments;
};
Description describe(const Call &call);

// "kyt_drop(queue: 0x7, reference: the library's own, send: 1)". Bytes follow in rows, or are only
// counted in a line.
std::string to_string(const Call &call);
std::string to_line(const Call &call);

} // namespace fake
