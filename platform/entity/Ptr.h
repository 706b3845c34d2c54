#pragma once

// Ptr<T>: the counted pointer through which every entity is held. An entity lives exactly as long
// as some Ptr holds it. As small as a plain pointer; the count is in the entity.

#include <cstddef>
#include <type_traits>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Entity.h"

namespace Routing {

// A pointer to a From converts to a pointer to a To.
template <class From, class To>
concept PointsLike = std::is_convertible_v<From*, To*>;

template <class T>
class Ptr {
 public:
  constexpr Ptr() noexcept = default;
  // Null reads as a Ptr of any type, and a Ptr converts like the pointer does.
  constexpr Ptr(std::nullptr_t) noexcept {}
  explicit Ptr(T* entity) noexcept : entity_(entity) { hold(); }
  Ptr(const Ptr& other) noexcept : entity_(other.entity_) { hold(); }
  Ptr(Ptr&& other) noexcept : entity_(std::exchange(other.entity_, nullptr)) {}
  template <PointsLike<T> U>
  Ptr(const Ptr<U>& other) noexcept : entity_(other.get()) {
    hold();
  }
  template <PointsLike<T> U>
  Ptr(Ptr<U>&& other) noexcept : entity_(other.detach()) {}
  ~Ptr() { release(entity_); }

  // The old entity is released last, when this Ptr already holds the new one: its destructor may
  // come back here.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): copies before it releases
  Ptr& operator=(const Ptr& other) noexcept {
    Ptr(other).swap(*this);
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    Ptr(std::move(other)).swap(*this);
    return *this;
  }

  void swap(Ptr& other) noexcept { std::swap(entity_, other.entity_); }
  T* get() const noexcept { return entity_; }
  T& operator*() const noexcept { return *entity_; }
  T* operator->() const noexcept { return entity_; }
  explicit operator bool() const noexcept { return entity_ != nullptr; }

  // Takes over a count that the caller holds.
  static Ptr adopt(T* entity) noexcept {
    Ptr result;
    result.entity_ = entity;
    return result;
  }
  // Gives up the entity without releasing it: the caller takes over this Ptr's count.
  T* detach() noexcept { return std::exchange(entity_, nullptr); }

  // The same object, or both null.
  template <class U>
  friend bool operator==(const Ptr& left, const Ptr<U>& right) noexcept {
    return left.get() == right.get();
  }
  friend bool operator==(const Ptr& left, std::nullptr_t) noexcept {
    return left.entity_ == nullptr;
  }

 private:
  void hold() const noexcept {
    if (entity_ != nullptr) {
      entity_->referenceCount().increment();
    }
  }
  static void release(T* entity) noexcept {
    if (entity != nullptr && entity->referenceCount().decrement()) {
      Entity::destroy(entity);
    }
  }

  T* entity_ = nullptr;
};

// The only way to make an entity. Throws: what the entity's constructor throws.
template <class T, class... Arguments>
Ptr<T> makeEntity(Arguments&&... arguments) {
  auto entity = Ptr<T>::adopt(new T(std::forward<Arguments>(arguments)...));
  entity->countAsLive();
  return entity;
}

// The entity as a T; null when it is none.
template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& entity) noexcept {
  return Ptr<T>(dynamic_cast<T*>(entity.get()));
}

}  // namespace Routing
