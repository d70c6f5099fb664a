// No operation allocates memory, whether it succeeds, is refused or fails, but those whose purpose
// it is.
#include "allocation_counter.h"
#include "client/log.h"
#include "library_test.h"
#include "route_buffer.h"

#include <cstdlib>
#include <string>

namespace {

using fake::platform;

TEST(AllocationCounterTest, SeesEveryWayToAllocate) {
    const AllocationCounter counter;
    void *volatile block = std::malloc(10);
    block = std::realloc(block, 20);
    std::free(block);
    block = std::calloc(2, 10);
    std::free(block);
    EXPECT_EQ(counter.allocations(), 3U);
    block = operator new(10);
    operator delete(block);
    block = std::aligned_alloc(64, 64);
    std::free(block);
    EXPECT_EQ(counter.allocations(), 5U);
}

TEST(AllocationCounterTest, LeavesThePlatformOut) {
    const AllocationCounter counter;
    const fake::InPlatform inside;
    void *volatile block = std::malloc(10);
    std::free(block);
    EXPECT_EQ(counter.allocations(), 0U);
}

class AllocationTest : public LibraryTest {
protected:
    // Runs what `operation` does and takes the calls that it made.
    template <typename Operation>
    static void expect_no_allocation(const char *name, Operation operation) {
        unsigned allocations = 0;
        {
            const AllocationCounter counter;
            operation();
            allocations = counter.allocations();
        }
        EXPECT_EQ(allocations, 0U) << name;
        fake::take_calls();
    }

    void run_registration() {
        expect_no_allocation("vell_register", [] { vell_register(7, 5, "seg"); });
        expect_no_allocation("vell_register, refused", [] { vell_register(7, 5, "seg"); });
        expect_no_allocation("vell_register_ack", [] { vell_register_ack(nullptr); });
        expect_no_allocation("vell_deregister", [] { vell_deregister(); });
        expect_no_allocation("vell_register_kyt_q", [] { vell_register_kyt_q(0); });
        expect_no_allocation("vell_register, name too long",
                             [this] { vell_register(7, 5, long_name_.c_str()); });
    }

    void run_flags() {
#define RUN_SETTER(bit, setter)                                                                    \
    expect_no_allocation(#setter, [this] { vell_mrib_set_flags_##setter(route()); });
#define RUN_FLAG(bit, setter, tester)                                                              \
    RUN_SETTER(bit, setter)                                                                        \
    expect_no_allocation(#tester, [this] { vell_mrib_is_flags_##tester(route()); });
        VELL_MRIB_FLAG_TABLE(RUN_FLAG, RUN_SETTER)
#undef RUN_FLAG
#undef RUN_SETTER
    }

    void run_fields() {
        expect_no_allocation("the record's fields", [this] {
            vell_mrib_set_opcode(route(), 1);
            vell_mrib_set_flags(route(), 1);
            vell_mrib_set_flag_init(route());
            vell_mrib_set_source(route(), 1, 2);
            vell_mrib_set_group(route(), 1, 2);
            vell_mrib_set_epoch(route(), 1);
            vell_mrib_set_rpfif(route(), 1);
            vell_mrib_get_rpfif(route());
            vell_mrib_set_df_ordinal(route(), 1);
            vell_mrib_set_table_id(route(), 1);
        });
    }

    void run_lists() {
        expect_no_allocation("the OIF list", [this] {
            vell_mrib_add_oifs_begin();
            for (std::uint32_t i = 0; i < 3000; ++i) {
                vell_mrib_add_reg_oif(i);
                vell_mrib_add_vprime_oif(i);
                vell_mrib_add_duxsvi_oif(i);
                vell_mrib_add_duxbidir_rpf_oif(i);
                vell_mrib_add_dux_bidir_rpf_duxsvi_oif(i);
            }
            vell_mrib_add_oifs_end(route());
        });
        expect_no_allocation("the MTI list", [this] {
            vell_mrib_add_mti_encap_begin();
            for (std::uint32_t i = 0; i < 7000; ++i)
                vell_mrib_add_mti_encap(i, 2, 3, 4);
            vell_mrib_add_mti_encap_end(route());
        });
        expect_no_allocation("the GLT list", [this] {
            vell_mrib_add_glt_encap_begin();
            for (std::uint32_t i = 0; i < 2000; ++i)
                vell_mrib_add_glt_encap(i, 2, 3, 4, "data", 4, 5);
            vell_mrib_add_glt_encap_end(route());
        });
        expect_no_allocation("the whole lists and the sizes", [this] {
            vell_mrib_test_add_oiflist(route(), reinterpret_cast<vell_oif_entry *>(vell_mrib_buf),
                                       10000);
            vell_mrib_test_add_mti_oif(route(), reinterpret_cast<vell_mti_entry *>(vell_mrib_buf),
                                       7000);
            vell_mrib_test_add_glt_oif(route(), reinterpret_cast<vell_glt_entry *>(vell_mrib_buf),
                                       2000);
            vell_mrib_get_route_size(route());
            vell_mrib_get_max_route_size(1, 2, 3);
        });
    }

    void run_updates() {
        expect_no_allocation("vell_send_v4_mroute_update", [this] {
            vell_send_v4_mroute_update(message_, sizeof message_, 1, 2, &reference_);
        });
        expect_no_allocation("vell_send_v6_mroute_update",
                             [] { vell_send_v6_mroute_update(1, 2, 3); });
        expect_no_allocation("the dux roles", [] {
            vell_mrib_send_dux_role_update(5);
            vell_mrib_send_dux_role_forward_all();
            vell_mrib_send_dux_role_forward_even();
            vell_mrib_send_dux_role_forward_odd();
            vell_mrib_send_dux_role_forward_none();
        });
        expect_no_allocation("vell_mrib_get_mroute_tlv_info", [this] {
            std::uint32_t counts[3];
            vell_mrib_get_mroute_tlv_info(route(), &counts[0], &counts[1], &counts[2]);
        });
    }

    void run_deltas_and_ltl_indexes() {
        expect_no_allocation("a flood set's delta", [this] {
            vell_l2_oif was[3] = {}, is[3] = {};
            was[0].value.if_index = 9;
            is[0].value.if_index = 8;
            is[1].flags = VELL_L2_OIF_SVI;
            vell_find_oiflist_delta(was, 3, is, 3, reinterpret_cast<vell_flood_delta *>(message_));
            vell_find_oiflist_delta(was, 0, is, 0, nullptr);
            std::uint32_t mask = 0;
            vell_set_flc_bitmask(&mask, 3);
            vell_oif_comp(was, is);
        });
        expect_no_allocation("a flood update that is not built", [this] {
            vell_send_l2_mc_update_flood_ltl(message_, 0, 1, message_, 0, 2, message_);
            vell_send_l2_mc_update_flood_ltl(nullptr, 0, 1, message_, 0, 1, message_);
        });
        expect_no_allocation("answers of the LTL manager", [this] {
            std::uint32_t results[2];
            std::uint8_t *message = nullptr;
            vell_nerb_handle_l2_response(message_, &results[0], &results[1]);
            vell_nerb_handle_l2_alloc_response(message_, &results[0], &results[1]);
            vell_handle_l2_mc_update_flood_ltl_resp(message_, &message);
        });
        expect_no_allocation("vell_nerb_l2_ltl_dealloc", [] { vell_nerb_l2_ltl_dealloc(1, 2, 3); });
    }

    void run_everything() {
        platform().callers_reference = &reference_;
        platform().holds_tlvs({{.type = 0, .length = 4, .value = {1, 0, 0, 0}}});
        run_registration();
        run_flags();
        run_fields();
        run_lists();
        run_updates();
        run_deltas_and_ltl_indexes();
    }

    vell_mrib_route *route() {
        return buffer_.route();
    }

    RouteBuffer buffer_{1};
    const std::string long_name_ = std::string(300, 'n');
    std::uint8_t message_[100] = {};
    kyt_msg_ref reference_ = {};
};

TEST_F(AllocationTest, UnregisteredNothingAllocates) {
    run_everything();
}

TEST_F(AllocationTest, AcknowledgedNothingAllocates) {
    set_client_state({.id = 9, .queue = 7, .uuid = 5});
    run_everything();
    set_client_state({.id = 9, .queue = 7, .uuid = 5});
    run_updates();
}

TEST_F(AllocationTest, NothingAllocatesWhenThePlatformFails) {
    platform().kyt_send.returns(-1);
    platform().append_tlv.returns(1);
    platform().next_tlv.returns(1);
    set_client_state({.id = 9, .queue = 7, .uuid = 5});
    run_everything();
    run_updates();
}

TEST_F(AllocationTest, LogMessagesOfAnyLengthDoNotAllocate) {
    for (const std::size_t length : {0U, 10U, 600U, 100000U}) {
        const std::string text(length, 'x');
        expect_no_allocation("vell_log", [&] {
            vell::vell_log(vell::log_error, "f", 7, "%s(%d):ERROR: %s %d %x\n", text.c_str(), -1,
                           2U);
            vell::vell_log(vell::log_trace, "f", 7, "%s(%d):TRACE: %s\n", text.c_str());
        });
    }
}

} // namespace
