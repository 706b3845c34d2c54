#pragma once

// The lines of the table. Each function measures what its name says and reports it.
//
//   10.255.N.0/24   on the benchmark's link N; 20 of the gateways of all routes
//   10.0.0.0/9, 10.128.0.0/16, 10.192.0.0/12    for routes that are changed
//   the rest        the full table, of which nothing lies in 10.0.0.0/8

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "bench/host/daemon/DaemonProcess.h"
#include "bench/host/daemon/KernelTable.h"
#include "bench/host/daemon/Rows.h"
#include "bench/support/Tables.h"

namespace Routing::Bench {

struct World {
  KernelTable& kernel;
  Rows& rows;
  // For sockets and the store.
  std::string directory;
  // Another server: what the transport alone takes.
  std::string bareSocket;
  // The full table.
  std::span<const IpGenPrefix> prefixes;
  std::size_t gateways;
  double idleSeconds;
};

constexpr std::uint32_t gatewaysOfLink = 20;
// Routes of several gateways share FECs with the whole table, as a routing daemon's do.
IpGenAddr gateway(const World& world, std::size_t index);
// The daemon's arguments for a store in the world's directory.
std::vector<std::string> withStore(const World& world);

// The kernel's table from nothing. The seconds that the kernel takes.
double writeTable(const World& world);

// ---- each with a daemon of its own
// ---------------------------------------------------------------
void loadLines(const World& world);
// Registrations, without the store and with it.
void registrationLines(const World& world);
// Requires: an empty table; leaves a full one. As fast as the kernel makes them.
void notificationLines(const World& world);
// What is left of the memory and of the notices' delay after so many minutes of 1,000 route changes
// a second.
void enduranceLines(const World& world, unsigned minutes);

// ---- with one daemon and a full table
// ------------------------------------------------------------
void roundTripLines(const World& world, const DaemonProcess& daemon);
// A route that covers many nexthops, and a host route.
void changeLines(const World& world, const DaemonProcess& daemon);
// Routes that concern nobody, and nothing at all.
void quietLines(const World& world, const DaemonProcess& daemon);

}  // namespace Routing::Bench
