#pragma once
#include <nlohmann/json.hpp>

// Told about a run as it goes: after each step ends and when the run ends, with the whole
// results.json object so far. An observer must not throw into the run; the engine catches anyway.
struct RunObserver {
  virtual ~RunObserver() = default;
  virtual void StepEnded(const nlohmann::json& run) = 0;
  virtual void RunEnded(const nlohmann::json& run) = 0;
};
