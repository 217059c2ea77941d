// Stands in for the shell until the two meet: feeds results.json files through the store
// observer step by step, as the shell hands them over, and runs the store's own commands.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "StoreCommands.h"

namespace {

// The object as the shell has it after `done` steps: the rest not run yet, the run still going.
nlohmann::json After(const nlohmann::json& run, size_t done) {
  nlohmann::json partial = run;
  partial["ended_at"] = nullptr;
  partial["state"] = "running";
  for (size_t i = done; i < partial["steps"].size(); ++i) {
    nlohmann::json& step = partial["steps"][i];
    step["verdict"] = "not_run";
    step["started_at"] = nullptr;
    step["failure_codes"] = nlohmann::json::array();
    step["failed_picture"] = nullptr;
  }
  return partial;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Results store driver"};
  store::StoreOptions options;
  app.add_option("--runs", options.runsRoot, "Root of the run folders");
  AddStoreCommands(app, &options);

  std::vector<std::string> files;
  std::string runId, pc;
  size_t stepsDone = 0;
  CLI::App* feed = app.add_subcommand("feed", "Record results.json files step by step");
  feed->add_option("FILE", files)->required()->check(CLI::ExistingFile);
  feed->add_option("--run-id", runId, "Record under this run id");
  feed->add_option("--as-pc", pc, "Record under this PC");
  feed->add_option("--stop-after", stepsDone, "The PC goes down after this many steps: the run never ends");
  feed->callback([&] {
    for (const std::string& file : files) {
      std::ifstream in(file);
      nlohmann::json run = nlohmann::json::parse(in);
      if (!runId.empty()) run["run_id"] = runId;
      if (!pc.empty()) run["pc"] = pc;
      store::StoreOptions forRun = options;
      forRun.runFolder = std::filesystem::path(file).parent_path().string();
      auto observer = MakeStoreObserver(forRun);
      size_t count = run["steps"].size();
      size_t last = stepsDone > 0 && stepsDone < count ? stepsDone : count;
      for (size_t done = 1; done <= last; ++done) observer->StepEnded(After(run, done));
      if (last == count) observer->RunEnded(run);
    }
  });
  app.require_subcommand(1);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
