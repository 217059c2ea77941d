// A PostgreSQL server for the store's tests, started by tools/depot-db.sh in a folder of the
// build, and the fixture runs of the results.json contract.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "Database.h"

namespace storetest {

// Runs a command line; its output, and its status in `status`.
std::string RunCommand(const std::string& command, int* status = nullptr);

class PgServer {
 public:
  void Start();
  void Stop();  // keeps the data
  void Drop();
  // A new empty database; the URL of its owner (postgres), password from the server's pgpass.
  std::string FreshDatabase(const std::string& name);
  // The same database as `user`.
  std::string UrlAs(const std::string& database, const std::string& user) const;
  std::string Password() const;

 private:
  std::string dir = RASTERSCAN_STORE_TEST_DIR;
  std::string port;
};

PgServer& Server();

// A fixture run from tests/shell/store/data (good, stuck-pixel).
nlohmann::json Fixture(const std::string& name);
std::string FixtureFolder(const std::string& name);

long long Count(store::Connection& db, const std::string& sql);

}  // namespace storetest
