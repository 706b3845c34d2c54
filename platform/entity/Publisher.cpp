#include "platform/entity/Publisher.h"

#include <utility>

#include "platform/entity/Assert.h"

namespace Routing {

void Notifiee::subscribe(const Publisher& publisher) noexcept {
  if (publisher_ == &publisher) {
    return;
  }
  ROUTING_ASSERT(publisher_ == nullptr && "a notifiee has one publisher at a time");
  publisher.add(*this);
}

void Notifiee::unsubscribe() noexcept {
  if (publisher_ != nullptr) {
    publisher_->remove(*this);
  }
}

Publisher::~Publisher() {
  for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer_) {
    delivery->publisher_ = nullptr;
    delivery->next_ = nullptr;
  }
  while (first_ != nullptr) {
    Notifiee* const gone = std::exchange(first_, first_->next_);
    gone->publisher_ = nullptr;
    gone->previous_ = nullptr;
    gone->next_ = nullptr;
  }
}

Publisher::Delivery::Delivery(const Publisher& publisher) noexcept
    : publisher_(&publisher),
      next_(publisher.first_),
      last_(publisher.subscriptions_),
      outer_(publisher.innermost_) {
  publisher.innermost_ = this;
}

Publisher::Delivery::~Delivery() {
  if (publisher_ != nullptr) {
    publisher_->innermost_ = outer_;
  }
}

Notifiee* Publisher::Delivery::take() noexcept {
  // Those who came during the delivery carry a later order; among observers they can stand before
  // one that did not.
  while (next_ != nullptr && next_->order_ > last_) {
    next_ = next_->next_;
  }
  return next_ == nullptr ? nullptr : std::exchange(next_, next_->next_);
}

void Publisher::deliver(FieldId field, const void* key) const {
  Delivery delivery(*this);
  while (Notifiee* const notifiee = delivery.take()) {
    notifiee->onAttribute(field, key);
  }
}

void Publisher::add(Notifiee& notifiee) const noexcept {
  const bool isObserver = notifiee.kind_ == Notifiee::Kind::observer;
  Notifiee* const after = isObserver ? nullptr : firstObserver_;
  Notifiee* const before = after == nullptr ? last_ : after->previous_;
  notifiee.publisher_ = this;
  notifiee.order_ = ++subscriptions_;
  notifiee.next_ = after;
  notifiee.previous_ = before;
  (before == nullptr ? first_ : before->next_) = &notifiee;
  (after == nullptr ? last_ : after->previous_) = &notifiee;
  if (isObserver && firstObserver_ == nullptr) {
    firstObserver_ = &notifiee;
  }
}

void Publisher::remove(Notifiee& notifiee) const noexcept {
  for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer_) {
    if (delivery->next_ == &notifiee) {
      delivery->next_ = notifiee.next_;
    }
  }
  if (firstObserver_ == &notifiee) {
    firstObserver_ = notifiee.next_;
  }
  (notifiee.previous_ == nullptr ? first_ : notifiee.previous_->next_) = notifiee.next_;
  (notifiee.next_ == nullptr ? last_ : notifiee.next_->previous_) = notifiee.previous_;
  notifiee.publisher_ = nullptr;
  notifiee.previous_ = nullptr;
  notifiee.next_ = nullptr;
}

}  // namespace Routing
