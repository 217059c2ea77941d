// The program's output protocol as the shell reads it, and the verdict on one step.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace shell {

enum class LineKind { LogMessage, UpdatePercentage, ReportFailure, TestFailed, EndOfTest, Garbage };

struct ProtocolLine {
    LineKind kind = LineKind::Garbage;
    bool debugForm = false;      // "LogMessage <category name> <text> """ of -debug=true
    long category = 0;
    std::uint32_t number = 0;
    std::string text;            // the insert, the failure text, or the debug form's text
    int percent = 0;
    long code = -1;              // failure code of ReportFailure / TestFailed, -1 when none
};

ProtocolLine ParseLine(const std::string& line);

enum class Verdict { Passed, Failed, Stopped, Hung, Crashed, MachineDown, NotRun };
const char* VerdictName(Verdict v);
bool ParseVerdict(const std::string& name, Verdict& v);

// Why the shell ended a step early, if it did.
enum class StopCause { None, Interrupt, TimeLimit };

struct StepFacts {
    std::vector<std::string> out;   // standard output, line by line
    std::vector<std::string> err;   // standard error, line by line
    bool started = true;
    std::string startError;
    bool crashed = false;
    long exitCode = 0;
    StopCause stop = StopCause::None;
    bool killed = false;            // ended by the shell after the wait for EndOfTest
    double timeLimit = 0;
};

// Reasons are numbers of the shell's catalogue with one insert.
struct Reason {
    int number = 0;                 // 0: none (a plain pass)
    std::string insert;
};

struct Judgement {
    Verdict verdict = Verdict::Failed;
    bool nothingTested = false;
    Reason reason;
    std::vector<long> failureCodes;
    int warnings = 0;
    int errors = 0;
};

Judgement Judge(const StepFacts& facts);

// Reason numbers of the shell's catalogue.
namespace reason {
constexpr int NotStarted = 1, Crashed = 2, NoEndOfTest = 3, EndOfTestCount = 4, NoPassLine = 5, Garbage = 6,
              AfterEndOfTest = 7, Status = 8, TimeLimitStopped = 9, TimeLimitHung = 10, InterruptStopped = 11,
              InterruptHung = 12, NotRun = 13, MachineDown = 14, FailureCode = 15, FailureWithStatus0 = 16,
              LastMessage = 18, NothingTested = 17, ErrorLine = 20;
}

}  // namespace shell
