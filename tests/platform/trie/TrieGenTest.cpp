#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "platform/entity/TypeData.h"
#include "platform/trie/TrieGen.h"
#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;
using testing::ElementsAre;
using testing::IsEmpty;

Ptr<TrieGen> ipv4Trie() { return makeEntity<TrieGen>("fib", AddressFamily::ipv4); }

// Notes every announced prefix, and what the trie says at that moment.
class Announcements : public Notifiee {
 public:
  explicit Announcements(const Ptr<TrieGen>& trie) : trie_(trie.get()) { subscribe(*trie); }

  void onAttribute(FieldId field, const void* key) override {
    EXPECT_EQ(TrieGen::changedPrefixField, field);
    const auto& changed = *static_cast<const IpGenPrefix*>(key);
    EXPECT_EQ(changed, trie_->changedPrefix());
    notes.push_back(changed.stringValue() + (trie_->routeHas(changed) ? " there" : " absent"));
    if (then) {
      std::exchange(then, nullptr)();
    }
  }

  std::vector<std::string> notes;
  std::function<void()> then;

 private:
  TrieGen* trie_;
};

class Visits : public TrieGenWalkCallback {
 public:
  explicit Visits(std::function<bool(const IpGenPrefix&)> each = nullptr)
      : each_(std::move(each)) {}

  bool handlePrefix(const IpGenPrefix& found) override {
    seen.push_back(found.stringValue());
    return !each_ || each_(found);
  }
  const TypeData& typeData() const override {
    static const TypeData type("Visits");
    return type;
  }

  std::vector<std::string> seen;

 private:
  std::function<bool(const IpGenPrefix&)> each_;
};

TEST(TrieGen, StartsEmptyWithItsNameAndFamilyAndNoChangedPrefix) {
  const auto trie = makeEntity<TrieGen>("", AddressFamily::ipv6);
  EXPECT_EQ("", trie->name());
  EXPECT_EQ(AddressFamily::ipv6, trie->addressFamily());
  EXPECT_EQ(0U, trie->routeCount());
  EXPECT_EQ(IpGenPrefix(), trie->changedPrefix());
}

TEST(TrieGen, BeforeTheFirstPrefixIsItsObjectAloneAndAnswersLikeAnEmptyTrie) {
  for (const AddressFamily family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    const auto trie = makeEntity<TrieGen>("", family);
    const Announcements announcements(trie);
    const IpGenPrefix all = prefix(family == AddressFamily::ipv4 ? "0.0.0.0/0" : "::/0");
    const auto visits = makeEntity<Visits>();
    trie->preOrderWalk(all, visits);
    EXPECT_THAT(visits->seen, IsEmpty());
    EXPECT_FALSE(trie->routeHas(all));
    EXPECT_FALSE(trie->longerRoutePresent(all));
    EXPECT_EQ(IpGenPrefix(), trie->longestMatch(all));
    TrieSearch search = trie->searchBegin(all);
    EXPECT_FALSE(trie->searchStep(all, search));
    EXPECT_EQ(IpGenPrefix(), trie->searchEnd(all, search));
    trie->routeDel(all);
    EXPECT_THAT(announcements.notes, IsEmpty());
    EXPECT_EQ("", trie->checkInvariants());
    EXPECT_EQ(sizeof(TrieGen), trie->memory());
  }
}

TEST(TrieGen, PublishesAPrefixOnlyWhenItIsReallyAddedOrRemoved) {
  const auto trie = ipv4Trie();
  Announcements announcements(trie);
  trie->routeIs(prefix("10.0.0.0/8"), true);
  trie->routeIs(prefix("10.0.0.0/8"), true);
  trie->routeDel(prefix("11.0.0.0/8"));
  trie->routeDel(prefix("10.0.0.0/8"));
  trie->routeDel(prefix("10.0.0.0/8"));
  EXPECT_THAT(announcements.notes, ElementsAre("10.0.0.0/8 there", "10.0.0.0/8 absent"));
}

TEST(TrieGen, ChangesCountsWhatIsReallyAddedOrRemovedAndNoAnnouncement) {
  for (const AddressFamily family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    const auto trie = makeEntity<TrieGen>("", family);
    const IpGenPrefix all = prefix(family == AddressFamily::ipv4 ? "0.0.0.0/0" : "::/0");
    trie->routeDel(all);
    EXPECT_EQ(0U, trie->changes());
    trie->routeIs(all, true);
    trie->routeIs(all, true);
    trie->changedPrefixIs(all);
    EXPECT_EQ(1U, trie->changes());
    trie->routeIs(all, false);
    trie->routeDel(all);
    EXPECT_EQ(2U, trie->changes());
    trie->routeIs(all, true);
    EXPECT_EQ(3U, trie->changes());
  }
}

TEST(TrieGen, RouteIsFalseRemoves) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  Announcements announcements(trie);
  trie->routeIs(prefix("10.0.0.0/8"), false);
  trie->routeIs(prefix("10.0.0.0/8"), false);
  EXPECT_THAT(announcements.notes, ElementsAre("10.0.0.0/8 absent"));
}

TEST(TrieGen, ChangedPrefixIsPublishesEveryTimeAndAddsNothing) {
  const auto trie = ipv4Trie();
  Announcements announcements(trie);
  trie->changedPrefixIs(prefix("10.0.0.0/8"));
  trie->changedPrefixIs(prefix("10.0.0.0/8"));
  EXPECT_THAT(announcements.notes, ElementsAre("10.0.0.0/8 absent", "10.0.0.0/8 absent"));
  EXPECT_EQ(0U, trie->routeCount());
}

TEST(TrieGen, ChangedPrefixIsTheLastOneAnnounced) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  EXPECT_EQ(prefix("10.0.0.0/8"), trie->changedPrefix());
  trie->changedPrefixIs(prefix("11.0.0.0/8"));
  EXPECT_EQ(prefix("11.0.0.0/8"), trie->changedPrefix());
  trie->routeDel(prefix("12.0.0.0/8"));
  EXPECT_EQ(prefix("11.0.0.0/8"), trie->changedPrefix());
  trie->routeDel(prefix("10.0.0.0/8"));
  EXPECT_EQ(prefix("10.0.0.0/8"), trie->changedPrefix());
}

TEST(TrieGen, ANotifieeMayChangeTheTrieAndItsChangeIsPublishedInside) {
  const auto trie = ipv4Trie();
  Announcements first(trie);
  Announcements second(trie);
  first.then = [&trie] { trie->routeDel(prefix("10.0.0.0/8")); };
  trie->routeIs(prefix("10.0.0.0/8"), true);
  EXPECT_THAT(first.notes, ElementsAre("10.0.0.0/8 there", "10.0.0.0/8 absent"));
  EXPECT_THAT(second.notes, ElementsAre("10.0.0.0/8 absent", "10.0.0.0/8 absent"));
}

// Announcements expects changedPrefix() to be what is delivered to it.
TEST(TrieGen, TheChangedPrefixIsTheOneDeliveredAlsoAfterAChangeInside) {
  const auto trie = ipv4Trie();
  Announcements first(trie);
  const Announcements second(trie);
  first.then = [&trie] { trie->routeIs(prefix("11.0.0.0/8"), true); };
  trie->routeIs(prefix("10.0.0.0/8"), true);
  EXPECT_THAT(second.notes, ElementsAre("11.0.0.0/8 there", "10.0.0.0/8 there"));
  EXPECT_EQ(prefix("10.0.0.0/8"), trie->changedPrefix());
}

TEST(TrieGen, ANotifieeMayReleaseTheTrie) {
  auto trie = ipv4Trie();
  TrieGen& plain = *trie;
  Announcements announcements(trie);
  announcements.then = [&trie] { trie = nullptr; };
  plain.routeIs(prefix("10.0.0.0/8"), true);
  EXPECT_THAT(announcements.notes, ElementsAre("10.0.0.0/8 there"));
}

TEST(TrieGen, AnnouncingItsOwnChangedPrefixIsSafe) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  Announcements announcements(trie);
  trie->routeDel(trie->changedPrefix());
  EXPECT_THAT(announcements.notes, ElementsAre("10.0.0.0/8 absent"));
}

TEST(TrieGen, AnExceptionOfANotifieeLeavesTheChangeInPlace) {
  const auto trie = ipv4Trie();
  Announcements announcements(trie);
  announcements.then = [] { throw std::runtime_error("refused"); };
  EXPECT_THROW(trie->routeIs(prefix("10.0.0.0/8"), true), std::runtime_error);
  EXPECT_TRUE(trie->routeHas(prefix("10.0.0.0/8")));
  EXPECT_EQ(prefix("10.0.0.0/8"), trie->changedPrefix());
}

TEST(TrieGen, AnswersForEitherFamily) {
  const auto trie = makeEntity<TrieGen>("", AddressFamily::ipv6);
  trie->routeIs(prefix("2001:db8::/32"), true);
  EXPECT_EQ(prefix("2001:db8::/32"), trie->longestMatch(prefix("2001:db8::1/128")));
  EXPECT_TRUE(trie->longerRoutePresent(prefix("2001::/16")));
  EXPECT_EQ(1U, trie->routeCount());
  EXPECT_EQ("", trie->checkInvariants());
}

TEST(TrieGen, TheEmptyPrefixAndTheOtherFamilyAreNotThere) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("0.0.0.0/0"), true);
  Announcements announcements(trie);
  const auto visits = makeEntity<Visits>();
  for (const IpGenPrefix& other : {IpGenPrefix(), prefix("::/0")}) {
    EXPECT_EQ(IpGenPrefix(), trie->longestMatch(other));
    EXPECT_FALSE(trie->longerRoutePresent(other));
    EXPECT_FALSE(trie->routeHas(other));
    trie->preOrderWalk(other, visits);
    trie->routeDel(other);
  }
  EXPECT_THAT(visits->seen, IsEmpty());
  EXPECT_THAT(announcements.notes, IsEmpty());
}

TEST(TrieGenDeathTest, AddingAPrefixOfTheOtherFamilyIsAProgrammingError) {
  const auto trie = ipv4Trie();
  EXPECT_DEATH(trie->routeIs(prefix("::/0"), true), "prefix of the trie's family");
  EXPECT_DEATH(trie->routeIs(IpGenPrefix(), true), "prefix of the trie's family");
}

TEST(TrieGenDeathTest, ATrieHasAFamily) {
  EXPECT_DEATH(makeEntity<TrieGen>("", AddressFamily::unset), "invalid address family");
}

TEST(TrieGen, AWalkVisitsParentsFirstUntilTheCallbackHasEnough) {
  const auto trie = ipv4Trie();
  for (const char* each :
       {"10.1.2.0/24", "10.0.0.0/8", "10.1.0.0/16", "10.2.0.0/16", "11.0.0.0/8"}) {
    trie->routeIs(prefix(each), true);
  }
  const auto all = makeEntity<Visits>();
  trie->preOrderWalk(prefix("10.0.0.0/8"), all);
  EXPECT_THAT(all->seen, ElementsAre("10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.2.0.0/16"));

  const auto two = makeEntity<Visits>([](const IpGenPrefix& found) { return found.length() < 16; });
  trie->preOrderWalk(prefix("10.0.0.0/8"), two);
  EXPECT_THAT(two->seen, ElementsAre("10.0.0.0/8", "10.1.0.0/16"));
}

TEST(TrieGen, AWalkOutlivesTheReleaseOfTrieAndCallback) {
  auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  trie->routeIs(prefix("11.0.0.0/8"), true);
  std::size_t seen = 0;
  Ptr<TrieGenWalkCallback> callback = makeEntity<Visits>([&](const IpGenPrefix&) {
    trie = nullptr;
    callback = nullptr;
    return ++seen < 2;
  });
  const TrieGen& plain = *trie;
  plain.preOrderWalk(prefix("0.0.0.0/0"), callback);
  EXPECT_EQ(2U, seen);
}

TEST(TrieGenDeathTest, ACallbackMayNotChangeTheTrieItWalks) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  const auto changer = makeEntity<Visits>([&trie](const IpGenPrefix& found) {
    trie->routeDel(found);
    return true;
  });
  EXPECT_DEATH(trie->preOrderWalk(prefix("0.0.0.0/0"), changer), "trie changed by its own walk");
}

TEST(TrieGen, InspectionShowsNameFamilyCountAndLastChange) {
  const auto trie = ipv4Trie();
  trie->routeIs(prefix("10.0.0.0/8"), true);
  std::vector<std::string> shown;
  for (const AttributeData& each : trie->typeData().attributes()) {
    shown.push_back(std::string(each.name) + "=" + each.value(*trie));
  }
  EXPECT_EQ("Routing::TrieGen", trie->typeData().name());
  EXPECT_THAT(shown,
              ElementsAre("name=fib", "addressFamily=1", "routes=1", "changedPrefix=10.0.0.0/8"));
}

TEST(TrieGen, OperationsCanBeCalledByName) {
  const auto trie = ipv4Trie();
  const auto call = [&trie](const char* name, const std::vector<std::string>& arguments) {
    return trie->typeData().operation(name)->call(*trie, arguments);
  };
  call("routeIs", {"10.0.0.0/8", "true"});
  EXPECT_EQ("10.0.0.0/8", call("longestMatch", {"10.1.2.3/32"}));
  EXPECT_EQ("true", call("longerRoutePresent", {"0.0.0.0/0"}));
  call("changedPrefixIs", {"12.0.0.0/8"});
  EXPECT_EQ(prefix("12.0.0.0/8"), trie->changedPrefix());
  call("routeDel", {"10.0.0.0/8"});
  EXPECT_EQ("false", call("routeHas", {"10.0.0.0/8"}));
}

TEST(TrieGen, AReleasedTrieLeavesNoEntityBehind) {
  const std::uint64_t before = TypeData::liveEntities();
  {
    const auto trie = ipv4Trie();
    trie->routeIs(prefix("10.0.0.0/8"), true);
    EXPECT_EQ(before + 1, TypeData::liveEntities());
  }
  EXPECT_EQ(before, TypeData::liveEntities());
}

}  // namespace
}  // namespace Routing
