// The results store behind the shell: a local SQLite file beside the run folders, and, when a
// depot's PostgreSQL is named, that server with the local file as its outbox.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Database.h"
#include "StoreUrl.h"

namespace store {

struct StoreOptions {
  std::string url;                   // --store or RASTERSCAN_STORE; empty: the local file
  std::string runsRoot = "build/runs";  // the shell's run folders; the local file is store.sqlite in it
  std::string pc;                    // --pc or RASTERSCAN_PC; empty: the host name
  std::string runFolder;             // the recorded run's folder, for its failed pictures
};

// --pc, else RASTERSCAN_PC, else the host name.
std::string PcIdentity(const std::string& given);
// The URL from the options, else RASTERSCAN_STORE, else sqlite: beside the runs.
std::string EffectiveUrl(const StoreOptions& options);
std::string LocalStorePath(const StoreOptions& options);

class Store {
 public:
  explicit Store(StoreOptions options);

  bool HasServer() const { return url.postgres; }
  const std::string& LocalPath() const { return localPath; }
  std::string ServerName() const { return RedactUrl(url.url); }

  // Keeps the run (what has ended of it) in the local store and, with a server, sends what the
  // outbox holds. A server out of reach is not an error: the run waits. Problems come back as
  // lines for the technician.
  void Record(const nlohmann::json& run, bool ended, std::vector<std::string>& problems);

  // Sends every run of the outbox, each in one transaction; a finished run leaves the outbox
  // once the server has it. Returns how many runs were sent. Throws StoreUnreachable.
  int Sync();

  // The store that commands read: the server, or the local file.
  Connection& Reader();
  Connection& Local();

 private:
  Connection& Server();

  StoreOptions options;
  StoreUrl url;
  std::string localPath;
  std::unique_ptr<Connection> local;
  std::unique_ptr<Connection> server;
  // After the server was out of reach the shell does not wait for it at every step.
  std::chrono::steady_clock::time_point retryAfter{};
};

}  // namespace store
