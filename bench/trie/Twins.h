#pragma once

// The plain tries that the trie is measured against. Both are written the way textbooks do, with
// nodes of their own on the heap.
//
//   BinaryTrie    one node a bit
//   PatriciaTrie  path-compressed: a node where a prefix ends or two part

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/net/IpGenPrefix.h"
#include "platform/trie/TrieKey.h"

namespace Routing::TrieBench {

// What the heap takes for a node: the size, a word of its own, rounded to 16.
template <class Node>
constexpr std::size_t heapBytes = (sizeof(Node) + 8 + 15) / 16 * 16;

template <class Key>
unsigned bitAt(const Key& key, unsigned depth) {
  return key.chunk(depth) >> 5U;
}

template <class Family>
IpGenPrefix prefixFrom(const typename Family::Key& key, unsigned length) {
  return IpGenPrefix::ofNetwork(key.first(length).address(), static_cast<std::uint8_t>(length));
}

template <class Family>
class BinaryTrie {
 public:
  using Stored = TriePrefix<typename Family::Key>;

  std::size_t memory() const { return nodes_ * heapBytes<Node>; }

  bool insert(const IpGenPrefix& prefix) {
    const Stored stored = Stored::of(prefix);
    std::unique_ptr<Node>* at = &root_;
    for (unsigned depth = 0;; ++depth) {
      if (!*at) {
        *at = std::make_unique<Node>();
        ++nodes_;
      }
      if (depth == stored.length) {
        return !std::exchange((*at)->present, true);
      }
      at = &(*at)->child[bitAt(stored.key, depth)];
    }
  }
  bool erase(const IpGenPrefix& prefix) { return eraseBelow(root_, Stored::of(prefix), 0); }

  IpGenPrefix longestMatch(const IpGenPrefix& prefix) const {
    const Stored stored = Stored::of(prefix);
    int longest = -1;
    const Node* node = root_.get();
    for (unsigned depth = 0; node != nullptr; ++depth) {
      longest = node->present ? static_cast<int>(depth) : longest;
      if (depth == stored.length) {
        break;
      }
      node = node->child[bitAt(stored.key, depth)].get();
    }
    return longest < 0 ? IpGenPrefix()
                       : prefixFrom<Family>(stored.key, static_cast<unsigned>(longest));
  }
  bool longerPresent(const IpGenPrefix& prefix) const {
    const Node* node = find(Stored::of(prefix));
    return node != nullptr && (node->child[0] || node->child[1]);
  }
  template <class Visit>
  void walk(const IpGenPrefix& prefix, Visit visit) const {
    const Stored stored = Stored::of(prefix);
    walkBelow(find(stored), stored.key, stored.length, visit);
  }

 private:
  struct Node {
    std::unique_ptr<Node> child[2];
    bool present = false;
  };

  const Node* find(const Stored& stored) const {
    const Node* node = root_.get();
    for (unsigned depth = 0; node != nullptr && depth < stored.length; ++depth) {
      node = node->child[bitAt(stored.key, depth)].get();
    }
    return node;
  }
  bool eraseBelow(std::unique_ptr<Node>& node, const Stored& stored, unsigned depth) {
    if (!node) {
      return false;
    }
    const bool removed = depth == stored.length
                             ? std::exchange(node->present, false)
                             : eraseBelow(node->child[bitAt(stored.key, depth)], stored, depth + 1);
    if (removed && !node->present && !node->child[0] && !node->child[1]) {
      node.reset();
      --nodes_;
    }
    return removed;
  }
  template <class Visit>
  static bool walkBelow(const Node* node,
                        const typename Family::Key& key,
                        unsigned depth,
                        Visit& visit) {
    if (node == nullptr) {
      return true;
    }
    return (!node->present || visit(prefixFrom<Family>(key, depth))) &&
           walkBelow(node->child[0].get(), key, depth + 1, visit) &&
           (!node->child[1] ||
            walkBelow(node->child[1].get(), key.withChunk(depth, 32), depth + 1, visit));
  }

  std::unique_ptr<Node> root_;
  std::size_t nodes_ = 0;
};

template <class Family>
class PatriciaTrie {
 public:
  using Stored = TriePrefix<typename Family::Key>;

  std::size_t memory() const { return nodes_ * heapBytes<Node>; }

  bool insert(const IpGenPrefix& prefix) {
    const Stored stored = Stored::of(prefix);
    std::unique_ptr<Node>* at = &root_;
    while (*at && (*at)->prefix.covers(stored)) {
      if ((*at)->prefix.length == stored.length) {
        return !std::exchange((*at)->present, true);
      }
      at = &(*at)->child[bitAt(stored.key, (*at)->prefix.length)];
    }
    auto added = make(stored, true);
    if (*at) {
      join(*at, added);
    }
    *at = std::move(added);
    return true;
  }
  bool erase(const IpGenPrefix& prefix) {
    const Stored stored = Stored::of(prefix);
    std::unique_ptr<Node>* above = nullptr;
    std::unique_ptr<Node>* at = &root_;
    while (*at && (*at)->prefix.length < stored.length && (*at)->prefix.covers(stored)) {
      above = at;
      at = &(*at)->child[bitAt(stored.key, (*at)->prefix.length)];
    }
    if (!*at || (*at)->prefix != stored || !(*at)->present) {
      return false;
    }
    (*at)->present = false;
    shorten(*at);
    if (above != nullptr) {
      shorten(*above);
    }
    return true;
  }

  IpGenPrefix longestMatch(const IpGenPrefix& prefix) const {
    const Stored stored = Stored::of(prefix);
    int longest = -1;
    const Node* node = root_.get();
    while (node != nullptr && node->prefix.covers(stored)) {
      const unsigned length = node->prefix.length;
      longest = node->present ? static_cast<int>(length) : longest;
      if (length == stored.length) {
        break;
      }
      node = node->child[bitAt(stored.key, length)].get();
    }
    return longest < 0 ? IpGenPrefix()
                       : prefixFrom<Family>(stored.key, static_cast<unsigned>(longest));
  }
  bool longerPresent(const IpGenPrefix& prefix) const {
    const Stored stored = Stored::of(prefix);
    const Node* node = find(stored);
    return node != nullptr &&
           (node->prefix.length > stored.length || node->child[0] || node->child[1]);
  }
  template <class Visit>
  void walk(const IpGenPrefix& prefix, Visit visit) const {
    walkBelow(find(Stored::of(prefix)), visit);
  }

 private:
  struct Node {
    Stored prefix;
    bool present = false;
    std::unique_ptr<Node> child[2];
  };

  std::unique_ptr<Node> make(const Stored& prefix, bool present) {
    auto node = std::make_unique<Node>();
    node->prefix = prefix;
    node->present = present;
    ++nodes_;
    return node;
  }
  // Puts the old node below the added one, or both below a new one.
  void join(std::unique_ptr<Node>& old, std::unique_ptr<Node>& added) {
    const unsigned length = std::min(
        {old->prefix.length, added->prefix.length, old->prefix.key.common(added->prefix.key)});
    if (length < added->prefix.length) {
      auto fork = make({added->prefix.key.first(length), length}, false);
      const unsigned side = bitAt(added->prefix.key, length);
      fork->child[side] = std::move(added);
      added = std::move(fork);
    }
    const unsigned side = bitAt(old->prefix.key, length);
    added->child[side] = std::move(old);
  }
  // Removes a node that holds no prefix and has fewer than two children.
  void shorten(std::unique_ptr<Node>& node) {
    if (!node->present && (!node->child[0] || !node->child[1])) {
      std::unique_ptr<Node> rest = std::move(node->child[node->child[0] ? 0 : 1]);
      node = std::move(rest);
      --nodes_;
    }
  }
  // The topmost node inside the prefix.
  const Node* find(const Stored& stored) const {
    const Node* node = root_.get();
    while (node != nullptr && node->prefix.length < stored.length) {
      if (!node->prefix.covers(stored)) {
        return nullptr;
      }
      node = node->child[bitAt(stored.key, node->prefix.length)].get();
    }
    return node != nullptr && stored.covers(node->prefix) ? node : nullptr;
  }
  template <class Visit>
  static bool walkBelow(const Node* node, Visit& visit) {
    return node == nullptr ||
           ((!node->present || visit(prefixFrom<Family>(node->prefix.key, node->prefix.length))) &&
            walkBelow(node->child[0].get(), visit) && walkBelow(node->child[1].get(), visit));
  }

  std::unique_ptr<Node> root_;
  std::size_t nodes_ = 0;
};

}  // namespace Routing::TrieBench
