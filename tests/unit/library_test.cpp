#include "library_test.h"

#include <algorithm>
#include <iterator>

std::ostream &operator<<(std::ostream &out, const ClientState &state) {
    return out << "id " << state.id << ", queue " << state.queue << ", uuid " << state.uuid;
}

ClientState client_state() {
    return {vell_client_id, vell_client_q, vell_client_uuid};
}

void set_client_state(const ClientState &state) {
    vell_client_id = static_cast<std::uint8_t>(state.id);
    vell_client_q = state.queue;
    vell_client_uuid = state.uuid;
}

std::ostream &operator<<(std::ostream &out, const TlvCursor &cursor) {
    return out << "address " << cursor.address << ", size " << cursor.size;
}

TlvCursor tlv_cursor() {
    return {p_current_tlv_addr, current_tlv_size};
}

void set_tlv_cursor(const TlvCursor &cursor) {
    p_current_tlv_addr = cursor.address;
    current_tlv_size = cursor.size;
}

void reset_library() {
    fake::reset_platform();
    set_client_state({});
    set_tlv_cursor({});
    vell_oifs = nullptr;
    mti_oifs = nullptr;
    glt_oifs = nullptr;
    std::fill(std::begin(vell_mrib_buf), std::end(vell_mrib_buf), std::uint8_t{0});
}

LibraryTest::LibraryTest() {
    reset_library();
}

void LibraryTest::TearDown() {
    EXPECT_NO_CALLS() << "nobody expected these calls";
    EXPECT_EQ(fake::platform().unreleased_references(), 0U);
}

void LibraryTest::close_log_gates() {
    fake::platform().history_check.returns(1);
    fake::platform().console_check.returns(0);
}

void LibraryTest::register_client(std::uint32_t queue, std::uint32_t uuid) {
    ASSERT_EQ(vell_register(queue, uuid, "name"), 1U);
    fake::reset_platform();
}

void LibraryTest::acknowledge(std::uint8_t id) {
    std::uint8_t payload[] = {id, 1};
    fake::platform().kyt_payload_get.returns(payload);
    ASSERT_EQ(vell_register_ack(nullptr), id == 0 ? 0U : 1U);
    fake::reset_platform();
}

void LibraryTest::become_acknowledged(const ClientState &state) {
    register_client(state.queue, state.uuid);
    acknowledge(static_cast<std::uint8_t>(state.id));
    ASSERT_EQ(client_state(), state);
}
