// Observers of a run: the run engine hands each of them the results.json content so far after
// every step and once more when the run ends. An observer that throws never fails the run.
#pragma once

#include <nlohmann/json.hpp>

struct RunObserver {
    virtual ~RunObserver() = default;
    virtual void StepEnded(const nlohmann::json& run) = 0;  // run = results.json content so far
    virtual void RunEnded(const nlohmann::json& run) = 0;
};
