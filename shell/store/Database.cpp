#include "Database.h"

#include <cstdio>

namespace store {

Param::Param(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", number);
  value = text;
}

Transaction::Transaction(Connection& connection) : db(connection) {
  db.Exec(db.GetDialect() == Dialect::Sqlite ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (!open) return;
  try {
    db.Exec("ROLLBACK");
  } catch (...) {
    // A connection that is gone has rolled back by itself.
  }
}

void Transaction::Commit() {
  db.Exec("COMMIT");
  open = false;
}

}  // namespace store
