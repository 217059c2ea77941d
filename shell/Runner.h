// The run engine: runs a suite's steps as processes, judges them, keeps the journal and the
// report files, and tells the observers.
#pragma once

#include "Messages.h"
#include "Platform.h"
#include "RunObserver.h"
#include "Suite.h"
#include "Terminal.h"

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace shell {

extern const char* const ShellVersion;

struct RunOptions {
    std::string program;        // absolute path of the program driven
    std::string programVersion;
    std::string outDir;         // the run's folder
    std::string locale = "en_US";
    std::string pc;
    std::string fieldMachine;   // empty: the built-in machine
    int jobs = 1;
    nlohmann::json hardware;    // the inventory of the field machine, or null
};

class Runner {
public:
    Runner(RunOptions options, Suite suite, const Texts& texts, Terminal& terminal, std::atomic<bool>& interrupted);
    void AddObserver(RunObserver* observer) { observers_.push_back(observer); }
    // A new run: the results with every step still to run.
    void Start();
    // Goes on with the run of a journal: the step that was running when the PC went down is
    // recorded as such, the steps not yet run are run.
    void Resume(const nlohmann::json& journal);
    // Runs what is left; returns the shell's exit status.
    int Execute();
    const nlohmann::json& Results() const { return results_; }
    std::string ReportPath() const;

private:
    void RunGroup(const std::vector<int>& steps);
    void RunStep(const Step& step);
    void WriteJournal();
    void WriteOutputs();
    void Notify(bool ended);
    std::string StepFolderName(const Step& step) const;
    std::string MachineFor(const Step& step) const;
    bool PrepareMediaKit(std::string& error);

    RunOptions options_;
    Suite suite_;
    const Texts& texts_;
    Terminal& terminal_;
    std::atomic<bool>& interrupted_;
    std::vector<RunObserver*> observers_;
    std::mutex mutex_;           // guards results_, running_ and the files written from them
    nlohmann::json results_;
    std::vector<int> running_;
    std::vector<bool> pending_;
    bool resumed_ = false;
    std::mutex mediaMutex_;
    int mediaState_ = 0;         // 0 not made, 1 made, -1 failed
    std::string mediaError_;
};

// Runs a program to its end (or `timeout` seconds, then ends it) and keeps what it wrote.
bool RunToEnd(const shellos::SpawnSpec& launch, double timeout, std::string& out, std::string& err,
              shellos::ExitInfo& exit, std::string& error);

// "2026-11-25T19:00:00Z"
std::string UtcNow();
std::string MakeRunId();

}  // namespace shell
