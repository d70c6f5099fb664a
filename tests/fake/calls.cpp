#include "fake/calls.h"

#include <cctype>
#include <cstdio>

namespace fake {
namespace {

std::string hex(std::uint64_t number) {
    char text[19];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string decimal(std::uint32_t number) {
    return std::to_string(number);
}

std::string address(const void *pointer) {
    return pointer == nullptr ? "null"
                              : "address " + hex(reinterpret_cast<std::uintptr_t>(pointer));
}

std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            result += "\\n";
        else if (std::isprint(byte) != 0)
            result += c;
        else
            result += "\\" + hex(byte);
    }
    return result + "\"";
}

std::string name_of(Reference reference) {
    switch (reference) {
    case Reference::null:
        return "null";
    case Reference::callers:
        return "the caller's";
    case Reference::own:
        return "the library's own";
    }
    return "?";
}

// Rows of 16 with their offsets; of rows that repeat only the first is shown.
std::string dump(const bytes &raw) {
    std::string result = decimal(static_cast<std::uint32_t>(raw.size())) + " bytes";
    std::string last_row;
    for (std::size_t row = 0; row < raw.size(); row += 16) {
        std::string text;
        for (std::size_t i = row; i < row + 16 && i < raw.size(); ++i) {
            char pair[4];
            std::snprintf(pair, sizeof pair, " %02x", raw[i]);
            text += pair;
        }
        if (text == last_row) {
            if (result.back() != '*')
                result += "\n        *";
            continue;
        }
        char offset[24];
        std::snprintf(offset, sizeof offset, "\n        %4zu:", row);
        result += offset + text;
        last_row = text;
    }
    return result;
}

std::string words(const std::vector<std::uint32_t> &numbers) {
    std::string result = decimal(static_cast<std::uint32_t>(numbers.size())) + " words";
    for (const auto number : numbers)
        result += " " + decimal(number);
    return result;
}

std::string log_record(const bytes &record) {
    if (record.size() < 5 || record.back() != 0)
        return "no log record: " + dump(record);
    const auto level = static_cast<std::uint32_t>(record[0] | record[1] << 8 | record[2] << 16) |
                       static_cast<std::uint32_t>(record[3]) << 24;
    return "level " + decimal(level) + ", length " +
           decimal(static_cast<std::uint32_t>(record.size())) + ", " +
           quoted(std::string(record.begin() + 4, record.end() - 1));
}

Description describe_one(const Send &c) {
    return {"kyt_send",
            {{"queue", hex(c.queue)},
             {"node", hex(c.node)},
             {"sap", decimal(c.sap)},
             {"opcode", decimal(c.opcode)},
             {"reference", name_of(c.reference)},
             {"flags", hex(c.flags)},
             {"options", words(c.options)},
             {"payload", dump(c.payload)}}};
}

Description describe_one(const Drop &c) {
    return {
        "kyt_drop",
        {{"queue", hex(c.queue)}, {"reference", name_of(c.reference)}, {"send", decimal(c.send)}}};
}

Description describe_one(const PayloadGet &c) {
    return {"kyt_payload_get", {{"message", address(c.message)}}};
}

Description describe_one(const AppendTlv &c) {
    return {"tlv_aligned_array_append_tlv",
            {{"array", address(c.array)},
             {"position", address(c.position)},
             {"size", address(c.size)},
             {"*position", hex(c.position_was)},
             {"*size", hex(c.size_was)},
             {"capacity", decimal(c.capacity)},
             {"type", decimal(c.type)},
             {"length", decimal(c.length)},
             {"value", address(c.value)},
             {"reserved", hex(c.reserved)},
             {"*value", dump(c.raw)}}};
}

Description describe_one(const NextTlv &c) {
    return {"tlv_aligned_array_get_next_tlv",
            {{"array", address(c.array)},
             {"*value", address(c.value_was)},
             {"reserved", hex(c.reserved)},
             {"*cursor", hex(c.cursor_was)}}};
}

Description describe_one(const NumTlvs &c) {
    return {"tlv_aligned_array_get_num_tlvs",
            {{"array", address(c.array)}, {"reserved", hex(c.reserved)}}};
}

Description describe_one(const SizeGet &c) {
    return {"tlv_aligned_array_size_get",
            {{"array", address(c.array)}, {"reserved", hex(c.reserved)}}};
}

Description describe_one(const AddressCopy &c) {
    return {"ipv6_addr_copy", {{"from", address(c.from)}, {"to", address(c.to)}}};
}

Description describe_one(const IfIndexType &c) {
    return {"if_index_get_type", {{"if_index", hex(c.if_index)}}};
}

Description describe_one(const IfIndexFields &c) {
    return {"if_index_phy_eth_get_fields", {{"if_index", hex(c.if_index)}}};
}

Description describe_one(const LtlList &c) {
    return {c.request == ListRequest::alloc ? "nerb_send_batched_mcast_alloc_req"
                                            : "nerb_send_batched_mcast_mod_req",
            {{"queue", hex(c.queue)},
             {"cookie", hex(c.cookie)},
             {"payload", dump(c.payload)},
             {"list", dump(c.list)}}};
}

Description describe_one(const LtlRelease &c) {
    return {"nerb_send_batched_mcast_dealloc_msg",
            {{"queue", hex(c.queue)},
             {"count", decimal(c.count)},
             {"cookie", hex(c.cookie)},
             {"entries", dump(c.entries)}}};
}

Description describe_one(const FloodUpdate &c) {
    return {
        "nerb_send_flood_ltl_update_req",
        {{"queue", hex(c.queue)}, {"context", address(c.context)}, {"payload", dump(c.payload)}}};
}

Description describe_one(const RspStatus &c) {
    return {"nerb_parse_rsp_status", {{"rsp", address(c.rsp)}}};
}

Description describe_one(const RspEntryCount &c) {
    return {"nerb_parse_rsp_get_entry_count",
            {{"rsp", address(c.rsp)}, {"*count", decimal(c.count_was)}}};
}

Description describe_one(const RspInfo &c) {
    return {"nerb_parse_rsp_get_rsp_info", {{"rsp", address(c.rsp)}, {"count", decimal(c.count)}}};
}

Description describe_one(const AllocEntryCount &c) {
    return {"nerb_parse_alloc_ltl_get_entry_count",
            {{"rsp", address(c.rsp)}, {"kind", decimal(c.kind)}, {"*count", decimal(c.count_was)}}};
}

Description describe_one(const AllocRspParm &c) {
    return {"nerb_parse_alloc_ltl_rsp_parm",
            {{"rsp", address(c.rsp)},
             {"status", c.same_status ? "as before" : "another"},
             {"kind", decimal(c.kind)}}};
}

Description describe_one(const HistoryCheck &c) {
    return {"tessel_hist_event_subtype_check",
            {{"module", hex(c.module)}, {"level", decimal(c.level)}}};
}

Description describe_one(const HistoryEvent &c) {
    return {"tessel_hist_event", {{"module", hex(c.module)}, {"record", log_record(c.record)}}};
}

Description describe_one(const ConsoleCheck &c) {
    return {"tessel_chk_int",
            {{"level", decimal(c.level)},
             {"first", decimal(c.first)},
             {"second", decimal(c.second)},
             {"third", decimal(c.third)}}};
}

Description describe_one(const DebugPrint &c) {
    return {"debug_print",
            {{"first", decimal(c.first)},
             {"modname", address(c.modname)},
             {"second", decimal(c.second)},
             {"format", quoted(c.format)},
             {"text", quoted(c.text)}}};
}

Description describe_one(const ClientLog &c) {
    return {"tessel_his_log_event_for_uuid_inst",
            {{"uuid", decimal(c.uuid)},
             {"module", hex(c.module)},
             {"first", decimal(c.first)},
             {"second", decimal(c.second)},
             {"record", log_record(c.record)}}};
}

std::string joined(const Description &description) {
    std::string result;
    for (const auto &[name, text] : description.arguments)
        result += (result.empty() ? "" : ", ") + name + ": " + text;
    return description.function + "(" + result + ")";
}

} // namespace

Description describe(const Call &call) {
    return std::visit([](const auto &one) { return describe_one(one); }, call);
}

std::string to_string(const Call &call) {
    return joined(describe(call));
}

std::string to_line(const Call &call) {
    auto description = describe(call);
    for (auto &argument : description.arguments)
        argument.text = argument.text.substr(0, argument.text.find('\n'));
    return joined(description);
}

} // namespace fake
