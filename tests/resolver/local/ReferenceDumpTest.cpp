#include <gtest/gtest.h>

#include "platform/task/DumpContext.h"
#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"

namespace Routing {
namespace {

using Support::addr;

String dumpOf(const DumpableEntity& entity,
              std::uint32_t indent,
              DumpContext::Form form = DumpContext::Form::own) {
  DumpContext context(form);
  entity.dumpState(context, indent);
  return context.text();
}

class ReferenceDump : public testing::Test {
 protected:
  ReferenceDump() {
    references->addReference(42, "c1", addr("10.0.0.1"));
    references->addReference(42, "c1", addr("10.0.0.2"));
  }

  Ptr<FecIdToClientHop> references = fecIdToClientHopFactory("v1");
};

TEST_F(ReferenceDump, AFecRecordIsIndentedWithItsClientsAndTheirNexthopsBelow) {
  EXPECT_EQ(dumpOf(*references->fecIdRef(42), 4),
            "    NexthopResolverFecIdRef 42\n"
            "      NexthopResolverClientRef c1\n"
            "        10.0.0.1\n"
            "        10.0.0.2\n");
}

TEST_F(ReferenceDump, AFecRecordAtIndentZeroBeginsItsLine) {
  EXPECT_EQ(dumpOf(*references->fecIdRef(42), 0),
            "NexthopResolverFecIdRef 42\n"
            "  NexthopResolverClientRef c1\n"
            "    10.0.0.1\n"
            "    10.0.0.2\n");
}

TEST_F(ReferenceDump, AClientRecordListsItsNexthopsAtTwoMore) {
  references->addReference(42, "c1", addr("2001:db8::1"));
  const auto record = references->fecIdRef(42)->clientRef("c1");
  EXPECT_EQ(dumpOf(*record, 0),
            "NexthopResolverClientRef c1\n  10.0.0.1\n  10.0.0.2\n  2001:db8::1\n");
  EXPECT_EQ(dumpOf(*record, 1),
            " NexthopResolverClientRef c1\n   10.0.0.1\n   10.0.0.2\n   2001:db8::1\n");
}

TEST_F(ReferenceDump, EmptyRecordsPrintTheirHeaderAlone) {
  EXPECT_EQ(dumpOf(*makeEntity<NexthopResolverClientRef>("c2"), 3),
            "   NexthopResolverClientRef c2\n");
  EXPECT_EQ(dumpOf(*makeEntity<NexthopResolverFecIdRef>(FecId{7}), 0),
            "NexthopResolverFecIdRef 7\n");
}

TEST_F(ReferenceDump, AFecIdIsAnUnsignedDecimal) {
  EXPECT_EQ(dumpOf(*makeEntity<NexthopResolverFecIdRef>(0xffffffffffffffff), 0),
            "NexthopResolverFecIdRef 18446744073709551615\n");
}

TEST_F(ReferenceDump, TheIndexPrintsItsFecsThenItsKeys) {
  references->addReference(43, "c2", addr("2001:db8::1"));
  EXPECT_EQ(dumpOf(*references, 0),
            "FecIdToClientHop v1\n"
            "  NexthopResolverFecIdRef 42\n"
            "    NexthopResolverClientRef c1\n"
            "      10.0.0.1\n"
            "      10.0.0.2\n"
            "  NexthopResolverFecIdRef 43\n"
            "    NexthopResolverClientRef c2\n"
            "      2001:db8::1\n"
            "ClientNexthop to FecId Map\n"
            "  (c1,10.0.0.1) -> 42\n"
            "  (c1,10.0.0.2) -> 42\n"
            "  (c2,2001:db8::1) -> 43\n");
}

TEST_F(ReferenceDump, TheIndexIndentsItsSubHeaderLikeItsHeader) {
  references->deleteReferenceForClientNexthop("c1", addr("10.0.0.2"));
  EXPECT_EQ(dumpOf(*references, 3),
            "   FecIdToClientHop v1\n"
            "     NexthopResolverFecIdRef 42\n"
            "       NexthopResolverClientRef c1\n"
            "         10.0.0.1\n"
            "   ClientNexthop to FecId Map\n"
            "     (c1,10.0.0.1) -> 42\n");
}

TEST_F(ReferenceDump, AnEmptyIndexPrintsHeaderAndSubHeaderOnly) {
  const auto empty = fecIdToClientHopFactory("v2");
  EXPECT_EQ(dumpOf(*empty, 0), "FecIdToClientHop v2\nClientNexthop to FecId Map\n");
  EXPECT_EQ(dumpOf(*empty, 2), "  FecIdToClientHop v2\n  ClientNexthop to FecId Map\n");
}

TEST_F(ReferenceDump, WhatTheContextHasPrintedBeforeIsADuplicate) {
  DumpContext context;
  references->dumpState(context, 0);
  const String first = context.text();
  references->dumpState(context, 0);
  EXPECT_EQ(context.text().substr(first.size()),
            "FecIdToClientHop v1\n"
            "  (Routing::NexthopResolverFecIdRef 42 dumped above)\n"
            "ClientNexthop to FecId Map\n"
            "  (c1,10.0.0.1) -> 42\n"
            "  (c1,10.0.0.2) -> 42\n");
}

TEST_F(ReferenceDump, AClientPrintedBeforeIsADuplicateUnderItsFec) {
  DumpContext context;
  context.dumpChild(references->fecIdRef(42)->clientRef("c1").get(), 0);
  const String first = context.text();
  references->fecIdRef(42)->dumpState(context, 0);
  EXPECT_EQ(context.text().substr(first.size()),
            "NexthopResolverFecIdRef 42\n"
            "  (Routing::NexthopResolverClientRef c1 dumped above)\n");
}

TEST_F(ReferenceDump, AContextThatAsksForGenericDumpsGetsThemForChildren) {
  EXPECT_EQ(dumpOf(*references, 0, DumpContext::Form::generic),
            "FecIdToClientHop v1\n"
            "  Routing::NexthopResolverFecIdRef\n"
            "    fecId: 42\n"
            "    clientRef: {c1}\n"
            "ClientNexthop to FecId Map\n"
            "  (c1,10.0.0.1) -> 42\n"
            "  (c1,10.0.0.2) -> 42\n");
  EXPECT_EQ(dumpOf(*references->fecIdRef(42), 1, DumpContext::Form::generic),
            " NexthopResolverFecIdRef 42\n"
            "   Routing::NexthopResolverClientRef\n"
            "     clientName: c1\n"
            "     nexthopRef: {10.0.0.1, 10.0.0.2}\n");
}

TEST_F(ReferenceDump, NothingOfARecordIsLeftForTheContextToAdd) {
  for (const Entity* entity : {static_cast<const Entity*>(references.get()),
                               static_cast<const Entity*>(references->fecIdRef(42).get())}) {
    for (const AttributeData& attribute : entity->typeData().attributes()) {
      EXPECT_TRUE(attribute.inDumpState) << attribute.name;
    }
  }
}

}  // namespace
}  // namespace Routing
