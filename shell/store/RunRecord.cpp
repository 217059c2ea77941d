#include "RunRecord.h"

#include <fstream>
#include <sstream>

namespace store {
namespace {

using nlohmann::json;

std::optional<std::string> Text(const json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || found->is_null()) return std::nullopt;
  if (found->is_string()) return found->get<std::string>();
  return found->dump();
}

template <typename T>
std::optional<T> Number(const json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return std::nullopt;
  return found->get<T>();
}

std::string Array(const json& object, const char* key) {
  auto found = object.find(key);
  return found != object.end() && found->is_array() ? found->dump() : "[]";
}

bool IsEndedVerdict(const std::string& verdict) {
  return verdict == "passed" || verdict == "stopped" || verdict == "machine_down" || IsFailure(verdict);
}

// A picture path from the run's own file stays inside the run folder.
bool IsInsideFolder(const std::string& path) {
  if (path.empty() || path[0] == '/' || path[0] == '\\' || path.find(':') != std::string::npos) return false;
  return path.find("..") == std::string::npos;
}

Param Opt(const std::optional<std::string>& value) { return value ? Param(*value) : Param(); }
Param Opt(const std::optional<long long>& value) { return value ? Param(*value) : Param(); }
Param Opt(const std::optional<double>& value) { return value ? Param(*value) : Param(); }

std::optional<long long> IntField(const Row& row, size_t column) {
  return row[column] ? std::optional<long long>(std::stoll(*row[column])) : std::nullopt;
}

json Nullable(const std::optional<std::string>& value) { return value ? json(*value) : json(nullptr); }

// PostgreSQL: the whole run in one statement, adapters and steps as JSON parameters.
const char* const PostgresRun = R"SQL(
WITH r AS (
  INSERT INTO runs (run_id, pc, suite, shell_version, program_version, program, locale, started_at, adapter,
                    driver_version, hardware)
  VALUES ($1::text, $2, $3, $4, $5, $6, $7, $8::timestamptz, $9, $10, $11) ON CONFLICT DO NOTHING),
a AS (
  INSERT INTO adapters (run_id, ordinal, name, vendor_id, device_id, driver_version, memory_bytes)
  SELECT $1::text, x.o, x.n, x.v, x.d, x.dv, x.m
  FROM jsonb_to_recordset($12::jsonb) AS x(o int, n text, v text, d text, dv text, m bigint)
  ON CONFLICT DO NOTHING),
s AS (
  INSERT INTO steps (run_id, ordinal, name, subtest, arguments, machine, verdict, reason, failure_codes,
                     exit_status, started_at, duration_s, nothing_tested, warnings, errors, adapter, driver_version)
  SELECT $1::text, x.o, x.n, x.s, x.a, x.m, x.v, x.r, x.f, x.x, x.t, x.d, x.nt, x.w, x.e, $9::text, $10::text
  FROM jsonb_to_recordset($13::jsonb) AS x(o int, n text, s text, a text, m text, v text, r text, f text, x int,
                                            t timestamptz, d float8, nt int, w int, e int)
  ON CONFLICT DO NOTHING)
INSERT INTO run_ends (run_id, ended_at, state, failures)
SELECT $1::text, $14::timestamptz, $15::text, $16::int WHERE $15::text IS NOT NULL
ON CONFLICT DO NOTHING
)SQL";

void WritePostgres(Connection& db, const RunRecord& run) {
  json adapters = json::array();
  for (const AdapterRecord& a : run.adapters) {
    adapters.push_back({{"o", a.ordinal}, {"n", Nullable(a.name)}, {"v", Nullable(a.vendorId)},
                        {"d", Nullable(a.deviceId)}, {"dv", Nullable(a.driverVersion)},
                        {"m", a.memoryBytes ? json(*a.memoryBytes) : json(nullptr)}});
  }
  json steps = json::array();
  for (const StepRecord& s : run.steps) {
    steps.push_back({{"o", s.ordinal}, {"n", Nullable(s.name)}, {"s", Nullable(s.subtest)}, {"a", s.arguments},
                     {"m", Nullable(s.machine)}, {"v", s.verdict}, {"r", Nullable(s.reason)},
                     {"f", s.failureCodes}, {"x", s.exitStatus ? json(*s.exitStatus) : json(nullptr)},
                     {"t", Nullable(s.startedAt)}, {"d", s.durationS ? json(*s.durationS) : json(nullptr)},
                     {"nt", s.nothingTested}, {"w", s.warnings}, {"e", s.errors}});
  }
  std::vector<Param> params = {run.runId, run.pc, Opt(run.suite), Opt(run.shellVersion), Opt(run.programVersion),
                               Opt(run.program), Opt(run.locale), Opt(run.startedAt), Opt(run.adapter),
                               Opt(run.driverVersion), Opt(run.hardware), adapters.dump(), steps.dump(),
                               run.end ? Opt(run.end->endedAt) : Param(),
                               run.end ? Param(run.end->state) : Param(),
                               run.end ? Param(run.end->failures) : Param()};
  if (run.pictures.empty()) {
    db.Exec(PostgresRun, params);  // one statement is one transaction
    return;
  }
  Transaction transaction(db);
  db.Exec(PostgresRun, params);
  for (const PictureRecord& p : run.pictures) {
    db.Exec("INSERT INTO failed_pictures (run_id, ordinal, name, bytes) VALUES ($1, $2, $3, $4) ON CONFLICT DO NOTHING",
            {run.runId, p.ordinal, p.name, Param::Bytes(p.bytes)});
  }
  transaction.Commit();
}

void WriteSqliteRows(Connection& db, const RunRecord& run) {
  db.Exec("INSERT INTO runs (run_id, pc, suite, shell_version, program_version, program, locale, started_at, "
          "adapter, driver_version, hardware) VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11) "
          "ON CONFLICT DO NOTHING",
          {run.runId, run.pc, Opt(run.suite), Opt(run.shellVersion), Opt(run.programVersion), Opt(run.program),
           Opt(run.locale), Opt(run.startedAt), Opt(run.adapter), Opt(run.driverVersion), Opt(run.hardware)});
  for (const AdapterRecord& a : run.adapters) {
    db.Exec("INSERT INTO adapters (run_id, ordinal, name, vendor_id, device_id, driver_version, memory_bytes) "
            "VALUES ($1, $2, $3, $4, $5, $6, $7) ON CONFLICT DO NOTHING",
            {run.runId, a.ordinal, Opt(a.name), Opt(a.vendorId), Opt(a.deviceId), Opt(a.driverVersion),
             Opt(a.memoryBytes)});
  }
  for (const StepRecord& s : run.steps) {
    db.Exec("INSERT INTO steps (run_id, ordinal, name, subtest, arguments, machine, verdict, reason, failure_codes, "
            "exit_status, started_at, duration_s, nothing_tested, warnings, errors, adapter, driver_version) "
            "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16, $17) ON CONFLICT DO NOTHING",
            {run.runId, s.ordinal, Opt(s.name), Opt(s.subtest), s.arguments, Opt(s.machine), s.verdict, Opt(s.reason),
             s.failureCodes, Opt(s.exitStatus), Opt(s.startedAt), Opt(s.durationS), s.nothingTested, s.warnings,
             s.errors, Opt(run.adapter), Opt(run.driverVersion)});
  }
  for (const PictureRecord& p : run.pictures) {
    db.Exec("INSERT INTO failed_pictures (run_id, ordinal, name, bytes) VALUES ($1, $2, $3, $4) ON CONFLICT DO NOTHING",
            {run.runId, p.ordinal, p.name, Param::Bytes(p.bytes)});
  }
  if (run.end) {
    db.Exec("INSERT INTO run_ends (run_id, ended_at, state, failures) VALUES ($1, $2, $3, $4) ON CONFLICT DO NOTHING",
            {run.runId, Opt(run.end->endedAt), run.end->state, run.end->failures});
  }
}

}  // namespace

bool IsFailure(const std::string& verdict) {
  return verdict == "failed" || verdict == "hung" || verdict == "crashed" || verdict == "machine_down";
}

RunRecord FromResults(const json& run, const std::string& runFolder, bool ended, std::vector<std::string>& problems) {
  RunRecord record;
  record.runId = Text(run, "run_id").value_or("");
  if (record.runId.empty()) throw StoreError("results without a run_id");
  record.pc = Text(run, "pc").value_or("");
  record.suite = Text(run, "suite");
  record.shellVersion = Text(run, "shell_version");
  record.programVersion = Text(run, "program_version");
  record.program = Text(run, "program");
  record.locale = Text(run, "locale");
  record.startedAt = Text(run, "started_at");
  auto hardware = run.find("hardware");
  if (hardware != run.end() && hardware->is_object()) {
    record.hardware = hardware->dump();
    int ordinal = 0;
    auto list = hardware->find("adapters");
    for (const json& a : list != hardware->end() && list->is_array() ? *list : json::array()) {
      if (!a.is_object()) continue;
      record.adapters.push_back(AdapterRecord{ordinal++, Text(a, "name"), Text(a, "vendor_id"), Text(a, "device_id"),
                                              Text(a, "driver_version"), Number<long long>(a, "memory_bytes")});
    }
    if (!record.adapters.empty()) {
      record.adapter = record.adapters[0].name;
      record.driverVersion = record.adapters[0].driverVersion;
    }
  }
  ended = ended || Text(run, "ended_at").has_value();
  int failures = 0;
  auto steps = run.find("steps");
  for (const json& step : steps != run.end() && steps->is_array() ? *steps : json::array()) {
    if (!step.is_object()) continue;
    StepRecord s;
    s.verdict = Text(step, "verdict").value_or("");  // null while the step runs
    if (!(ended && s.verdict == "not_run") && !IsEndedVerdict(s.verdict)) continue;
    s.ordinal = static_cast<int>(Number<long long>(step, "index").value_or(-1));
    if (s.ordinal < 0) continue;
    s.name = Text(step, "name");
    s.subtest = Text(step, "subtest");
    s.arguments = Array(step, "arguments");
    s.machine = Text(step, "machine");
    s.reason = Text(step, "reason");
    s.failureCodes = Array(step, "failure_codes");
    s.exitStatus = Number<long long>(step, "exit_status");
    s.startedAt = Text(step, "started_at");
    s.durationS = Number<double>(step, "duration_s");
    auto nothingTested = step.find("nothing_tested");
    s.nothingTested = nothingTested != step.end() && nothingTested->is_boolean() && nothingTested->get<bool>();
    s.warnings = static_cast<int>(Number<long long>(step, "warnings").value_or(0));
    s.errors = static_cast<int>(Number<long long>(step, "errors").value_or(0));
    if (IsFailure(s.verdict)) {
      ++failures;
      if (auto picture = Text(step, "failed_picture")) {
        if (!IsInsideFolder(*picture)) {
          problems.push_back("failed picture " + *picture + " is outside the run folder, not stored");
        } else {
          std::ifstream in(runFolder + "/" + *picture, std::ios::binary);
          std::ostringstream bytes;
          bytes << in.rdbuf();
          if (!in) {
            problems.push_back("cannot read failed picture " + runFolder + "/" + *picture);
          } else {
            record.pictures.push_back(PictureRecord{s.ordinal, *picture, bytes.str()});
          }
        }
      }
    }
    record.steps.push_back(std::move(s));
  }
  if (ended) record.end = RunEnd{Text(run, "ended_at"), Text(run, "state").value_or("finished"), failures};
  return record;
}

void Write(Connection& db, const RunRecord& run) {
  if (db.GetDialect() == Dialect::Postgres) {
    WritePostgres(db, run);
  } else {
    Transaction transaction(db);
    WriteSqliteRows(db, run);
    transaction.Commit();
  }
}

void WriteToOutbox(Connection& db, const RunRecord& run) {
  Transaction transaction(db);
  WriteSqliteRows(db, run);
  db.Exec("INSERT INTO outbox (run_id, ended) VALUES ($1, $2) ON CONFLICT (run_id) DO UPDATE SET ended = excluded.ended",
          {run.runId, run.end ? 1 : 0});
  transaction.Commit();
}

std::optional<RunRecord> Load(Connection& db, const std::string& runId) {
  Rows runs = db.Query("SELECT pc, suite, shell_version, program_version, program, locale, started_at, adapter, "
                       "driver_version, hardware FROM runs WHERE run_id = $1",
                       {runId});
  if (runs.empty()) return std::nullopt;
  const Row& r = runs[0];
  RunRecord run;
  run.runId = runId;
  run.pc = r[0].value_or("");
  run.suite = r[1];
  run.shellVersion = r[2];
  run.programVersion = r[3];
  run.program = r[4];
  run.locale = r[5];
  run.startedAt = r[6];
  run.adapter = r[7];
  run.driverVersion = r[8];
  run.hardware = r[9];
  for (const Row& a : db.Query("SELECT ordinal, name, vendor_id, device_id, driver_version, memory_bytes FROM adapters "
                               "WHERE run_id = $1 ORDER BY ordinal",
                               {runId})) {
    run.adapters.push_back(AdapterRecord{std::stoi(*a[0]), a[1], a[2], a[3], a[4], IntField(a, 5)});
  }
  for (const Row& s : db.Query("SELECT ordinal, name, subtest, arguments, machine, verdict, reason, failure_codes, "
                               "exit_status, started_at, duration_s, nothing_tested, warnings, errors FROM steps "
                               "WHERE run_id = $1 ORDER BY ordinal",
                               {runId})) {
    StepRecord step;
    step.ordinal = std::stoi(*s[0]);
    step.name = s[1];
    step.subtest = s[2];
    step.arguments = s[3].value_or("[]");
    step.machine = s[4];
    step.verdict = s[5].value_or("");
    step.reason = s[6];
    step.failureCodes = s[7].value_or("[]");
    step.exitStatus = IntField(s, 8);
    step.startedAt = s[9];
    step.durationS = s[10] ? std::optional<double>(std::stod(*s[10])) : std::nullopt;
    step.nothingTested = static_cast<int>(IntField(s, 11).value_or(0));
    step.warnings = static_cast<int>(IntField(s, 12).value_or(0));
    step.errors = static_cast<int>(IntField(s, 13).value_or(0));
    run.steps.push_back(std::move(step));
  }
  for (const Row& p : db.Query("SELECT ordinal, name, bytes FROM failed_pictures WHERE run_id = $1 ORDER BY ordinal",
                               {runId})) {
    run.pictures.push_back(PictureRecord{std::stoi(*p[0]), p[1].value_or(""), p[2].value_or("")});
  }
  Rows end = db.Query("SELECT ended_at, state, failures FROM run_ends WHERE run_id = $1", {runId});
  if (!end.empty()) run.end = RunEnd{end[0][0], end[0][1].value_or(""), std::stoi(end[0][2].value_or("0"))};
  return run;
}

}  // namespace store
