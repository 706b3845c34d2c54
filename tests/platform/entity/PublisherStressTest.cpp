// Publishers and notifiees that come, go, publish, throw and die at random from inside of each
// other's deliveries, against a model that is too slow to be wrong: every delivery keeps a list of
// those who were subscribed when it began, and whoever is still there, by the same subscription, is
// called.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

#include "platform/entity/Publisher.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

class Source : public Publisher {};
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Story {
 public:
  explicit Story(std::uint64_t seed) : random_(seed) {
    for (auto& source : sources_) {
      source = std::make_unique<Source>();
    }
    for (std::size_t id = 0; id < notifieeCount; ++id) {
      bear(id);
    }
  }

  void run(int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      act();
      EXPECT_TRUE(deliveries_.empty());
    }
  }
  int calls() const { return calls_; }

  // What notifiee `id` does when it is called: the model must have expected just that call.
  void called(std::size_t id, FieldId field) {
    ++calls_;
    ASSERT_FALSE(deliveries_.empty());
    Delivery& delivery = deliveries_.back();
    EXPECT_EQ(static_cast<std::size_t>(field), delivery.number % 1000);
    skipGone(delivery);
    ASSERT_LT(delivery.next, delivery.expected.size()) << "notifiee " << id << " was not expected";
    EXPECT_EQ(delivery.expected[delivery.next].id, id);
    ++delivery.next;
    for (int actions = below(3); actions > 0; --actions) {
      act();
    }
    if (below(40) == 0) {
      throw Refusal("refused");
    }
  }

 private:
  static constexpr std::size_t sourceCount = 3;
  static constexpr std::size_t notifieeCount = 12;
  static constexpr std::size_t deepest = 5;

  struct Place {
    std::size_t id;
    std::uint64_t serial;
  };
  struct Delivery {
    std::size_t number;
    std::size_t source;
    std::vector<Place> expected;
    std::size_t next = 0;
  };
  // Where a notifiee is subscribed, as the model knows it. The serial tells one subscription of a
  // notifiee from its next.
  struct Subscribed {
    bool is = false;
    std::size_t source = 0;
    std::uint64_t serial = 0;
  };

  template <class Base>
  class Actor : public Base {
   public:
    Actor(Story& story, std::size_t id) : story_(story), id_(id) {}
    void onAttribute(FieldId field, const void* /*key*/) override { story_.called(id_, field); }

   private:
    Story& story_;
    std::size_t id_;
  };
  struct AnyNotifiee {
    std::unique_ptr<Actor<Notifiee>> notifiee;
    std::unique_ptr<Actor<Observer>> observer;
    Notifiee& get() const {
      return notifiee ? static_cast<Notifiee&>(*notifiee) : static_cast<Notifiee&>(*observer);
    }
  };

  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }
  std::size_t anyId() { return static_cast<std::size_t>(below(notifieeCount)); }
  static bool isObserver(std::size_t id) { return id % 4 == 3; }

  void bear(std::size_t id) {
    subscribed_.at(id) = {};
    if (isObserver(id)) {
      notifiees_.at(id) = {nullptr, std::make_unique<Actor<Observer>>(*this, id)};
    } else {
      notifiees_.at(id) = {std::make_unique<Actor<Notifiee>>(*this, id), nullptr};
    }
  }
  void act() {
    const int choice = below(100);
    if (choice < 35) {
      subscribe(anyId(), static_cast<std::size_t>(below(sourceCount)));
    } else if (choice < 55) {
      unsubscribe(anyId());
    } else if (choice < 62) {
      bear(anyId());
    } else if (choice < 65) {
      renewSource(static_cast<std::size_t>(below(sourceCount)));
    } else if (deliveries_.size() < deepest) {
      publish(static_cast<std::size_t>(below(sourceCount)));
    }
  }
  void subscribe(std::size_t id, std::size_t source) {
    Subscribed& place = subscribed_.at(id);
    if (place.is && place.source != source) {
      unsubscribe(id);
    }
    if (!place.is) {
      place = {true, source, ++serial_};
    }
    notifiees_.at(id).get().subscribe(*sources_.at(source));
  }
  void unsubscribe(std::size_t id) {
    subscribed_.at(id).is = false;
    notifiees_.at(id).get().unsubscribe();
    EXPECT_FALSE(notifiees_.at(id).get().subscribed());
  }
  void renewSource(std::size_t source) {
    for (Subscribed& place : subscribed_) {
      place.is = place.is && place.source != source;
    }
    for (Delivery& delivery : deliveries_) {
      if (delivery.source == source) {
        delivery.expected.resize(delivery.next);
      }
    }
    sources_.at(source) = std::make_unique<Source>();
  }
  void publish(std::size_t source) {
    deliveries_.push_back({++published_, source, placesOf(source)});
    bool refused = false;
    try {
      sources_.at(source)->publish(static_cast<FieldId>(published_ % 1000));
    } catch (const Refusal&) {
      refused = true;
    }
    Delivery& delivery = deliveries_.back();
    skipGone(delivery);
    EXPECT_TRUE(refused || delivery.next == delivery.expected.size()) << "somebody was left out";
    deliveries_.pop_back();
    if (refused && !deliveries_.empty() && below(2) == 0) {
      throw Refusal("refused further out");
    }
  }
  std::vector<Place> placesOf(std::size_t source) const {
    std::vector<Place> places;
    for (std::size_t id = 0; id < notifieeCount; ++id) {
      if (subscribed_.at(id).is && subscribed_.at(id).source == source) {
        places.push_back({id, subscribed_.at(id).serial});
      }
    }
    std::sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
      return std::pair(isObserver(left.id), left.serial) <
             std::pair(isObserver(right.id), right.serial);
    });
    return places;
  }
  void skipGone(Delivery& delivery) const {
    while (delivery.next < delivery.expected.size()) {
      const Place& place = delivery.expected[delivery.next];
      if (subscribed_.at(place.id).is && subscribed_.at(place.id).serial == place.serial) {
        return;
      }
      ++delivery.next;
    }
  }

  std::mt19937_64 random_;
  std::array<std::unique_ptr<Source>, sourceCount> sources_;
  std::array<AnyNotifiee, notifieeCount> notifiees_;
  std::array<Subscribed, notifieeCount> subscribed_{};
  std::vector<Delivery> deliveries_;
  std::uint64_t serial_ = 0;
  std::size_t published_ = 0;
  int calls_ = 0;
};

TEST(PublisherStress, EveryDeliveryCallsWhomTheModelExpectsInItsOrder) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  int calls = 0;
  for (std::uint64_t round = 0; round < 20 && !HasFailure(); ++round) {
    Story story(seed + round);
    story.run(1000);
    calls += story.calls();
  }
  EXPECT_GT(calls, 20000) << "the story is too quiet to tell anything";
}

}  // namespace
}  // namespace Routing
