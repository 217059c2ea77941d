#include <libpq-fe.h>

#include <map>

#include "Database.h"

namespace store {
namespace {

constexpr unsigned ByteaOid = 17;

// libpq's messages run over several lines; a warning or error line is one.
std::string Trimmed(const char* message) {
  std::string text;
  for (const char* c = message ? message : ""; *c; ++c) {
    if (*c == '\n' || *c == '\t') {
      if (!text.empty() && text.back() != ' ') text += ' ';
    } else {
      text += *c;
    }
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c - 'A' + 10;
}

// bytea's text form is \x followed by hex pairs.
std::string FromHex(const char* text, size_t length) {
  std::string out;
  if (length < 2) return out;
  out.reserve((length - 2) / 2);
  for (size_t i = 2; i + 1 < length; i += 2) {
    out += static_cast<char>(HexDigit(text[i]) * 16 + HexDigit(text[i + 1]));
  }
  return out;
}

class PostgresConnection : public Connection {
 public:
  explicit PostgresConnection(const std::string& url) {
    // The URL comes last so that what it says wins over these defaults.
    const char* keys[] = {"connect_timeout", "application_name", "options", "dbname", nullptr};
    const char* values[] = {"5", "raster-shell", "-c TimeZone=UTC", url.c_str(), nullptr};
    conn = PQconnectdbParams(keys, values, 1);
    if (!conn || PQstatus(conn) != CONNECTION_OK) {
      std::string message = conn ? Trimmed(PQerrorMessage(conn)) : "out of memory";
      PQfinish(conn);
      conn = nullptr;
      throw StoreUnreachable(message);
    }
    // Notices such as "relation already exists, skipping" are not the technician's business.
    PQsetNoticeProcessor(conn, [](void*, const char*) {}, nullptr);
  }
  ~PostgresConnection() override { PQfinish(conn); }

  Dialect GetDialect() const override { return Dialect::Postgres; }

  void Exec(const std::string& sql, const std::vector<Param>& params) override { Run(sql, params, nullptr); }

  Rows Query(const std::string& sql, const std::vector<Param>& params) override {
    Rows rows;
    Run(sql, params, &rows);
    return rows;
  }

  void Script(const std::string& sql) override {
    PGresult* result = PQexec(conn, sql.c_str());
    Check(result);
    PQclear(result);
  }

 private:
  void Check(PGresult* result, bool clear = false) {
    ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
      if (clear) PQclear(result);
      return;
    }
    std::string message = Trimmed(result ? PQresultErrorMessage(result) : PQerrorMessage(conn));
    if (message.empty()) message = Trimmed(PQerrorMessage(conn));
    PQclear(result);
    if (PQstatus(conn) != CONNECTION_OK) throw StoreUnreachable(message);
    throw StoreError(message);
  }

  // Each text is parsed and planned once per connection: a run's statement is long.
  const std::string& Prepared(const std::string& sql, int parameters) {
    auto found = prepared.find(sql);
    if (found != prepared.end()) return found->second;
    std::string name = "s" + std::to_string(prepared.size() + 1);
    Check(PQprepare(conn, name.c_str(), sql.c_str(), parameters, nullptr), true);
    return prepared.emplace(sql, name).first->second;
  }

  void Run(const std::string& sql, const std::vector<Param>& params, Rows* rows) {
    std::vector<const char*> values;
    std::vector<int> lengths;
    std::vector<int> formats;
    for (const Param& p : params) {
      values.push_back(p.value ? p.value->data() : nullptr);
      lengths.push_back(p.value ? static_cast<int>(p.value->size()) : 0);
      formats.push_back(p.bytes ? 1 : 0);
    }
    // Without parameters (BEGIN, COMMIT, DDL) the simple protocol does.
    const int parameters = static_cast<int>(params.size());
    PGresult* result = parameters == 0 ? PQexec(conn, sql.c_str())
                                       : PQexecPrepared(conn, Prepared(sql, parameters).c_str(), parameters,
                                                        values.data(), lengths.data(), formats.data(), 0);
    Check(result);
    if (rows) {
      int count = PQntuples(result);
      int columns = PQnfields(result);
      rows->reserve(static_cast<size_t>(count));
      for (int r = 0; r < count; ++r) {
        Row row;
        row.reserve(static_cast<size_t>(columns));
        for (int c = 0; c < columns; ++c) {
          if (PQgetisnull(result, r, c)) {
            row.emplace_back(std::nullopt);
            continue;
          }
          const char* text = PQgetvalue(result, r, c);
          size_t length = static_cast<size_t>(PQgetlength(result, r, c));
          row.emplace_back(PQftype(result, c) == ByteaOid ? FromHex(text, length) : std::string(text, length));
        }
        rows->push_back(std::move(row));
      }
    }
    PQclear(result);
  }

  PGconn* conn = nullptr;
  std::map<std::string, std::string> prepared;
};

}  // namespace

std::unique_ptr<Connection> OpenPostgres(const std::string& url) { return std::make_unique<PostgresConnection>(url); }

}  // namespace store
