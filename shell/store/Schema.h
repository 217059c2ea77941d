// The store's tables, the same for SQLite and PostgreSQL, and their migrations. The version in
// schema_version says which migrations a store has had; the missing ones run on first use.
#pragma once

#include "Database.h"

namespace store {

constexpr int LatestSchemaVersion = 2;

// The version a store has, 0 for an empty one.
int SchemaVersion(Connection& db);

// Brings the store to `target` (tests stop early to make an older store). Concurrent callers
// queue on a lock; a store already there is only read, so a writer that may not change the
// schema can still open it. A store newer than this program is left as it is.
void Migrate(Connection& db, int target = LatestSchemaVersion);

}  // namespace store
