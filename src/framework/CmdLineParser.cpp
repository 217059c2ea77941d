#include "framework/CmdLineParser.h"

#include "text/TextHelpers.h"

CmdLineParser::~CmdLineParser() = default;

const char* const* CmdLineParser::DefaultArgv() {
  static const char* const argv[] = {"", nullptr};
  return argv;
}

CmdLineParser& CmdLineParser::Instance(int argc, const char* const* argv) {
  static CmdLineParser* instance = new CmdLineParser(argc, argv);  // lives to the end of the process
  return *instance;
}

CmdLineParser::CmdLineParser(int argc, const char* const* argv) {
  if (argc > 0 && argv && argv[0]) ProgramName = argv[0];
  Parse(argc, argv, Arguments);
}

void CmdLineParser::Parse(int argc, const char* const* argv, std::map<std::string, std::string>& out) {
  for (int i = 1; i < argc && argv && argv[i]; ++i) {
    std::string word = argv[i];
    size_t eq = word.find('=');
    if (eq == std::string::npos) out[ToLower(word)] = word;
    else out[ToLower(word.substr(0, eq))] = word.substr(eq + 1);
  }
}

std::string CmdLineParser::Get(const std::string& name, const std::string& defaultValue) const {
  auto found = Arguments.find(ToLower(name));
  return found == Arguments.end() ? defaultValue : found->second;
}

bool CmdLineParser::IsBooleanArgument(const std::string& name) const { return IsBooleanWord(Get(name, "invalid")); }

bool IsBooleanWord(const std::string& text) {
  std::string lowered = ToLower(text);
  return lowered == "true" || lowered == "false";
}
