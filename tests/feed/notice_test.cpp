// `vellfeed notice`: what the switch shows of each.
#include "tests/feed/feed_program.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class Notice : public feed_program {
protected:
    // What it prints, with a switch of its own.
    std::string sent(const std::vector<std::string> &arguments) {
        stop_switch();
        start_switch();
        std::vector<std::string> command = {"notice"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return printed(command);
    }
};

TEST_F(Notice, SendsEachDuxRole) {
    for (const std::string role : {"all", "even", "odd", "none"}) {
        EXPECT_EQ(sent({"role", role}), "sent the dux role " + role + "\n");
        EXPECT_THAT(shown("clients"), HasSubstr("\"dux_role\":\"forward_" + role + '"'));
    }
    EXPECT_EQ(sent({"role", "forward_odd"}), "sent the dux role forward_odd\n");
    EXPECT_THAT(shown("clients"), HasSubstr(R"("dux_role":"forward_odd")"));
}

TEST_F(Notice, SendsADuxRoleByNumber) {
    EXPECT_EQ(sent({"role", "2"}), "sent the dux role 2\n");
    EXPECT_THAT(shown("clients"), HasSubstr(R"("dux_role":"forward_even")"));
    EXPECT_EQ(sent({"role", "4294967295"}), "sent the dux role 4294967295\n");
    EXPECT_THAT(shown("clients"), HasSubstr(R"("dux_role":"none given")"));
    EXPECT_THAT(shown("clients"), HasSubstr(R"({"request":"route update","messages":1,)"));
}

TEST_F(Notice, SendsTheIpv6RouteNotice) {
    EXPECT_EQ(sent({"ipv6", "0x11121314", "4294967295", "0513"}),
              "sent the IPv6 route notice 286397204 4294967295 513\n");
    EXPECT_THAT(shown("clients"), HasSubstr(R"("ipv6_notices":1)"));
    EXPECT_THAT(shown("clients"), HasSubstr("286397204"));
    EXPECT_THAT(shown("clients"), HasSubstr("4294967295"));
    EXPECT_THAT(shown("clients"), HasSubstr("513"));
}

TEST_F(Notice, SendsAMarker) {
    EXPECT_EQ(sent({"marker", "0x51525354"}), "sent the out-of-band marker 1364349780\n");
    EXPECT_THAT(shown("l2"), HasSubstr(R"("other_markers":[{"marker":1364349780,)"));
    EXPECT_EQ(sent({"marker", "1"}), "sent the out-of-band marker 1\n");
    EXPECT_THAT(shown("l2"), HasSubstr(R"("batches":[{"client":1,)"));
    EXPECT_EQ(sent({"marker", "010"}), "sent the out-of-band marker 10\n");
    EXPECT_THAT(shown("l2"), HasSubstr(R"("other_markers":[{"marker":10,)"));
}

TEST_F(Notice, SendsThatTheDownloadIsComplete) {
    EXPECT_EQ(sent({"download-complete"}), "sent that the download is complete\n");
    EXPECT_THAT(shown("l2"), HasSubstr(R"("download_complete":[{"client":1,)"));
}

TEST_F(Notice, SendsThatTheOverlayIsDisabledWithAndWithoutTheFlag) {
    EXPECT_EQ(sent({"overlay-disable"}), "sent that the overlay is disabled\n");
    EXPECT_THAT(shown("overlay"), HasSubstr(R"({"feature":"disabled",)"));
    EXPECT_EQ(sent({"overlay-disable", "--flag"}),
              "sent that the overlay is disabled, with the flag\n");
    EXPECT_THAT(shown("overlay"), HasSubstr(R"({"feature":"disabled with flag",)"));
}

TEST_F(Notice, SendsForWhichVlansTheOverlayIsDisabled) {
    EXPECT_EQ(sent({"overlay-vlans", "10", "4094", "01"}),
              "sent that the overlay is disabled for 3 VLANs\n");
    EXPECT_THAT(shown("overlay"), HasSubstr(R"("vlans_disabled":[1,10,4094])"));
    EXPECT_EQ(sent({"overlay-vlans", "7"}), "sent that the overlay is disabled for 1 VLAN\n");
}

TEST_F(Notice, SendsAnOverlayRouteAsItIs) {
    EXPECT_EQ(sent({"overlay-route", "4660", "0a0B0cFF"}),
              "sent an overlay route of type 4660 with 4 bytes\n");
    EXPECT_THAT(shown("overlay"), HasSubstr(R"([{"type":4660,"client":0,)"));
    EXPECT_THAT(shown("overlay"), HasSubstr(R"("body":"0a0b0cff"}])"));
    EXPECT_EQ(sent({"overlay-route", "0", ""}), "sent an overlay route of type 0 with 0 bytes\n");
    const std::string longest = std::string(2 * 65531, '7');
    EXPECT_EQ(sent({"overlay-route", "1", longest}),
              "sent an overlay route of type 1 with 65531 bytes\n");
    EXPECT_THAT(shown("overlay"), HasSubstr(longest));
}

TEST_F(Notice, OverlayNotificationsNeedNoRegistration) {
    sent({"overlay-disable"});
    EXPECT_THAT(shown("clients"), Not(HasSubstr("register request")));
}

TEST_F(Notice, IsPrintedAsTextAsJsonOrNotAtAll) {
    EXPECT_EQ(sent({"role", "even", "--json"}), "{\"sent\":\"the dux role even\"}\n");
    EXPECT_EQ(sent({"marker", "7", "--quiet"}), "");
    EXPECT_THAT(shown("l2"), HasSubstr(R"("other_markers":[{"marker":7,)"));
    EXPECT_EQ(sent({"overlay-disable", "--quiet"}), "");
    EXPECT_THAT(shown("overlay"), HasSubstr(R"({"feature":"disabled",)"));
}

TEST_F(Notice, ThatWasSentIsSaidOnStandardErrorWhenStandardOutputFails) {
    start_switch();
    const command_result result = run_shell("$vellfeed notice role even >/dev/full");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "vellfeed: it was done, but standard output cannot be written (No space "
                          "left on device): sent the dux role even\n");
}

TEST_F(Notice, NeedsASwitch) {
    const std::string nobody = "no switch answers in " + run_dir +
                               "; start one with `vellsim run`, or name its run directory with "
                               "--run-dir";
    EXPECT_EQ(error({"notice", "role", "even"}), nobody);
    EXPECT_EQ(error({"notice", "ipv6", "1", "2", "3"}), nobody);
    EXPECT_EQ(error({"notice", "marker", "1"}), nobody);
    EXPECT_EQ(error({"notice", "download-complete"}), nobody);
    const std::string not_sent = "the overlay notification could not be sent: " + nobody;
    EXPECT_EQ(error({"notice", "overlay-disable"}), not_sent);
    EXPECT_EQ(error({"notice", "overlay-vlans", "1"}), not_sent);
    EXPECT_EQ(error({"notice", "overlay-route", "1", "00"}), not_sent);
}

TEST_F(Notice, WrongUsageIsExplained) {
    EXPECT_EQ(usage_error({"notice"}),
              "`vellfeed notice` needs a command: role, ipv6, marker, download-complete, "
              "overlay-disable, overlay-vlans, overlay-route");
    EXPECT_EQ(usage_error({"notice", "role"}), "ROLE is required");
    for (const std::string role : {"sideways", "4294967296", "-1", ""}) {
        EXPECT_EQ(usage_error({"notice", "role", role}),
                  "ROLE: there is no role \"" + role +
                      "\": all, even, odd, none, or a number from 0 to 4294967295");
    }
    EXPECT_EQ(usage_error({"notice", "ipv6", "1", "2"}), "THIRD is required");
    EXPECT_EQ(usage_error({"notice", "ipv6", "1", "2", "65536"}),
              "THIRD: 65536 is not a number from 0 to 65535");
    EXPECT_EQ(usage_error({"notice", "ipv6", "1", "-2", "3"}),
              "SECOND: -2 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error({"notice", "marker"}), "N is required");
    EXPECT_EQ(usage_error({"notice", "marker", "4294967296"}),
              "N: 4294967296 is not a number from 0 to 4294967295");
    EXPECT_EQ(usage_error({"notice", "marker", "1", "2"}),
              "`vellfeed notice marker` takes no \"2\"");
    EXPECT_EQ(usage_error({"notice", "overlay-vlans"}), "VLAN is required");
    EXPECT_EQ(usage_error({"notice", "overlay-vlans", "0"}),
              "VLAN: 0 is not a number from 1 to 4094");
    EXPECT_EQ(usage_error({"notice", "overlay-vlans", "4095"}),
              "VLAN: 4095 is not a number from 1 to 4094");
    EXPECT_EQ(usage_error({"notice", "overlay-vlans", "10", "11", "10"}),
              "VLAN: 10 is given twice");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "1"}), "HEX is required");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "65536", "00"}),
              "TYPE: 65536 is not a number from 0 to 65535");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "1", "0"}),
              "HEX: 1 digits; expected two for each byte, and 65531 bytes at most");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "1", std::string(2 * 65532, '0')}),
              "HEX: 131064 digits; expected two for each byte, and 65531 bytes at most");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "1", "0g"}),
              "HEX: \"0g\" (byte 0) is not a byte in hexadecimal");
    EXPECT_EQ(usage_error({"notice", "overlay-route", "1", "00+1"}),
              "HEX: \"+1\" (byte 1) is not a byte in hexadecimal");
}

} // namespace
