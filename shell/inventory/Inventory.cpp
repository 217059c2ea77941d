#include "Inventory.h"

#include "Runner.h"

nlohmann::json ParseInventory(const std::string& output) {
  nlohmann::json hardware = nlohmann::json::parse(output, nullptr, false);
  if (!hardware.is_object() || !hardware["adapters"].is_array() || !hardware["monitors"].is_array()) return nullptr;
  return hardware;
}

nlohmann::json ReadInventory(const std::string& program, const std::string& machine, std::string* problem) {
  shellos::SpawnSpec launch{program, {}, "", {}, {}};
  if (!machine.empty()) launch.setEnv.emplace_back("RASTERSCAN_MACHINE", machine);
  std::string out, err, error;
  shellos::ExitInfo exit;
  // An inventory takes well under a second; a minute means it hangs.
  const bool ended = shell::RunToEnd(launch, 60, out, err, exit, error);
  const bool clean = ended && !exit.crashed && exit.code == 0;
  nlohmann::json hardware = clean ? ParseInventory(out) : nlohmann::json(nullptr);
  if (hardware.is_null() && problem) {
    *problem = !ended ? program + ": " + error
               : !clean ? program + " ended with status " + std::to_string(exit.code)
                        : program + " printed no inventory";
  }
  return hardware;
}
