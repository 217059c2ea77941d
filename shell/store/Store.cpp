#include "Store.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "RunRecord.h"
#include "Schema.h"

namespace store {

std::string PcIdentity(const std::string& given) {
  if (!given.empty()) return given;
  if (const char* pc = std::getenv("RASTERSCAN_PC"); pc && *pc) return pc;
  std::ifstream in("/proc/sys/kernel/hostname");
  std::string host;
  std::getline(in, host);
  return host.empty() ? "unknown" : host;
}

std::string LocalStorePath(const StoreOptions& options) {
  return (std::filesystem::path(options.runsRoot) / "store.sqlite").string();
}

std::string EffectiveUrl(const StoreOptions& options) {
  if (!options.url.empty()) return options.url;
  if (const char* url = std::getenv("RASTERSCAN_STORE"); url && *url) return url;
  return "sqlite:" + LocalStorePath(options);
}

Store::Store(StoreOptions given) : options(std::move(given)), url(ParseStoreUrl(EffectiveUrl(options))) {
  localPath = url.postgres ? LocalStorePath(options) : url.path;
}

Connection& Store::Local() {
  if (!local) {
    std::filesystem::path folder = std::filesystem::path(localPath).parent_path();
    if (!folder.empty()) std::filesystem::create_directories(folder);
    local = OpenSqlite(localPath);
    Migrate(*local);
  }
  return *local;
}

Connection& Store::Server() {
  if (!server) {
    auto connection = OpenPostgres(url.url);
    Migrate(*connection);
    server = std::move(connection);
  }
  return *server;
}

Connection& Store::Reader() { return url.postgres ? Server() : Local(); }

void Store::Record(const nlohmann::json& run, bool ended, std::vector<std::string>& problems) {
  std::string folder = options.runFolder;
  if (folder.empty()) folder = run.value("run_folder", "");
  RunRecord record = FromResults(run, folder, ended, problems);
  if (record.pc.empty()) record.pc = PcIdentity(options.pc);
  Connection& db = Local();
  if (!url.postgres) {
    Write(db, record);
    return;
  }
  WriteToOutbox(db, record);
  if (!ended && std::chrono::steady_clock::now() < retryAfter) return;
  try {
    Sync();
  } catch (const StoreError& e) {
    // Out of reach, or a server that refuses (rights, schema): the run waits either way, and
    // the technician hears of it once, not at every step.
    server.reset();
    if (retryAfter == std::chrono::steady_clock::time_point{}) {
      bool unreachable = dynamic_cast<const StoreUnreachable*>(&e) != nullptr;
      problems.push_back(ServerName() + (unreachable ? " is out of reach (" : " refused the run (") + e.what() +
                         "); the run is kept in " + localPath + " and sent by the next run or by sync");
    }
    retryAfter = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  }
}

int Store::Sync() {
  Connection& db = Local();
  Rows pending = db.Query("SELECT run_id, ended FROM outbox ORDER BY rowid");
  int sent = 0;
  for (const Row& row : pending) {
    std::optional<RunRecord> run = Load(db, *row[0]);
    if (!run) continue;
    try {
      Write(Server(), *run);
    } catch (const StoreError&) {
      server.reset();
      throw;
    }
    ++sent;
    // A run still going stays in the outbox for its later steps.
    if (run->end) db.Exec("DELETE FROM outbox WHERE run_id = $1 AND ended = 1", {run->runId});
  }
  retryAfter = {};
  return sent;
}

}  // namespace store
