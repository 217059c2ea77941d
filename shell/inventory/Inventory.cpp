#include "Inventory.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::string Quoted(const std::string& text) {
#ifdef _WIN32
  return "\"" + text + "\"";
#else
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
#endif
}

}  // namespace

nlohmann::json ParseInventory(const std::string& output) {
  nlohmann::json hardware = nlohmann::json::parse(output, nullptr, false);
  if (!hardware.is_object() || !hardware["adapters"].is_array() || !hardware["monitors"].is_array()) return nullptr;
  return hardware;
}

nlohmann::json ReadInventory(const std::string& program, const std::string& scratchFolder, std::string* problem) {
  std::string output = scratchFolder + "/inventory.json.tmp";
  std::string command = Quoted(program) + " > " + Quoted(output);
#ifdef _WIN32
  // cmd.exe takes off the outermost quotes of a line that begins with one.
  command = "\"" + command + "\"";
#endif
  int status = std::system(command.c_str());
  std::ifstream in(output, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  in.close();
  std::remove(output.c_str());
  nlohmann::json hardware = status == 0 ? ParseInventory(text.str()) : nlohmann::json(nullptr);
  if (hardware.is_null() && problem) {
    *problem = status != 0 ? program + " ended with status " + std::to_string(status) : program + " printed no inventory";
  }
  return hardware;
}
