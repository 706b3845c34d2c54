// The hash table behind every collection, with walks open, beside a plain array of all members that
// ever were: a removed one stays as a gap, so that a walk's place is an index that nothing moves.

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "platform/entity/DenseTable.h"

namespace Routing::Fuzz {

namespace {

// A key whose hash may be as bad as it can be.
struct Key {
  std::uint8_t number = 0;
  std::uint8_t hashMask = 0;
  std::uint32_t hash(std::uint32_t /*seed*/) const noexcept {
    return hashOf(std::uint32_t{number}) & (hashMask * 0x01010101U);
  }
  friend bool operator==(const Key& left, const Key& right) noexcept {
    return left.number == right.number;
  }
};

// The value is held by pointer, so that one used after its end is seen.
using Value = std::shared_ptr<unsigned>;
using Table = DenseMap<Key, Value>;

class Model {
 public:
  struct Member {
    std::uint8_t key;
    unsigned value;
  };

  bool has(std::uint8_t key) const { return places_.count(key) != 0; }
  std::size_t size() const { return places_.size(); }
  unsigned value(std::uint8_t key) const { return members_[places_.at(key)]->value; }
  void put(std::uint8_t key, unsigned value) {
    if (has(key)) {
      members_[places_.at(key)]->value = value;
    } else {
      places_[key] = members_.size();
      members_.emplace_back(Member{key, value});
    }
  }
  void remove(std::uint8_t key) {
    members_[places_.at(key)].reset();
    places_.erase(key);
  }
  void clear() {
    for (const auto& [key, place] : places_) {
      members_[place].reset();
    }
    places_.clear();
  }

  std::size_t firstFrom(std::size_t place) const {
    while (place < members_.size() && !members_[place]) {
      ++place;
    }
    return place;
  }
  bool atEnd(std::size_t place) const { return place >= members_.size(); }
  const std::optional<Member>& at(std::size_t place) const { return members_[place]; }
  std::size_t placeOf(std::uint8_t key) const { return has(key) ? places_.at(key) : firstFrom(0); }

 private:
  std::vector<std::optional<Member>> members_;
  std::map<std::uint8_t, std::size_t> places_;
};

class Story {
 public:
  explicit Story(Input& input) : input_(input), hashMask_(input.byte()) {}

  void run() {
    while (!input_.atEnd()) {
      act();
      require(table_->size() == model_.size(), "the sizes differ");
    }
    compareWalk();
    // Walks that are left open notice the end of the table.
    table_ = nullptr;
    for (const auto& walk : walks_) {
      require(!walk || walk->cursor.atEnd(), "a walk outlives its table");
    }
  }

 private:
  struct Walk {
    Walk(const Table& table, const Model& model)
        : cursor(table.cursor()), place(model.firstFrom(0)) {}
    Walk(const Table& table, const Model& model, const Key& key)
        : cursor(table.cursorAt(key)), place(model.placeOf(key.number)) {}
    Table::Cursor cursor;
    std::size_t place;
  };

  Key key() { return {static_cast<std::uint8_t>(input_.byte() % 64), hashMask_}; }

  void act() {
    switch (input_.below(10)) {
      case 0:
      case 1: {
        const Key which = key();
        const bool inserted = table_->insert({which, std::make_shared<unsigned>(++next_)});
        require(inserted != model_.has(which.number), "insert finds another answer");
        if (inserted) {
          model_.put(which.number, next_);
        }
        break;
      }
      case 2: {
        const Key which = key();
        const bool inserted = table_->put({which, std::make_shared<unsigned>(++next_)});
        require(inserted != model_.has(which.number), "put finds another answer");
        model_.put(which.number, next_);
        break;
      }
      case 3:
      case 4:
        remove(key());
        break;
      case 5:
        compareFind(key());
        break;
      case 6:
        openOrClose();
        break;
      case 7:
      case 8:
        moveWalk();
        break;
      default:
        rarely();
    }
  }

  void remove(const Key& which) {
    const auto removed = table_->remove(which);
    require(removed.has_value() == model_.has(which.number), "remove finds another answer");
    if (removed) {
      require(*removed->value == model_.value(which.number), "another value is removed");
      model_.remove(which.number);
    }
  }
  void compareFind(const Key& which) {
    const auto* const found = table_->find(which);
    require((found != nullptr) == model_.has(which.number), "find finds another answer");
    require(found == nullptr || *found->value == model_.value(which.number),
            "another value is found");
  }
  void openOrClose() {
    auto& walk = walks_[input_.below(walks_.size())];
    if (walk) {
      walk.reset();
    } else if (input_.below(2) == 0) {
      walk.emplace(*table_, model_);
    } else {
      walk.emplace(*table_, model_, key());
    }
  }
  void moveWalk() {
    auto& walk = walks_[input_.below(walks_.size())];
    if (!walk) {
      return;
    }
    require(walk->cursor.atEnd() == model_.atEnd(walk->place),
            "a walk is at its end too soon or late");
    if (walk->cursor.atEnd()) {
      return;
    }
    if (const auto& member = model_.at(walk->place)) {
      require(walk->cursor.key().number == member->key, "a walk stands on another member");
      require(*walk->cursor.member().value == member->value, "a walk shows another value");
      if (input_.below(4) == 0) {
        remove(Key{member->key, hashMask_});
      }
    }
    walk->cursor.next();
    walk->place = model_.firstFrom(walk->place + 1);
  }
  void rarely() {
    switch (input_.below(8)) {
      case 0:
        table_->clear();
        model_.clear();
        break;
      case 1:
        table_->reserve(input_.byte());
        break;
      default:
        compareWalk();
    }
  }
  void compareWalk() {
    std::size_t place = model_.firstFrom(0);
    for (auto cursor = table_->cursor(); !cursor.atEnd(); cursor.next()) {
      require(!model_.atEnd(place), "the table has more members");
      require(cursor.key().number == model_.at(place)->key, "the order differs");
      require(*cursor.member().value == model_.at(place)->value, "a value differs");
      place = model_.firstFrom(place + 1);
    }
    require(model_.atEnd(place), "the table has fewer members");
  }

  Input& input_;
  std::uint8_t hashMask_;
  unsigned next_ = 0;
  std::unique_ptr<Table> table_ = std::make_unique<Table>();
  Model model_;
  std::array<std::optional<Walk>, 3> walks_;
};

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Routing::Fuzz::Input input(data, size);
  Routing::Fuzz::Story(input).run();
  return 0;
}
