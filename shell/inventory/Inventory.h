// The shell's side of the hardware inventory: runs raster-inventory as a process and gives its
// "hardware" object for results.json.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

// The object raster-inventory printed about `machine` (empty: the built-in one, or the PC itself
// on Windows), or null (results.json then says "hardware": null) with the reason in `problem`.
nlohmann::json ReadInventory(const std::string& program, const std::string& machine, std::string* problem = nullptr);

// The object in the program's output; null unless it has the contract's shape.
nlohmann::json ParseInventory(const std::string& output);
