#include "StoreObserver.h"

#include <iostream>

namespace {

class StoreObserver : public RunObserver {
 public:
  explicit StoreObserver(const store::StoreOptions& options) {
    try {
      store = std::make_unique<store::Store>(options);
    } catch (const std::exception& e) {
      Warn(e.what());
    }
  }

  void StepEnded(const nlohmann::json& run) override { Handle(run, false); }
  void RunEnded(const nlohmann::json& run) override { Handle(run, true); }

 private:
  static void Warn(const std::string& text) { std::cerr << "warning: results store: " << text << std::endl; }

  // A store that fails costs the run nothing: the technician is told, the run goes on.
  void Handle(const nlohmann::json& run, bool ended) noexcept {
    if (!store) return;
    try {
      std::vector<std::string> problems;
      store->Record(run, ended, problems);
      for (const std::string& problem : problems) Warn(problem);
    } catch (const std::exception& e) {
      Warn(e.what());
    } catch (...) {
      Warn("unexpected failure");
    }
  }

  std::unique_ptr<store::Store> store;
};

}  // namespace

std::unique_ptr<RunObserver> MakeStoreObserver(const store::StoreOptions& options) {
  return std::make_unique<StoreObserver>(options);
}
