#include "tests/property/Generator.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "records/NexthopResolverFibViaContext.h"
#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

namespace {

using Kind = Operation::Kind;

// How often each kind is drawn, out of the sum of all.
struct Weight {
  Kind kind;
  std::uint64_t weight;
};
constexpr std::array<Weight, Operation::kinds> weights{
    {{Kind::config, 6},         {Kind::configDel, 6},        {Kind::configVrf, 24},
     {Kind::configVrfDel, 8},   {Kind::nexthop, 50},         {Kind::nexthopDel, 22},
     {Kind::status, 24},        {Kind::statusDel, 6},        {Kind::renotifyConfig, 5},
     {Kind::renotifyStatus, 6}, {Kind::route, 50},           {Kind::routeDel, 16},
     {Kind::announce, 14},      {Kind::routing, 14},         {Kind::routingDel, 5},
     {Kind::fec, 42},           {Kind::fecDel, 20},          {Kind::announceFec, 7},
     {Kind::context, 30},       {Kind::published, 30},       {Kind::manager, 60},
     {Kind::managerDel, 7},     {Kind::notificationsOff, 6}, {Kind::notificationsOn, 6},
     {Kind::slice, 40},         {Kind::drain, 30},           {Kind::advance, 12}}};
constexpr std::uint64_t weightSum =
    std::accumulate(weights.begin(),
                    weights.end(),
                    std::uint64_t{0},
                    [](std::uint64_t sum, const Weight& one) { return sum + one.weight; });

// Three of twenty sequences are of a rarer flavour.
Flavour flavourOf(std::uint64_t number) {
  constexpr std::uint64_t every = 20;
  switch (number % every) {
    case 7:
    case 17:
      return Flavour::paused;
    case 13:
      return Flavour::fecZero;
    default:
      return Flavour::plain;
  }
}

bool paused(const ReferenceModel& model) {
  return std::any_of(model.vrfs().begin(), model.vrfs().end(), [](const auto& vrf) {
    return vrf.second.manager && !vrf.second.manager->active;
  });
}

}  // namespace

Generator::Generator(std::uint64_t seed, std::uint64_t number)
    : random_(seed * 0x9e3779b97f4a7c15U + number), flavour_(flavourOf(number)) {}

Operation Generator::next(const ReferenceModel& model) {
  Operation operation;
  if (!forced(model, operation)) {
    do {
      operation = draw();
    } while (!operation.fits(model));
  }
  if (operation.kind == Kind::routingDel) {
    const auto found = model.vrfs().find(operation.vrfName());
    endManager_ = found != model.vrfs().end() && found->second.manager != nullptr;
    endedVrf_ = operation.vrf;
  }
  ++drawn_;
  return operation;
}

bool Generator::forced(const ReferenceModel& model, Operation& operation) {
  // Most worlds begin with their routing on.
  constexpr std::uint64_t routingEntries = 4;
  if (drawn_ < routingEntries && below(16) != 0) {
    operation = {.kind = Kind::routing,
                 .vrf = static_cast<std::uint8_t>(drawn_ & 1U),
                 .flag = true,
                 .ipv6 = (drawn_ & 2U) != 0};
    return operation.fits(model);
  }
  // A VRF whose routing information goes loses its manager next, or once a pause is over.
  if (endManager_ && (!paused(model) || below(2) == 0)) {
    endManager_ = false;
    operation = {.kind = Kind::managerDel, .vrf = endedVrf_};
    return operation.fits(model);
  }
  return forcedPause(model, operation);
}

// Nothing else happens during a pause, but that the other VRF may have one too; unless that is what
// the sequence is about.
bool Generator::forcedPause(const ReferenceModel& model, Operation& operation) {
  constexpr std::uint64_t often = 16;
  constexpr std::uint64_t longPause = 5;
  if (!paused(model)) {
    operation = {.kind = Kind::notificationsOff,
                 .vrf = static_cast<std::uint8_t>(below(Operation::vrfs))};
    return flavour_ == Flavour::paused && below(often) == 0 && operation.fits(model);
  }
  if (flavour_ == Flavour::paused && !endManager_ && below(longPause) != 0) {
    return false;
  }
  do {
    operation = {.kind = below(4) == 0 ? Kind::notificationsOff : Kind::notificationsOn,
                 .vrf = static_cast<std::uint8_t>(below(Operation::vrfs))};
  } while (!operation.fits(model));
  return true;
}

Operation::Kind Generator::kind() {
  std::uint64_t left = below(weightSum);
  for (const Weight& one : weights) {
    if (left < one.weight) {
      return one.kind;
    }
    left -= one.weight;
  }
  return Kind::drain;
}

Operation Generator::draw() {
  Operation operation;
  operation.kind = kind();
  operation.vrf = static_cast<std::uint8_t>(below(Operation::vrfs));
  operation.client = static_cast<std::uint8_t>(below(Operation::clients));
  operation.nexthop = static_cast<std::uint8_t>(below(Operation::nexthops));
  operation.fec = static_cast<std::uint8_t>(
      below(flavour_ == Flavour::fecZero ? Operation::fecs : Operation::fecs - 1));
  operation.ipv6 = below(2) == 0;
  fill(operation);
  return operation;
}

void Generator::fill(Operation& operation) {
  constexpr std::uint64_t longestAdvance = 400;
  constexpr std::uint64_t contents = 108;
  constexpr std::uint64_t largestBudget = 4;
  operation.prefix = static_cast<std::uint8_t>(below(Operation::prefixes));
  operation.number = below(contents);
  // Most clients want resolver identifiers, most statuses are global, most routing is on.
  operation.flag = below(4) != 0;
  switch (operation.kind) {
    case Kind::status:
    case Kind::statusDel:
    case Kind::renotifyStatus:
      operation.flag = !operation.flag;
      break;
    case Kind::manager:
      operation.flag = below(16) != 0;
      break;
    case Kind::announce:
      operation.prefix = static_cast<std::uint8_t>(below(Operation::prefixes + 1));
      break;
    case Kind::slice:
      operation.number = 1 + below(largestBudget);
      break;
    case Kind::advance:
      operation.number = 1 + below(longestAdvance);
      break;
    case Kind::published: {
      constexpr std::array<std::uint64_t, 5> values{1,
                                                    3,
                                                    9,
                                                    0x1200000000000002,
                                                    0x1200000000000009};
      operation.number = values[below(values.size())];
      break;
    }
    case Kind::context: {
      constexpr std::array<std::uint64_t, 4> values{0,
                                                    4,
                                                    40,
                                                    NexthopResolverFibViaContext::allAllocated};
      operation.number = values[below(values.size())];
      break;
    }
    default:
      break;
  }
}

}  // namespace Routing::Support
