#include "subtests/GraphicsPortTest.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "config/FileParser.h"
#include "framework/ControlFiles.h"
#include "framework/DiagnosticManager.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "framework/MessageCatalog.h"
#include "framework/PutBack.h"
#include "hardware/SMBIOSDiscovery.h"
#include "hardware/SetupDI.h"
#include "hardware/WMIDiscovery.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/setupapi.h"
#include "platform/thread.h"
#include "platform/walltime.h"
#include "prompts/Prompts.h"
#include "subtests/RenderingLibrary.h"
#include "text/TextHelpers.h"
#include "text/WholeFile.h"

namespace {

constexpr char kPortLogName[] = "videoportdetail.log";
constexpr uint32_t kSetFlags = platform::SdcApply | platform::SdcUseSuppliedDisplayConfig | platform::SdcAllowChanges;
// What a missing display configuration call gives, as the system's "not found" would.
constexpr int32_t kNoEntryPoint = 31;
constexpr uint32_t kPciListFlags = platform::DigcfPresent | platform::DigcfAllClasses;

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number, const std::string& text) {
  KestException* failure = new KestException(code);
  failure->AddMessage(category, number, text);
  throw failure;
}

[[noreturn]] void RaiseSystemError(int32_t error) {
  char text[64];
  std::snprintf(text, sizeof text, "WIN32 Error occured %d\n", static_cast<int>(error));
  Raise(990666, CategoryServiceErrors, 8, text);
}

bool Interrupted() { return IsTerminationRequested() || IsConsoleInterrupted(); }

std::string NarrowUtf16(const char16_t* text, size_t size) {
  std::wstring wide;
  for (size_t i = 0; i < size && text[i] != 0; ++i) wide.push_back(static_cast<wchar_t>(text[i]));
  return Narrow(wide);
}

// Section names of profile files are matched without regard to case.
bool HasSection(FileParser& parser, const std::string& name) {
  parser.ReadSectionNames();
  const std::string wanted = ToLower(name);
  for (const std::string& section : parser.SectionNames())
    if (ToLower(section) == wanted) return true;
  return false;
}

// The lines of one section as expected ports; the third field may be empty. A line that cannot be
// split ends the list; the protocol has no line for that, so standard error says which.
void ReadPortLines(OrgFileParser& parser, const std::string& file, const std::string& section,
                   std::vector<ExpectedPort>& out, std::vector<bool>& cardNameGiven) {
  parser.ReadSection(section);
  while (parser.NextLine()) {
    ExpectedPort port;
    int number = 0;
    std::string type, card;
    parser.GetField(number, 0);
    parser.GetField(type);
    parser.GetField(card);
    port.MessageNumber = number;
    SetPortType(port, type);
    port.CardName = card;
    out.push_back(port);
    cardNameGiven.push_back(!card.empty());
  }
  const std::string stopped = parser.PendingLine();
  if (!stopped.empty())
    std::fprintf(stderr, "error: %s: section [%s] stops at a line with a quote that is not closed, '%s': it and "
                 "the lines after it are not read\n", file.c_str(), section.c_str(), stopped.c_str());
}

}  // namespace

std::string ConnectorName(int32_t outputTechnology) {
  switch (outputTechnology) {
    case -1: return "OTHER";
    case 0: return "VGA";
    case 1: return "SVIDEO";
    case 2:
    case 3: return "COMPOSITE_VIDEO";
    case 4: return "DVI";
    case 5: return "HDMI";
    case 6: return "LVDS";
    case 8: return "D-JPN";
    case 9: return "SDI";
    case 10: return "DISPLAYPORT_EXTERNAL";
    case 11: return "DISPLAYPORT_EMBEDDED";
    case 12: return "UDI-EXTERNAL";
    case 13: return "UDI-EMBEDDED";
    case 14: return "SDTV-DONGAL";
    case platform::OutputTechnologyInternal: return "INTERNAL";
    default: return "";
  }
}

bool PortMatches(const ExpectedPort& expected, const DetectedPort& detected) {
  if (expected.PortType.find(detected.PortType) == std::string::npos) return false;
  if (detected.AdapterPath.find(expected.CardDeviceId) == std::string::npos) return false;
  return expected.AnyInstance || static_cast<uint32_t>(expected.ConnectorInstance) == detected.ConnectorInstance;
}

void NumberIdenticalCards(VideoCardMap& cards) {
  std::vector<int32_t> noted;
  for (const auto& card : cards) {
    bool first = true;
    for (const auto& other : cards) {
      if (other.second.Description != card.second.Description) continue;
      if (first) {
        first = false;
        continue;
      }
      if (card.second.Number != 0) noted.push_back(card.second.Number);
    }
  }
  int counter = 1;
  for (int32_t number : noted) {
    auto found = cards.find(number);
    if (found == cards.end()) continue;
    found->second.Description += "#" + std::to_string(counter++);
  }
}

void SetPortType(ExpectedPort& port, const std::string& field) {
  port.PortType = ToUpper(field);
  const size_t dash = port.PortType.rfind('-');
  port.AnyInstance = dash == std::string::npos;
  port.ConnectorInstance = port.AnyInstance ? 0 : std::atoi(port.PortType.c_str() + dash + 1);
}

std::string PortLogBody(const VideoCardMap& cards, const std::vector<DetectedPort>& ports) {
  std::string text;
  int written = 0;
  for (const auto& card : cards) {
    text += "[ " + card.second.Description + " ]\n";
    for (const DetectedPort& port : ports) {
      if (port.AdapterPath.find(card.second.DeviceId) == std::string::npos) continue;
      text += " Type Of Port: " + port.PortType + "," + " Connnector Instance : " + std::to_string(port.ConnectorInstance) + "\n";
      ++written;
    }
  }
  text += "Total Number of Monitor connected :" + std::to_string(written) + "\n";
  return text;
}

GraphicsPortTest::GraphicsPortTest() {
  SetDescription("This subtest will test all the video ports of all the video adapters that are connected to monitors.");
  AddArgument("-INIFile", KestArgument::TypeString, ".\\videoport.ini",
              "An INI file containing ports details of\n\tvideo adapter");
  AddArgument("-Retries", KestArgument::TypeInteger, "3",
              "Number of retries in case of test failure",
              new KestConstraint(0, 10));
  AddArgument("-TimeOut", KestArgument::TypeInteger, "15",
              "Test Time Out in seconds.",
              new KestConstraint(10, 60));
  AddArgument("-TestAllPorts", KestArgument::TypeBoolean, "false",
              "This parameter is used to specify whether test will run\n\t on all port of graphics card one by one");
  AddArgument("-INISection", KestArgument::TypeString, "",
              "The section name in the INI file that will have the information\n\t for the video ports to be tested. If not given, the 4-digit System\n\t ID will be used for the section name. If Value of parameter is AUTO\n\t then test will discovers video card and read the section from INI file");
}

GraphicsPortTest::~GraphicsPortTest() {
  StopTimerThread(false);
  if (User32 != 0) platform::FreeLibrary(User32);
}

bool GraphicsPortTest::Run() {
  Kestout::UpdatePercentage(0);
  IniFile = GetArgumentString("-INIFile", ".\\videoport.ini");
  Retries = GetArgumentInt("-Retries", 3);
  TimeOut = GetArgumentInt("-TimeOut", 15);
  TestAllPorts = GetArgumentBool("-TestAllPorts", false);
  Section = GetArgumentString("-INISection", "");
  Title = "Lumora Graphics Port Test";
  Kestout::UpdatePercentage(1);
  if (!IsWindows7()) {
    Kestout::LogMessage(CategorySoftwareConfiguration, 221, "");
    Raise(990806, CategoryServiceErrors, 221, "");
  }
  User32 = platform::LoadLibraryA("user32.dll");
  if (Interrupted()) {
    Kestout::LogMessage(CategoryServiceErrors, 1, "");
    Raise(995000, CategoryServiceErrors, 24, "");
  }
  const std::string missing = MissingRenderingFiles();
  if (!missing.empty()) Raise(990618, CategoryDeviceErrors, 30, missing);
  if (!ReadPortConfiguration()) Raise(990811, CategoryServiceErrors, 222, IniFile);
  WarnIfNoCardNamed();
  Kestout::LogMessage(CategorySubtests, 2, "");
  Kestout::UpdatePercentage(5);

  uint32_t failureCode = 0;
  bool interrupted = false;
  bool passed = WalkPorts(failureCode, interrupted);
  Kestout::UpdatePercentage(80);
  if (HaveSaved && ApplyPortConfiguration(0, true) != 0) {
    passed = false;
    failureCode = 990810;
  }
  Kestout::UpdatePercentage(90);
  if (passed) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    Kestout::UpdatePercentage(100);
    return true;
  }
  if (interrupted) {
    Kestout::LogMessage(CategoryServiceErrors, 24, "");
    return false;
  }
  Kestout::LogMessage(CategoryServiceErrors, 4, "");
  if (failureCode != 0) Kestout::ReportFailure(ToText(failureCode));
  return false;
}

bool GraphicsPortTest::WalkPorts(uint32_t& failureCode, bool& interrupted) {
  try {
    return TestAllPorts ? WalkAllPorts(failureCode, interrupted) : WalkPortsOneByOne(failureCode, interrupted);
  } catch (...) {
    // The failure that ends the walk is the one reported; a configuration that will not go back
    // has no line of its own in the protocol.
    if (HaveSaved) {
      if (const int32_t error = ApplyPortConfiguration(0, true))
        std::fprintf(stderr, "error: the start display configuration could not be put back (error %d)\n",
                     static_cast<int>(error));
    }
    throw;
  }
}

// Every expected port must be there at once before any is tested.
bool GraphicsPortTest::WalkAllPorts(uint32_t& failureCode, bool& interrupted) {
  bool found = false;
  for (int32_t attempt = 0; attempt <= Retries && !found; ++attempt) {
    DiscoverOrRaise();
    found = FindExpectedPorts(true);
    if (!found) DropScan();
  }
  if (!found) Raise(990807, CategoryDeviceErrors, 223, "");
  Kestout::UpdatePercentage(10);
  const int32_t share = 60 / static_cast<int32_t>(Expected.size());
  int32_t count = 0;
  for (const ExpectedPort& port : Expected) {
    ++count;
    const DetectedPort* detected = FindDetected(port);
    bool passed = false;
    if (detected != nullptr) {
      if (int32_t error = ApplyPortConfiguration(detected->PathIndex, false)) RaiseSystemError(error);
      passed = RunRenderingOnPort(failureCode) == 1;
    }
    Kestout::UpdatePercentage(share * count);
    if (detected == nullptr || !passed) {
      ReportPortFailure(port);
      return false;
    }
    if (Interrupted()) {
      interrupted = true;
      return false;
    }
  }
  return true;
}

// Ports may be connected one after the other, when the operator is asked for them. A walk
// without any expected port has tested nothing, so it does not pass.
bool GraphicsPortTest::WalkPortsOneByOne(uint32_t& failureCode, bool& interrupted) {
  Kestout::UpdatePercentage(10);
  const int32_t share = Expected.empty() ? 0 : 60 / static_cast<int32_t>(Expected.size());
  bool allFound = false;
  bool passedAll = false;
  int32_t count = 0;
  for (const ExpectedPort& port : Expected) {
    ++count;
    bool found = false;
    bool passed = false;
    for (int32_t attempt = 0; attempt <= Retries; ++attempt) {
      if (!allFound) {
        DropScan();
        DiscoverOrRaise();
        allFound = FindExpectedPorts(false);
      }
      if (const DetectedPort* detected = FindDetected(port)) {
        found = true;
        if (int32_t error = ApplyPortConfiguration(detected->PathIndex, false)) RaiseSystemError(error);
        passed = RunRenderingOnPort(failureCode) == 1;
        break;
      }
      AskForPort(port);
    }
    Kestout::UpdatePercentage(share * count);
    if (found && passed) {
      if (Interrupted()) {
        interrupted = true;
        return false;
      }
      passedAll = true;
      continue;
    }
    // A port found at the last attempt that fails its rendering is a rendering failure, not a
    // missing port.
    if (!found) {
      Kestout::LogMessage(CategoryServiceErrors, 223, "");
      failureCode = 990807;
    } else {
      ReportPortFailure(port);
    }
    return false;
  }
  return passedAll;
}

void GraphicsPortTest::DiscoverOrRaise() {
  if (int32_t error = DiscoverPorts(PathCount)) RaiseSystemError(error);
}

void GraphicsPortTest::DropScan() {
  Paths.clear();
  Modes.clear();
  PathCount = 0;
  Detected.clear();
}

const DetectedPort* GraphicsPortTest::FindDetected(const ExpectedPort& port) const {
  for (const DetectedPort& detected : Detected)
    if (PortMatches(port, detected)) return &detected;
  return nullptr;
}

void GraphicsPortTest::AskForPort(const ExpectedPort& port) {
  std::wstring media;
  const std::wstring text =
      GetWideMessageWithMedia(static_cast<uint32_t>(port.MessageNumber), L"", Widen(ToText(port.MessageNumber)), media);
  if (ShowImagePrompt(text, Widen(Title), PromptOnTop, media) == PromptTerminated) WarnAnswerCutShort(Narrow(text));
}

void GraphicsPortTest::ReportPortFailure(const ExpectedPort& port) {
  const std::wstring text = GetWideMessageText(224, Widen(port.PortType)) + GetWideMessageText(225, Widen(port.CardName));
  Kestout::LogMessage(CategoryDebug, 8, Narrow(text));
}

bool GraphicsPortTest::FindExpectedPorts(bool prompting) {
  for (const ExpectedPort& port : Expected) {
    if (FindDetected(port) != nullptr) continue;
    if (prompting) AskForPort(port);
    return false;
  }
  return !Expected.empty();
}

bool GraphicsPortTest::ReadCards() {
  WMIDiscovery& wmi = WMIDiscovery::Instance();
  const size_t rows = wmi.RunQuery(L"SELECT * FROM Win32_VideoController");
  if (rows == 0) return false;
  for (size_t row = 1; row <= rows; ++row) {
    VideoCard card;
    wmi.GetRowValue(L"Description", card.Description, row);
    wmi.GetRowValue(L"PNPDeviceID", card.DeviceId, row);
    SetupDI devices;
    bool more = devices.OpenDeviceList("PCI", kPciListFlags, nullptr) && devices.NextDevice();
    for (; more; more = devices.NextDevice()) {
      if (devices.GetDeviceId() != card.DeviceId) continue;
      uint8_t number[4] = {};
      devices.GetWordProperty(platform::SpdrpUiNumber, number, sizeof number);
      card.Number = number[0];
      break;
    }
    Cards.emplace(card.Number, card);
  }
  NumberIdenticalCards(Cards);
  return true;
}

bool GraphicsPortTest::ReadPortConfiguration() {
  if (!ReadCards()) return false;
  std::vector<bool> cardNameGiven;
  if (ToLower(Section) == "auto") {
    for (const auto& entry : Cards) {
      const VideoCard& card = entry.second;
      OrgFileParser parser(IniFile);
      if (!HasSection(parser, card.Description)) return false;
      std::vector<ExpectedPort> ports;
      ReadPortLines(parser, IniFile, card.Description, ports, cardNameGiven);
      for (ExpectedPort& port : ports) {
        port.CardDeviceId = card.DeviceId;
        if (port.CardName.empty()) port.CardName = card.Description;
        Expected.push_back(port);
      }
    }
    return true;
  }
  std::string name = Section;
  bool bySystemId = false;
  {
    OrgFileParser parser(IniFile);
    if (!HasSection(parser, name)) {
      if (!Section.empty()) return false;
      bySystemId = true;
      name = SMBIOSDiscovery::Instance().GetSystemId();
      if (!HasSection(parser, name)) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%lX", std::strtoul(name.c_str(), nullptr, 16));
        name = hex;
        if (!HasSection(parser, name)) return false;
      }
    }
    ReadPortLines(parser, IniFile, name, Expected, cardNameGiven);
  }
  for (size_t i = 0; i < Expected.size(); ++i) {
    ExpectedPort& port = Expected[i];
    if (!cardNameGiven[i]) {
      if (bySystemId) return false;
      port.CardName = name;
    }
    for (const auto& entry : Cards)
      if (Trim(port.CardName) == Trim(entry.second.Description)) {
        port.CardDeviceId = entry.second.DeviceId;
        break;
      }
  }
  return true;
}

// A file that names only cards the machine lacks leaves every port free to match any card: a pass
// then says nothing of the cards the file is about.
void GraphicsPortTest::WarnIfNoCardNamed() const {
  std::string names;
  for (const ExpectedPort& port : Expected) {
    if (!port.CardDeviceId.empty()) return;
    if (names.find(port.CardName) == std::string::npos) names += (names.empty() ? "" : ", ") + port.CardName;
  }
  if (!Expected.empty())
    WarnNothingTested(IniFile + " names no card of this machine (" + names + "); any card's port stands in");
}

void* GraphicsPortTest::User32Export(const char* name) const {
  return User32 == 0 ? nullptr : platform::GetProcAddress(User32, name);
}

int32_t GraphicsPortTest::DiscoverPorts(uint32_t& pathCount) {
  const auto sizes = reinterpret_cast<platform::GetDisplayConfigBufferSizesProc>(User32Export("GetDisplayConfigBufferSizes"));
  if (sizes == nullptr) return kNoEntryPoint;
  uint32_t modeCount = 0;
  if (int32_t error = sizes(platform::QdcAllPaths, &pathCount, &modeCount)) return error;
  const auto query = reinterpret_cast<platform::QueryDisplayConfigProc>(User32Export("QueryDisplayConfig"));
  if (query == nullptr) return kNoEntryPoint;
  Paths.assign(pathCount, platform::DisplayConfigPathInfo());
  Modes.assign(modeCount, platform::DisplayConfigModeInfo());
  if (int32_t error = query(platform::QdcAllPaths, &pathCount, Paths.data(), &modeCount, Modes.data(), nullptr))
    return error;
  Paths.resize(pathCount);
  Modes.resize(modeCount);
  if (!HaveSaved) {
    uint32_t savedModeCount = modeCount;
    SavedPathCount = pathCount;
    SavedPaths.assign(pathCount, platform::DisplayConfigPathInfo());
    SavedModes.assign(modeCount, platform::DisplayConfigModeInfo());
    if (int32_t error = query(platform::QdcAllPaths, &SavedPathCount, SavedPaths.data(), &savedModeCount,
                              SavedModes.data(), nullptr))
      return error;
    SavedPaths.resize(SavedPathCount);
    SavedModes.resize(savedModeCount);
    HaveSaved = true;
  }
  if (pathCount == 0) return kNoEntryPoint;
  const auto deviceInfo = reinterpret_cast<platform::DisplayConfigGetDeviceInfoProc>(User32Export("DisplayConfigGetDeviceInfo"));
  if (deviceInfo == nullptr) return kNoEntryPoint;
  for (uint32_t index = 0; index < pathCount; ++index) {
    const platform::DisplayConfigPathInfo& path = Paths[index];
    const bool active = (path.Flags & platform::DisplayConfigPathActive) != 0;
    if (path.TargetInfo.TargetAvailable == 0 || (!active && path.SourceInfo.Id != 0)) continue;
    DetectedPort* known = nullptr;
    for (DetectedPort& port : Detected)
      if (port.TargetId == path.TargetInfo.Id) known = &port;
    if (known != nullptr && active) {
      known->PathIndex = static_cast<int32_t>(index);
      continue;
    }
    DetectedPort port;
    port.PortType = ConnectorName(path.TargetInfo.OutputTechnology);
    port.PathIndex = static_cast<int32_t>(index);
    port.TargetId = path.TargetInfo.Id;
    platform::DisplayConfigTargetDeviceName target;
    target.Header.Type = platform::DisplayConfigDeviceInfoGetTargetName;
    target.Header.Size = platform::DisplayConfigTargetDeviceNameSize;
    target.Header.AdapterId = path.TargetInfo.AdapterId;
    target.Header.Id = path.TargetInfo.Id;
    if (int32_t error = deviceInfo(&target.Header)) return error;
    port.ConnectorInstance = target.ConnectorInstance;
    port.MonitorPath = NarrowUtf16(target.MonitorDevicePath, 128);
    platform::DisplayConfigAdapterName adapter;
    adapter.Header.Type = platform::DisplayConfigDeviceInfoGetAdapterName;
    adapter.Header.Size = platform::DisplayConfigAdapterNameSize;
    adapter.Header.AdapterId = path.SourceInfo.AdapterId;
    adapter.Header.Id = path.SourceInfo.Id;
    if (int32_t error = deviceInfo(&adapter.Header)) return error;
    std::string adapterPath = NarrowUtf16(adapter.AdapterDevicePath, 128);
    ReplaceAll(adapterPath, "#", "\\");
    port.AdapterPath = ToUpper(adapterPath);
    Detected.push_back(port);
  }
  WritePortLog();
  return 0;
}

void GraphicsPortTest::WritePortLog() {
  WholeFile log(kPortLogName, false, true);
  if (log.File() == nullptr) return;
  const std::time_t now = static_cast<std::time_t>(platform::Time());
  const std::string text = std::string("LUMORA Video Port logs ") + std::asctime(std::localtime(&now)) + "\n" +
                           PortLogBody(Cards, Detected);
  std::fputs(text.c_str(), log.File());
  log.Commit();
}

int32_t GraphicsPortTest::ApplyPortConfiguration(int32_t pathIndex, bool restore) {
  if (!restore) {
    for (const DetectedPort& port : Detected)
      Paths[static_cast<size_t>(port.PathIndex)].Flags &= ~platform::DisplayConfigPathActive;
    platform::DisplayConfigPathInfo& path = Paths[static_cast<size_t>(pathIndex)];
    path.Flags |= platform::DisplayConfigPathActive;
    path.SourceInfo.ModeInfoIdx = platform::DisplayConfigPathModeIdxInvalid;
    path.TargetInfo.ModeInfoIdx = platform::DisplayConfigPathModeIdxInvalid;
  }
  const auto set = reinterpret_cast<platform::SetDisplayConfigProc>(User32Export("SetDisplayConfig"));
  if (set == nullptr) return 0;
  PutBack::Guard hold = PutBack::Hold();
  if (restore) {
    const int32_t result =
        set(SavedPathCount, SavedPaths.data(), static_cast<uint32_t>(SavedModes.size()), SavedModes.data(), kSetFlags);
    if (result == 0) {
      PutBack::Drop(ConfigurationPutBack);
      ConfigurationPutBack = 0;
    }
    return result;
  }
  if (ConfigurationPutBack == 0) ConfigurationPutBack = PutBack::Note([this] { ApplyPortConfiguration(0, true); });
  return set(PathCount, Paths.data(), static_cast<uint32_t>(Modes.size()), Modes.data(), kSetFlags);
}

// One whole life of the rendering library on the port that is now the only display. The timer
// thread is stopped after every launch, not only after a finished one: left running it could fire
// during the next port's launch and fail that one.
int32_t GraphicsPortTest::RunRenderingOnPort(uint32_t& failureCode) {
  int32_t outcome = 0;
  LoadedLibrary library;
  library.Module = platform::LoadLibraryA(kRenderingLibrary);
  if (library.Module == 0) {
    Kestout::LogMessage(CategoryServiceErrors, 49, "");
  } else {
    const auto graphicsPort = LibraryExport<LibraryCallWith>(library.Module, "SetGraphicsPortTest");
    const auto create = LibraryExport<LibraryCall>(library.Module, "CreateD3DIM9Test");
    const auto setMode = LibraryExport<LibraryCallWith>(library.Module, "SetTestMode");
    const auto launch = LibraryExport<LibraryCall>(library.Module, "LaunchD3DIM9Test");
    const auto status = LibraryExport<LibraryCall>(library.Module, "GetPublicStatus");
    const auto destroy = LibraryExport<LibraryCall>(library.Module, "DeleteD3DIM9Test");
    if (graphicsPort != nullptr) graphicsPort(1);
    bool going = false;
    if (create != nullptr) {
      const int32_t created = LowByte(create());
      if (created != 0 && setMode != nullptr) {
        setMode(1);
        outcome = created;
        going = created == 1;
      }
    }
    if (going) {
      outcome = 0;
      if (launch != nullptr) {
        TimerExpired = false;
        if (!StartTimerThread()) Raise(990706, CategoryDeviceErrors, 4, "");
        struct TimerStop {
          GraphicsPortTest* Test;
          ~TimerStop() { Test->StopTimerThread(false); }
        } stopLater{this};
        outcome = LaunchOutcome(launch());
        if (TimerExpired) outcome = -3;
        if (outcome == 1) {
          outcome = status != nullptr ? LowByte(status()) : 0;
          StopTimerThread(true);
        }
      }
    }
    if (destroy != nullptr) destroy();
    else outcome = 0;
    platform::FreeLibrary(library.Module);
    library.Module = 0;
  }
  failureCode = outcome == 1 ? 0 : outcome == -2 ? 990372 : outcome == -3 ? 990808 : 8506;
  return outcome;
}

bool GraphicsPortTest::StartTimerThread() {
  TimerThreadHandle = platform::CreateThread(&GraphicsPortTest::TimerThread, this, &TimerThreadId);
  return TimerThreadHandle != 0;
}

// With `mustStop`, a thread that is still running and cannot be stopped raises.
void GraphicsPortTest::StopTimerThread(bool mustStop) {
  if (TimerThreadHandle == 0) return;
  uint32_t exitCode = 0;
  if (platform::GetExitCodeThread(TimerThreadHandle, exitCode) && exitCode == platform::StillActive &&
      !platform::TerminateThread(TimerThreadHandle, 0) && mustStop)
    Raise(990809, CategoryDeviceErrors, 4, "");
  platform::CloseHandle(TimerThreadHandle);
  TimerThreadHandle = 0;
}

// Polls the tick until more whole seconds than -TimeOut have passed, then tells the library,
// through a handle of its own on it, to stop rendering.
uint32_t PLATFORM_CALLBACK GraphicsPortTest::TimerThread(void* parameter) {
  auto* test = static_cast<GraphicsPortTest*>(parameter);
  const uint32_t start = platform::GetTickCount();
  while ((platform::GetTickCount() - start) / 1000 <= static_cast<uint32_t>(test->TimeOut)) platform::Sleep(100);
  const platform::HModule library = platform::LoadLibraryA(kRenderingLibrary);
  if (library == 0) {
    Kestout::LogMessage(CategoryServiceErrors, 49, "");
    return 0;
  }
  if (const auto expired = LibraryExport<LibraryCallWith>(library, "SetTimerExpired")) {
    test->TimerExpired = true;
    expired(1);
  }
  platform::FreeLibrary(library);
  return 0;
}
