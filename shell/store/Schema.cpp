#include "Schema.h"

#include <string>

namespace store {
namespace {

// {TS}, {REAL}, {BLOB} stand for the types that differ between the two.
std::string ForDialect(std::string sql, Dialect dialect) {
  const bool pg = dialect == Dialect::Postgres;
  const std::pair<const char*, const char*> types[] = {
      {"{TS}", pg ? "TIMESTAMPTZ" : "TEXT"},
      {"{REAL}", pg ? "DOUBLE PRECISION" : "REAL"},
      {"{BLOB}", pg ? "BYTEA" : "BLOB"},
  };
  for (const auto& [token, type] : types) {
    for (size_t at = sql.find(token); at != std::string::npos; at = sql.find(token, at)) {
      sql.replace(at, std::string(token).size(), type);
    }
  }
  return sql;
}

// 1: runs, their ends, adapters and steps, the step_results view; on PostgreSQL the two roles.
// A run is never updated: its end is a row of its own, so that a writer needs INSERT alone.
const char* const Version1 = R"SQL(
CREATE TABLE runs (
  run_id TEXT PRIMARY KEY,
  pc TEXT NOT NULL,
  suite TEXT,
  shell_version TEXT,
  program_version TEXT,
  program TEXT,
  locale TEXT,
  started_at {TS},
  adapter TEXT,
  driver_version TEXT,
  hardware TEXT
);
CREATE INDEX runs_by_pc ON runs (pc, started_at);
CREATE TABLE run_ends (
  run_id TEXT PRIMARY KEY,
  ended_at {TS},
  state TEXT NOT NULL,
  failures INTEGER NOT NULL
);
CREATE TABLE adapters (
  run_id TEXT NOT NULL,
  ordinal INTEGER NOT NULL,
  name TEXT,
  vendor_id TEXT,
  device_id TEXT,
  driver_version TEXT,
  memory_bytes BIGINT,
  PRIMARY KEY (run_id, ordinal)
);
CREATE TABLE steps (
  run_id TEXT NOT NULL,
  ordinal INTEGER NOT NULL,
  name TEXT,
  subtest TEXT,
  arguments TEXT,
  machine TEXT,
  verdict TEXT NOT NULL,
  reason TEXT,
  failure_codes TEXT,
  exit_status INTEGER,
  started_at {TS},
  duration_s {REAL},
  PRIMARY KEY (run_id, ordinal)
);
CREATE VIEW step_results AS
  SELECT s.run_id, r.pc, r.adapter, r.driver_version, s.subtest, s.verdict, s.reason, s.started_at, s.duration_s
  FROM steps s JOIN runs r ON r.run_id = s.run_id;
)SQL";

const char* const Version1Roles = R"SQL(
DO $$ BEGIN
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rasterscan_writer') THEN
    CREATE ROLE rasterscan_writer NOLOGIN;
  END IF;
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rasterscan_reader') THEN
    CREATE ROLE rasterscan_reader NOLOGIN;
  END IF;
END $$;
GRANT USAGE ON SCHEMA public TO rasterscan_writer, rasterscan_reader;
GRANT SELECT ON schema_version TO rasterscan_writer, rasterscan_reader;
GRANT INSERT ON runs, run_ends, adapters, steps TO rasterscan_writer;
GRANT SELECT ON runs, run_ends, adapters, steps, step_results TO rasterscan_reader;
)SQL";

// The local store is also the outbox of a PC whose server is out of reach.
const char* const Version1Outbox = R"SQL(
CREATE TABLE outbox (run_id TEXT PRIMARY KEY, ended INTEGER NOT NULL);
)SQL";

// 2: the stderr counts of a step and the pictures of failed steps; each step carries its run's
// adapter, so that failure rates per adapter model need no join over every step.
const char* const Version2 = R"SQL(
ALTER TABLE steps ADD COLUMN adapter TEXT;
ALTER TABLE steps ADD COLUMN driver_version TEXT;
UPDATE steps SET adapter = (SELECT r.adapter FROM runs r WHERE r.run_id = steps.run_id),
                 driver_version = (SELECT r.driver_version FROM runs r WHERE r.run_id = steps.run_id);
DROP VIEW step_results;
CREATE VIEW step_results AS
  SELECT s.run_id, r.pc, s.adapter, s.driver_version, s.subtest, s.verdict, s.reason, s.started_at, s.duration_s
  FROM steps s JOIN runs r ON r.run_id = s.run_id;
ALTER TABLE steps ADD COLUMN nothing_tested INTEGER NOT NULL DEFAULT 0;
ALTER TABLE steps ADD COLUMN warnings INTEGER NOT NULL DEFAULT 0;
ALTER TABLE steps ADD COLUMN errors INTEGER NOT NULL DEFAULT 0;
CREATE TABLE failed_pictures (
  run_id TEXT NOT NULL,
  ordinal INTEGER NOT NULL,
  name TEXT NOT NULL,
  bytes {BLOB} NOT NULL,
  PRIMARY KEY (run_id, ordinal)
);
CREATE INDEX steps_failed ON steps (subtest, reason) WHERE verdict IN ('failed', 'hung', 'crashed', 'machine_down');
)SQL";

const char* const Version2Roles = R"SQL(
GRANT INSERT ON failed_pictures TO rasterscan_writer;
GRANT SELECT ON failed_pictures, step_results TO rasterscan_reader;
)SQL";

void Apply(Connection& db, int version) {
  const bool pg = db.GetDialect() == Dialect::Postgres;
  if (version == 1) {
    db.Script(ForDialect(Version1, db.GetDialect()));
    db.Script(pg ? Version1Roles : Version1Outbox);
  } else if (version == 2) {
    db.Script(ForDialect(Version2, db.GetDialect()));
    if (pg) db.Script(Version2Roles);
  }
}

}  // namespace

int SchemaVersion(Connection& db) {
  Rows rows = db.Query("SELECT MAX(version) FROM schema_version");
  return rows.empty() || !rows[0][0] ? 0 : std::stoi(*rows[0][0]);
}

void Migrate(Connection& db, int target) {
  try {
    if (SchemaVersion(db) >= target) return;
  } catch (const StoreUnreachable&) {
    throw;
  } catch (const StoreError&) {
    // No schema_version yet: a new store.
  }
  Transaction transaction(db);
  if (db.GetDialect() == Dialect::Postgres) {
    // One migrating shell at a time; the others find the work done.
    db.Exec("SELECT pg_advisory_xact_lock(7312025)");
  }
  db.Script("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
  int version = SchemaVersion(db);
  for (int next = version + 1; next <= target; ++next) {
    Apply(db, next);
    db.Exec("INSERT INTO schema_version (version) VALUES ($1)", {next});
  }
  transaction.Commit();
}

}  // namespace store
