#include "tests/sim/kyt_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace sim_test;
using testing::EndsWith;
using testing::StartsWith;

class KytReference : public kyt_test {
protected:
    kyt_msg_ref sent_reference() {
        kyt_msg_ref reference;
        EXPECT_EQ(kyt_send(queue, node, 212, 1, "abc", 3, &reference, 0, options.data()), 0);
        return reference;
    }

    // Returns what was said.
    std::string expect_wrong_drop(std::uint32_t from, kyt_msg_ref *reference) {
        const kyt_sim_counts before = counts();
        const bytes as_it_was = reference == nullptr ? bytes() : content(*reference);
        testing::internal::CaptureStderr();
        kyt_drop(from, reference);
        EXPECT_EQ(counts().wrong_drops, before.wrong_drops + 1);
        EXPECT_EQ(counts().open_references, before.open_references);
        EXPECT_EQ(counts().sent, before.sent);
        EXPECT_EQ(reference == nullptr ? bytes() : content(*reference), as_it_was);
        return testing::internal::GetCapturedStderr();
    }

    std::string wrong(const std::string &reason) const {
        return "libkyt: wrong kyt_drop from queue " + std::to_string(queue) + ": " + reason + "\n";
    }
};

TEST_F(KytReference, IsCountedUntilItIsReleased) {
    const kyt_sim_counts before = counts();
    std::vector<kyt_msg_ref> references;
    for (int message = 0; message < 3; ++message)
        references.push_back(sent_reference());
    EXPECT_EQ(counts().sent, before.sent + 3);
    EXPECT_EQ(counts().open_references, before.open_references + 3);
    std::swap(references[0], references[2]);
    for (std::size_t released = 0; released < 3; ++released) {
        kyt_drop(queue, &references[released]);
        EXPECT_EQ(counts().open_references, before.open_references + 2 - released);
    }
    EXPECT_EQ(counts().sent, before.sent + 3);
    EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
}

TEST_F(KytReference, HoldsNothingOfWhatWasInItsPlace) {
    kyt_msg_ref reference;
    std::fill_n(reference.opaque, sizeof reference, std::uint8_t{0x5a});
    ASSERT_EQ(kyt_send(queue, node, 212, 1, "abc", 3, &reference, 0, options.data()), 0);
    // After the bytes that identify the message.
    EXPECT_EQ(part(content(reference), 16, 48), bytes(48, 0));
    kyt_drop(queue, &reference);
}

TEST_F(KytReference, IsReleasedByItsContentAndNotByItsAddress) {
    const kyt_sim_counts before = counts();
    kyt_msg_ref copy = sent_reference();
    kyt_drop(queue, &copy);
    EXPECT_EQ(counts().open_references, before.open_references);
    EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
}

TEST_F(KytReference, MayBeReleasedAfterItsConnectionAndItsQueueAreGone) {
    const kyt_sim_counts before = counts();
    kyt_msg_ref reference = sent_reference();
    kyt_sim_queue_close(queue);
    kyt_drop(queue, &reference);
    EXPECT_EQ(counts().open_references, before.open_references);
    EXPECT_EQ(counts().wrong_drops, before.wrong_drops);
}

TEST_F(KytReference, IsNotReleasedTwice) {
    kyt_msg_ref reference = sent_reference();
    kyt_msg_ref copy = reference;
    kyt_drop(queue, &reference);
    const std::string said = expect_wrong_drop(queue, &reference);
    EXPECT_THAT(said,
                AllOf(StartsWith("libkyt: wrong kyt_drop from queue " + std::to_string(queue)),
                      EndsWith(" was released before\n")));
    EXPECT_NE(expect_wrong_drop(queue, &copy), "");
}

TEST_F(KytReference, IsNotReleasedTwiceEvenWhenOthersAreOpen) {
    kyt_msg_ref first = sent_reference();
    kyt_msg_ref second = sent_reference();
    kyt_drop(queue, &first);
    expect_wrong_drop(queue, &first);
    const std::uint64_t open = counts().open_references;
    kyt_drop(queue, &second);
    EXPECT_EQ(counts().open_references, open - 1);
}

TEST_F(KytReference, IsNotReleasedFromAnotherQueue) {
    kyt_msg_ref reference = sent_reference();
    const std::uint32_t other = kyt_sim_queue_open();
    EXPECT_THAT(expect_wrong_drop(other, &reference),
                EndsWith(" belongs to queue " + std::to_string(queue) + "\n"));
    EXPECT_NE(expect_wrong_drop(0, &reference), "");
    kyt_sim_queue_close(other);
    const std::uint64_t open = counts().open_references;
    kyt_drop(queue, &reference);
    EXPECT_EQ(counts().open_references, open - 1);
}

TEST_F(KytReference, IsNotWhatKytSendHasNotFilledIn) {
    const std::string nothing = wrong("this is not a reference that kyt_send has filled in");
    kyt_msg_ref reference{};
    EXPECT_EQ(expect_wrong_drop(queue, &reference), nothing);
    std::fill_n(reference.opaque, sizeof reference, std::uint8_t{0xff});
    EXPECT_EQ(expect_wrong_drop(queue, &reference), nothing);
    EXPECT_EQ(expect_wrong_drop(queue, nullptr), wrong("the reference is null"));
}

TEST_F(KytReference, IsNotOneOfAMessageThatWasNeverSent) {
    const kyt_msg_ref genuine = sent_reference();
    for (std::size_t at = 0; at < 16; ++at) {
        kyt_msg_ref forged = genuine;
        forged.opaque[at] = static_cast<std::uint8_t>(forged.opaque[at] ^ 0x80);
        EXPECT_NE(expect_wrong_drop(queue, &forged), "") << at;
    }
    kyt_msg_ref reference = genuine;
    kyt_drop(queue, &reference);
}

TEST_F(KytReference, AtAnOddAddressIsNoWorseThanAnother) {
    std::array<std::uint8_t, sizeof(kyt_msg_ref) + 1> room{};
    auto *reference = reinterpret_cast<kyt_msg_ref *>(room.data() + 1);
    expect_wrong_drop(queue, reference);
    *reference = sent_reference();
    kyt_drop(queue, reference);
    EXPECT_NE(expect_wrong_drop(queue, reference), "");
}

} // namespace
