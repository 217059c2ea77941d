// The shell's pure parts: the verdict on a step, the argument rules, suites and catalogues.
#include "Catalog.h"
#include "Messages.h"
#include "Protocol.h"
#include "Suite.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

using namespace shell;

namespace {

const std::vector<std::string> passed = {"LogMessage 14 20000 \"diagnostic: x\" \"\"", "UpdatePercentage 0",
                                         "LogMessage 3 2 \"\" \"\"", "LogMessage 3 3 \"\" \"\"", "UpdatePercentage 100",
                                         "LogMessage 14 20000 \"Test execution time: 5 milliseconds\" \"\"", "EndOfTest"};

std::vector<std::string> With(std::vector<std::string> lines, std::size_t at, const std::string& line) {
    lines.insert(lines.begin() + static_cast<long>(at), line);
    return lines;
}

std::vector<std::string> Without(std::vector<std::string> lines, std::size_t at) {
    lines.erase(lines.begin() + static_cast<long>(at));
    return lines;
}

}  // namespace

TEST(ShellJudge, EachWayAStepEndsHasItsVerdictAndReason) {
    struct Case {
        const char* what;
        std::vector<std::string> out;
        std::vector<std::string> err;
        long exit;
        bool crashed;
        StopCause stop;
        bool killed;
        Verdict verdict;
        int reason;
        bool nothingTested;
    };
    const std::vector<std::string> failedRun = {"LogMessage 3 2 \"\" \"\"", "LogMessage 8 209 \"\" \"\"",
                                                "ReportFailure 990408", "EndOfTest"};
    const std::vector<std::string> stoppedRun = {"LogMessage 3 2 \"\" \"\"", "LogMessage 8 1 \"\" \"\"",
                                                 "TestFailed 995000 \"\"", "EndOfTest"};
    const Case cases[] = {
        {"a whole pass", passed, {}, 0, false, StopCause::None, false, Verdict::Passed, 0, false},
        {"a pass that tested nothing", passed, {"warning: nothing tested: no adapter"}, 0, false, StopCause::None, false,
         Verdict::Passed, reason::NothingTested, true},
        {"a failure with its code", failedRun, {}, 1, false, StopCause::None, false, Verdict::Failed,
         reason::FailureCode, false},
        {"status 0 without the timing line", Without(passed, 5), {}, 0, false, StopCause::None, false,
         Verdict::Failed, reason::NoPassLine, false},
        {"status 0 with a failure line", With(passed, 6, "ReportFailure 73"), {}, 0, false, StopCause::None, false,
         Verdict::Failed, reason::FailureCode, false},
        {"no EndOfTest", Without(passed, 6), {}, 0, false, StopCause::None, false, Verdict::Failed,
         reason::NoEndOfTest, false},
        {"two EndOfTest", With(passed, 6, "EndOfTest"), {}, 0, false, StopCause::None, false, Verdict::Failed,
         reason::EndOfTestCount, false},
        {"a line after EndOfTest", With(passed, 7, "UpdatePercentage 100"), {}, 0, false, StopCause::None, false,
         Verdict::Failed, reason::AfterEndOfTest, false},
        {"garbage", With(passed, 2, "Segmentation fault"), {}, 0, false, StopCause::None, false, Verdict::Failed,
         reason::Garbage, false},
        {"a percentage out of range", With(passed, 2, "UpdatePercentage 101"), {}, 0, false, StopCause::None, false,
         Verdict::Failed, reason::Garbage, false},
        {"a crash after the pass line", passed, {}, 11, true, StopCause::None, false, Verdict::Crashed,
         reason::Crashed, false},
        {"a failure without a code", {"LogMessage 8 24 \"\" \"\"", "EndOfTest"}, {}, 1, false, StopCause::None, false,
         Verdict::Failed, reason::LastMessage, false},
        {"a failure without a code, said on standard error", {"EndOfTest"}, {"warning: w", "error: a bad byte"}, 1,
         false, StopCause::None, false, Verdict::Failed, reason::ErrorLine, false},
        {"status 1 and nothing said", {"EndOfTest"}, {"error:"}, 1, false, StopCause::None, false, Verdict::Failed,
         reason::Status, false},
        {"stopped by Ctrl+C, whatever code the program chose", stoppedRun,
         {"warning: answer cut short by a stop request"}, 1, false, StopCause::Interrupt, false, Verdict::Stopped,
         reason::InterruptStopped, false},
        {"over its time and stopped", {"LogMessage 8 24 \"\" \"\"", "EndOfTest"}, {}, 1, false, StopCause::TimeLimit,
         false, Verdict::Stopped, reason::TimeLimitStopped, false},
        {"over its time and ended by the shell", {"UpdatePercentage 5"}, {}, 9, true, StopCause::TimeLimit, true,
         Verdict::Hung, reason::TimeLimitHung, false},
        {"asked to stop but it had passed already", passed, {}, 0, false, StopCause::Interrupt, false,
         Verdict::Passed, 0, false},
    };
    for (const auto& c : cases) {
        StepFacts facts;
        facts.out = c.out;
        facts.err = c.err;
        facts.exitCode = c.exit;
        facts.crashed = c.crashed;
        facts.stop = c.stop;
        facts.killed = c.killed;
        facts.timeLimit = 30;
        Judgement j = Judge(facts);
        EXPECT_EQ(VerdictName(j.verdict), std::string(VerdictName(c.verdict))) << c.what;
        EXPECT_EQ(j.reason.number, c.reason) << c.what;
        EXPECT_EQ(j.nothingTested, c.nothingTested) << c.what;
    }
}

TEST(ShellJudge, CodesAndStandardErrorAreCounted) {
    StepFacts facts;
    facts.out = {"TestFailed 020472 \"\"", "ReportFailure 990408", "TestFailed 990521", "EndOfTest"};
    facts.err = {"warning: a", "error: b", "warning: c", "note"};
    facts.exitCode = 1;
    Judgement j = Judge(facts);
    EXPECT_EQ(j.failureCodes, (std::vector<long>{20472, 990408, 990521}));
    EXPECT_EQ(j.reason.insert, "20472");
    EXPECT_EQ(j.warnings, 2);
    EXPECT_EQ(j.errors, 1);
}

TEST(ShellProtocol, LinesOfBothFormsAreRead) {
    ProtocolLine a = ParseLine("LogMessage 14 202 \"say \"hi\"\" \"\"\r");
    EXPECT_EQ(a.kind, LineKind::LogMessage);
    EXPECT_EQ(a.number, 202u);
    EXPECT_EQ(a.text, "say \"hi\"");
    ProtocolLine d = ParseLine("LogMessage Debug Test execution time: 3 milliseconds \"\"");
    EXPECT_TRUE(d.debugForm);
    EXPECT_EQ(d.category, 14);
    EXPECT_EQ(ParseLine("LogMessage 14 20000 \"x\"").kind, LineKind::Garbage);
    EXPECT_EQ(ParseLine("LogMessage Nonsense x \"\"").kind, LineKind::Garbage);
    EXPECT_EQ(ParseLine("EndOfTest ").kind, LineKind::Garbage);
}

TEST(ShellCatalog, ValuesFollowTheProgramsRules) {
    Catalog catalog = ParseCatalog(
        "<DIAGNOSTIC Name=\"Raster-scan\" Version=\"3\">\n  <TEST Name=\"T\" Description=\"d\" >\n"
        "    <ARGUMENT Name=\"-Retries\" Type=\"integer\" Value=\"1\" Low=\"1\" High=\"10\" Required=\"false\" />\n"
        "    <ARGUMENT Name=\"-SleepType\" Type=\"string\" Value=\"standby\" List=\"suspend,standby,off\" Required=\"false\" />\n"
        "    <ARGUMENT Name=\"-BPP\" Type=\"integer\" Value=\"0\" EqualToOrGreaterThan=\"0\" Required=\"false\" />\n"
        "    <ARGUMENT Name=\"-Rate\" Type=\"double\" Required=\"false\" />\n"
        "    <ARGUMENT Name=\"-Fast\" Type=\"boolean\" Required=\"false\" />\n"
        "    <ARGUMENT Name=\"-Level\" Type=\"string\" Required=\"true\" />\n  </TEST>\n</DIAGNOSTIC>");
    const TestInfo* t = catalog.Find("T");
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(catalog.Find("t"), nullptr);
    struct Case {
        const char* argument;
        const char* value;
        bool ok;
    };
    const Case cases[] = {{"-Retries", "1", true},   {"-Retries", "10", true},      {"-Retries", "0xA", true},
                          {"-Retries", "0", false},  {"-Retries", "11", false},     {"-Retries", "ten", false},
                          {"-Retries", "-0x1F0", false}, {"-SleepType", "STANDBY", true}, {"-SleepType", " standby", false},
                          {"-BPP", "0", true},       {"-BPP", "-1", false},         {"-Rate", ".5", true},
                          {"-Rate", "1.", false},    {"-Rate", "1e3", false},       {"-Fast", "TRUE", true},
                          {"-Fast", "1", false}};
    for (const auto& c : cases)
        EXPECT_EQ(CheckValue(*t->Find(c.argument), c.value).empty(), c.ok) << c.argument << "=" << c.value;

    // One line per mistake, and a missing required argument too.
    auto problems = CheckArguments(*t, {"-retries=3", "-Nope=1", "-Fast=yes", "-help=true", "-locale=de_DE", "plain"});
    ASSERT_EQ(problems.size(), 5u);
    EXPECT_NE(problems[0].find("-Nope"), std::string::npos);
    EXPECT_NE(problems[4].find("-Level"), std::string::npos);
    EXPECT_TRUE(CheckArguments(*t, {"-Level=x", "-RETRIES=3", "-debug=false"}).empty());
}

TEST(ShellSuite, EveryMistakeOfASuiteIsNamed) {
    auto dir = std::filesystem::temp_directory_path() / ("shell-suite-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(dir);
    auto path = (dir / "s.ini").string();
    std::ofstream(path) << "[suite]\ntime_limit = 10\n\n[a]\nsubtest = T\narguments = -Level=x  -Retries=2\n"
                           "folder = f\n\n[b]\nsubtest = T\ntime_limit = soon\nmachine = none.ini\ncolour = red\n"
                           "[c]\narguments = -Level=y\n";
    std::vector<std::string> problems;
    Suite suite = LoadSuite(path, problems);
    ASSERT_EQ(suite.steps.size(), 3u);
    EXPECT_EQ(suite.steps[0].arguments, (std::vector<std::string>{"-Level=x", "-Retries=2"}));
    EXPECT_EQ(suite.steps[0].timeLimit, 10);
    EXPECT_EQ(suite.steps[0].folder, "f");
    EXPECT_EQ(problems.size(), 4u);  // time_limit, machine, colour, no subtest

    Catalog catalog = ParseCatalog("<TEST Name=\"T\" >\n    <ARGUMENT Name=\"-Level\" Type=\"string\" Required=\"false\" />\n</TEST>");
    suite.steps[2].subtest = "U";
    auto invalid = ValidateSuite(suite, catalog);
    ASSERT_EQ(invalid.size(), 2u);
    EXPECT_NE(invalid[0].find("[a]: T has no argument -Retries"), std::string::npos);
    EXPECT_NE(invalid[1].find("no subtest U"), std::string::npos);
    std::filesystem::remove_all(dir);
}

TEST(ShellMessages, CatalogueTextsFallBackAsTheProgramsDo) {
    auto path = (std::filesystem::temp_directory_path() / ("shell-msg-" + std::to_string(std::random_device{}()) + ".msg")).string();
    std::ofstream(path) << "; comment\n[en_US]\n3=Test passed.\n8=<DO NOT TRANSLATE>%s\n225=\" Video card: %s.\"\n"
                           "42=%s%% done\n[de_DE]\n3=Test bestanden.\n";
    MessageCatalogue program;
    std::string problem;
    ASSERT_TRUE(program.Load(path, problem));
    Texts de("de_DE", program, MessageCatalogue());
    EXPECT_EQ(de.Message(3, ""), "Test bestanden.");
    EXPECT_EQ(de.Message(8, "raw"), "raw");
    EXPECT_EQ(de.Message(225, "X"), " Video card: X.");
    EXPECT_EQ(de.Message(42, "50"), "50% done");
    EXPECT_EQ(de.Message(7, "abc"), "7 \"abc\"");
    EXPECT_EQ(de.Failure(990408), "990408");
    std::remove(path.c_str());
}
