#include "Protocol.h"

#include <cctype>
#include <cstdlib>

namespace shell {
namespace {

bool StartsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool AllDigits(const std::string& s) {
    if (s.empty()) return false;
    for (char c : s)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

bool ParseLong(const std::string& s, long& value) {
    std::string digits = !s.empty() && s[0] == '-' ? s.substr(1) : s;
    if (!AllDigits(digits) || digits.size() > 10) return false;
    value = std::strtol(s.c_str(), nullptr, 10);
    return true;
}

// The failure code at the start of a failure text: "990408", "020472 \"\"", "995000 \"text\"".
long LeadingCode(const std::string& text) {
    std::size_t n = 0;
    while (n < text.size() && std::isdigit(static_cast<unsigned char>(text[n]))) ++n;
    if (n == 0 || n > 9) return -1;
    if (n < text.size() && text[n] != ' ') return -1;
    return std::strtol(text.substr(0, n).c_str(), nullptr, 10);
}

}  // namespace

ProtocolLine ParseLine(const std::string& raw) {
    std::string line = raw;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ProtocolLine p;
    if (line == "EndOfTest") {
        p.kind = LineKind::EndOfTest;
    } else if (StartsWith(line, "UpdatePercentage ")) {
        long v;
        if (ParseLong(line.substr(17), v) && v >= 0 && v <= 100) {
            p.kind = LineKind::UpdatePercentage;
            p.percent = static_cast<int>(v);
        }
    } else if (StartsWith(line, "ReportFailure ")) {
        p.kind = LineKind::ReportFailure;
        p.text = line.substr(14);
        p.code = LeadingCode(p.text);
    } else if (StartsWith(line, "TestFailed ")) {
        p.kind = LineKind::TestFailed;
        p.text = line.substr(11);
        p.code = LeadingCode(p.text);
    } else if (StartsWith(line, "LogMessage ") && line.size() >= 14 && line.compare(line.size() - 3, 3, " \"\"") == 0) {
        // Normal form: LogMessage <category> <number> "<insert>" ""
        std::string body = line.substr(11, line.size() - 14);
        std::size_t sp1 = body.find(' ');
        std::size_t sp2 = sp1 == std::string::npos ? sp1 : body.find(' ', sp1 + 1);
        long category = 0;
        std::string digits = sp2 == std::string::npos ? "" : body.substr(sp1 + 1, sp2 - sp1 - 1);
        unsigned long long number = AllDigits(digits) && digits.size() <= 10 ? std::strtoull(digits.c_str(), nullptr, 10) : ~0ull;
        if (sp2 != std::string::npos && ParseLong(body.substr(0, sp1), category) && number <= 0xFFFFFFFFull &&
            body.size() >= sp2 + 3 && body[sp2 + 1] == '"' && body.back() == '"') {
            p.kind = LineKind::LogMessage;
            p.category = category;
            p.number = static_cast<std::uint32_t>(number);
            p.text = body.substr(sp2 + 2, body.size() - sp2 - 3);
        } else if (sp1 != std::string::npos && sp1 > 0) {
            // Debug form: the category's name and the catalogue's text.
            p.kind = LineKind::LogMessage;
            p.debugForm = true;
            static const char* names[] = {"Unknown", "Other", "Results", "Subtests", "Actions", "Warnings",
                                          "Status", "DeviceErrors", "ServiceErrors", "SettingData", "Statistics",
                                          "HardwareConfiguration", "SoftwareConfiguration", "References", "Debug",
                                          "Invalid"};
            std::string word = body.substr(0, sp1);
            p.category = -1;
            for (long i = 0; i < 16; ++i)
                if (word == names[i]) p.category = i;
            if (p.category < 0 && !ParseLong(word, p.category)) p.kind = LineKind::Garbage;
            p.text = body.substr(sp1 + 1);
        }
    }
    return p;
}

const char* VerdictName(Verdict v) {
    switch (v) {
    case Verdict::Passed: return "passed";
    case Verdict::Failed: return "failed";
    case Verdict::Stopped: return "stopped";
    case Verdict::Hung: return "hung";
    case Verdict::Crashed: return "crashed";
    case Verdict::MachineDown: return "machine_down";
    case Verdict::NotRun: return "not_run";
    }
    return "failed";
}

bool ParseVerdict(const std::string& name, Verdict& v) {
    for (Verdict c : {Verdict::Passed, Verdict::Failed, Verdict::Stopped, Verdict::Hung, Verdict::Crashed,
                      Verdict::MachineDown, Verdict::NotRun})
        if (name == VerdictName(c)) {
            v = c;
            return true;
        }
    return false;
}

Judgement Judge(const StepFacts& facts) {
    Judgement j;
    std::string firstError;  // the program's own words for a failure the protocol has no code for
    for (const auto& raw : facts.err) {
        std::string line = raw;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (StartsWith(line, "warning:")) ++j.warnings;
        if (StartsWith(line, "error:") && j.errors++ == 0) {
            const std::size_t text = line.find_first_not_of(' ', 6);
            if (text != std::string::npos) firstError = line.substr(text);
        }
        if (StartsWith(line, "warning: nothing tested")) j.nothingTested = true;
    }
    if (!facts.started) {
        j.verdict = Verdict::Failed;
        j.reason = {reason::NotStarted, facts.startError};
        j.nothingTested = false;
        return j;
    }

    // Read the whole protocol first: codes and shape decide together.
    int endCount = 0;
    bool afterEnd = false, passLine = false;
    std::size_t garbageLine = 0;
    std::vector<ProtocolLine> lines;
    lines.reserve(facts.out.size());
    for (const auto& raw : facts.out) lines.push_back(ParseLine(raw));
    const ProtocolLine* lastTrouble = nullptr;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const ProtocolLine& p = lines[i];
        if (endCount > 0) afterEnd = true;
        switch (p.kind) {
        case LineKind::Garbage:
            if (garbageLine == 0) garbageLine = i + 1;
            break;
        case LineKind::EndOfTest: ++endCount; break;
        case LineKind::ReportFailure:
        case LineKind::TestFailed:
            if (p.code >= 0) j.failureCodes.push_back(p.code);
            break;
        case LineKind::LogMessage:
            // The manager's timing line follows every pass of Run, whatever the subtest wrote.
            if (p.category == 14 && (p.debugForm ? StartsWith(p.text, "Test execution time: ") ||
                                                       StartsWith(p.text, "20000 \"Test execution time: ")
                                                 : p.number == 20000 && StartsWith(p.text, "Test execution time: ")))
                passLine = true;
            if (p.category == 7 || p.category == 8 || p.category == 15) lastTrouble = &p;
            break;
        case LineKind::UpdatePercentage: break;
        }
    }
    bool hasFailure = false;
    for (const auto& p : lines)
        hasFailure = hasFailure || p.kind == LineKind::ReportFailure || p.kind == LineKind::TestFailed;
    bool whole = garbageLine == 0 && endCount == 1 && !afterEnd && !lines.empty() &&
                 lines.back().kind == LineKind::EndOfTest;
    bool cleanPass = !facts.crashed && !facts.killed && facts.exitCode == 0 && whole && passLine && !hasFailure;

    if (facts.stop != StopCause::None && !cleanPass) {
        bool limit = facts.stop == StopCause::TimeLimit;
        j.nothingTested = false;
        if (facts.killed) {
            j.verdict = Verdict::Hung;
            j.reason = {limit ? reason::TimeLimitHung : reason::InterruptHung, limit ? std::to_string(static_cast<long>(facts.timeLimit)) : ""};
        } else {
            j.verdict = Verdict::Stopped;
            j.reason = {limit ? reason::TimeLimitStopped : reason::InterruptStopped,
                        limit ? std::to_string(static_cast<long>(facts.timeLimit)) : ""};
        }
        return j;
    }
    if (facts.crashed) {
        j.verdict = Verdict::Crashed;
        j.reason = {reason::Crashed, std::to_string(facts.exitCode)};
        j.nothingTested = false;
        return j;
    }
    if (cleanPass) {
        j.verdict = Verdict::Passed;
        if (j.nothingTested) j.reason = {reason::NothingTested, ""};
        return j;
    }
    j.verdict = Verdict::Failed;
    j.nothingTested = false;
    if (garbageLine != 0) j.reason = {reason::Garbage, std::to_string(garbageLine)};
    else if (endCount == 0) j.reason = {reason::NoEndOfTest, ""};
    else if (endCount > 1) j.reason = {reason::EndOfTestCount, std::to_string(endCount)};
    else if (afterEnd || lines.back().kind != LineKind::EndOfTest) j.reason = {reason::AfterEndOfTest, ""};
    else if (!j.failureCodes.empty()) j.reason = {reason::FailureCode, std::to_string(j.failureCodes.front())};
    else if (facts.exitCode == 0 && hasFailure) j.reason = {reason::FailureWithStatus0, ""};
    else if (facts.exitCode == 0) j.reason = {reason::NoPassLine, ""};
    else if (!firstError.empty()) j.reason = {reason::ErrorLine, firstError};
    else if (lastTrouble)
        j.reason = {reason::LastMessage, lastTrouble->debugForm ? "D\t" + lastTrouble->text
                                                                : std::to_string(lastTrouble->number) + "\t" + lastTrouble->text};
    else j.reason = {reason::Status, std::to_string(facts.exitCode)};
    // A code stays the reason even when the protocol is broken too: it says most.
    if (j.reason.number != reason::FailureCode && !j.failureCodes.empty() && garbageLine == 0 && endCount == 1)
        j.reason = {reason::FailureCode, std::to_string(j.failureCodes.front())};
    return j;
}

}  // namespace shell
