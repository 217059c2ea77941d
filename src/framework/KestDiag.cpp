#include "framework/KestDiag.h"

#include "framework/CmdLineParser.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/Kestout.h"
#include "platform/clock.h"
#include "text/TextHelpers.h"

std::string DiagnosticConfigurationPath = ".\\diagconf.ini";

namespace {

const char kDefaultDiagConf[] = ".\\diagconf.ini";

// Framework switches every subtest accepts without declaring them, with their defaults as
// LogArguments shows them.
const struct {
  const char* Name;
  const char* Default;
} kFrameworkArguments[] = {
    {"-subtest", "unknown"}, {"-locale", "en_US"},     {"-debug", "false"},   {"-version", "false"},
    {"-description", "false"}, {"-help", "false"},     {"-catalog", "false"}, {"-diagconf", kDefaultDiagConf},
};

}  // namespace

KestDiag::KestDiag() {
  const CmdLineParser& line = CmdLineParser::Instance();
  SubtestName = line.Get("-subtest", "unknown");
  DiagnosticConfigurationPath = line.Get("-diagconf", kDefaultDiagConf);
}

KestDiag::~KestDiag() {
  for (auto& entry : Arguments) delete entry.second;
}

void KestDiag::AddArgument(const std::string& name, int32_t type, const std::string& defaultValue,
                           const std::string& description, KestConstraint* constraint, ArgumentFlag flags) {
  KestArgument*& slot = Arguments[name];
  delete slot;
  slot = new KestArgument(name, type, defaultValue, description, constraint, flags);
}

std::string KestDiag::GetArgumentString(const std::string& name, const std::string& defaultValue) const {
  std::string value = CmdLineParser::Instance().Get(name, "");
  if (!value.empty()) return value;
  auto found = Arguments.find(name);
  if (found != Arguments.end() && !found->second->GetDefaultValue().empty()) return found->second->GetDefaultValue();
  return defaultValue;
}

bool KestDiag::GetArgumentBool(const std::string& name, bool defaultValue) const {
  return ToLower(GetArgumentString(name, defaultValue ? "true" : "false")) == "true";
}

int32_t KestDiag::GetArgumentInt(const std::string& name, int32_t defaultValue) const {
  return ToInt32(Trim(GetArgumentString(name, ToText(defaultValue))));
}

bool KestDiag::ValidateArguments() {
  const CmdLineParser& line = CmdLineParser::Instance();
  std::map<std::string, KestArgument*> declared;
  for (const auto& [name, argument] : Arguments) {
    declared[ToLower(name)] = argument;
    if (argument->IsRequired() && line.Get(name, "").empty()) {
      Kestout::LogMessage(CategoryInvalid, 20000, "Mandatory argument " + name + " is not present in command line");
      return false;
    }
  }
  for (const auto& [name, value] : line.GetArguments()) {
    if (name == "-subtest" || name == "-locale") continue;
    if (name == "-debug" || name == "-version" || name == "-description" || name == "-help" || name == "-catalog") {
      if (!IsBooleanWord(value)) {
        Kestout::LogMessage(CategoryInvalid, 20004, name);
        return false;
      }
      continue;
    }
    if (name == "-diagconf") {
      if (!FileExists(value)) {
        Kestout::LogMessage(CategoryInvalid, 20006, name);
        return false;
      }
      continue;
    }
    auto found = declared.find(name);
    if (found == declared.end()) {
      Kestout::LogMessage(CategoryInvalid, 20003, name);
      return false;
    }
    if (!found->second->Validate(value)) {
      switch (found->second->GetType()) {
        case KestArgument::TypeBoolean: Kestout::LogMessage(CategoryInvalid, 20004, name); break;
        case KestArgument::TypeInteger:
        case KestArgument::TypeDouble: Kestout::LogMessage(CategoryInvalid, 20005, name); break;
        case KestArgument::TypeString: Kestout::LogMessage(CategoryInvalid, 20006, name); break;
        default: break;  // no message is set aside for a refused largeinteger
      }
      return false;
    }
  }
  return true;
}

std::string KestDiag::GetArgumentSummary() {
  std::string summary;
  for (const auto& entry : Arguments)
    if (!entry.second->IsHidden()) summary += entry.second->GetHelpText() + "\n";
  return summary;
}

std::string KestDiag::GetDescription() { return Description; }

std::string KestDiag::GetCatalog(int indent) {
  const std::string margin(static_cast<size_t>(indent > 0 ? indent : 0), ' ');
  const std::string& name = Name.empty() ? SubtestName : Name;
  const std::string& program = CmdLineParser::Instance().GetProgramName();
  std::string element = margin + "<TEST";
  if (!name.empty()) element += " Name=\"" + name + "\"";
  if (!program.empty()) element += " FileName=\"" + program + "\"";
  if (!Description.empty()) element += CatalogDescription(Description);
  element += " >\n";
  for (const auto& entry : Arguments) element += "  " + entry.second->GetCatalogElement(indent + 2) + "\n";
  return element + margin + "</TEST>";
}

std::string KestDiag::GetDictionary() {
  std::string text = "\n\n" + Name + "/Name = TBC\n";
  text += Name + "/Description = " + OneLine(Description) + "\n";
  for (const auto& entry : Arguments) text += entry.second->GetDictionary(Name);
  return text;
}

void KestDiag::LogArguments(int32_t category, uint32_t number) const {
  if (Arguments.empty()) return;
  for (const auto& framework : kFrameworkArguments)
    Kestout::LogMessage(category, number,
                        std::string(framework.Name) + "=" + GetArgumentString(framework.Name, framework.Default));
  for (const auto& entry : Arguments)
    Kestout::LogMessage(category, number, entry.first + "=" + GetArgumentString(entry.first, ""));
}

void KestDiag::StartTimer() { StartTick = platform::GetTickCount(); }
void KestDiag::StopTimer() { StopTick = platform::GetTickCount(); }
