// Base class of every subtest: its name, description and declared arguments, the check of the
// command line against them, and typed access to their values.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "framework/KestArgument.h"

class KestConstraint;

// The value of -diagconf, set by every subtest's constructor; default ".\diagconf.ini".
extern std::string DiagnosticConfigurationPath;

class KestDiag {
 public:
  KestDiag();
  virtual ~KestDiag();
  KestDiag(const KestDiag&) = delete;
  KestDiag& operator=(const KestDiag&) = delete;

  virtual bool Run() = 0;
  virtual bool ValidateArguments();
  virtual std::string GetArgumentSummary();
  virtual std::string GetDescription();

  void SetName(const std::string& name) { Name = name; }
  const std::string& GetName() const { return Name; }
  const std::string& GetSubtestName() const { return SubtestName; }
  void SetDescription(const std::string& description) { Description = description; }

  // Declares an argument; takes over `constraint`.
  void AddArgument(const std::string& name, int32_t type, const std::string& defaultValue,
                   const std::string& description, KestConstraint* constraint = nullptr,
                   ArgumentFlag flags = ArgumentFlag::None);
  const std::map<std::string, KestArgument*>& GetArguments() const { return Arguments; }

  // Command-line value if not empty, else the declared default if not empty, else `defaultValue`.
  std::string GetArgumentString(const std::string& name, const std::string& defaultValue) const;
  bool GetArgumentBool(const std::string& name, bool defaultValue) const;
  int32_t GetArgumentInt(const std::string& name, int32_t defaultValue) const;

  std::string GetCatalog(int indent);
  std::string GetDictionary();

  void LogArguments(int32_t category, uint32_t number) const;

  void StartTimer();
  void StopTimer();
  uint32_t GetElapsedTicks() const { return StopTick - StartTick; }
  bool HasOwnTiming() const { return StartTick != 0 || StopTick != 0; }

 private:
  std::string Name;
  std::string SubtestName;
  std::string Description;
  std::map<std::string, KestArgument*> Arguments;
  uint32_t StartTick = 0;
  uint32_t StopTick = 0;
};
