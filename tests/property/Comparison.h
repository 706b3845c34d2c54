#pragma once

// Compares the standing state of the library with that of the reference model: every record that
// outlives a manager, and of each manager all that it keeps, members and their order.

#include "platform/net/IpGenAddr.h"

namespace Routing::Support {

class LiveWorld;
class ReferenceModel;

// The first difference, in words; empty when there is none.
String difference(const LiveWorld& world, const ReferenceModel& model);

}  // namespace Routing::Support
