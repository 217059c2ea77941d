#include "StoreCommands.h"

#include <iostream>
#include <memory>

#include "../fleet/Fleet.h"

namespace {

using store::Row;

// The PC named on the command line or in the environment, wherever --pc was declared.
std::string GivenPc(CLI::App& app, const store::StoreOptions& options) {
  if (!options.pc.empty()) return options.pc;
  CLI::Option* pc = app.get_option_no_throw("--pc");
  if (pc && pc->count() > 0) return pc->as<std::string>();
  return "";
}

std::string Pad(std::string text, size_t width) {
  if (text.size() > width) text = text.substr(0, width - 1) + "~";
  return text + std::string(width + 2 - text.size(), ' ');
}

[[noreturn]] void Fail(const std::string& text) {
  std::cerr << "error: results store: " << text << std::endl;
  throw CLI::RuntimeError(1);
}

void Sync(store::StoreOptions& options) {
  try {
    store::Store s(options);
    if (!s.HasServer()) {
      std::cout << "Nothing to send: the store is " << s.LocalPath() << std::endl;
      return;
    }
    int sent = s.Sync();
    std::cout << "Sent " << sent << (sent == 1 ? " run" : " runs") << " to " << s.ServerName() << std::endl;
  } catch (const std::exception& e) {
    Fail(e.what());
  }
}

store::Rows HistoryRows(store::Connection& db, const std::string& pc) {
  std::string started = db.GetDialect() == store::Dialect::Postgres
                            ? "to_char(r.started_at, 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"')"
                            : "r.started_at";
  return db.Query(
      "SELECT " + started + ", r.run_id, COALESCE(r.suite, ''), COALESCE(e.state, 'running'), "
      "(SELECT COUNT(*) FROM steps s WHERE s.run_id = r.run_id), "
      "(SELECT COUNT(*) FROM steps s WHERE s.run_id = r.run_id AND s.verdict IN ('failed', 'hung', 'crashed', 'machine_down')), "
      "COALESCE(r.adapter, ''), COALESCE(r.driver_version, '') "
      "FROM runs r LEFT JOIN run_ends e ON e.run_id = r.run_id WHERE r.pc = $1 ORDER BY r.started_at, r.run_id",
      {pc});
}

void History(store::StoreOptions& options, const std::string& pc) {
  try {
    store::Store s(options);
    store::Rows rows;
    try {
      rows = HistoryRows(s.Reader(), pc);
    } catch (const store::StoreError& e) {
      // A PC's own role may add results but not read them; its own runs are in its local file.
      if (!s.HasServer()) throw;
      std::cerr << "warning: results store: " << s.ServerName() << " cannot be read (" << e.what()
                << "); runs from " << s.LocalPath() << " only" << std::endl;
      rows = HistoryRows(s.Local(), pc);
    }
    if (rows.empty()) {
      std::cout << "No runs of " << pc << " in the store." << std::endl;
      return;
    }
    std::cout << "Runs of " << pc << "\n"
              << Pad("Started (UTC)", 20) << Pad("Verdict", 14) << Pad("Steps", 6) << Pad("Suite", 10)
              << Pad("Adapter", 28) << Pad("Driver", 14) << "Run\n";
    for (const Row& row : rows) {
      std::string state = row[3].value_or("");
      long long failures = std::stoll(row[5].value_or("0"));
      std::string verdict = failures > 0 ? "failed (" + std::to_string(failures) + ")"
                            : state == "running" ? "unfinished"
                            : state == "stopped" ? "stopped"
                                                 : "passed";
      std::cout << Pad(row[0].value_or(""), 20) << Pad(verdict, 14) << Pad(row[4].value_or(""), 6)
                << Pad(row[2].value_or(""), 10) << Pad(row[6].value_or(""), 28) << Pad(row[7].value_or(""), 14)
                << row[1].value_or("") << "\n";
    }
    std::cout << std::flush;
  } catch (const std::exception& e) {
    Fail(e.what());
  }
}

void Fleet(store::StoreOptions& options, const std::string& out) {
  try {
    store::Store s(options);
    store::Connection& db = s.Reader();
    fleet::FleetData data = fleet::QueryFleet(db);
    std::string page = fleet::WriteFleet(db, out.empty() ? options.runsRoot : out, data);
    std::cout << fleet::FleetTable(data) << "\n" << page << std::endl;
  } catch (const std::exception& e) {
    Fail(e.what());
  }
}

}  // namespace

void AddStoreCommands(CLI::App& app, store::StoreOptions* shared) {
  std::shared_ptr<store::StoreOptions> owned;
  if (!shared) {
    owned = std::make_shared<store::StoreOptions>();
    shared = owned.get();
  }
  store::StoreOptions* options = shared;
  app.add_option("--store", options->url,
                 "Results store: sqlite:PATH or postgresql://... (passwords from libpq's password or service file)")
      ->envname("RASTERSCAN_STORE");
  if (!app.get_option_no_throw("--pc")) {
    app.add_option("--pc", options->pc, "This PC's name or serial in the results store (default: the host name)")
        ->envname("RASTERSCAN_PC");
  }

  CLI::App* sync = app.add_subcommand("sync", "Send the runs kept while the depot's server was out of reach");
  sync->callback([options, owned] { Sync(*options); });

  auto pc = std::make_shared<std::string>();
  CLI::App* history = app.add_subcommand("history", "List a PC's runs (default: this PC)");
  history->add_option("PC", *pc, "The PC's name or serial");
  history->callback([&app, options, owned, pc] { History(*options, store::PcIdentity(pc->empty() ? GivenPc(app, *options) : *pc)); });

  auto out = std::make_shared<std::string>();
  CLI::App* fleetCommand = app.add_subcommand("fleet", "Write fleet.html from the store and print its tables");
  fleetCommand->add_option("--out", *out, "Folder of fleet.html (default: the run folders' root)");
  fleetCommand->callback([options, owned, out] { Fleet(*options, *out); });
}
