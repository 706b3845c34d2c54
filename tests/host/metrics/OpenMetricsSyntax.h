#pragma once

// A reader of OpenMetrics text that is stricter than most: it says what is wrong with a text, line
// by line, or nothing.
//
//   a family begins with TYPE, then UNIT if it has one, then HELP, and is there once
//   its samples follow, with the suffixes of its type; no two of them are the same
//   buckets ascend, end in +Inf, and agree with the count
//   the last line is "# EOF"

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Routing::Host {

class OpenMetricsSyntax {
 public:
  // What is wrong; empty when nothing is.
  static std::vector<std::string> faults(const std::string& text) {
    OpenMetricsSyntax syntax;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      syntax.line(line);
    }
    syntax.familyEnd();
    if (text.size() < 6 || text.substr(text.size() - 6) != "# EOF\n") {
      syntax.faults_.emplace_back("the text does not end in # EOF");
    }
    return syntax.faults_;
  }

 private:
  void expect(bool holds, const std::string& fault) {
    if (!holds) {
      faults_.push_back(fault);
    }
  }

  void line(const std::string& line) {
    static const std::regex meta(
        R"re(# (TYPE|UNIT|HELP) ([a-zA-Z_:][a-zA-Z0-9_:]*) ((?:[^\\"\n]|\\[n\\"])*))re");
    static const std::regex sample(
        R"re(([a-zA-Z_:][a-zA-Z0-9_:]*)(?:\{([^}]*)\})? ([-+0-9.eE]+|[+-]Inf|NaN))re");
    expect(!ended_, "behind the end: " + line);
    std::smatch match;
    if (line == "# EOF") {
      ended_ = true;
    } else if (std::regex_match(line, match, meta)) {
      metaLine(match[1], match[2], match[3], line);
    } else if (std::regex_match(line, match, sample)) {
      sampleLine(match[1], match[2], std::stod(match[3]), line);
    } else {
      faults_.push_back("neither a sample nor about a family: " + line);
    }
  }

  void metaLine(const std::string& kind,
                const std::string& name,
                const std::string& value,
                const std::string& line) {
    if (kind == "TYPE") {
      familyEnd();
      expect(families_.insert(name).second, "a family twice: " + line);
      family_ = name;
      type_ = value;
      expect(value == "counter" || value == "gauge" || value == "histogram", "type: " + line);
      return;
    }
    expect(name == family_ && samples_.empty(), "out of its family's place: " + line);
    const bool endsInUnit = name.size() > value.size() + 1 &&
                            name.substr(name.size() - value.size() - 1) == "_" + value;
    expect(kind != "UNIT" || endsInUnit, "the name does not end in the unit: " + line);
  }

  void sampleLine(const std::string& name,
                  const std::string& labels,
                  double value,
                  const std::string& line) {
    static const std::string label = R"re([a-zA-Z_][a-zA-Z0-9_]*="(?:[^\\"\n]|\\[n\\"])*")re";
    static const std::regex labelled(label + "(?:," + label + ")*");
    expect(labels.empty() || std::regex_match(labels, labelled), "labels: " + line);
    expect(samples_.insert(name + "{" + labels).second, "a sample twice: " + line);
    const std::string suffix =
        name.substr(0, family_.size()) == family_ ? name.substr(family_.size()) : "?";
    if (type_ == "gauge") {
      return expect(suffix.empty(), "not of its family: " + line);
    }
    expect(value >= 0, "a negative total: " + line);
    if (type_ == "counter") {
      return expect(suffix == "_total", "not of its family: " + line);
    }
    if (suffix == "_bucket") {
      expect(value >= bucket_, "a bucket smaller than the one before: " + line);
      bucket_ = value;
      bound_ = labels;
    } else {
      expect(suffix == "_count" || suffix == "_sum", "not of its family: " + line);
      expect(suffix != "_count" || value == bucket_,
             "a count that is not the last bucket: " + line);
    }
  }

  void familyEnd() {
    expect(type_ != "histogram" || bound_ == "le=\"+Inf\"", "no last bucket: " + family_);
    samples_.clear();
    bucket_ = 0;
    bound_.clear();
    type_.clear();
  }

  std::vector<std::string> faults_;
  std::set<std::string> families_;
  std::string family_;
  std::string type_;
  std::set<std::string> samples_;
  double bucket_ = 0;
  std::string bound_;
  bool ended_ = false;
};

}  // namespace Routing::Host
