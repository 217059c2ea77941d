#include "store_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace storetest {

std::string RunCommand(const std::string& command, int* status) {
  std::string output = std::string(RASTERSCAN_STORE_TEST_DIR) + ".out";
  int result = std::system((command + " > '" + output + "' 2>&1").c_str());
  std::ifstream in(output);
  std::stringstream text;
  text << in.rdbuf();
  std::remove(output.c_str());
  if (status) *status = result;
  return text.str();
}

void PgServer::Start() {
  int status = 0;
  std::string out = RunCommand("DEPOT_DB_PORT=0 bash '" RASTERSCAN_SOURCE_DIR "/tools/depot-db.sh' start '" + dir + "'", &status);
  if (status != 0) throw std::runtime_error("the test server did not start: " + out);
  std::ifstream in(dir + "/port");
  in >> port;
}

void PgServer::Stop() { RunCommand("bash '" RASTERSCAN_SOURCE_DIR "/tools/depot-db.sh' stop '" + dir + "'"); }

void PgServer::Drop() { RunCommand("bash '" RASTERSCAN_SOURCE_DIR "/tools/depot-db.sh' drop '" + dir + "'"); }

std::string PgServer::UrlAs(const std::string& database, const std::string& user) const {
  return "postgresql://" + user + "@127.0.0.1:" + port + "/" + database + "?passfile=" + dir + "/pgpass";
}

std::string PgServer::Password() const {
  std::ifstream in(dir + "/pgpass");
  std::string line;
  std::getline(in, line);
  return line.substr(line.rfind(':') + 1);
}

std::string PgServer::FreshDatabase(const std::string& name) {
  auto admin = store::OpenPostgres(UrlAs("postgres", "postgres"));
  admin->Exec("DROP DATABASE IF EXISTS " + name);
  admin->Exec("CREATE DATABASE " + name);
  return UrlAs(name, "postgres");
}

PgServer& Server() {
  static PgServer server;
  return server;
}

std::string FixtureFolder(const std::string& name) {
  return std::string(RASTERSCAN_SOURCE_DIR) + "/tests/shell/store/data/" + name;
}

nlohmann::json Fixture(const std::string& name) {
  std::ifstream in(FixtureFolder(name) + "/results.json");
  return nlohmann::json::parse(in);
}

long long Count(store::Connection& db, const std::string& sql) { return std::stoll(*db.Query(sql)[0][0]); }

namespace {

// One server for the whole binary, dropped on the way out; ctest's cleanup drops it too when
// the binary dies.
class ServerEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    Server().Drop();
    Server().Start();
  }
  void TearDown() override { Server().Drop(); }
};

const auto* environment = ::testing::AddGlobalTestEnvironment(new ServerEnvironment);

}  // namespace

}  // namespace storetest
