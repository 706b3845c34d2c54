#pragma once

// The words behind a command, taken one by one, each read as what it stands for.
//
// Every operation that takes a word throws InputError when there is none or when it does not read;
// a command takes all of its words, then calls end(), and only then acts, so that a bad line does
// nothing. A call that names a word (`what`) names it as the user's page does: "VRF", "PREFIX".

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/fib/Fec.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/task/Clock.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing::Replay {

class Arguments {
 public:
  // The words of a line, the command first, and the line itself, which they are views of. Both
  // outlive this.
  Arguments(std::span<const std::string_view> words, std::string_view line) noexcept
      : words_(words.subspan(1)),
        afterCommand_(line.substr(
            static_cast<std::size_t>(words.front().data() + words.front().size() - line.data()))) {}

  bool atEnd() const noexcept { return words_.empty(); }
  // Throws: InputError when words are left.
  void end() const;
  // What follows the command and one blank on the line, as it stands. Takes all words.
  std::string_view rest() noexcept;

  std::string_view word(std::string_view what);
  String name(std::string_view what) { return String(word(what)); }
  // Takes the next word when it is this one.
  bool take(std::string_view word) noexcept;
  // The next word must be this one.
  void keyword(std::string_view word);
  // The index of the next word in this list; it must be one of it.
  std::size_t choice(std::string_view what, std::initializer_list<std::string_view> words);
  // The same, but nothing when the next word is none of the list, and each may come once: `seen`
  // remembers which did.
  std::optional<std::size_t> option(std::initializer_list<std::string_view> words, unsigned& seen);

  std::uint64_t number(std::string_view what,
                       std::uint64_t most = std::numeric_limits<std::uint64_t>::max());
  template <class T>
  T numberAs(std::string_view what) {
    return static_cast<T>(number(what, std::numeric_limits<T>::max()));
  }
  IpGenAddr address();
  // The same; "none" is the unset address.
  IpGenAddr addressOrNone();
  IpGenPrefix prefix();
  bool onOff();
  AddressFamily family();
  NexthopStatusFecIdType kind();
  // Up to three decimals.
  Nanoseconds seconds();

  // "fec ID [metric N] [preference N] [type N]"
  Fib::Route route();
  // "[via ADDR intf N [weight N] [label N] [action N]] ..." to the end of the line.
  std::vector<FibGen::Via> vias();

 private:
  FibGen::Via via();

  std::span<const std::string_view> words_;
  std::string_view afterCommand_;
};

// A word as it is quoted in messages.
String quoted(std::string_view word);

}  // namespace Routing::Replay
