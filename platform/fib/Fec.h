#pragma once

// A forwarding equivalence class and its vias, as the forwarding table holds them.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"

namespace Routing {

// An interface of the forwarding plane.
struct IntfId {
  std::uint32_t value = 0;

  friend constexpr bool operator==(const IntfId&, const IntfId&) noexcept = default;
  String stringValue() const { return std::to_string(value); }
};

// An MPLS label in bits 0 to 23 and what is done with it in bits 24 to 31.
class MplsLabelAndAction {
 public:
  // One above the largest 20-bit label: no label.
  static constexpr std::uint32_t noLabel = 0x100000;
  static constexpr std::uint8_t noAction = 0;

  constexpr MplsLabelAndAction() noexcept = default;

  constexpr std::uint32_t label() const noexcept { return value_ & labelMask; }
  constexpr std::uint8_t action() const noexcept {
    return static_cast<std::uint8_t>(value_ >> labelBits);
  }
  // Throws: RangeError for a label above noLabel.
  void labelIs(std::uint32_t label);
  constexpr void actionIs(std::uint8_t action) noexcept {
    value_ = (value_ & labelMask) | std::uint32_t{action} << labelBits;
  }
  constexpr std::uint32_t value() const noexcept { return value_; }

  friend constexpr bool operator==(const MplsLabelAndAction&,
                                   const MplsLabelAndAction&) noexcept = default;

 private:
  static constexpr unsigned labelBits = 24;
  static constexpr std::uint32_t labelMask = (1U << labelBits) - 1;

  std::uint32_t value_ = noLabel;
};

namespace FibGen {

struct Via {
  IntfId intfId;
  std::uint32_t weight = 1;
  IpGenAddr hop;
  MplsLabelAndAction labelAndAction;

  constexpr MplsLabelAndAction mplsLabelAndAction() const noexcept { return labelAndAction; }
  friend constexpr bool operator==(const Via&, const Via&) noexcept = default;
};

// An empty FEC built from FecId 0 is what an absent one reads as.
class Fec {
 public:
  static constexpr std::size_t maxVias = 600;
  static constexpr std::size_t maxBackupVias = 128;

  explicit Fec(FecId fecId) noexcept : fecId_(fecId) {}

  FecId fecId() const noexcept { return fecId_; }
  // In index order.
  const std::vector<Via>& via() const noexcept { return via_; }
  std::size_t viaCount() const noexcept { return via_.size(); }
  void viaIs(const Via& via) { via_.push_back(via); }
  // The first via index beyond the boundary; 0: there is no boundary.
  std::uint32_t viaIndexBoundary() const noexcept { return viaIndexBoundary_; }
  void viaIndexBoundaryIs(std::uint32_t boundary) noexcept { viaIndexBoundary_ = boundary; }
  // Indices of the vias that stand by. Carried along; nothing here reads them.
  const std::vector<std::uint32_t>& backupVia() const noexcept { return backupVia_; }
  void backupViaIs(std::uint32_t viaIndex) { backupVia_.push_back(viaIndex); }

  // Field by field, the key included.
  bool isEq(const Fec& other) const noexcept { return *this == other; }
  friend bool operator==(const Fec&, const Fec&) noexcept = default;

 private:
  FecId fecId_;
  std::uint32_t viaIndexBoundary_ = 0;
  std::vector<Via> via_;
  std::vector<std::uint32_t> backupVia_;
};

}  // namespace FibGen

}  // namespace Routing
