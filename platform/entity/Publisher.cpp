#include "platform/entity/Publisher.h"

#include <utility>

#include "platform/entity/Assert.h"

namespace Routing {

// A delivery under way, which has called the first notifiee. They nest, innermost first.
class Publisher::Delivery {
 public:
  explicit Delivery(const Publisher& publisher) noexcept
      : publisher_(&publisher), next_(publisher.first_->next_), outer_(publisher.innermost_) {
    publisher.innermost_ = this;
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;
  ~Delivery() {
    if (publisher_ != nullptr) {
      publisher_->innermost_ = outer_;
    }
  }

  // The next notifiee to call, or null.
  Notifiee* take() noexcept {
    if (next_ != nullptr && next_ == lateNotifiee_) {
      next_ = publisher_->firstObserver_;
    }
    if (next_ == nullptr || next_ == lateObserver_) {
      return nullptr;
    }
    return std::exchange(next_, next_->next_);
  }

  Delivery* outer() const noexcept { return outer_; }
  void added(Notifiee& notifiee, bool isObserver) noexcept {
    Notifiee*& late = isObserver ? lateObserver_ : lateNotifiee_;
    if (late == nullptr) {
      late = &notifiee;
    }
  }
  // Requires: the notifiee still has its place.
  void removed(const Notifiee& notifiee) noexcept {
    if (next_ == &notifiee) {
      next_ = notifiee.next_;
    }
    if (lateNotifiee_ == &notifiee) {
      lateNotifiee_ = notifiee.next_ == publisher_->firstObserver_ ? nullptr : notifiee.next_;
    } else if (lateObserver_ == &notifiee) {
      lateObserver_ = notifiee.next_;
    }
  }
  void publisherGone() noexcept {
    publisher_ = nullptr;
    next_ = nullptr;
  }

 private:
  const Publisher* publisher_;
  Notifiee* next_;
  // The first of the notifiees and of the observers that came during the delivery. Whoever follows
  // among its kind came later still.
  Notifiee* lateNotifiee_ = nullptr;
  Notifiee* lateObserver_ = nullptr;
  Delivery* outer_;
};

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
  for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer()) {
    delivery->publisherGone();
  }
  while (first_ != nullptr) {
    Notifiee* const gone = std::exchange(first_, first_->next_);
    gone->publisher_ = nullptr;
    gone->previous_ = nullptr;
    gone->next_ = nullptr;
  }
}

// The first notifiee is called before there is a question who is next: so there is a call between
// every way in and out, without which g++ takes the chain of deliveries for a pointer left
// dangling.
void Publisher::deliver(FieldId field, const void* key) const {
  Notifiee* notifiee = first_;
  Delivery delivery(*this);
  do {
    notifiee->onAttribute(field, key);
    notifiee = delivery.take();
  } while (notifiee != nullptr);
}

void Publisher::add(Notifiee& notifiee) const noexcept {
  const bool isObserver = notifiee.isObserver();
  Notifiee* const next = isObserver ? nullptr : firstObserver_;
  notifiee.publisher_ = this;
  notifiee.next_ = next;
  if (first_ == nullptr) {
    notifiee.previous_ = &notifiee;
    first_ = &notifiee;
  } else {
    Notifiee*& back = (next == nullptr ? first_ : next)->previous_;
    notifiee.previous_ = back;
    (next == first_ ? first_ : back->next_) = &notifiee;
    back = &notifiee;
  }
  if (isObserver && firstObserver_ == nullptr) {
    firstObserver_ = &notifiee;
  }
  for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer()) {
    delivery->added(notifiee, isObserver);
  }
}

void Publisher::remove(Notifiee& notifiee) const noexcept {
  if (firstObserver_ == &notifiee) {
    firstObserver_ = notifiee.next_;
  }
  for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer()) {
    delivery->removed(notifiee);
  }
  (first_ == &notifiee ? first_ : notifiee.previous_->next_) = notifiee.next_;
  if (first_ != nullptr) {
    (notifiee.next_ == nullptr ? first_ : notifiee.next_)->previous_ = notifiee.previous_;
  }
  notifiee.publisher_ = nullptr;
  notifiee.previous_ = nullptr;
  notifiee.next_ = nullptr;
}

}  // namespace Routing
