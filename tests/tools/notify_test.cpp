#include "tests/tools/program_fixture.h"

namespace feed {
namespace {

using opcodes = std::vector<std::uint32_t>;

class Notify : public program_fixture {
protected:
    // Overlay notifications need no registration, and none is to be answered.
    void start_without_registration() {
        start_over();
        simulator.answers.clear();
    }

    // The payload of the one request that the command sends.
    bytes sent_by(const std::vector<std::string> &command, std::uint32_t opcode) {
        start_without_registration();
        EXPECT_EQ(run(command), 0) << err;
        EXPECT_EQ(sent_opcodes(), opcodes{opcode});
        expect_all_closed();
        return simulator.requests.empty() ? bytes() : simulator.requests[0].payload;
    }
};

TEST_F(Notify, SendsAMarker) {
    EXPECT_EQ(run({"marker", "2"}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent the out-of-band marker 2\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, oob_marker, deregistration}));
    EXPECT_EQ(simulator.requests[1].sap, 213u);
    EXPECT_EQ(simulator.requests[1].payload, (bytes{2, 0, 0, 0}));
    expect_all_closed();
    start_over();
    EXPECT_EQ(run({"marker", "0x51525354", "--quiet"}), 0) << err;
    EXPECT_EQ(out, "");
    EXPECT_EQ(simulator.requests[1].payload, (bytes{0x54, 0x53, 0x52, 0x51}));
}

TEST_F(Notify, SendsThatTheDownloadIsComplete) {
    EXPECT_EQ(run({"download-complete"}), 0) << err;
    EXPECT_EQ(out, "vellfeed: sent that the download is complete\n");
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, download_complete, deregistration}));
    EXPECT_EQ(simulator.requests[1].payload, (bytes{0, 0, 0, 0}));
}

TEST_F(Notify, EachSendMayFail) {
    const std::string begin = "no switch answers in /run/sim; start one with `vellsim run`, or "
                              "point VELLSIM_RUN_DIR at its run directory";
    const std::string end =
        "everything was sent, but the switch went away before the client could deregister";
    const struct {
        std::vector<std::string> command;
        std::string errors[3];
    } rows[] = {{{"marker", "1"},
                 {begin, "the out-of-band marker could not be sent: the switch went away", end}},
                {{"download-complete"},
                 {begin, "the end of the download could not be sent: the switch went away", end}}};
    for (const auto &row : rows) {
        for (std::size_t i = 0; i < std::size(row.errors); ++i) {
            start_over();
            simulator.fail_send = i;
            EXPECT_EQ(run(row.command), 1);
            EXPECT_EQ(err, "vellfeed: " + row.errors[i] + "\n");
            expect_all_closed();
        }
    }
}

TEST_F(Notify, TheOverlayIsDisabledWithAndWithoutTheFlag) {
    EXPECT_EQ(sent_by({"overlay", "disable"}, overlay_disable), (bytes{1, 0, 8, 0, 0, 0, 0, 0}));
    EXPECT_EQ(simulator.requests[0].sap, 213u);
    EXPECT_EQ(out, "vellfeed: sent that the overlay is disabled\n");
    EXPECT_EQ(sent_by({"overlay", "disable", "--flag"}, overlay_disable),
              (bytes{3, 0, 8, 0, 0, 0, 0, 0}));
    EXPECT_EQ(out, "vellfeed: sent that the overlay is disabled, with the flag\n");
    EXPECT_EQ(sent_by({"overlay", "disable", "--quiet"}, overlay_disable),
              (bytes{1, 0, 8, 0, 0, 0, 0, 0}));
    EXPECT_EQ(out, "");
}

TEST_F(Notify, TheOverlayIsDisabledForVlans) {
    EXPECT_EQ(sent_by({"overlay", "vlans", "10", "4094", "1"}, overlay_disable),
              (bytes{2, 0, 10, 0, 10, 0, 0xfe, 0x0f, 1, 0}));
    EXPECT_EQ(out, "vellfeed: sent that the overlay is disabled for 3 VLANs\n");
    EXPECT_EQ(sent_by({"overlay", "vlans", "7"}, overlay_disable), (bytes{2, 0, 6, 0, 7, 0}));
    EXPECT_EQ(out, "vellfeed: sent that the overlay is disabled for 1 VLAN\n");
}

TEST_F(Notify, AnOverlayRouteGoesOutAsItIs) {
    EXPECT_EQ(sent_by({"overlay", "route", "4660", "0a0B0cFF"}, overlay_route),
              (bytes{0x34, 0x12, 8, 0, 0x0a, 0x0b, 0x0c, 0xff}));
    EXPECT_EQ(simulator.requests[0].sap, 213u);
    EXPECT_EQ(out, "vellfeed: sent an overlay route of type 4660 with 4 bytes\n");
    EXPECT_EQ(sent_by({"overlay", "route", "0", ""}, overlay_route), (bytes{0, 0, 4, 0}));
    const bytes longest =
        sent_by({"overlay", "route", "1", std::string(2 * 65531, '0')}, overlay_route);
    EXPECT_EQ(longest.size(), 65535u);
    EXPECT_EQ(bytes(longest.begin(), longest.begin() + 4), (bytes{1, 0, 0xff, 0xff}));
}

TEST_F(Notify, AnOverlayNotificationThatCannotBeSentIsAnError) {
    const std::string why =
        " could not be sent: no switch answers in /run/sim; start one with `vellsim run`, or "
        "point VELLSIM_RUN_DIR at its "
        "run directory\n";
    const struct {
        std::vector<std::string> command;
        const char *what;
    } rows[] = {{{"overlay", "disable"}, "notification"},
                {{"overlay", "vlans", "1"}, "notification"},
                {{"overlay", "route", "1", "00"}, "overlay route"}};
    for (const auto &row : rows) {
        start_without_registration();
        simulator.fail_send = 0;
        EXPECT_EQ(run(row.command), 1);
        EXPECT_EQ(err, std::string("vellfeed: the ") + row.what + why);
        expect_all_closed();

        start_without_registration();
        simulator.no_queue = true;
        EXPECT_EQ(run(row.command), 1);
        EXPECT_EQ(err,
                  "vellfeed: no transport queue could be opened: the process has no handle left\n");

        start_without_registration();
        simulator.result_without_answer = -1;
        EXPECT_EQ(run(row.command), 1);
        EXPECT_EQ(err, "vellfeed: everything was sent, but the switch closed the connection; "
                       "`vellsim show log` tells what "
                       "arrived\n");
        expect_all_closed();

        start_without_registration();
        simulator.lose_drops = true;
        EXPECT_EQ(run(row.command), 1);
        EXPECT_EQ(
            err,
            "vellfeed: the transport counts 1 message references left open and 0 wrong releases\n");
    }
}

TEST_F(Notify, WrongUsageHasItsOwnExitCode) {
    expect_wrong_usage({
        {{"marker"}, "N is required"},
        {{"marker", "-1"}, "N: -1 is not a number from 0 to 4294967295"},
        {{"marker", "4294967296"}, "N: 4294967296 is not a number from 0 to 4294967295"},
        {{"marker", "1", "2"}, "`vellfeed marker` takes no \"2\""},
        {{"download-complete", "1"}, "`vellfeed download-complete` takes no \"1\""},
        {{"overlay"}, "`vellfeed overlay` needs a command: disable, vlans, route"},
        {{"overlay", "enable"},
         "there is no command \"enable\"; the commands are disable, vlans, route"},
        {{"overlay", "disable", "1"}, "`vellfeed overlay disable` takes no \"1\""},
        {{"overlay", "vlans"}, "VLAN is required"},
        {{"overlay", "vlans", "0"}, "VLAN: Value 0 not in range 1 to 4094"},
        {{"overlay", "vlans", "4095"}, "VLAN: Value 4095 not in range 1 to 4094"},
        {{"overlay", "vlans", "10", "11", "10"}, "VLAN 10 stands twice"},
        {{"overlay", "route", "1"}, "HEX is required"},
        {{"overlay", "route", "65536", "00"}, "TYPE: 65536 is not a number from 0 to 65535"},
        {{"overlay", "route", "1", "0"}, "the body has 1 hexadecimal digits; two make a byte"},
        {{"overlay", "route", "1", "0g"}, "\"0g\" is no byte in hexadecimal (byte 0 of the body)"},
        {{"overlay", "route", "1", "+1"}, "\"+1\" is no byte in hexadecimal (byte 0 of the body)"},
        {{"overlay", "route", "1", std::string(2 * 65532, '0')},
         "the body has 65532 bytes, 65531 are the most"},
        {{"overlay", "route", "1", "00", "00"}, "`vellfeed overlay route` takes no \"00\""},
    });
}

} // namespace
} // namespace feed
