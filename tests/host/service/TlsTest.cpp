// TCP with mutual TLS, with certificates made for the run (certificates.sh).

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/host/service/ChildProcess.h"
#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

using ::testing::ElementsAre;

class Tls : public ServiceFixture {
 protected:
  static void SetUpTestSuite() {
    std::string pattern = ::testing::TempDir() + "nexthop-certificates-XXXXXX";
    certificates_ = ::mkdtemp(pattern.data());
    ChildProcess script({"/bin/bash", NEXTHOP_TEST_CERTIFICATES, certificates_});
    std::string output;
    for (std::string line = script.line(); !line.empty(); line = script.line()) {
      output += line + "\n";
    }
    ASSERT_EQ(script.wait(), 0) << output;
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(certificates_); }

  static std::string file(const std::string& name) { return certificates_ + "/" + name; }
  static std::string contents(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(file(name)).rdbuf();
    return text.str();
  }
  void listen() {
    options.socketPath.clear();
    options.tlsAddress = "127.0.0.1:0";
    options.tlsCertificate = file("daemon.pem");
    options.tlsKey = file("daemon.key");
    options.tlsAuthority = file("authority.pem");
    start();
  }
  std::unique_ptr<Stub> connectAs(const std::string& name) const {
    grpc::SslCredentialsOptions tls;
    tls.pem_root_certs = contents("authority.pem");
    if (!name.empty()) {
      tls.pem_cert_chain = contents(name + ".pem");
      tls.pem_private_key = contents(name + ".key");
    }
    return stubFor(grpc::SslCredentials(tls));
  }
  std::unique_ptr<Stub> stubFor(
      const std::shared_ptr<grpc::ChannelCredentials>& credentials) const {
    grpc::ChannelArguments arguments = ownConnection();
    arguments.SetSslTargetNameOverride("nexthopd.test");
    return Proto::Nexthops::NewStub(
        grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(service->tlsPort()),
                                  credentials,
                                  arguments));
  }

 private:
  static inline std::string certificates_;
};

TEST_F(Tls, AClientIsTheUserThatItsCertificateNames) {
  listen();
  const auto alice = connectAs("alice");
  ASSERT_TRUE(registerAll(*alice, registration("bgp", {"10.0.0.1"})).ok());
  onLoop([this] { EXPECT_EQ(store.values.at("client/bgp"), "tls:alice"); });
  Watching watching(*alice, watchOf("bgp"));
  EXPECT_THAT(watching.snapshot(), ElementsAre("10.0.0.1 failed no-route"));
  const auto bob = connectAs("bob");
  EXPECT_EQ(registerAll(*bob, registration("bgp", {"10.0.0.2"})).error_code(),
            grpc::StatusCode::PERMISSION_DENIED);
}

TEST_F(Tls, WhoeverHasNoCertificateOfTheAuthorityIsNotServed) {
  listen();
  for (const std::string name : {"", "stranger"}) {
    EXPECT_EQ(registerAll(*connectAs(name), registration("bgp", {"10.0.0.1"})).error_code(),
              grpc::StatusCode::UNAVAILABLE)
        << name;
  }
  const auto plain = stubFor(grpc::InsecureChannelCredentials());
  EXPECT_EQ(registerAll(*plain, registration("bgp", {"10.0.0.1"})).error_code(),
            grpc::StatusCode::UNAVAILABLE);
  onLoop([this] { EXPECT_EQ(service->figures().clients, 0U); });
}

TEST_F(Tls, AFileThatIsMissingIsNamed) {
  options.socketPath.clear();
  options.tlsAddress = "127.0.0.1:0";
  options.tlsCertificate = file("nobody.pem");
  options.tlsKey = file("daemon.key");
  options.tlsAuthority = file("authority.pem");
  try {
    start();
    FAIL() << "it started";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), ::testing::EndsWith("nobody.pem"));
  }
}

}  // namespace
}  // namespace Routing::Host
