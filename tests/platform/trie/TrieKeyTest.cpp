#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/trie/TrieKey.h"
#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

// The bits of an address as text, with zeros after them.
std::string bitsOf(const IpGenAddr& address) {
  std::string bits;
  for (const std::uint32_t word : address.words()) {
    for (unsigned bit = 0; bit < 32; ++bit) {
      bits += (word & 0x80000000U >> bit) != 0 ? '1' : '0';
    }
  }
  return bits;
}

unsigned numberOf(const std::string& bits) {
  return bits.empty() ? 0 : static_cast<unsigned>(std::stoul(bits, nullptr, 2));
}

template <class Key>
class TrieKey : public testing::Test {
 protected:
  static constexpr AddressFamily family =
      Key::bits == 32 ? AddressFamily::ipv4 : AddressFamily::ipv6;
  IpGenAddr address() { return random_.next().address(); }
  static Key key(const IpGenAddr& of) { return Key::of(of.words()); }

 private:
  RandomPrefixes random_{family, Spread::sparseHosts, testSeed()};
};

using Keys = testing::Types<TrieKey32, TrieKey128>;
TYPED_TEST_SUITE(TrieKey, Keys);

TYPED_TEST(TrieKey, ChunkReadsSixBitsAtEveryDepthAndZerosAfterTheEnd) {
  const IpGenAddr address = this->address();
  for (unsigned depth = 0; depth < TypeParam::bits; ++depth) {
    const std::string bits = bitsOf(address).substr(0, TypeParam::bits) + "000000";
    EXPECT_EQ(numberOf(bits.substr(depth, 6)), this->key(address).chunk(depth)) << depth;
  }
}

TYPED_TEST(TrieKey, ChunksPutBackMakeTheKeyAgain) {
  const TypeParam key = this->key(this->address());
  TypeParam again;
  for (unsigned depth = 0; depth < TypeParam::bits; depth += trieStride) {
    again = again.withChunk(depth, key.chunk(depth));
  }
  EXPECT_EQ(key.address(), again.address());
}

TYPED_TEST(TrieKey, FirstKeepsTheLeadingBitsOnly) {
  const IpGenAddr address = this->address();
  for (unsigned count = 0; count <= TypeParam::bits; ++count) {
    const IpGenPrefix prefix(address, static_cast<std::uint8_t>(count));
    EXPECT_EQ(prefix.address(), this->key(address).first(count).address()) << count;
  }
}

TYPED_TEST(TrieKey, LeadingBitsReadAsANumber) {
  const IpGenAddr address = this->address();
  for (unsigned count = 0; count <= 18; ++count) {
    EXPECT_EQ(numberOf(bitsOf(address).substr(0, count)), this->key(address).leading(count));
  }
}

TYPED_TEST(TrieKey, KeysAgreeUpToTheFirstBitThatDiffers) {
  const IpGenAddr address = this->address();
  for (unsigned differs = 0; differs < TypeParam::bits; ++differs) {
    IpGenAddr::Words words = address.words();
    words[differs / 32] ^= 0x80000000U >> differs % 32;
    const TypeParam other = TypeParam::of(words);
    EXPECT_EQ(differs, this->key(address).common(other));
    for (unsigned count = 0; count <= TypeParam::bits; ++count) {
      EXPECT_EQ(count <= differs, this->key(address).agrees(other, count)) << differs << count;
    }
  }
}

TYPED_TEST(TrieKey, AKeyAgreesWithItselfInFull) {
  const TypeParam key = this->key(this->address());
  EXPECT_EQ(TypeParam::bits, key.common(key));
  EXPECT_TRUE(key.agrees(key, TypeParam::bits));
}

TYPED_TEST(TrieKey, PackingKeepsEveryBit) {
  const IpGenAddr address = this->address();
  EXPECT_EQ(address, TypeParam::of(this->key(address).packed()).address());
}

TYPED_TEST(TrieKey, TheEndOfAShorterPrefixIsReadOffItsMark) {
  const IpGenAddr address = this->address();
  for (unsigned length = 0; length < TypeParam::bits; ++length) {
    const TypeParam key = this->key(address).first(length);
    EXPECT_EQ(length, key.ended(length).endedLength());
    EXPECT_EQ(key, key.ended(length).unended());
  }
}

TEST(TriePrefix, APrefixBelongsToTheLevelAboveItsLastBit) {
  using Stored = TriePrefix<TrieKey32>;
  EXPECT_EQ(0U, Stored::of(prefix("0.0.0.0/0")).level());
  EXPECT_EQ(0U, Stored::of(prefix("128.0.0.0/1")).level());
  EXPECT_EQ(0U, Stored::of(prefix("4.0.0.0/6")).level());
  EXPECT_EQ(1U, Stored::of(prefix("4.0.0.0/7")).level());
  EXPECT_EQ(3U, Stored::of(prefix("10.1.2.0/24")).level());
  EXPECT_EQ(5U, Stored::of(prefix("10.1.2.3/32")).level());
}

}  // namespace
}  // namespace Routing
