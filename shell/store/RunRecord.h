// One run as the store keeps it: made from the shell's results.json object, loaded back from the
// local store to be forwarded, and written to either kind of store with keys that make a second
// write of the same run add nothing.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Database.h"

namespace store {

struct AdapterRecord {
  int ordinal = 0;
  std::optional<std::string> name, vendorId, deviceId, driverVersion;
  std::optional<long long> memoryBytes;
};

struct StepRecord {
  int ordinal = 0;
  std::optional<std::string> name, subtest, machine, reason, startedAt;
  std::string arguments = "[]", failureCodes = "[]";  // JSON arrays
  std::string verdict;
  std::optional<long long> exitStatus;
  std::optional<double> durationS;
  int nothingTested = 0, warnings = 0, errors = 0;
};

struct PictureRecord {
  int ordinal = 0;
  std::string name;  // as the run folder has it
  std::string bytes;
};

struct RunEnd {
  std::optional<std::string> endedAt;
  std::string state;
  int failures = 0;
};

struct RunRecord {
  std::string runId, pc;
  std::optional<std::string> suite, shellVersion, programVersion, program, locale, startedAt;
  std::optional<std::string> adapter, driverVersion;  // the first adapter's
  std::optional<std::string> hardware;                // the inventory's object as JSON
  std::vector<AdapterRecord> adapters;
  std::vector<StepRecord> steps;
  std::vector<PictureRecord> pictures;
  std::optional<RunEnd> end;
};

// A verdict that counts as a failure of the PC (a stop by the technician does not).
bool IsFailure(const std::string& verdict);

// From the results.json object. While the run goes on only steps that have ended are taken
// (a step not run yet may still run); `ended` (or an ended_at) takes them all and the end.
// Failed pictures are read from `runFolder`; what cannot be read is named in `problems`.
RunRecord FromResults(const nlohmann::json& run, const std::string& runFolder, bool ended,
                      std::vector<std::string>& problems);

// Writes what is not there yet, in one transaction.
void Write(Connection& db, const RunRecord& run);

// The same into the local store, marked in its outbox as waiting for the server.
void WriteToOutbox(Connection& db, const RunRecord& run);

// The run as the store holds it; nullopt when it has no such run.
std::optional<RunRecord> Load(Connection& db, const std::string& runId);

}  // namespace store
