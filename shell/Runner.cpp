#include "Runner.h"

#include "Platform.h"
#include "Protocol.h"
#include "Report.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <thread>

namespace fs = std::filesystem;
using nlohmann::json;

namespace shell {

const char* const ShellVersion = "1.0.0";

std::string UtcNow() {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
#ifdef _WIN32
    gmtime_s(&tm, &now);
#else
    gmtime_r(&now, &tm);
#endif
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buffer;
}

std::string MakeRunId() {
    std::random_device random;
    auto now = static_cast<unsigned long long>(std::chrono::system_clock::now().time_since_epoch().count());
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%08x%08x%016llx", random(), random(), now);
    return buffer;
}

namespace {

// Reads one of the program's streams line by line as it comes.
template <typename OnLine>
void ReadLinesFrom(shellos::Process& process, int stream, OnLine onLine) {
    char buffer[4096];
    std::string pending;
    for (;;) {
        long n = process.Read(stream, buffer, sizeof buffer);
        if (n <= 0) break;
        pending.append(buffer, static_cast<std::size_t>(n));
        std::size_t start = 0, nl;
        while ((nl = pending.find('\n', start)) != std::string::npos) {
            std::string line = pending.substr(start, nl - start);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            onLine(line);
            start = nl + 1;
        }
        pending.erase(0, start);
    }
    if (!pending.empty()) onLine(pending);
}

std::string WriteLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& l : lines) text += l + "\n";
    return text;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

bool RunToEnd(const shellos::SpawnSpec& launch, double timeout, std::string& out, std::string& err,
              shellos::ExitInfo& exit, std::string& error) {
    auto process = shellos::Spawn(launch, error);
    if (!process) return false;
    std::thread outReader([&] { ReadLinesFrom(*process, 1, [&](const std::string& l) { out += l + "\n"; }); });
    std::thread errReader([&] { ReadLinesFrom(*process, 2, [&](const std::string& l) { err += l + "\n"; }); });
    auto start = std::chrono::steady_clock::now();
    bool timedOut = false;
    while (!process->TryWait(exit)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!timedOut && SecondsSince(start) > timeout) {
            process->Kill();
            timedOut = true;
        }
    }
    outReader.join();
    errReader.join();
    if (timedOut) error = "no answer within " + std::to_string(static_cast<int>(timeout)) + " s";
    return !timedOut;
}

Runner::Runner(RunOptions options, Suite suite, const Texts& texts, Terminal& terminal, std::atomic<bool>& interrupted)
    : options_(std::move(options)), suite_(std::move(suite)), texts_(texts), terminal_(terminal), interrupted_(interrupted) {}

std::string Runner::StepFolderName(const Step& step) const {
    char prefix[16];
    std::snprintf(prefix, sizeof prefix, "%02d-", step.index + 1);
    std::string name;
    for (char c : step.name) name += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.') ? c : '_';
    return "steps/" + std::string(prefix) + name;
}

std::string Runner::MachineFor(const Step& step) const {
    switch (step.machine) {
    case MachineKind::Builtin: return "";
    case MachineKind::Field: return options_.fieldMachine;
    case MachineKind::File: return step.machineFile;
    }
    return "";
}

std::string Runner::ReportPath() const { return (fs::path(options_.outDir) / "report.html").string(); }

void Runner::Start() {
    results_ = json{{"format", 1},
                    {"run_id", MakeRunId()},
                    {"shell_version", ShellVersion},
                    {"program_version", options_.programVersion},
                    {"program", options_.program},
                    {"suite", suite_.name},
                    {"pc", options_.pc},
                    {"locale", options_.locale},
                    {"started_at", UtcNow()},
                    {"ended_at", nullptr},
                    {"state", "running"},
                    {"hardware", options_.hardware},
                    {"steps", json::array()}};
    for (const auto& step : suite_.steps) {
        std::string machine = MachineFor(step);
        results_["steps"].push_back(json{{"index", step.index},
                                         {"name", step.name},
                                         {"subtest", step.subtest},
                                         {"arguments", step.arguments},
                                         {"machine", machine.empty() ? json(nullptr) : json(machine)},
                                         {"verdict", "not_run"},
                                         {"nothing_tested", false},
                                         {"reason", ""},
                                         {"failure_codes", json::array()},
                                         {"messages", json::array()},
                                         {"warnings", 0},
                                         {"errors", 0},
                                         {"exit_status", nullptr},
                                         {"started_at", nullptr},
                                         {"duration_s", 0.0},
                                         {"folder", StepFolderName(step)},
                                         {"screenshots", json::array()},
                                         {"failed_picture", nullptr}});
    }
    pending_.assign(suite_.steps.size(), true);
    fs::create_directories(options_.outDir);
    std::lock_guard<std::mutex> lock(mutex_);
    WriteJournal();
}

void Runner::Resume(const json& journal) {
    results_ = journal.at("results");
    resumed_ = true;
    results_["state"] = "running";
    results_["resumed_at"] = UtcNow();
    results_["ended_at"] = nullptr;
    pending_.assign(suite_.steps.size(), false);
    std::vector<int> wasRunning = journal.value("running", std::vector<int>{});
    for (auto& s : results_["steps"]) {
        int index = s.value("index", 0);
        if (std::find(wasRunning.begin(), wasRunning.end(), index) != wasRunning.end()) {
            s["verdict"] = "machine_down";
            s["reason"] = texts_.Shell(reason::MachineDown);
        } else if (s["started_at"].is_null() && index >= 0 && index < static_cast<int>(pending_.size())) {
            pending_[static_cast<std::size_t>(index)] = true;
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    WriteJournal();
}

void Runner::WriteJournal() {
    json journal{{"format", 1},
                 {"suite_path", fs::absolute(suite_.path).string()},
                 {"program", options_.program},
                 {"program_version", options_.programVersion},
                 {"locale", options_.locale},
                 {"pc", options_.pc},
                 {"field_machine", options_.fieldMachine},
                 {"jobs", options_.jobs},
                 {"running", running_},
                 {"results", results_}};
    try {
        WriteFileAtomically((fs::path(options_.outDir) / "journal.json").string(), journal.dump(1));
    } catch (const std::exception& e) {
        std::cerr << "error: the journal could not be written: " << e.what() << std::endl;
    }
}

void Runner::WriteOutputs() {
    const fs::path dir(options_.outDir);
    WriteFileAtomically((dir / "results.json").string(), results_.dump(2));
    WriteFileAtomically((dir / "junit.xml").string(), JunitXml(results_, options_.outDir));
    WriteFileAtomically((dir / "report.html").string(), ReportHtml(results_, options_.outDir, texts_));
}

void Runner::Notify(bool ended) {
    for (RunObserver* observer : observers_) {
        try {
            if (ended) observer->RunEnded(results_);
            else observer->StepEnded(results_);
        } catch (const std::exception& e) {
            terminal_.Line(std::string("warning: an observer of the run failed: ") + e.what());
        } catch (...) {
            terminal_.Line("warning: an observer of the run failed");
        }
    }
}

bool Runner::PrepareMediaKit(std::string& error) {
    std::lock_guard<std::mutex> lock(mediaMutex_);
    if (mediaState_ == 0) {
        fs::path kit = fs::path(options_.outDir) / "media-kit";
        fs::path tool = fs::path(options_.program).parent_path() / "make-media";
        std::error_code ec;
        fs::create_directories(kit, ec);
        std::string out, err, why;
        shellos::ExitInfo exit;
        if (!RunToEnd({tool.string(), {kit.string()}, kit.string(), {}, {}}, 300, out, err, exit, why)) {
            mediaError_ = "the media kit could not be made: " + why;
        } else if (exit.crashed || exit.code != 0) {
            mediaError_ = "the media kit could not be made: " + tool.string() + " ended with status " +
                          std::to_string(exit.code) + (err.empty() ? "" : ": " + err.substr(0, err.find('\n')));
        }
        mediaState_ = mediaError_.empty() ? 1 : -1;
    }
    error = mediaError_;
    return mediaState_ == 1;
}

void Runner::RunStep(const Step& step) {
    const fs::path runDir(options_.outDir);
    const std::string folderName = StepFolderName(step);
    const fs::path stepDir = runDir / folderName;
    const fs::path workDir = step.folder.empty() ? stepDir : runDir / "shared" / step.folder;
    const int total = static_cast<int>(suite_.steps.size());
    std::error_code ec;
    fs::remove_all(stepDir, ec);
    fs::create_directories(stepDir, ec);
    fs::create_directories(workDir, ec);
    const std::string machine = MachineFor(step);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        json& s = results_["steps"][static_cast<std::size_t>(step.index)];
        s["started_at"] = UtcNow();
        s["machine"] = machine.empty() ? json(nullptr) : json(machine);
        running_.push_back(step.index);
        WriteJournal();
    }
    terminal_.StepStarted(step.index, total, step.name);
    const auto start = std::chrono::steady_clock::now();

    StepFacts facts;
    facts.timeLimit = step.timeLimit;

    // The files the step needs in its working folder.
    std::string problem;
    const fs::path programPath(options_.program);
    std::string base = programPath.filename().string();
    if (base.size() > 4 && base.compare(base.size() - 4, 4, ".exe") == 0) base.resize(base.size() - 4);
    if (step.catalogue) {
        for (const std::string& name : {base + ".msg", "x_" + base + ".msg"}) {
            fs::path from = programPath.parent_path() / name;
            if (fs::exists(from)) fs::copy_file(from, workDir / name, fs::copy_options::overwrite_existing, ec);
        }
    }
    if (step.media && PrepareMediaKit(problem)) {
        fs::copy(runDir / "media-kit", workDir, fs::copy_options::recursive | fs::copy_options::overwrite_existing, ec);
        if (ec) problem = "the media kit could not be put in place: " + ec.message();
    }
    std::string videoport = step.videoport;
    if (videoport.empty() && !step.videoportDir.empty()) {
        fs::path named = fs::path(step.videoportDir) / fs::path(machine.empty() ? "default.ini" : machine).filename();
        videoport = fs::exists(named) ? named.string() : (fs::path(step.videoportDir) / "default.ini").string();
    }
    if (problem.empty() && !videoport.empty()) {
        fs::copy_file(videoport, workDir / "videoport.ini", fs::copy_options::overwrite_existing, ec);
        if (ec) problem = "videoport.ini could not be put in place from " + videoport + ": " + ec.message();
    }

    shellos::SpawnSpec launch;
    launch.program = options_.program;
    launch.args.push_back("-subtest=" + step.subtest);
    bool hasLocale = false;
    for (const auto& a : step.arguments) {
        launch.args.push_back(a);
        std::string lowered = a.substr(0, 8);
        std::transform(lowered.begin(), lowered.end(), lowered.begin(), ::tolower);
        hasLocale = hasLocale || lowered == "-locale=";
    }
    if (!hasLocale) launch.args.push_back("-locale=" + options_.locale);
    launch.workdir = workDir.string();
    if (machine.empty()) launch.unsetEnv.push_back("RASTERSCAN_MACHINE");
    else launch.setEnv.emplace_back("RASTERSCAN_MACHINE", machine);
    if (step.hasOperator) launch.setEnv.emplace_back("RASTERSCAN_OPERATOR", step.operatorScript);
    else launch.unsetEnv.push_back("RASTERSCAN_OPERATOR");
    if (!step.clock.empty()) launch.setEnv.emplace_back("RASTERSCAN_CLOCK", step.clock);
    if (step.screenshots) launch.setEnv.emplace_back("RASTERSCAN_SCREENSHOTS", (stepDir / "screenshots").string());
    else launch.unsetEnv.push_back("RASTERSCAN_SCREENSHOTS");

    std::unique_ptr<shellos::Process> process;
    if (problem.empty()) process = shellos::Spawn(launch, problem);
    fs::path killFile = workDir / "kill.ctl";
    bool wroteKillFile = false;
    if (!process) {
        facts.started = false;
        facts.startError = problem;
    } else {
        std::mutex linesMutex;
        std::atomic<int> streamsEnded{0};
        std::thread outReader([&] {
            ReadLinesFrom(*process, 1, [&](const std::string& line) {
                ProtocolLine p = ParseLine(line);
                {
                    std::lock_guard<std::mutex> lock(linesMutex);
                    facts.out.push_back(line);
                }
                if (p.kind == LineKind::UpdatePercentage) terminal_.Progress(step.index, p.percent, "");
                else if (p.kind == LineKind::LogMessage && !(p.number == 20000 && !p.debugForm))
                    terminal_.Progress(step.index, -1, TranslateLine(line, texts_));
                else if (p.kind == LineKind::ReportFailure || p.kind == LineKind::TestFailed)
                    terminal_.Progress(step.index, -1, TranslateLine(line, texts_));
            });
            ++streamsEnded;
        });
        std::thread errReader([&] {
            ReadLinesFrom(*process, 2, [&](const std::string& line) {
                {
                    std::lock_guard<std::mutex> lock(linesMutex);
                    facts.err.push_back(line);
                }
                // What the program says beyond its protocol is for the person watching too.
                if (line.rfind("warning:", 0) == 0 || line.rfind("error:", 0) == 0) terminal_.Line(step.name + ": " + line);
            });
            ++streamsEnded;
        });
        shellos::ExitInfo exit;
        std::chrono::steady_clock::time_point stopAt;
        while (!process->TryWait(exit)) {
            // Once both streams are closed the process is on its way out: look again soon.
            std::this_thread::sleep_for(std::chrono::milliseconds(streamsEnded.load() == 2 ? 1 : 20));
            if (facts.stop == StopCause::None) {
                if (interrupted_.load()) facts.stop = StopCause::Interrupt;
                else if (SecondsSince(start) > step.timeLimit) facts.stop = StopCause::TimeLimit;
                if (facts.stop != StopCause::None) {
                    // The program stops at its own moments when it sees the kill file.
                    std::ofstream(killFile.string()).flush();
                    wroteKillFile = true;
                    stopAt = std::chrono::steady_clock::now();
                    terminal_.Progress(step.index, -1, texts_.Shell(19));
                }
            } else if (!facts.killed && SecondsSince(stopAt) > step.stopWait) {
                process->Kill();
                facts.killed = true;
            }
            terminal_.Progress(step.index, -1, "");
        }
        outReader.join();
        errReader.join();
        facts.crashed = exit.crashed && !facts.killed;
        facts.exitCode = exit.code;
        process.reset();
        // A kill file left behind would stop every later run in this folder.
        if (wroteKillFile) fs::remove(killFile, ec);
    }
    const double seconds = SecondsSince(start);

    try {
        WriteFileAtomically((stepDir / "protocol.log").string(), WriteLines(facts.out));
        std::vector<std::string> err = facts.err;
        if (!facts.started) err.push_back("error: " + facts.startError);
        WriteFileAtomically((stepDir / "stderr.log").string(), WriteLines(err));
    } catch (const std::exception& e) {
        terminal_.Line(std::string("error: ") + e.what());
    }

    Judgement j = Judge(facts);
    std::string reasonText;
    if (j.reason.number == reason::FailureCode) {
        reasonText = texts_.Failure(std::stol(j.reason.insert));
    } else if (j.reason.number == reason::LastMessage) {
        std::size_t tab = j.reason.insert.find('\t');
        std::string head = j.reason.insert.substr(0, tab), text = j.reason.insert.substr(tab + 1);
        reasonText = head == "D" ? text : texts_.Message(static_cast<unsigned>(std::stoul(head)), text);
    } else if (j.reason.number != 0) {
        reasonText = texts_.Shell(j.reason.number, j.reason.insert);
    }
    json messages = json::array();
    for (const auto& line : facts.out) {
        ProtocolLine p = ParseLine(line);
        if (p.kind == LineKind::LogMessage && !p.debugForm && p.number == 20000 && !p.text.empty() && p.text[0] == '-') continue;
        if (p.kind == LineKind::LogMessage || p.kind == LineKind::ReportFailure || p.kind == LineKind::TestFailed)
            messages.push_back(TranslateLine(line, texts_));
    }
    json shots = json::array();
    std::vector<std::string> pictures;
    for (const auto& entry : fs::directory_iterator(stepDir / "screenshots", ec))
        if (entry.is_regular_file()) pictures.push_back(folderName + "/screenshots/" + entry.path().filename().string());
    std::sort(pictures.begin(), pictures.end());
    for (const auto& p : pictures) shots.push_back(p);

    {
        std::lock_guard<std::mutex> lock(mutex_);
        json& s = results_["steps"][static_cast<std::size_t>(step.index)];
        s["verdict"] = VerdictName(j.verdict);
        s["nothing_tested"] = j.nothingTested;
        s["reason"] = reasonText;
        s["failure_codes"] = j.failureCodes;
        s["messages"] = messages;
        s["warnings"] = j.warnings;
        s["errors"] = j.errors;
        s["exit_status"] = (!facts.started || facts.crashed || facts.killed) ? json(nullptr) : json(facts.exitCode);
        s["duration_s"] = seconds;
        s["screenshots"] = shots;
        // The last screen shown is the one the verdict fell on.
        s["failed_picture"] = (j.verdict == Verdict::Failed && !pictures.empty()) ? json(pictures.back()) : json(nullptr);
        running_.erase(std::remove(running_.begin(), running_.end(), step.index), running_.end());
        WriteJournal();
        try {
            WriteFileAtomically((runDir / "results.json").string(), results_.dump(2));
        } catch (const std::exception& e) {
            terminal_.Line(std::string("error: ") + e.what());
        }
        Notify(false);
        terminal_.StepEnded(step.index, total, step.name, VerdictText(s), seconds, reasonText);
    }
}

void Runner::RunGroup(const std::vector<int>& steps) {
    for (int index : steps) {
        if (interrupted_.load()) return;
        RunStep(suite_.steps[static_cast<std::size_t>(index)]);
    }
}

int Runner::Execute() {
    // Steps that share a working folder run in order, one after the other; the rest share nothing.
    std::vector<std::vector<int>> groups;
    std::vector<std::string> keys;
    for (const auto& step : suite_.steps) {
        if (!pending_[static_cast<std::size_t>(step.index)]) continue;
        std::string key = step.folder.empty() ? "#" + std::to_string(step.index) : step.folder;
        auto it = std::find(keys.begin(), keys.end(), key);
        if (it == keys.end()) {
            keys.push_back(key);
            groups.push_back({step.index});
        } else {
            groups[static_cast<std::size_t>(it - keys.begin())].push_back(step.index);
        }
    }
    int jobs = std::max(1, std::min(options_.jobs, static_cast<int>(groups.size())));
    if (jobs == 1) {
        for (const auto& g : groups) RunGroup(g);
    } else {
        std::atomic<std::size_t> next{0};
        std::vector<std::thread> workers;
        for (int w = 0; w < jobs; ++w)
            workers.emplace_back([&] {
                for (std::size_t g; (g = next.fetch_add(1)) < groups.size();) RunGroup(groups[g]);
            });
        for (auto& t : workers) t.join();
    }

    std::lock_guard<std::mutex> lock(mutex_);
    bool stopped = interrupted_.load();
    bool allPassed = true;
    for (auto& s : results_["steps"]) {
        if (s.value("verdict", "") == "not_run" && s["started_at"].is_null()) s["reason"] = texts_.Shell(reason::NotRun);
        allPassed = allPassed && s.value("verdict", "") == "passed";
    }
    results_["state"] = stopped ? "stopped" : resumed_ ? "resumed" : "finished";
    results_["ended_at"] = UtcNow();
    try {
        WriteOutputs();
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << std::endl;
    }
    WriteJournal();
    Notify(true);
    return allPassed ? 0 : 1;
}

}  // namespace shell
