// Requests for LTL indexes: what is sent, what is left in the exported records, and that no copy of
// a list is lost.
#include "ltl_test.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

using fake::platform;
using Sizes = std::vector<std::size_t>;

class LtlRequestTest : public LtlTest {
protected:
    static constexpr std::size_t request_size = 26;
    static constexpr std::size_t list_at = 18;

    LtlRequestTest() {
        std::memset(request(), 0, request_size);
        ltl_dealloc = {};
    }

    // The exported count and the entry behind it.
    static std::uint8_t *request() {
        auto *volatile count = reinterpret_cast<std::uint8_t *>(&ltl_payload);
        return count;
    }

    static bytes left_in_request() { return {request(), request() + request_size}; }

    static bytes address_bytes(const void *address) {
        return word(reinterpret_cast<std::uintptr_t>(address));
    }
};

// The two that carry a list of interfaces, which are alike.
struct ListOperation {
    int (*call)(std::uint32_t, std::uint32_t, const std::uint32_t *, std::uint32_t, std::uint32_t);
    fake::ListRequest request;
    fake::Behaviour<std::uint32_t> fake::Platform::*behaviour;
    const char *function;
    int build_line;
    int send_line;
};
std::ostream &operator<<(std::ostream &out, const ListOperation &operation) {
    return out << operation.function;
}

class ListRequestTest : public LtlRequestTest, public testing::WithParamInterface<ListOperation> {
protected:
    int call(std::uint32_t count, const void *list) {
        return GetParam().call(0x11121314, count, static_cast<const std::uint32_t *>(list),
                               0x21222324, 0x31323334);
    }
    int call(const bytes &list) {
        return call(static_cast<std::uint32_t>(list.size() / 4), list.data());
    }

    fake::LtlList request_sent(const bytes &payload, const bytes &list,
                               std::uint32_t queue = client.queue) const {
        return {.request = GetParam().request,
                .queue = queue,
                .payload = payload,
                .list = list,
                .cookie = 0x31323334};
    }

    void sends_return(std::uint32_t result) const {
        (platform().*GetParam().behaviour).returns(result);
    }

    static fake::Calls no_memory() {
        return error_logged("vell_nerb_build_mcast_ltl_info", 1484, "p_ifidx alloc failed",
                            "p_ifidx alloc failed");
    }
    fake::Calls not_built() const {
        return error_logged(GetParam().function, GetParam().build_line,
                            "failure to build nerb payload\n", "failure to build nerb payload\n");
    }
    fake::Calls refused(std::uint32_t result) const {
        return error_logged(GetParam().function, GetParam().send_line,
                            "NERB ltl alloc API returned error %d\n",
                            "NERB ltl alloc API returned error " + signed_text(result) + "\n");
    }

    // The request for three interfaces.
    const bytes three_ = hex("41424344 51525354 61626364");
    const bytes payload_of_three_ = hex("0100"
                                        "14131211 24232221 00000000 0300 0000 00000000 00000000");
};

INSTANTIATE_TEST_SUITE_P(
    Lists, ListRequestTest,
    testing::Values(ListOperation{vell_nerb_l2_ltl_alloc, fake::ListRequest::alloc,
                                  &fake::Platform::ltl_alloc, "vell_nerb_l2_ltl_alloc", 1512, 1523},
                    ListOperation{vell_nerb_l2_ltl_modify, fake::ListRequest::modify,
                                  &fake::Platform::ltl_modify, "vell_nerb_l2_ltl_modify", 1576,
                                  1587}),
    [](const auto &operation) {
        return operation.param.request == fake::ListRequest::alloc ? "Alloc" : "Modify";
    });

TEST_P(ListRequestTest, SendsOneEntryAndACopyOfTheList) {
    EXPECT_EQ(call(three_), 1);
    EXPECT_CALLS(request_sent(payload_of_three_, three_));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{12});
    EXPECT_NE(platform().list_address, three_.data());
    EXPECT_EQ(platform().payload_address, request())
        << "the manager is given the address of ltl_payload";
}

TEST_P(ListRequestTest, LeavesTheRequestAsItWentOut) {
    EXPECT_EQ(call(three_), 1);
    fake::take_calls();
    EXPECT_EQ(left_in_request(),
              patched(payload_of_three_, list_at, address_bytes(platform().list_address)));
    EXPECT_EQ(ltl_payload.count, 1);
}

TEST_P(ListRequestTest, HoldsTheCopyUntilTheSendReturns) {
    std::size_t held = 0;
    (platform().*GetParam().behaviour).runs([&] { held = allocations_.unreleased(); });
    EXPECT_EQ(call(three_), 1);
    EXPECT_EQ(held, 1U);
    EXPECT_EQ(allocations_.unreleased(), 0U);
    fake::take_calls();
}

TEST_P(ListRequestTest, ReadsTheListFromAnyAddress) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        const auto raw = patched(pattern(20), 4 + offset, three_);
        auto list = raw;
        EXPECT_EQ(call(3, list.data() + 4 + offset), 1);
        EXPECT_CALLS(request_sent(payload_of_three_, three_));
        EXPECT_EQ(list, raw);
    }
}

TEST_P(ListRequestTest, NeedsNoClient) {
    set_client_state({.id = 0, .queue = 0, .uuid = client.uuid});
    EXPECT_EQ(call(three_), 1);
    EXPECT_CALLS(request_sent(payload_of_three_, three_, 0));
}

TEST_P(ListRequestTest, AnEmptyListMayBeNull) {
    EXPECT_EQ(call(0, nullptr), 1);
    EXPECT_CALLS(
        request_sent(hex("0100 14131211 24232221 00000000 0000 0000 00000000 00000000"), {}));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{0});
}

TEST_P(ListRequestTest, AnEmptyListThatGetsNoMemoryIsAFailure) {
    allocations_.fail();
    EXPECT_EQ(call(0, nullptr), 0);
    EXPECT_CALLS(no_memory(), not_built());
}

TEST_P(ListRequestTest, AListOf65537IsCopiedWholeAndCountedAs1) {
    constexpr std::uint32_t count = 65537;
    bytes list(count * 4);
    for (std::size_t i = 0; i < list.size(); ++i)
        list[i] = static_cast<std::uint8_t>(i / 4 * 7 + i % 4 * 31 + i / 1024);
    platform().list_size = count;
    EXPECT_EQ(call(list), 1);
    EXPECT_CALLS(
        request_sent(hex("0100 14131211 24232221 00000000 0100 0000 00000000 00000000"), list));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{count * 4});
}

TEST_P(ListRequestTest, AListOf513IsCountedIn16Bits) {
    const auto list = pattern(513 * 4);
    EXPECT_EQ(call(list), 1);
    EXPECT_CALLS(
        request_sent(hex("0100 14131211 24232221 00000000 0102 0000 00000000 00000000"), list));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{2052});
}

TEST_P(ListRequestTest, TheSizeOfACopyIsA32BitProduct) {
    platform().list_size = 2;
    EXPECT_EQ(call(0x40000002, three_.data()), 1);
    EXPECT_CALLS(request_sent(hex("0100 14131211 24232221 00000000 0200 0000 00000000 00000000"),
                              hex("41424344 51525354")));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{8});

    platform().list_size = 0;
    EXPECT_EQ(call(0x40000000, nullptr), 1);
    EXPECT_CALLS(
        request_sent(hex("0100 14131211 24232221 00000000 0000 0000 00000000 00000000"), {}));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{0});
}

TEST_P(ListRequestTest, WithoutMemoryNothingIsSent) {
    allocations_.fail();
    EXPECT_EQ(call(three_), 0);
    EXPECT_CALLS(no_memory(), not_built());
    EXPECT_EQ(allocations_.take_sizes(), Sizes{12});
    EXPECT_EQ(left_in_request(), patched(payload_of_three_, 0, hex("0000")))
        << "built, with a null list and no count";
    EXPECT_EQ(ltl_payload.count, 0);
}

TEST_P(ListRequestTest, WithoutMemoryTheCountOfTheLastRequestStays) {
    EXPECT_EQ(call(hex("71727374")), 1);
    fake::take_calls();
    allocations_.fail();
    EXPECT_EQ(call(three_), 0);
    EXPECT_CALLS(no_memory(), not_built());
    EXPECT_EQ(left_in_request(), payload_of_three_);
    EXPECT_EQ(ltl_payload.count, 1);
}

TEST_P(ListRequestTest, ARefusedRequestIsAnErrorAndReleasesTheCopy) {
    for (const auto result : failures) {
        SCOPED_TRACE(result);
        sends_return(result);
        EXPECT_EQ(call(three_), 0);
        EXPECT_CALLS(request_sent(payload_of_three_, three_), refused(result));
        EXPECT_EQ(allocations_.unreleased(), 0U);
        EXPECT_EQ(left_in_request(),
                  patched(payload_of_three_, list_at, address_bytes(platform().list_address)));
    }
}

TEST_P(ListRequestTest, TheNextRequestIsBuiltFromZero) {
    sends_return(7);
    EXPECT_EQ(call(three_), 0);
    fake::take_calls();
    sends_return(0);
    std::fill_n(request(), request_size, std::uint8_t{0xee});
    EXPECT_EQ(call(hex("71727374")), 1);
    EXPECT_CALLS(request_sent(hex("0100 14131211 24232221 00000000 0100 0000 00000000 00000000"),
                              hex("71727374")));
}

// A manager that asks for an index itself before it returns.
TEST_P(ListRequestTest, ARequestWithinARequestReleasesBothCopies) {
    (platform().*GetParam().behaviour).runs([&] {
        const auto depth = std::exchange(fake::platform_depth, 0);
        EXPECT_EQ(call(hex("71727374")), 1);
        fake::platform_depth = depth;
    });
    EXPECT_EQ(call(three_), 1);
    fake::take_calls();
    EXPECT_EQ(allocations_.take_sizes(), (Sizes{12, 4}));
    EXPECT_EQ(allocations_.unreleased(), 0U);
}

class BuildEntryTest : public LtlRequestTest {
protected:
    const bytes list_ = hex("41424344 51525354");
};

TEST_F(BuildEntryTest, FillsAllOfAnEntryAtAnyAddress) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        auto raw = pattern(32);
        auto *const entry = reinterpret_cast<vell_ltl_entry *>(raw.data() + offset);
        EXPECT_EQ(vell_nerb_build_mcast_ltl_info(
                      0x11121314, 2, reinterpret_cast<const std::uint32_t *>(list_.data()),
                      0x21222324, entry),
                  1);
        EXPECT_NO_CALLS();
        std::uint32_t *const copy = entry->if_indexes;
        ASSERT_NE(copy, nullptr);
        const auto filled = patched(hex("14131211 24232221 00000000 0200 0000 00000000 00000000"),
                                    16, address_bytes(copy));
        EXPECT_EQ(raw, patched(pattern(32), offset, filled));
        EXPECT_EQ(std::memcmp(copy, list_.data(), 8), 0);
        allocations_.release(copy);
    }
    EXPECT_EQ(left_in_request(), bytes(26));
}

TEST_F(BuildEntryTest, WithoutMemoryLeavesANullListAndError1484WithoutALineFeed) {
    auto raw = pattern(24);
    allocations_.fail();
    EXPECT_EQ(vell_nerb_build_mcast_ltl_info(
                  0x11121314, 2, reinterpret_cast<const std::uint32_t *>(list_.data()), 0x21222324,
                  reinterpret_cast<vell_ltl_entry *>(raw.data())),
              0);
    EXPECT_CALLS(error_logged("vell_nerb_build_mcast_ltl_info", 1484, "p_ifidx alloc failed",
                              "p_ifidx alloc failed"));
    EXPECT_EQ(raw, hex("14131211 24232221 00000000 0200 0000 00000000 00000000"));
}

class ReleaseTest : public LtlRequestTest {
protected:
    static fake::LtlRelease release_sent(const char *entry, std::uint32_t queue = client.queue) {
        return {.queue = queue, .count = 1, .entries = hex(entry), .cookie = 0x31323334};
    }

    static bytes left_in_release() {
        const auto *const raw = reinterpret_cast<const std::uint8_t *>(&ltl_dealloc);
        return {raw, raw + sizeof ltl_dealloc};
    }
};

TEST_F(ReleaseTest, SendsTheKeysAndAThirdWordOf0) {
    EXPECT_EQ(vell_nerb_l2_ltl_dealloc(0x11121314, 0x21222324, 0x31323334), 1);
    EXPECT_CALLS(release_sent("14131211 24232221 00000000"));
    EXPECT_EQ(platform().payload_address, reinterpret_cast<const std::uint8_t *>(&ltl_dealloc));
    EXPECT_EQ(vell_nerb_l2_ltl_dealloc(0x41424344, 0, 0x31323334), 1);
    EXPECT_CALLS(release_sent("44434241 00000000 00000000"));
    EXPECT_EQ(left_in_release(), hex("44434241 00000000 00000000"));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{});
}

TEST_F(ReleaseTest, LeavesTheThirdWordToTheClient) {
    ltl_dealloc.reserved = 0x61626364;
    EXPECT_EQ(vell_nerb_l2_ltl_dealloc(0x11121314, 0x21222324, 0x31323334), 1);
    EXPECT_CALLS(release_sent("14131211 24232221 64636261"));
}

TEST_F(ReleaseTest, NeedsNoClient) {
    set_client_state({.id = 0, .queue = 0, .uuid = client.uuid});
    EXPECT_EQ(vell_nerb_l2_ltl_dealloc(0x11121314, 0x21222324, 0x31323334), 1);
    EXPECT_CALLS(release_sent("14131211 24232221 00000000", 0));
}

TEST_F(ReleaseTest, ARefusedReleaseIsError1551) {
    for (const auto result : failures) {
        SCOPED_TRACE(result);
        platform().ltl_release.returns(result);
        EXPECT_EQ(vell_nerb_l2_ltl_dealloc(0x11121314, 0x21222324, 0x31323334), 0);
        EXPECT_CALLS(
            release_sent("14131211 24232221 00000000"),
            error_logged("vell_nerb_l2_ltl_dealloc", 1551,
                         "NERB ltl dealloc API returned error %d\n",
                         "NERB ltl dealloc API returned error " + signed_text(result) + "\n"));
        EXPECT_EQ(left_in_release(), hex("14131211 24232221 00000000"));
    }
}

} // namespace
