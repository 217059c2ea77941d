// The few things the shell needs from the operating system, in one place: starting the program
// with pipes, reading them, waiting for and ending it, Ctrl+C, the terminal, names and paths.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace shellos {

struct SpawnSpec {
    std::string program;
    std::vector<std::string> args;   // without the program itself
    std::string workdir;
    std::vector<std::pair<std::string, std::string>> setEnv;
    std::vector<std::string> unsetEnv;
};

struct ExitInfo {
    bool crashed = false;   // ended by a signal or an unhandled exception
    long code = 0;          // exit status, or the signal / exception number when crashed
};

class Process {
public:
    virtual ~Process() = default;
    // Blocks until some bytes arrive on stream 1 (stdout) or 2 (stderr); 0 at the end.
    virtual long Read(int stream, char* buffer, std::size_t size) = 0;
    // True once the process has ended; fills info.
    virtual bool TryWait(ExitInfo& info) = 0;
    virtual void Kill() = 0;
};

// Starts the program; null and a reason when it cannot be started.
std::unique_ptr<Process> Spawn(const SpawnSpec& launch, std::string& error);

// Ctrl+C (and a termination request) sets the flag instead of ending the shell.
void InstallInterruptHandler(std::atomic<bool>* flag);
bool StdoutIsTerminal();
int TerminalWidth();
std::string HostName();
std::string ExecutablePath();
std::string EnvOr(const char* name, const std::string& fallback);
// Makes stdout write UTF-8 and control sequences where the console needs telling.
void PrepareConsole();

}  // namespace shellos
