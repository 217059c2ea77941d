// One connection to a results store, SQLite or PostgreSQL, behind the few calls the store needs.
// SQL is written once with $1, $2... parameters; values always travel as parameters.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace store {

enum class Dialect { Sqlite, Postgres };

struct StoreError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// The server could not be reached or went away: the run waits in the outbox.
struct StoreUnreachable : StoreError {
  using StoreError::StoreError;
};

// A parameter: text, bytes or SQL NULL.
struct Param {
  std::optional<std::string> value;
  bool bytes = false;
  Param() = default;
  Param(std::nullopt_t) {}
  Param(std::string text) : value(std::move(text)) {}
  Param(const char* text) : value(std::string(text)) {}
  Param(long long number) : value(std::to_string(number)) {}
  Param(int number) : value(std::to_string(number)) {}
  Param(double number);
  static Param Bytes(std::string data) {
    Param p(std::move(data));
    p.bytes = true;
    return p;
  }
};

using Row = std::vector<std::optional<std::string>>;
using Rows = std::vector<Row>;

class Connection {
 public:
  virtual ~Connection() = default;
  virtual Dialect GetDialect() const = 0;
  virtual void Exec(const std::string& sql, const std::vector<Param>& params = {}) = 0;
  // Bytes (bytea / blob) come back raw.
  virtual Rows Query(const std::string& sql, const std::vector<Param>& params = {}) = 0;
  // Several statements without parameters, as a migration holds them.
  virtual void Script(const std::string& sql) = 0;
};

std::unique_ptr<Connection> OpenSqlite(const std::string& path);
// `conninfo` is a postgresql:// URL; a password comes only from libpq's own files.
std::unique_ptr<Connection> OpenPostgres(const std::string& conninfo);

// Begins on construction (BEGIN IMMEDIATE on SQLite, so writers queue instead of failing on
// upgrade) and rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Connection& db;
  bool open = true;
};

}  // namespace store
