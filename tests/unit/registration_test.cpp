// The client state at load, and registering.
#include "library_test.h"

#include <string>

namespace {

using fake::platform;

// Read before anything of the library has run.
const ClientState state_at_load = client_state();

// 239 characters, neighbours different.
std::string longest_name() {
    std::string name;
    for (int i = 0; i < 239; ++i)
        name += static_cast<char>('!' + i % 89);
    return name;
}

// No process has memory here: reading it ends the test.
const char *unreadable_name() {
    return reinterpret_cast<const char *>(1);
}

bytes register_payload(const bytes &uuid, const std::string &name) {
    return zero_padded(bytes{0, 0, 0, 0} + uuid + characters(name), 248);
}

fake::Send register_request(std::uint32_t queue, const bytes &payload) {
    return sent(
        {.queue = queue, .sap = 212, .opcode = 75796, .option_word1 = 0, .payload = payload});
}

fake::Calls already_registered(const std::string &id, const std::string &queue,
                               std::uint32_t uuid = 384) {
    const auto body =
        "client already registered? client-id: " + id + ", vell_client_q: " + queue + "\n";
    return logged(
        {.level = trace,
         .uuid = uuid,
         .format = "%s(%d):TRACE: client already registered? client-id: %d, vell_client_q: %d\n",
         .text = "vell_register(93):TRACE: " + body,
         .client_text = "vell_register(93):" + body});
}

fake::Calls name_too_long(std::uint32_t uuid = 384) {
    return logged(
        {.level = error,
         .uuid = uuid,
         .format = "%s(%d):ERROR: shared memory segment name length error\n",
         .text = "vell_register(106):ERROR: shared memory segment name length error\n",
         .client_text = "vell_register(106):ERROR: shared memory segment name length error\n"});
}

fake::Calls register_send_failed(std::uint32_t uuid = 384) {
    return logged({.level = error,
                   .uuid = uuid,
                   .format = "%s(%d):ERROR: kyt_send failed : %d\n",
                   .text = "vell_register(135):ERROR: kyt_send failed : -1\n",
                   .client_text = "vell_register(135):ERROR: kyt_send failed : -1\n"});
}

TEST(ClientStateTest, IsUnregisteredWhenTheLibraryIsLoaded) {
    EXPECT_EQ(state_at_load, (ClientState{.id = 0, .queue = 0, .uuid = 384}));
}

TEST(ClientStateTest, HasTheWidthsThatItsReadersKnow) {
    EXPECT_EQ(sizeof vell_client_id, 1U);
    EXPECT_EQ(sizeof vell_client_q, 4U);
    EXPECT_EQ(sizeof vell_client_uuid, 4U);
}

using RegisterTest = LibraryTest;

TEST_F(RegisterTest, SendsUuidAndNameAndReleasesTheReference) {
    EXPECT_EQ(vell_register(0x14131211, 0x24232221, "eth/seg"), 1U);

    const bytes head = {0, 0, 0, 0, 0x21, 0x22, 0x23, 0x24, 'e', 't', 'h', '/', 's', 'e', 'g'};
    EXPECT_CALLS(register_request(0x14131211, zero_padded(head, 248)), released(0x14131211));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 0x14131211, .uuid = 0x24232221}));
}

TEST_F(RegisterTest, AcceptsAnEmptyName) {
    EXPECT_EQ(vell_register(7, 5, ""), 1U);
    EXPECT_CALLS(register_request(7, zero_padded({0, 0, 0, 0, 5}, 248)), released(7));
}

TEST_F(RegisterTest, AcceptsANameOf239CharactersAndEndsItWithANul) {
    EXPECT_EQ(vell_register(7, 5, longest_name().c_str()), 1U);

    const auto payload = register_payload({5, 0, 0, 0}, longest_name());
    ASSERT_EQ(payload.size(), 248U);
    ASSERT_EQ(payload[246], '!' + 238 % 89);
    ASSERT_EQ(payload[247], 0);
    EXPECT_CALLS(register_request(7, payload), released(7));
}

TEST_F(RegisterTest, RefusesANameOf240CharactersWithError106AndSendsNothing) {
    EXPECT_EQ(vell_register(7, 5, (longest_name() + "x").c_str()), 0U);
    EXPECT_CALLS(name_too_long());
    EXPECT_EQ(client_state(), ClientState{});
}

TEST_F(RegisterTest, RefusesANameOfThousandsOfCharacters) {
    EXPECT_EQ(vell_register(7, 5, std::string(5000, 'n').c_str()), 0U);
    EXPECT_CALLS(name_too_long());
    EXPECT_EQ(client_state(), ClientState{});
}

TEST_F(RegisterTest, LogsANameThatIsTooLongUnderTheUuidHeldBefore) {
    set_client_state({.uuid = 401});
    EXPECT_EQ(vell_register(7, 5, std::string(240, 'n').c_str()), 0U);
    EXPECT_CALLS(name_too_long(401));
    EXPECT_EQ(client_state(), (ClientState{.uuid = 401}));
}

class NamelessUuidTest : public LibraryTest, public testing::WithParamInterface<std::uint32_t> {
protected:
    bytes payload() const {
        return GetParam() == 286 ? zero_padded({0, 0, 0, 0, 0x1e, 0x01, 0, 0}, 248)
                                 : zero_padded({0, 0, 0, 0, 0x50, 0x02, 0, 0}, 248);
    }
};
INSTANTIATE_TEST_SUITE_P(Uuid, NamelessUuidTest, testing::Values(286U, 592U),
                         testing::PrintToStringParamName());

TEST_P(NamelessUuidTest, AcceptsANullName) {
    EXPECT_EQ(vell_register(7, GetParam(), nullptr), 1U);
    EXPECT_CALLS(register_request(7, payload()), released(7));
    EXPECT_EQ(client_state(), (ClientState{.queue = 7, .uuid = GetParam()}));
}

TEST_P(NamelessUuidTest, AcceptsAnOverlongNameAndSendsNoneOfIt) {
    EXPECT_EQ(vell_register(7, GetParam(), std::string(240, 'n').c_str()), 1U);
    EXPECT_CALLS(register_request(7, payload()), released(7));
}

TEST_P(NamelessUuidTest, DoesNotReadTheName) {
    EXPECT_EQ(vell_register(7, GetParam(), unreadable_name()), 1U);
    EXPECT_CALLS(register_request(7, payload()), released(7));
}

TEST_P(NamelessUuidTest, HasNeighboursWhoseNameIsReadAndSent) {
    for (const auto uuid : {GetParam() - 1, GetParam() + 1, GetParam() + 0x10000}) {
        set_client_state({});
        fake::reset_platform();
        EXPECT_EQ(vell_register(7, uuid, "seg"), 1U);
        EXPECT_CALLS(register_request(7, register_payload(word(uuid), "seg")), released(7));

        set_client_state({});
        EXPECT_EQ(vell_register(7, uuid, std::string(240, 'n').c_str()), 0U);
        EXPECT_CALLS(name_too_long());
    }
}

TEST_F(RegisterTest, SendsFromAQueueOf0UncheckedAndStoresIt) {
    EXPECT_EQ(vell_register(0, 5, "seg"), 1U);
    EXPECT_CALLS(register_request(0, register_payload({5, 0, 0, 0}, "seg")), released(0));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 0, .uuid = 5}));
}

TEST_F(RegisterTest, KeepsNothingAndReleasesNothingWhenTheSendFails) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_CALLS(register_request(7, register_payload({5, 0, 0, 0}, "seg")),
                 register_send_failed());
    EXPECT_EQ(client_state(), ClientState{});
}

TEST_F(RegisterTest, LogsAFailedSendUnderTheUuidHeldBefore) {
    set_client_state({.uuid = 401});
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_CALLS(register_request(7, register_payload({5, 0, 0, 0}, "seg")),
                 register_send_failed(401));
    EXPECT_EQ(client_state(), (ClientState{.uuid = 401}));
}

TEST_F(RegisterTest, MayBeTriedAgainAfterAFailedSend) {
    platform().kyt_send.returns_at(1, -1);
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_EQ(vell_register(8, 6, "gem"), 1U);
    EXPECT_CALLS(register_request(7, register_payload({5, 0, 0, 0}, "seg")), register_send_failed(),
                 register_request(8, register_payload({6, 0, 0, 0}, "gem")), released(8));
    EXPECT_EQ(client_state(), (ClientState{.queue = 8, .uuid = 6}));
}

TEST_F(RegisterTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        set_client_state({});
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_register(7, 5, "seg"), 1U);
        EXPECT_CALLS(register_request(7, register_payload({5, 0, 0, 0}, "seg")), released(7));
        EXPECT_EQ(client_state(), (ClientState{.queue = 7, .uuid = 5}));
    }
}

TEST_F(RegisterTest, ChangesNothingBeforeTheSendAndHoldsQueueAndUuidWhenItReleases) {
    ClientState at_send{.id = 99};
    ClientState at_drop{.id = 99};
    platform().kyt_send.runs([&] { at_send = client_state(); });
    platform().kyt_drop.runs([&] { at_drop = client_state(); });
    EXPECT_EQ(vell_register(7, 5, "seg"), 1U);

    EXPECT_EQ(at_send, ClientState{});
    EXPECT_EQ(at_drop, (ClientState{.queue = 7, .uuid = 5}));
    EXPECT_CALLS(register_request(7, register_payload({5, 0, 0, 0}, "seg")), released(7));
}

TEST_F(RegisterTest, RefusesASecondTimeBeforeTheAcknowledgmentBecauseTheQueueIsHeld) {
    register_client(7, 5);
    EXPECT_EQ(vell_register(8, 6, "seg"), 0U);
    EXPECT_CALLS(already_registered("0", "7", 5));
    EXPECT_EQ(client_state(), (ClientState{.queue = 7, .uuid = 5}));
}

TEST_F(RegisterTest, RefusesAnAcknowledgedClient) {
    become_acknowledged({.id = 200, .queue = 7, .uuid = 5});
    EXPECT_EQ(vell_register(8, 6, "seg"), 0U);
    EXPECT_CALLS(already_registered("200", "7", 5));
    EXPECT_EQ(client_state(), (ClientState{.id = 200, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterTest, RefusesAClientThatGaveItsQueueWithoutRegistering) {
    vell_register_kyt_q(7);
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_CALLS(already_registered("0", "7"));
    EXPECT_EQ(client_state(), (ClientState{.queue = 7}));
}

TEST_F(RegisterTest, RefusesAClientThatHoldsAnIdAlone) {
    acknowledge(9);
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_CALLS(already_registered("9", "0"));
    EXPECT_EQ(client_state(), (ClientState{.id = 9}));
}

TEST_F(RegisterTest, LogsTheQueueItHoldsAsASignedNumber) {
    set_client_state({.id = 255, .queue = 0xfffffffe});
    EXPECT_EQ(vell_register(7, 5, "seg"), 0U);
    EXPECT_CALLS(already_registered("255", "-2"));
    EXPECT_EQ(client_state(), (ClientState{.id = 255, .queue = 0xfffffffe}));
}

TEST_F(RegisterTest, ChecksTheStateBeforeItReadsTheName) {
    vell_register_kyt_q(7);
    EXPECT_EQ(vell_register(7, 5, unreadable_name()), 0U);
    EXPECT_EQ(vell_register(7, 5, std::string(240, 'n').c_str()), 0U);
    EXPECT_CALLS(already_registered("0", "7"), already_registered("0", "7"));
}

} // namespace
