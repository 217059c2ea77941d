// GraphicsPortTest on simulated machines with video ports, on the virtual clock: both walks,
// a port the operator connects when asked, the planted faults with their codes, the edge cases of
// videoport.ini, the port log byte for byte, and the display configuration the machine is left
// in (its state file).
#include <cstdio>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

const char kStart[] = "UpdatePercentage 0\nUpdatePercentage 1\nLogMessage 3 2 \"\" \"\"\nUpdatePercentage 5\n";
const char kPassEnd[] = "UpdatePercentage 80\nUpdatePercentage 90\nLogMessage 3 3 \"\" \"\"\nUpdatePercentage 100\n";
const char kFailEnd[] = "UpdatePercentage 80\nUpdatePercentage 90\nLogMessage 8 4 \"\" \"\"\n";
const char kDvi1[] = " Type Of Port: DVI, Connnector Instance : 1\n";
// An operator who types the digit that each port's screen shows.
const char kConfirms[] = "digit; digit; digit; digit";

class PortRuns : public ScreenRuns {
 protected:
  void SetUp() override {
    ScreenRuns::SetUp();
    if (IsSkipped()) return;
    MakeMedia();
    CopyIn(MESSAGES_FILE, "raster-scan.msg");
  }
  // A machine of machines/ copied into the folder, its display configuration kept in
  // display-state.txt beside it; `extra` goes on at its end, `edit` may change its text first.
  std::string PortMachine(const std::string& name, const std::string& extra = "",
                          void (*edit)(std::string& text) = nullptr) {
    std::string text = TextOf(std::string(MACHINES_DIR) + "/" + name + ".ini");
    if (edit != nullptr) edit(text);
    const size_t paths = text.find("[DisplayPaths]\n");
    const std::string state = "StateFile=display-state.txt\n";
    if (paths == std::string::npos) text += "\n[DisplayPaths]\n" + state;
    else text.insert(paths + 15, state);
    std::ofstream(Folder + "/" + name + ".ini", std::ios::binary) << text << extra;
    return Folder + "/" + name + ".ini";
  }
  void UseIni(const std::string& sample) { CopyIn(std::string(MACHINES_DIR) + "/videoport/" + sample + ".ini", "videoport.ini"); }
  void WriteIni(const std::string& text) { std::ofstream(Folder + "/videoport.ini", std::ios::binary) << text; }
  ProcessResult Ports(const std::string& machine, std::vector<std::string> args, const std::string& script = kConfirms) {
    ProcessResult result = Run("GraphicsPortTest", std::move(args), machine, {{"RASTERSCAN_OPERATOR", script}});
    EXPECT_FALSE(result.TimedOut);
    return result;
  }
  // The port log after its first line, which must carry the time in asctime form and an empty line.
  std::string PortLog() {
    const std::string text = ReadText("videoportdetail.log");
    static const std::regex head("LUMORA Video Port logs [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n\n");
    std::smatch found;
    if (!std::regex_search(text, found, head, std::regex_constants::match_continuous)) return "bad head: " + text;
    return text.substr(static_cast<size_t>(found.length()));
  }
};

TEST_F(PortRuns, BothWalksPassOnThreePortsOfTwoTypesAndPutTheStartConfigurationBack) {
  const std::string machine = PortMachine("ports-three-monitors");
  UseIni("ports-three-monitors");
  const std::string log = "[ Matrox G200eR2 ]\n" + std::string(kDvi1) +
                          " Type Of Port: DVI, Connnector Instance : 2\n Type Of Port: VGA, Connnector Instance : 1\n"
                          "Total Number of Monitor connected :3\n";
  const std::string atStart =
      "\\\\.\\DISPLAY1 4 1 active 0,0 primary\n\\\\.\\DISPLAY1 4 2 inactive\n\\\\.\\DISPLAY1 0 1 inactive\n"
      "\\\\.\\DISPLAY1 5 1 inactive\n";
  for (const char* all : {"-TestAllPorts=false", "-TestAllPorts=true"}) {
    SCOPED_TRACE(all);
    const ProcessResult run = Ports(machine, {"-INISection=connected", all});
    EXPECT_EQ(run.Status, 0) << run.Stdout << run.Stderr;
    EXPECT_EQ(run.Stderr, "");
    EXPECT_EQ(Protocol(run.Stdout), std::string(kStart) +
                                        "UpdatePercentage 10\nUpdatePercentage 20\nUpdatePercentage 40\n"
                                        "UpdatePercentage 60\n" + kPassEnd);
    EXPECT_EQ(PortLog(), log);
    // The last port tested was VGA, alone on the desktop; DVI 1 is back.
    EXPECT_EQ(ReadText("display-state.txt"), atStart);
  }
}

TEST_F(PortRuns, ARefusedRestoreLeavesTheLastPortAloneOnTheDesktop) {
  UseIni("ports-three-monitors");
  // A restore that is refused leaves the machine as the last port had it.
  const ProcessResult run = Ports(PortMachine("ports-three-monitors", "RefuseSet=4\n"), {"-INISection=connected"});
  EXPECT_EQ(run.Status, 1);
  EXPECT_EQ(Protocol(run.Stdout), std::string(kStart) +
                                      "UpdatePercentage 10\nUpdatePercentage 20\nUpdatePercentage 40\n"
                                      "UpdatePercentage 60\n" + kFailEnd + "ReportFailure 990810\n");
  EXPECT_EQ(ReadText("display-state.txt"),
            "\\\\.\\DISPLAY1 4 1 inactive\n\\\\.\\DISPLAY1 4 2 inactive\n\\\\.\\DISPLAY1 0 1 active 0,0 primary\n"
            "\\\\.\\DISPLAY1 5 1 inactive\n");
}

TEST_F(PortRuns, TwoIdenticalCardsAreNumberedAndTheirDesktopsComeBackWhereTheyWere) {
  const std::string machine = PortMachine("ports-two-identical-cards");
  UseIni("ports-two-identical-cards");
  const std::string log = "[ Matrox G200eR2#1 ]\n" + std::string(kDvi1) + "[ Matrox G200eR2#2 ]\n" + kDvi1 +
                          "Total Number of Monitor connected :2\n";
  for (const char* section : {"-INISection=", "-INISection=AuTo", "-INISection=AUTO"}) {
    SCOPED_TRACE(section);
    const ProcessResult run = Ports(machine, {section});
    EXPECT_EQ(run.Status, 0) << run.Stdout << run.Stderr;
    EXPECT_EQ(Protocol(run.Stdout), std::string(kStart) + "UpdatePercentage 10\nUpdatePercentage 30\n"
                                                          "UpdatePercentage 60\n" + kPassEnd);
    EXPECT_EQ(PortLog(), log);
    EXPECT_EQ(ReadText("display-state.txt"),
              "\\\\.\\DISPLAY1 4 1 active 0,0 primary\n\\\\.\\DISPLAY1 0 1 inactive\n"
              "\\\\.\\DISPLAY2 4 1 active 320,0\n\\\\.\\DISPLAY2 0 1 inactive\n");
  }
  // A name that is no card's selects none: the port is looked for on every card.
  WriteIni("[07A1]\n235,DVI,Matrox G200eR2#3\n");
  const ProcessResult unnamed = Ports(machine, {"-TestAllPorts=true", "-Retries=0"});
  EXPECT_EQ(unnamed.Status, 0) << unnamed.Stdout;
  EXPECT_EQ(unnamed.Stderr, "warning: nothing tested: .\\videoport.ini names no card of this machine (Matrox G200eR2#3); "
                            "any card's port stands in\n");
}

TEST_F(PortRuns, APortConnectedByTheOperatorAfterThePromptIsFoundAtTheNextScan) {
  const std::string machine = PortMachine("ports-missing-monitor");
  UseIni("ports-missing-monitor");
  const ProcessResult connected = Ports(machine, {}, "digit; connect hdmi 1; answer ok; digit");
  EXPECT_EQ(connected.Status, 0) << connected.Stdout << connected.Stderr;
  EXPECT_EQ(Protocol(connected.Stdout), std::string(kStart) + "UpdatePercentage 10\nUpdatePercentage 30\n"
                                                              "UpdatePercentage 60\n" + kPassEnd);
  EXPECT_EQ(PortLog(), "[ Matrox G200eR2 ]\n" + std::string(kDvi1) + " Type Of Port: HDMI, Connnector Instance : 1\n"
                       "Total Number of Monitor connected :2\n");

  // An operator who only presses OK is asked once per attempt; -Retries 0 is one attempt.
  const ProcessResult ignored = Ports(machine, {"-Retries=0"}, "digit; answer ok");
  EXPECT_EQ(ignored.Status, 1) << ignored.Stderr;
  EXPECT_EQ(Protocol(ignored.Stdout), std::string(kStart) + "UpdatePercentage 10\nUpdatePercentage 30\n"
                                                            "UpdatePercentage 60\nLogMessage 8 223 \"\" \"\"\n" +
                                          kFailEnd + "ReportFailure 990807\n");
  EXPECT_EQ(PortLog(), "[ Matrox G200eR2 ]\n" + std::string(kDvi1) + "Total Number of Monitor connected :1\n");
  const ProcessResult four = Ports(machine, {"-Retries=3"}, "digit; answer ok; answer ok; answer ok; answer ok");
  EXPECT_EQ(four.Status, 1) << four.Stderr;
  EXPECT_EQ(Count(four.Stdout, "ReportFailure 990807\n"), 1u);

  // A stop request ends the prompt: the walk goes on as after any answer, and standard error says
  // that nobody answered.
  std::ofstream(Folder + "/diagconf.ini");
  const ProcessResult stopped =
      Ports(PortMachine("ports-missing-monitor", "\n[Events]\nKillFileAtTime=8000 .\\kill.ctl\n"), {"-Retries=0"},
            "digit; nothing");
  EXPECT_EQ(stopped.Status, 1);
  EXPECT_EQ(Count(stopped.Stdout, "ReportFailure 990807\n"), 1u) << stopped.Stdout;
  EXPECT_NE(stopped.Stderr.find("warning: answer cut short by a stop request: "), std::string::npos) << stopped.Stderr;
  std::remove((Folder + "/diagconf.ini").c_str());
  std::remove((Folder + "/kill.ctl").c_str());

  // All ports at once: the missing one is asked for at every scan, then the walk gives up.
  const ProcessResult allAtOnce = Ports(machine, {"-TestAllPorts=true", "-Retries=1"}, "answer ok; answer ok");
  EXPECT_EQ(allAtOnce.Status, 1) << allAtOnce.Stderr;
  EXPECT_EQ(Protocol(allAtOnce.Stdout), std::string(kStart) + "LogMessage 7 223 \"\" \"\"\nTestFailed 990807 \"\"\n");
}

TEST_F(PortRuns, EachPortIsJudgedByTheOperatorInFrontOfItsMonitor) {
  // The small screen of ports-other-instance.ini keeps the scene cheap; the built-in machine last.
  const std::string small = PortMachine("ports-other-instance");
  UseIni("ports-other-instance");
  const std::string failed = std::string(kStart) +
                             "UpdatePercentage 10\nUpdatePercentage 60\nLogMessage 14 8 \"Video port DVI did not pass the "
                             "rendering test. Video card: Matrox G200eR2.\" \"\"\n" + kFailEnd;
  const struct {
    const char* Script;
    const char* Ending;  // the failure line; empty for a pass
  } cases[] = {
      {"digit", ""},
      {"wrong-digit; wrong-digit; keypad-digit", ""},
      {"F1", "ReportFailure 8506\n"},
      {"wrong-digit; wrong-digit; wrong-digit; digit", "ReportFailure 8506\n"},
      // Nobody answers: the port run's time-out ends the wait.
      {"nothing", "ReportFailure 990808\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Script);
    const ProcessResult run = Ports(small, {"-INISection=any-dvi", "-TimeOut=10"}, c.Script);
    EXPECT_EQ(run.Status, *c.Ending == 0 ? 0 : 1) << run.Stderr;
    EXPECT_EQ(Protocol(run.Stdout), *c.Ending == 0 ? std::string(kStart) + "UpdatePercentage 10\nUpdatePercentage 60\n" + kPassEnd
                                                   : failed + c.Ending);
  }
  UseIni("default");
  EXPECT_EQ(Ports("", {}, "F1").Status, 1);
  // The VGA monitor is reported but shows nothing: no digit to read there.
  UseIni("ports-broken-link");
  const ProcessResult broken = Ports(PortMachine("ports-broken-link"), {"-TimeOut=10"});
  EXPECT_EQ(broken.Status, 1);
  EXPECT_NE(broken.Stdout.find("UpdatePercentage 30\nUpdatePercentage 60\nLogMessage 14 8 \"Video port VGA did not pass"),
            std::string::npos) << broken.Stdout;
  EXPECT_EQ(Count(broken.Stdout, "ReportFailure 990808\n"), 1u);
}

TEST_F(PortRuns, PlantedFaultsAreFoundWithTheirCodes) {
  UseIni("ports-config-refused");
  const ProcessResult refused = Ports(PortMachine("ports-config-refused"), {});
  EXPECT_EQ(refused.Status, 1);
  EXPECT_EQ(Protocol(refused.Stdout), std::string(kStart) + "UpdatePercentage 10\n"
                                                            "LogMessage 8 8 \"WIN32 Error occured 1610 \" \"\"\n"
                                                            "TestFailed 990666 \"\"\n");
  // Refused at once: what is put back is what the machine had.
  EXPECT_EQ(ReadText("display-state.txt"), "\\\\.\\DISPLAY1 4 1 active 0,0 primary\n\\\\.\\DISPLAY1 0 1 inactive\n");

  UseIni("ports-restore-fails");
  const ProcessResult restore = Ports(PortMachine("ports-restore-fails"), {});
  EXPECT_EQ(restore.Status, 1);
  EXPECT_EQ(Protocol(restore.Stdout),
            std::string(kStart) + "UpdatePercentage 10\nUpdatePercentage 60\n" + kFailEnd + "ReportFailure 990810\n");

  UseIni("ports-hung-rendering");
  const ProcessResult hung = Ports(PortMachine("ports-hung-rendering"), {"-TimeOut=10"});
  EXPECT_EQ(hung.Status, 1);
  EXPECT_EQ(Protocol(hung.Stdout), std::string(kStart) +
                                       "UpdatePercentage 10\nUpdatePercentage 60\nLogMessage 14 8 \"Video port DVI did "
                                       "not pass the rendering test. Video card: Matrox G200eR2.\" \"\"\n" +
                                       kFailEnd + "ReportFailure 990808\n");

  // "DVI-2" asks for connector instance 2 only; "DVI" takes instance 1.
  const std::string single = PortMachine("ports-other-instance");
  UseIni("ports-other-instance");
  const ProcessResult second = Ports(single, {"-INISection=second-dvi", "-Retries=1"}, "answer ok; answer ok");
  EXPECT_EQ(second.Status, 1);
  EXPECT_EQ(Count(second.Stdout, "ReportFailure 990807\n"), 1u) << second.Stdout;
  const ProcessResult any = Ports(single, {"-INISection=any-dvi"});
  EXPECT_EQ(any.Status, 0) << any.Stdout;
}

TEST_F(PortRuns, SectionsAreChosenAsTheFileSays) {
  const std::string machine = PortMachine("ports-other-instance");
  // An empty section: all at once fails after its attempts, without a prompt; one by one fails
  // without a code.
  WriteIni("[07A1]\n[other]\n235,DVI,Matrox G200eR2\n");
  const ProcessResult emptyAll = Ports(machine, {"-TestAllPorts=true"});
  EXPECT_EQ(emptyAll.Status, 1);
  EXPECT_EQ(Protocol(emptyAll.Stdout), std::string(kStart) + "LogMessage 7 223 \"\" \"\"\nTestFailed 990807 \"\"\n");
  const ProcessResult emptyOne = Ports(machine, {});
  EXPECT_EQ(emptyOne.Status, 1);
  EXPECT_EQ(Protocol(emptyOne.Stdout), std::string(kStart) + "UpdatePercentage 10\n" + kFailEnd);

  // The system identifier 07A1 is tried again as hexadecimal, without its leading zero.
  WriteIni("[7a1]\n235,DVI,Matrox G200eR2\n");
  EXPECT_EQ(Ports(machine, {}).Status, 0);
  // Found by the system identifier, a line must name its card.
  WriteIni("[07A1]\n235,DVI,\n");
  const ProcessResult unnamed = Ports(machine, {});
  EXPECT_EQ(Protocol(unnamed.Stdout),
            "UpdatePercentage 0\nUpdatePercentage 1\nLogMessage 8 222 \".\\videoport.ini\" \"\"\nTestFailed 990811 \"\"\n");
  // Named by -INISection, the section's name is the card's.
  WriteIni("[Matrox G200eR2]\n235,DVI,\n");
  EXPECT_EQ(Ports(machine, {"-INISection=Matrox G200eR2"}).Status, 0);
  // A section that is named and missing fails, with the file's name as given.
  const ProcessResult missing = Ports(machine, {"-INISection=nowhere", "-INIFile=ports.ini"});
  EXPECT_NE(missing.Stdout.find("LogMessage 8 222 \"ports.ini\" \"\"\nTestFailed 990811"), std::string::npos);
  // Automatic mode needs a section for every card.
  WriteIni("[07A1]\n235,DVI,Matrox G200eR2\n");
  EXPECT_NE(Ports(machine, {"-INISection=auto"}).Stdout.find("TestFailed 990811"), std::string::npos);
}

TEST_F(PortRuns, AnOutputSeenFromSeveralSourcesIsListedOnce) {
  // Two sources on the card, the monitor on the desktop from the second: the output's inactive
  // path from source 0 comes first, its active path after it.
  const std::string machine = PortMachine("ports-other-instance", "", [](std::string& text) {
    text.replace(text.find("Connectors="), 0, "Sources=2\n");
    text.replace(text.find("Port=1\n") + 7, 0, "Source=1\n");
  });
  UseIni("ports-other-instance");
  const ProcessResult run = Ports(machine, {"-INISection=any-dvi"});
  EXPECT_EQ(run.Status, 0) << run.Stdout << run.Stderr;
  EXPECT_EQ(PortLog(), "[ Matrox G200eR2 ]\n" + std::string(kDvi1) + "Total Number of Monitor connected :1\n");
}

}  // namespace
