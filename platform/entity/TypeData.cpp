#include "platform/entity/TypeData.h"

#include <atomic>

#include "platform/entity/ReferenceCount.h"

namespace Routing {

namespace {

// Types are function-local constants that live to the end of the process, so the list only grows.
std::atomic<const TypeData*>& firstType() noexcept {
  static std::atomic<const TypeData*> first{nullptr};
  return first;
}

}  // namespace

TypeData::TypeData(std::string_view name,
                   std::span<const AttributeData> attributes,
                   std::span<const OperationData> operations) noexcept
    : name_(name), attributes_(attributes), operations_(operations) {
  next_ = firstType().load(std::memory_order_relaxed);
  while (!firstType().compare_exchange_weak(next_,
                                            this,
                                            std::memory_order_release,
                                            std::memory_order_relaxed)) {
  }
}

const OperationData* TypeData::operation(std::string_view name) const noexcept {
  for (const OperationData& operation : operations_) {
    if (operation.name == name) {
      return &operation;
    }
  }
  return nullptr;
}

std::uint64_t TypeData::live() const noexcept {
  if (ReferenceCount::multiThreaded()) {
    return std::atomic_ref<std::uint64_t>(live_).load(std::memory_order_relaxed);
  }
  return live_;
}

std::uint64_t TypeData::liveEntities() noexcept {
  std::uint64_t sum = 0;
  for (const TypeData* type = firstType().load(std::memory_order_acquire); type != nullptr;
       type = type->next_) {
    sum += type->live();
  }
  return sum;
}

void TypeData::walk(const std::function<void(const TypeData&)>& visit) {
  for (const TypeData* type = firstType().load(std::memory_order_acquire); type != nullptr;
       type = type->next_) {
    visit(*type);
  }
}

void TypeData::liveInc() const noexcept {
  if (ReferenceCount::multiThreaded()) {
    std::atomic_ref<std::uint64_t>(live_).fetch_add(1, std::memory_order_relaxed);
  } else {
    ++live_;
  }
}

void TypeData::liveDec() const noexcept {
  if (ReferenceCount::multiThreaded()) {
    std::atomic_ref<std::uint64_t>(live_).fetch_sub(1, std::memory_order_relaxed);
  } else {
    --live_;
  }
}

}  // namespace Routing
