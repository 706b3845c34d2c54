#include "tests/invariant/Lifetime.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/entity/TypeData.h"

namespace Routing::Support {

namespace {

constexpr std::array<std::string_view, 12> machineTypes{"Routing::NexthopResolverManagerSm",
                                                        "Routing::NestedSm_NexthopConfig",
                                                        "Routing::NestedSm_NexthopStatus",
                                                        "Routing::NexthopResolverSm",
                                                        "Routing::NexthopResolverFibViaSm",
                                                        "Routing::FecIdToClientHop",
                                                        "Routing::NexthopResolverFecIdRef",
                                                        "Routing::NexthopResolverClientRef",
                                                        "Routing::FecIdToResolverId",
                                                        "Routing::ResolverIdAllocator",
                                                        "Routing::Task",
                                                        "Routing::TimerTask"};

// The live entities of those types that the test chooses.
template <class Test>
String liveOf(Test test) {
  String text;
  TypeData::walk([&](const TypeData& type) {
    if (type.live() != 0 && test(type.name())) {
      text += std::to_string(type.live()) + ' ' + String(type.name()) + ' ';
    }
  });
  return text;
}

}  // namespace

NothingOfTheSystemLivesAfterDestruction::NothingOfTheSystemLivesAfterDestruction() noexcept
    : before_(TypeData::liveEntities()) {}

String NothingOfTheSystemLivesAfterDestruction::broken() const {
  return TypeData::liveEntities() == before_ ? String()
                                             : liveOf([](std::string_view) { return true; });
}

String NothingOfTheSystemLivesAfterDestruction::machinesLeft() {
  return liveOf([](std::string_view name) {
    return std::find(machineTypes.begin(), machineTypes.end(), name) != machineTypes.end();
  });
}

}  // namespace Routing::Support
