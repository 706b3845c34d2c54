#include <fmt/format.h>

#include <cstdio>
#include <set>
#include <string>

#include "host/ctl/Commands.h"
#include "host/ctl/Words.h"

namespace Routing::Host {

namespace {

// A text as Graphviz quotes it.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      result.push_back('\\');
    }
    result.push_back(letter);
  }
  return result + "\"";
}

// Nodes and edges, each once, in the order in which they are met.
class DotText {
 public:
  // Returns the node's name: its kind and what it is.
  std::string node(const std::string& name, const std::string& label, const std::string& style) {
    std::string id = quoted(name);
    if (seen_.insert(id).second) {
      text_ += fmt::format("  {} [label={}{}];\n", id, quoted(label), style);
    }
    return id;
  }
  void edge(const std::string& from, const std::string& to) {
    const std::string line = fmt::format("  {} -> {};\n", from, to);
    if (seen_.insert(line).second) {
      text_ += line;
    }
  }
  std::string str() const {
    return "digraph nexthops {\n  rankdir=LR;\n  node [shape=box];\n" + text_ + "}\n";
  }

 private:
  std::set<std::string> seen_;
  std::string text_;
};

std::string fecName(const std::string& vrf, std::uint64_t fec) {
  return fmt::format("fec {} {}", vrf, fec);
}

void nexthopTo(DotText& dot, const Proto::GraphNexthop& nexthop) {
  const Proto::NexthopStatus& status = nexthop.status();
  const std::string addr = addressWord(status.address());
  const std::string reason = reasonWord(status.reason());
  const bool resolved = status.state() == Proto::NEXTHOP_STATE_RESOLVED;
  const std::string client =
      dot.node("client " + nexthop.client(), nexthop.client(), ", shape=oval");
  // One for each client: two may be told different things of the same address.
  const std::string own =
      dot.node(fmt::format("nexthop {} {} {}", nexthop.client(), nexthop.vrf(), addr),
               addr + " " + stateWord(status.state()) + (reason.empty() ? "" : " " + reason),
               resolved ? "" : ", color=red");
  dot.edge(client, own);
  if (status.prefix().empty()) {
    return;
  }
  const std::string prefix = prefixWord(status.prefix(), status.prefix_length());
  const std::string route = dot.node("prefix " + nexthop.vrf() + " " + prefix,
                                     prefix + " " + typeWord(status.route_type()),
                                     "");
  dot.edge(own, route);
  if (nexthop.fec_id() != 0) {
    dot.edge(route,
             dot.node(fecName(nexthop.vrf(), nexthop.fec_id()),
                      fmt::format("FEC {}", nexthop.fec_id()),
                      ""));
  }
}

std::string dotOf(const Proto::GraphResponse& response) {
  DotText dot;
  for (const Proto::GraphNexthop& nexthop : response.nexthops()) {
    nexthopTo(dot, nexthop);
  }
  for (const Proto::GraphFec& fec : response.fecs()) {
    const std::string node =
        dot.node(fecName(fec.vrf(), fec.fec_id()), fmt::format("FEC {}", fec.fec_id()), "");
    for (const Proto::Via& via : fec.vias()) {
      const std::string word = viaWord(via);
      dot.edge(node, dot.node("via " + fec.vrf() + " " + word, word, ", shape=oval"));
    }
  }
  return dot.str();
}

JsonObject jsonOf(const Proto::GraphResponse& response) {
  std::vector<JsonObject> nexthops;
  for (const Proto::GraphNexthop& nexthop : response.nexthops()) {
    JsonObject& object = nexthops.emplace_back();
    object.text("client", nexthop.client())
        .text("vrf", nexthop.vrf())
        .text("kind", kindWord(nexthop.kind()));
    statusTo(object, nexthop.status()).numberOrNull("fecId", nexthop.fec_id());
  }
  std::vector<JsonObject> fecs;
  for (const Proto::GraphFec& fec : response.fecs()) {
    fecs.emplace_back()
        .text("vrf", fec.vrf())
        .number("fecId", fec.fec_id())
        .array("vias", viasOf(fec.vias()));
  }
  return JsonObject()
      .array("nexthops", nexthops)
      .array("fecs", fecs)
      .boolean("truncated", response.truncated());
}

}  // namespace

CtlExit graph(Connection& connection, const CtlOptions& options) {
  Proto::GraphRequest request;
  request.set_client(options.client);
  request.set_vrf(options.vrf);
  request.set_limit(options.limit);
  const auto response = connection.call<Proto::GraphResponse>(&Connection::Stub::Graph, request);
  if (options.json) {
    jsonOf(response).print();
  } else {
    std::fputs(dotOf(response).c_str(), stdout);
  }
  if (response.truncated()) {
    fmt::print(stderr,
               "nexthopctl: there are more nexthops; these are the first {}\n",
               response.nexthops_size());
  }
  return CtlExit::good;
}

}  // namespace Routing::Host
