#include "tests/host/kernel/Namespace.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace Routing::Host::Testing {

namespace {

bool write(const std::string& file, const std::string& text) {
  std::ofstream stream(file);
  stream << text;
  stream.close();
  return !stream.fail();
}

// A user namespace in which this user is root.
bool becomeRoot() {
  const std::string uid = std::to_string(::geteuid());
  const std::string gid = std::to_string(::getegid());
  return ::unshare(CLONE_NEWUSER) == 0 && write("/proc/self/setgroups", "deny") &&
         write("/proc/self/uid_map", "0 " + uid + " 1\n") &&
         write("/proc/self/gid_map", "0 " + gid + " 1\n");
}

int run(const std::string& command, const std::string& input) {
  std::FILE* pipe = ::popen(command.c_str(), "we");
  if (pipe == nullptr) {
    return -1;
  }
  const bool written = std::fwrite(input.data(), 1, input.size(), pipe) == input.size();
  const int status = ::pclose(pipe);
  return written && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Namespace::Namespace() {
  if (::geteuid() != 0 && !becomeRoot()) {
    missing_ = "root, or a user namespace";
    return;
  }
  if (::unshare(CLONE_NEWNET) != 0) {
    missing_ = std::string("a network namespace: ") + std::strerror(errno);
    return;
  }
  if (run("ip -V >/dev/null 2>&1", {}) != 0) {
    missing_ = "iproute2";
    return;
  }
  ip("link set lo up");
}

void Namespace::ip(const std::string& arguments) const {
  EXPECT_EQ(run("ip " + arguments, {}), 0) << "ip " << arguments;
}

bool Namespace::ipTry(const std::string& arguments) const {
  return run("ip " + arguments + " >/dev/null 2>&1", {}) == 0;
}

void Namespace::ipBatch(const std::string& lines) const { EXPECT_EQ(run("ip -batch -", lines), 0); }

void Namespace::link(const std::string& name, const std::string& address) const {
  std::string lines = "link add " + name + " type veth peer name " + name + "peer\n";
  lines += "link set " + name + " up\nlink set " + name + "peer up\n";
  if (!address.empty()) {
    // Without duplicate address detection an IPv6 address works at once.
    const bool ipv6 = address.find(':') != std::string::npos;
    lines += "addr add " + address + " dev " + name + (ipv6 ? " nodad\n" : "\n");
  }
  ipBatch(lines);
}

void Namespace::sysctl(const std::string& name, const std::string& value) const {
  EXPECT_TRUE(write("/proc/sys/net/" + name, value)) << name;
}

}  // namespace Routing::Host::Testing
