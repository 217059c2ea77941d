#include <sqlite3.h>

#include <cctype>
#include <map>

#include "Database.h"

namespace store {
namespace {

// $N becomes ?N, SQLite's numbered parameter, so both dialects share one text.
std::string ToSqlite(const std::string& sql) {
  std::string out;
  out.reserve(sql.size());
  for (size_t i = 0; i < sql.size(); ++i) {
    if (sql[i] == '$' && i + 1 < sql.size() && std::isdigit(static_cast<unsigned char>(sql[i + 1]))) {
      out += '?';
    } else {
      out += sql[i];
    }
  }
  return out;
}

class SqliteConnection : public Connection {
 public:
  explicit SqliteConnection(const std::string& path) {
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                        nullptr) != SQLITE_OK) {
      std::string message = db ? sqlite3_errmsg(db) : "out of memory";
      sqlite3_close(db);
      throw StoreError("cannot open " + path + ": " + message);
    }
    // The shell writes while `sync` or `fleet` read in another process.
    sqlite3_busy_timeout(db, 30000);
    Script("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;");
  }
  ~SqliteConnection() override {
    for (auto& entry : cache) sqlite3_finalize(entry.second);
    sqlite3_close(db);
  }

  Dialect GetDialect() const override { return Dialect::Sqlite; }

  void Exec(const std::string& sql, const std::vector<Param>& params) override { Run(sql, params, nullptr); }

  Rows Query(const std::string& sql, const std::vector<Param>& params) override {
    Rows rows;
    Run(sql, params, &rows);
    return rows;
  }

  void Script(const std::string& sql) override {
    char* error = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      std::string message = error ? error : sqlite3_errmsg(db);
      sqlite3_free(error);
      throw StoreError(message);
    }
  }

 private:
  sqlite3_stmt* Prepare(const std::string& sql) {
    auto found = cache.find(sql);
    if (found != cache.end()) return found->second;
    sqlite3_stmt* statement = nullptr;
    std::string text = ToSqlite(sql);
    if (sqlite3_prepare_v2(db, text.c_str(), static_cast<int>(text.size()), &statement, nullptr) != SQLITE_OK) {
      throw StoreError(sqlite3_errmsg(db));
    }
    cache.emplace(sql, statement);
    return statement;
  }

  void Run(const std::string& sql, const std::vector<Param>& params, Rows* rows) {
    sqlite3_stmt* statement = Prepare(sql);
    struct Reset {
      sqlite3_stmt* s;
      ~Reset() {
        sqlite3_reset(s);
        sqlite3_clear_bindings(s);
      }
    } reset{statement};
    for (size_t i = 0; i < params.size(); ++i) {
      const Param& p = params[i];
      int index = static_cast<int>(i + 1);
      int status;
      if (!p.value) {
        status = sqlite3_bind_null(statement, index);
      } else if (p.bytes) {
        status = sqlite3_bind_blob64(statement, index, p.value->data(), p.value->size(), SQLITE_TRANSIENT);
      } else {
        status = sqlite3_bind_text64(statement, index, p.value->data(), p.value->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
      }
      if (status != SQLITE_OK) throw StoreError(sqlite3_errmsg(db));
    }
    for (;;) {
      int status = sqlite3_step(statement);
      if (status == SQLITE_DONE) break;
      if (status != SQLITE_ROW) throw StoreError(sqlite3_errmsg(db));
      if (!rows) continue;
      Row row;
      int columns = sqlite3_column_count(statement);
      for (int c = 0; c < columns; ++c) {
        if (sqlite3_column_type(statement, c) == SQLITE_NULL) {
          row.emplace_back(std::nullopt);
        } else if (sqlite3_column_type(statement, c) == SQLITE_BLOB) {
          const void* data = sqlite3_column_blob(statement, c);
          row.emplace_back(std::string(static_cast<const char*>(data), static_cast<size_t>(sqlite3_column_bytes(statement, c))));
        } else {
          const unsigned char* text = sqlite3_column_text(statement, c);
          row.emplace_back(std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(sqlite3_column_bytes(statement, c))));
        }
      }
      rows->push_back(std::move(row));
    }
  }

  sqlite3* db = nullptr;
  std::map<std::string, sqlite3_stmt*> cache;
};

}  // namespace

std::unique_ptr<Connection> OpenSqlite(const std::string& path) { return std::make_unique<SqliteConnection>(path); }

}  // namespace store
