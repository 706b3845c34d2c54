// --json: one object for each line, whatever its kind.

#include <gtest/gtest.h>

#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

using Json = ReplayFixture;

TEST_F(Json, EveryKindOfWatchedLine) {
  const Outcome outcome =
      run("watch on\nvrf v1\nmanager v1\nfec 0xfe00000000000007 via 10.9.0.1 intf 1\n"
          "route v1 10.0.0.0/8 fec 0xfe00000000000007 metric 5 preference 6 type 7\n"
          "client c v1 resolver\nnexthop c v1 10.0.0.1\nrun\nrouting v1 ipv4 off\nconfig-del c\n",
          "--json");
  EXPECT_EQ(outcome.output,
            R"({"line":"context","vrf":"v1","value":4}
{"line":"status-vrf","client":"c","vrf":"v1","kind":"resolver"}
{"line":"context","vrf":"v1","value":5}
{"line":"forwarding","vrf":"v1","resolverId":18302628885633695748,"vias":1}
{"line":"map","vrf":"v1","fecId":18302628885633695751,"resolverId":18302628885633695748}
{"line":"reference","vrf":"v1","fecId":18302628885633695751}
{"line":"client-reference","vrf":"v1","fecId":18302628885633695751,"client":"c"}
{"line":"key","vrf":"v1","client":"c","addr":"10.0.0.1","fecId":18302628885633695751}
{"line":"status","client":"c","vrf":"v1","addr":"10.0.0.1","state":"resolved","fecId":18302628885633695748,"prefix":"10.0.0.0/8","metric":5,"preference":6,"routeType":7,"route6Type":0}
{"line":"status","client":"c","vrf":"v1","addr":"10.0.0.1","state":"failed","fecId":0,"prefix":null,"metric":0,"preference":1,"routeType":0,"route6Type":0}
{"line":"client-reference-del","vrf":"v1","fecId":18302628885633695751,"client":"c"}
{"line":"key-del","vrf":"v1","client":"c","addr":"10.0.0.1"}
{"line":"forwarding-del","vrf":"v1","resolverId":18302628885633695748}
{"line":"map-del","vrf":"v1","fecId":18302628885633695751}
{"line":"reference-del","vrf":"v1","fecId":18302628885633695751}
{"line":"status-del","client":"c","vrf":"v1","addr":"10.0.0.1"}
{"line":"status-vrf-del","client":"c","vrf":"v1"}
)");
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(Json, EveryKindOfShownLine) {
  const Outcome outcome = run(
      "vrf v1\nfec 7 boundary 1 via 10.9.0.1 intf 1 via fe80::1 intf 2 weight 3 label 4 action 5\n"
      "fec 8\nroute v1 10.0.0.0/8 fec 7\nroute v1 20.0.0.0/8 fec 8\npublished v1 9\ncontext v1 10\n"
      "manager v1\nclient c v1 resolver\nnexthop c v1 10.0.0.1\nnexthop c v1 20.0.0.1\nrun\n"
      "nexthop c v1 10.0.0.1\nadvance 0\nadvance 0.25\nnexthop c v1 20.0.0.1\n"
      "show status-vrf\nshow forwarding\nshow map\nshow references\nshow resolvers\nshow tracked\n"
      "show context\nshow tasks\nadvance 300\nshow tasks\n",
      "--json");
  EXPECT_EQ(outcome.output,
            R"({"line":"status-vrf","client":"c","vrf":"v1","kind":"resolver"}
{"line":"forwarding","vrf":"v1","resolverId":9,"vias":[]}
{"line":"forwarding","vrf":"v1","resolverId":10,"vias":[{"addr":"10.9.0.1","intf":1,"weight":1,"label":1048576,"action":0,"beyond":0},{"addr":"fe80::1","intf":2,"weight":3,"label":4,"action":5,"beyond":1}]}
{"line":"forwarding","vrf":"v1","resolverId":11,"vias":[]}
{"line":"map","vrf":"v1","fecId":7,"resolverId":10}
{"line":"map","vrf":"v1","fecId":8,"resolverId":11}
{"line":"reference","vrf":"v1","fecId":7,"client":"c","addr":"10.0.0.1"}
{"line":"reference","vrf":"v1","fecId":8,"client":"c","addr":"20.0.0.1"}
{"line":"resolver","vrf":"v1","client":"c","kind":"resolver","queued":1}
{"line":"tracked","vrf":"v1","client":"c","addr":"10.0.0.1"}
{"line":"tracked","vrf":"v1","client":"c","addr":"20.0.0.1"}
{"line":"context","vrf":"v1","value":12}
{"line":"timer","name":"NexthopResolverFibViaSmTimer","value":299.75}
{"line":"task","name":"NexthopReview-v1-c","state":"runnable","runs":2,"work":3}
{"line":"timer","name":"NexthopResolverFibViaSmTimer","value":null}
{"line":"task","name":"NexthopReview-v1-c","state":"idle","runs":3,"work":4}
)");
}

TEST_F(Json, EveryOtherKindOfLine) {
  const Outcome outcome = run(
      "vrf v1\nmanager v1\nclient c v1 resolver\nroute v1 10.0.0.0/8 fec 7\nnexthop c v1 10.0.0.1\n"
      "echo  say \"hi\" \\ # here\ntrace 1\ncorrupt fec 7\nrun\ntrace off\n"
      "corrupt route v1 10.0.0.0/8\nannounce v1 ipv4 10.0.0.0/8\nrun\ndump v1\n"
      "invoke v1 fibvia numResIdsForReservedFecIds\n",
      "--json");
  EXPECT_EQ(outcome.output,
            R"({"line":"echo","text":" say \"hi\" \\ # here"}
{"line":"corruption","type":"fec","vrf":null,"message":"fec 7 is corrupt"}
{"line":"trace","level":1,"facility":"NexthopResolverSm","message":"[v1:c] handleNexthopReview finished processing 1"}
{"line":"corruption","type":"route4","vrf":"v1","message":"route 10.0.0.0/8 is corrupt"}
{"line":"dump","text":"FecIdToClientHop v1"}
{"line":"dump","text":"  NexthopResolverFecIdRef 7"}
{"line":"dump","text":"    NexthopResolverClientRef c"}
{"line":"dump","text":"      10.0.0.1"}
{"line":"dump","text":"ClientNexthop to FecId Map"}
{"line":"dump","text":"  (c,10.0.0.1) -> 7"}
{"line":"result","value":0}
)");
}

TEST_F(Json, EntitiesAndInspectionHaveTheirKeys) {
  const Outcome outcome = run("manager v1\nshow entities\ninspect v1 fibvia\n", "--json");
  for (const char* line :
       {"{\"line\":\"entity\",\"type\":\"Routing::NexthopResolverManagerSm\",\"value\":1}\n",
        "{\"line\":\"type\",\"type\":\"Routing::NexthopResolverFibViaSm\"}\n",
        "{\"line\":\"attribute\",\"name\":\"vrfName\",\"value\":\"v1\"}\n",
        "{\"line\":\"operation\",\"name\":\"handleGenFecId\"}\n"}) {
    EXPECT_NE(outcome.output.find(line), std::string::npos) << line << outcome.output;
  }
}

TEST_F(Json, ExpectationsAreAboutTheTextForm) {
  const Outcome outcome =
      run("fec 7 via 10.9.0.1 intf 1\npublished v1 7 via 10.9.0.1 intf 1\nshow forwarding\n"
          "expect forwarding v1 7 vias=1\n"
          "expect via 10.9.0.1 intf 1 weight 1 label 1048576 action 0 beyond 0\n",
          "--json");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(Json, NamesOfAnyCharactersAreQuotedWhole) {
  const Outcome outcome = run("context a\"b\\c\x01\xc3\xa4 1\nshow context\n", "--json");
  EXPECT_EQ(outcome.output,
            "{\"line\":\"context\",\"vrf\":\"a\\\"b\\\\c\\u0001\xc3\xa4\",\"value\":1}\n");
}

}  // namespace
}  // namespace Routing::Replay
