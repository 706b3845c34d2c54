#pragma once

// Publishing and subscribing: how a change of an entity reaches those who react to it.
//
// A Publisher tells its notifiees that an attribute changed (FieldId) and under which key. Delivery
// is synchronous, from inside the operation that makes the change, in order of subscription. What
// an entity publishes can be read off its class: one constant FieldId an attribute, named xField.
//
//   Notifiee      reacts; what a state machine derives from or holds as a Subscription
//   Observer      a notifiee that only looks: called after all others, whenever it subscribed
//   Subscription  a slot of a state machine: calls one member function of its owner
//
// Rules of a delivery, whatever its notifiees do meanwhile:
//   1. One that unsubscribed or died before its turn is not called.
//   2. One that subscribed (or came back) during the delivery is not called for it.
//   3. Nobody is called twice for one publication.
//   4. The publisher may publish again; that delivery is complete before the outer one goes on.
//   5. The publisher may die; the delivery ends there.
//   6. An exception ends the delivery and leaves the publishing operation. The change stands.
//
// Subscribing, unsubscribing and publishing to nobody allocate nothing and cost O(1).

#include <cstdint>

namespace Routing {

enum class FieldId : std::uint16_t {};

class Publisher;

class Notifiee {
 public:
  Notifiee(const Notifiee&) = delete;
  Notifiee& operator=(const Notifiee&) = delete;

  // Takes a place at the end of the publisher's notifiees; no effect when it has one already.
  // Requires: not subscribed to another publisher.
  void subscribe(const Publisher& publisher) noexcept;
  // No effect when not subscribed.
  void unsubscribe() noexcept;
  bool subscribed() const noexcept { return publisher_ != nullptr; }

  // The key is a pointer to the member's key, good for the duration of the call; null for an
  // attribute that is no collection.
  virtual void onAttribute(FieldId field, const void* key) = 0;

 protected:
  Notifiee() noexcept = default;
  virtual ~Notifiee() { unsubscribe(); }

 private:
  friend class Publisher;
  virtual bool isObserver() const noexcept { return false; }

  const Publisher* publisher_ = nullptr;
  // The one before it; before the first, the last.
  Notifiee* previous_ = nullptr;
  // The one after it; null after the last.
  Notifiee* next_ = nullptr;
};

class Observer : public Notifiee {
 private:
  bool isObserver() const noexcept final { return true; }
};

class Publisher {
 public:
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  bool hasSubscribers() const noexcept { return first_ != nullptr; }
  // Reenters: the onAttribute of every notifiee. Nothing of the publisher's entity may be relied on
  // afterwards unless the caller holds it.
  void publish(FieldId field, const void* key = nullptr) const {
    if (first_ != nullptr) {
      deliver(field, key);
    }
  }

 protected:
  Publisher() noexcept = default;
  ~Publisher();
  // True during a publication that reaches somebody.
  bool delivers() const noexcept { return innermost_ != nullptr; }

 private:
  friend class Notifiee;

  class Delivery;

  // Requires: there is a notifiee.
  void deliver(FieldId field, const void* key) const;
  void add(Notifiee& notifiee) const noexcept;
  void remove(Notifiee& notifiee) const noexcept;

  // Notifiees in order of subscription, then observers. Subscribing does not change what is
  // published, so a constant publisher can be subscribed to.
  mutable Notifiee* first_ = nullptr;
  mutable Notifiee* firstObserver_ = nullptr;
  // The deliveries under way.
  mutable Delivery* innermost_ = nullptr;
};

// A slot that hands the changes of one input to a member function of its owner. Empty until it is
// subscribed, and again after it is unsubscribed or the input has gone.
template <class Owner, void (Owner::*dispatch)(FieldId field, const void* key)>
class Subscription final : public Notifiee {
 public:
  // The owner outlives its slots: it holds them as members.
  explicit Subscription(Owner& owner) noexcept : owner_(owner) {}

  void onAttribute(FieldId field, const void* key) override { (owner_.*dispatch)(field, key); }

 private:
  Owner& owner_;
};

}  // namespace Routing
