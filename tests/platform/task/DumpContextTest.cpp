#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/entity/Inspection.h"
#include "platform/entity/Ptr.h"
#include "platform/task/DumpContext.h"

namespace Routing {
namespace {

// Prints "Folder NAME" and its children; leaves its colour to the dump's remaining attributes.
class Folder final : public DumpableEntity {
 public:
  explicit Folder(std::string name, std::string headerEnd = "\n")
      : name_(std::move(name)), headerEnd_(std::move(headerEnd)) {}

  const std::string& name() const { return name_; }
  std::size_t children() const { return children_.size(); }
  std::string colour() const { return "red"; }
  void childIs(const Ptr<Folder>& child) { children_.push_back(child); }
  void childDelAll() { children_.clear(); }

  void dumpState(DumpContext& dumpContext, std::uint32_t indent) const override {
    dumpContext.print(indent, "Folder " + name_ + headerEnd_);
    for (const Ptr<Folder>& child : children_) {
      dumpContext.dumpChild(child.get(), indent + 2);
    }
  }
  const TypeData& typeData() const override {
    static constexpr std::array attributes{attribute<&Folder::name>("name"),
                                           attribute<&Folder::children>("children"),
                                           attribute<&Folder::colour>("colour", false)};
    static const TypeData type("Routing::Test::Folder", attributes);
    return type;
  }

 private:
  std::string name_;
  std::string headerEnd_;
  std::vector<Ptr<Folder>> children_;
};

// Prints nothing at the indent itself and has neither attributes nor a name.
class Quiet final : public DumpableEntity {
 public:
  explicit Quiet(std::string text) : text_(std::move(text)) {}
  void dumpState(DumpContext& dumpContext, std::uint32_t indent) const override {
    dumpContext.printLine(indent + 2, text_);
  }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Test::Quiet");
    return type;
  }

 private:
  std::string text_;
};

TEST(DumpContext, PrintsAsManyBlanksAsTheIndentThenTheText) {
  DumpContext context;
  EXPECT_EQ(context.text(), "");
  context.print(0, "none");
  context.print(1, "one");
  context.printLine(4, "four");
  context.printLine(0, "");
  EXPECT_EQ(context.text(), "none one    four\n\n");
}

TEST(DumpContext, AChildPrintsItselfAtTheIndentThenItsRemainingAttributes) {
  DumpContext context;
  context.dumpChild(makeEntity<Folder>("a").get(), 4);
  EXPECT_EQ(context.text(),
            "    Folder a\n"
            "      colour: red\n");
}

TEST(DumpContext, ChildrenOfAChildPrintBeforeItsRemainingAttributes) {
  const auto a = makeEntity<Folder>("a");
  a->childIs(makeEntity<Folder>("b"));
  DumpContext context;
  context.dumpChild(a.get(), 0);
  EXPECT_EQ(context.text(),
            "Folder a\n"
            "  Folder b\n"
            "    colour: red\n"
            "  colour: red\n");
}

TEST(DumpContext, ANullMemberPrintsAMark) {
  const auto a = makeEntity<Folder>("a");
  a->childIs(nullptr);
  DumpContext context;
  a->dumpState(context, 2);
  EXPECT_EQ(context.text(),
            "  Folder a\n"
            "    (null)\n");
}

TEST(DumpContext, AnEntityDumpedBeforePrintsAsADuplicate) {
  const auto shared = makeEntity<Folder>("shared");
  DumpContext context;
  context.dumpChild(shared.get(), 0);
  context.dumpChild(shared.get(), 2);
  EXPECT_EQ(context.text(),
            "Folder shared\n"
            "  colour: red\n"
            "  (Routing::Test::Folder shared dumped above)\n");
}

TEST(DumpContext, EqualButDifferentEntitiesAreNoDuplicates) {
  const auto first = makeEntity<Folder>("same");
  const auto second = makeEntity<Folder>("same");
  DumpContext context;
  context.dumpChild(first.get(), 0);
  context.dumpChild(second.get(), 0);
  EXPECT_EQ(context.text(),
            "Folder same\n"
            "  colour: red\n"
            "Folder same\n"
            "  colour: red\n");
}

TEST(DumpContext, ADuplicateOfATypeWithoutAttributesHasNoName) {
  const auto quiet = makeEntity<Quiet>("q");
  DumpContext context;
  context.dumpChild(quiet.get(), 0);
  context.dumpChild(quiet.get(), 0);
  EXPECT_EQ(context.text(),
            "  q\n"
            "(Routing::Test::Quiet dumped above)\n");
}

TEST(DumpContext, ACycleEndsAtTheDuplicate) {
  const auto a = makeEntity<Folder>("a");
  const auto b = makeEntity<Folder>("b");
  a->childIs(b);
  b->childIs(a);
  DumpContext context;
  context.dumpChild(a.get(), 0);
  EXPECT_EQ(context.text(),
            "Folder a\n"
            "  Folder b\n"
            "    (Routing::Test::Folder a dumped above)\n"
            "    colour: red\n"
            "  colour: red\n");
  a->childDelAll();
}

TEST(DumpContext, AnotherContextKnowsNothingOfTheDumpBefore) {
  const auto quiet = makeEntity<Quiet>("q");
  DumpContext first;
  first.dumpChild(quiet.get(), 0);
  DumpContext second;
  second.dumpChild(quiet.get(), 0);
  EXPECT_EQ(second.text(), first.text());
}

TEST(DumpContext, TheGenericFormPrintsTheTypeAndEveryAttributeInsteadOfTheOwnDump) {
  const auto a = makeEntity<Folder>("a");
  a->childIs(makeEntity<Folder>("b"));
  DumpContext context(DumpContext::Form::generic);
  context.dumpChild(a.get(), 2);
  EXPECT_EQ(context.text(),
            "  Routing::Test::Folder\n"
            "    name: a\n"
            "    children: 1\n"
            "    colour: red\n");
}

TEST(DumpContext, TheGenericFormMarksDuplicatesAndNullsToo) {
  const auto quiet = makeEntity<Quiet>("q");
  DumpContext context(DumpContext::Form::generic);
  context.dumpChild(quiet.get(), 0);
  context.dumpChild(quiet.get(), 0);
  context.dumpChild(nullptr, 0);
  EXPECT_EQ(context.text(),
            "Routing::Test::Quiet\n"
            "(Routing::Test::Quiet dumped above)\n"
            "(null)\n");
}

TEST(DumpContext, ANewlineIsAddedWhereTheOwnDumpLeftItOut) {
  const auto open = makeEntity<Folder>("open", "");
  DumpContext context;
  context.dumpChild(open.get(), 0);
  EXPECT_EQ(context.text(),
            "Folder open\n"
            "  colour: red\n");
}

TEST(DumpContext, IndentsWrapLikeThe32BitNumbersTheyAre) {
  const std::uint32_t indent = 0xfffffffe;
  DumpContext context;
  context.dumpChild(makeEntity<Quiet>("at indent + 2 == 0").get(), indent);
  EXPECT_EQ(context.text(), "at indent + 2 == 0\n");
}

}  // namespace
}  // namespace Routing
