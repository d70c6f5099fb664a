#include "sim/switch/l2_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using json = nlohmann::ordered_json;

} // namespace

TEST(L2Text, SaysThatThereIsNothing) {
    EXPECT_EQ(sim::l2_text(json::parse(
                  R"({"l2":{"entries":[],"flood":[],"pairs":[],"lookup_modes":[],"batches":[],
        "other_markers":[],"download_complete":[]}})")),
              "0 entries, 0 flood lists\n");
}

TEST(L2Text, ShowsEverySection) {
    EXPECT_EQ(sim::l2_text(json::parse(R"({"l2":{
        "entries":[
          {"vlan":10,"group":"239.1.1.1","source":null,"bridge":5,"permanent":false,"client":1,"pid":9,
           "ports":[{"if_index":7,"flags":0},{"if_index":8,"flags":4},{"if_index":9,"flags":5}]},
          {"vlan":11,"group":"ff02::1","source":"fe80::1","bridge":6,"permanent":true,"client":0,"pid":9,"ports":[]}],
        "flood":[{"vlan":10,"type":12,"client":1,"pid":9,
           "oifs":[{"kind":0,"flags":0},{"kind":1,"address":"fe80::2","flags":4},{"kind":2,"if_index":3,"flags":0}]}],
        "pairs":[{"type":8,"words":[1,2],"client":1,"pid":9,"pairs":[[3,4],[5,6]]},
                 {"type":10,"words":[],"client":1,"pid":9,"pairs":[]}],
        "lookup_modes":[{"vlan":10,"mode":1},{"vlan":11,"mode":2}],
        "batches":[{"client":1,"pid":9,"begun":"B","ended":"E","messages":2,"records":1,"open":false},
                   {"client":0,"pid":9,"begun":"B","ended":null,"messages":1,"records":0,"open":true}],
        "other_markers":[{"client":1,"pid":9,"marker":7,"time":"T"}],
        "download_complete":[{"client":1,"pid":9,"count":1}]}})")),
              "VLAN 10 (*, 239.1.1.1)  bridge 5, learned, client 1\n"
              "    ports (3): 7, 8 (svi), 9 (flags 0x5)\n"
              "VLAN 11 (fe80::1, ff02::1)  bridge 6, permanent, pid 9\n"
              "    ports: none\n"
              "\n"
              "VLAN 10 flood list  type 12, client 1\n"
              "    OIFs (3): -, fe80::2 (svi), 3\n"
              "\n"
              "Record of type 8, client 1\n"
              "    words: 1, 2\n"
              "    pairs (2): 3/4, 5/6\n"
              "Record of type 10, client 1\n"
              "    pairs: none\n"
              "\n"
              "Lookup modes: VLAN 10 mode 1, VLAN 11 mode 2\n"
              "\n"
              "Batch of client 1: 2 messages, 1 record\n"
              "    begun B, ended E\n"
              "Batch of pid 9: 1 message, 0 records, open\n"
              "    begun B, ended -\n"
              "\n"
              "Marker 7 of client 1, T\n"
              "\n"
              "Download complete from client 1 (pid 9): 1 time\n"
              "\n"
              "2 entries, 1 flood list\n");
}
