#include "sim/switch/limits.h"
#include "sim/switch/overlay.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using testing::ElementsAre;
using json = nlohmann::json;

namespace {

struct overlay_service : test_service {
    sim::session from{.pid = 99}; // which has a queue and nothing else

    void notify(unsigned word_1, const std::vector<int> &payload) {
        send(from, request_head(213, 75820, word_1), literal(payload));
    }
    void route(const std::vector<int> &payload, unsigned word_1 = 1) {
        send(from, request_head(213, 75818, word_1), literal(payload));
    }
    std::string text() const { return answer_of(vell, "overlay"); }
    json shown() const { return json::parse(text()); }
};

constexpr const char *untouched =
    R"({"feature":"enabled","vlans_disabled":[],"route_updates":0,"overlay":[],"matched":0,)"
    R"("narrowed":null})";

} // namespace

TEST(Overlay, IsEnabledAtFirst) {
    EXPECT_EQ(overlay_service().text(), untouched);
}

TEST(Overlay, IsDisabledWithTheFlagOrWithout) {
    overlay_service test;
    test.notify(0, {1, 0, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(test.shown().at("feature"), "disabled");
    test.notify(0, {3, 0, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(test.shown().at("feature"), "disabled with flag");
    EXPECT_TRUE(test.errors.empty());
}

TEST(Overlay, CollectsDisabledVlans) {
    overlay_service test;
    test.notify(1, {2, 0, 8, 0, 0x14, 0, 0xfe, 0x0f});
    test.notify(1, {2, 0, 8, 0, 0x0a, 0, 0x14, 0});
    test.notify(1, {2, 0, 4, 0});
    EXPECT_EQ(test.shown().at("vlans_disabled"), json::parse("[10,20,4094]"));
    EXPECT_EQ(test.shown().at("feature"), "enabled");
    EXPECT_TRUE(test.errors.empty());
}

TEST(Overlay, KeepsRouteUpdatesAsTheyCome) {
    overlay_service test;
    test.route({7, 0, 6, 0, 1, 0xf2});
    test.from = test.registered_session();
    test.route({8, 1, 4, 0});
    EXPECT_EQ(test.shown().at("overlay"),
              json::parse(R"([{"type":7,"client":0,"pid":99,"body":"01f2"},
                              {"type":264,"client":1,"pid":4711,"body":""}])"));
    for (std::size_t i = 0; i < sim::overlay_routes_kept; ++i) {
        test.route({9, 0, 4, 0});
    }
    EXPECT_EQ(test.shown().at("overlay").size(), sim::overlay_routes_kept);
    EXPECT_EQ(test.shown().at("overlay").at(0).at("type"), 9);
    EXPECT_EQ(test.shown().at("route_updates"), sim::overlay_routes_kept + 2);
    EXPECT_TRUE(test.errors.empty());
}

TEST(Overlay, RefusesWhatIsNotRight) {
    struct refused {
        std::uint32_t opcode;
        unsigned word_1;
        std::vector<int> payload;
        const char *why;
        std::uint32_t sap = 213;
    };
    const refused all[] = {
        {75820, 0, {1, 0, 8}, "offset 2: the message has 1 bytes left here, length needs 2"},
        {75820, 0, {}, "offset 0: the message has 0 bytes left here, type needs 2"},
        {75820, 0, {1, 0, 9, 0, 0, 0, 0, 0}, "offset 2: length is 9, but the message has 8 bytes"},
        {75820, 0, {1, 0, 4, 0}, "offset 4: the message is 4 bytes long, it must be 8"},
        {75820,
         0,
         {3, 0, 10, 0, 0, 0, 0, 0, 0, 0},
         "offset 8: the message is 10 bytes long, it must be 8"},
        {75820, 0, {3, 0, 8, 0, 0, 0, 5, 0}, "offset 4: value is 327680, it must be 0"},
        {75820,
         0,
         {0, 0, 4, 0},
         "offset 0: type 0 is not 1 (disable), 2 (disable VLANs) or 3 (disable with flag)"},
        {75820,
         0,
         {4, 0, 4, 0},
         "offset 0: type 4 is not 1 (disable), 2 (disable VLANs) or 3 (disable with flag)"},
        {75820,
         1,
         {2, 0, 7, 0, 1, 0, 2},
         "offset 6: the message has 1 bytes left here, VLAN id needs 2"},
        {75820, 1, {2, 0, 8, 0, 1, 0, 0, 0}, "offset 6: VLAN id 0 is not 1 to 4094"},
        {75820, 1, {2, 0, 6, 0, 0xff, 0x0f}, "offset 4: VLAN id 4095 is not 1 to 4094"},
        {75820,
         1,
         {1, 0, 8, 0, 0, 0, 0, 0},
         "frame head offset 32: send-options word 1 is 1, it must be 0"},
        {75820,
         0,
         {2, 0, 6, 0, 1, 0},
         "frame head offset 32: send-options word 1 is 0, it must be 1"},
        {75818,
         0,
         {2, 0, 6, 0, 1, 0},
         "frame head offset 32: send-options word 1 is 0, it must be 1"},
        {75818, 1, {2, 0, 5, 0, 1, 0}, "offset 2: length is 5, but the message has 6 bytes"},
        {75818, 1, {2, 0}, "offset 2: the message has 0 bytes left here, length needs 2"},
        {75818, 1, {2, 0, 7, 0, 1, 0}, "offset 2: length is 7, but the message has 6 bytes"},
        {75818,
         1,
         {2, 0, 0xff, 0xff, 1, 0},
         "offset 2: length is 65535, but the message has 6 bytes"},
        {75818, 1, {2}, "offset 0: the message has 1 bytes left here, type needs 2"},
        {75818, 1, {}, "offset 0: the message has 0 bytes left here, type needs 2"},
        {75820,
         0,
         {1, 0, 8, 0, 0, 0, 0, 0},
         "frame head offset 16: SAP is 214, it must be 213",
         214},
        {75820, 1, {2, 0, 6, 0, 1, 0}, "frame head offset 16: SAP is 212, it must be 213", 212},
        {75818, 1, {2, 0, 6, 0, 1, 0}, "frame head offset 16: SAP is 214, it must be 213", 214},
    };
    overlay_service test;
    for (const refused &request : all) {
        test.send(test.from, request_head(request.sap, request.opcode, request.word_1),
                  literal(request.payload));
        ASSERT_FALSE(test.errors.empty()) << request.why;
        const char *name =
            request.opcode == 75820 ? "overlay notification" : "overlay route update";
        EXPECT_EQ(test.errors.back(),
                  fmt::format("unregistered client (pid 99): {} (opcode {}): {}: refused", name,
                              request.opcode, request.why));
    }
    EXPECT_EQ(test.errors.size(), std::size(all));
    EXPECT_EQ(test.text(), untouched);
}

TEST(Overlay, IsShownAsText) {
    overlay_service test;
    EXPECT_EQ(text_of(test.vell, "overlay"), "Overlay feature: enabled\n"
                                             "VLANs disabled: none\n"
                                             "0 route updates\n");
    test.notify(0, {1, 0, 8, 0, 0, 0, 0, 0});
    test.notify(1, {2, 0, 8, 0, 0x14, 0, 0x0a, 0});
    std::vector<int> long_update = {7, 0, 38, 0};
    long_update.resize(38, 0xaa);
    test.route(long_update);
    test.from = test.registered_session();
    test.route({8, 1, 5, 0, 0x0f});
    test.route({9, 0, 4, 0});
    EXPECT_EQ(text_of(test.vell, "overlay"),
              "Overlay feature: disabled\n"
              "VLANs disabled: 10, 20\n"
              "Route update of type 7, 34 bytes, pid 99\n"
              "    aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n"
              "    aaaa\n"
              "Route update of type 264, 1 byte, client 1\n"
              "    0f\n"
              "Route update of type 9, 0 bytes, client 1\n"
              "3 route updates\n");
    EXPECT_THAT(text_of(test.vell, "overlay limit=1"),
                testing::EndsWith("\n    aaaa\n1 of 3 route updates\n"));
}

TEST(Overlay, SaysHowManyRouteUpdatesAreForgotten) {
    overlay_service test;
    for (std::size_t i = 0; i < sim::overlay_routes_kept + 3; ++i) {
        test.route({9, 0, 4, 0});
    }
    EXPECT_THAT(text_of(test.vell, "overlay"), testing::EndsWith("\n64 of 67 route updates\n"));
}

// 64 bodies of nearly 64 KiB take 8 MB in JSON: one at a time.
TEST(Overlay, IsAnsweredInPiecesThatGoOnWithWhatIsKept) {
    overlay_service test;
    std::vector<int> update = {1, 0, 0xff, 0xff};
    update.resize(0xffff, 0x5a);
    for (std::size_t i = 0; i < sim::overlay_routes_kept; ++i) {
        test.route(update);
    }
    sim::answer made = sim::answer_question(test.vell, question_payload("overlay"));
    sim::answer::piece next = made.next();
    EXPECT_LT(next.text.size(), 300'000u);
    std::string text = next.text;
    test.route({9, 0, 4, 0}); // the first one is forgotten for it
    while (!next.is_last) {
        next = made.next();
        EXPECT_LT(next.text.size(), 300'000u);
        text += next.text;
    }
    const json shown = json::parse(text);
    EXPECT_EQ(shown.at("overlay").size(), sim::overlay_routes_kept + 1);
    EXPECT_EQ(shown.at("overlay").back().at("type"), 9);
}
