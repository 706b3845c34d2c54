#pragma once

// TrieGen: a published set of prefixes of one family.
//
// The forwarding tables have one for each family of a VRF, which says what routes there are;
// whoever tracks addresses keeps them in one as host prefixes, to find those under a changed route.
// It holds no routes, only which prefixes have one. What it is made of is PrefixTrie.h's, made with
// the first prefix: every client of every VRF has two tries, most of which never get one.
//
// Owner: the host or a state machine, by Ptr.
//
//   input               change                                            publishes
//   routeIs(p, true)    p is added                                        p, when it was absent
//   routeIs(p, false)   p is removed                                      p, when it was there
//   routeDel(p)         the same
//   changedPrefixIs(p)  none; says that the route under p has new content p, always
//
// changedPrefix() is, during a delivery, the prefix that is delivered; otherwise the last one that
// was, unset before the first. When a notifiee changes the trie, that delivery is whole before the
// outer one goes on, with its own prefix again. The writer changes the route table first and this
// trie last, so whoever is notified finds the table as it will stand.
//
// The empty prefix and prefixes of the other family are covered by nothing, cover nothing, and are
// not there to be removed; adding one is a programming error.
//
// Reentering: the trie may be changed, or released, by whom it notifies. It may not be changed by
// the callback of its own walk; the callback may ask it anything, add what is there and remove what
// is not, walk it again, change other tries and release this one.

#include <cstddef>
#include <memory>
#include <utility>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing {

// What a walk calls.
class TrieGenWalkCallback : public Entity {
 public:
  // False stops the walk.
  virtual bool handlePrefix(const IpGenPrefix& prefix) = 0;
};

class TrieGen : public Entity, public Publisher {
 public:
  // Key: the changed prefix, const IpGenPrefix*.
  static constexpr FieldId changedPrefixField{1};

  // Requires: IPv4 or IPv6.
  TrieGen(String name, AddressFamily family);

  const String& name() const noexcept { return name_; }
  AddressFamily addressFamily() const noexcept { return family_; }
  const IpGenPrefix& changedPrefix() const noexcept { return changedPrefix_; }
  std::size_t routeCount() const noexcept;
  // Prefixes added and removed so far, modulo 2^32.
  std::uint32_t changes() const noexcept;
  // Bytes of the trie's own.
  std::size_t memory() const noexcept;
  // What is broken in the trie; empty when nothing is.
  String checkInvariants() const;

  // Adds the prefix when `present`, else the same as routeDel.
  // Requires: of this family when present; no walk under way that this would change. Publishes: the
  // prefix, if that changed something. Throws: std::bad_alloc; the trie is unchanged then.
  void routeIs(const IpGenPrefix& prefix, bool present);
  // Requires: no walk under way that this would change. Publishes: the prefix, if it was there.
  void routeDel(const IpGenPrefix& prefix);
  // Publishes: the prefix.
  void changedPrefixIs(const IpGenPrefix& prefix);

  bool routeHas(const IpGenPrefix& prefix) const noexcept;
  // The longest prefix here that covers the argument; the empty prefix when none does.
  IpGenPrefix longestMatch(const IpGenPrefix& prefix) const noexcept;
  // True when there is a prefix strictly longer than the argument and inside it.
  bool longerRoutePresent(const IpGenPrefix& prefix) const noexcept;
  // Calls the callback for every prefix inside the argument, itself included: by address, of those
  // with the same address the shorter first, so parents before what is inside them.
  // Requires: a callback. Throws: what the callback throws; the walk ends there.
  void preOrderWalk(const IpGenPrefix& prefix, const Ptr<TrieGenWalkCallback>& callback) const;

  // The longest match in steps, for who looks for many at a time: each step reads what the one
  // before it fetched, so that all of them wait for memory together. Steps return false when there
  // is nothing more to wait for, and searchEnd() gives the match.
  // Requires: the same prefix throughout; no change of the trie since the beginning.
  TrieSearch searchBegin(const IpGenPrefix& prefix) const noexcept;
  bool searchStep(const IpGenPrefix& prefix, TrieSearch& search) const noexcept;
  IpGenPrefix searchEnd(const IpGenPrefix& prefix, const TrieSearch& search) const noexcept;

  const TypeData& typeData() const override;

 private:
  using Trie4 = PrefixTrie<TrieFamily4>;
  using Trie6 = PrefixTrie<TrieFamily6>;

  // What the call says of the trie; before there is one, what it would say of an empty one.
  template <class Call>
  auto withTrie(Call call) const {
    using Result = decltype(call(std::declval<Trie4&>()));
    if (trie_ == nullptr) {
      return Result();
    }
    return family_ == AddressFamily::ipv4 ? call(static_cast<Trie4&>(*trie_))
                                          : call(static_cast<Trie6&>(*trie_));
  }
  void makeTrie();

  // A delivery under way. Holds the trie, which a notifiee may release.
  class Announcement {
   public:
    Announcement(TrieGen& trie, const IpGenPrefix& prefix);
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;
    ~Announcement();

   private:
    Ptr<TrieGen> trie_;
    IpGenPrefix outer_;
  };

  String name_;
  IpGenPrefix changedPrefix_;
  AddressFamily family_;
  // Null before the first prefix.
  std::unique_ptr<AnyPrefixTrie> trie_;
};

// In sight of who takes many steps.
inline bool TrieGen::searchStep(const IpGenPrefix& prefix, TrieSearch& search) const noexcept {
  return withTrie([&prefix, &search](const auto& trie) { return trie.searchStep(prefix, search); });
}

}  // namespace Routing
