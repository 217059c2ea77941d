// The shell's operating-system layer on Windows.
#include "Platform.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <map>

namespace shellos {
namespace {

// Quoting of one word of a command line as the C runtime splits it again.
std::string Quote(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) return word;
    std::string out = "\"";
    std::size_t backslashes = 0;
    for (char c : word) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        if (c == '"') out.append(backslashes * 2 + 1, '\\');
        else out.append(backslashes, '\\');
        backslashes = 0;
        out += c;
    }
    out.append(backslashes * 2, '\\');
    return out + "\"";
}

class WinProcess : public Process {
public:
    WinProcess(HANDLE process, HANDLE out, HANDLE err) : process_(process), pipes_{out, err} {}
    ~WinProcess() override {
        ExitInfo ignored;
        if (!TryWait(ignored)) {
            Kill();
            WaitForSingleObject(process_, 5000);
        }
        CloseHandle(process_);
        for (HANDLE h : pipes_) CloseHandle(h);
    }
    long Read(int stream, char* buffer, std::size_t size) override {
        DWORD got = 0;
        if (!ReadFile(pipes_[stream == 2 ? 1 : 0], buffer, static_cast<DWORD>(size), &got, nullptr)) return 0;
        return static_cast<long>(got);
    }
    bool TryWait(ExitInfo& info) override {
        if (WaitForSingleObject(process_, 0) != WAIT_OBJECT_0) return false;
        DWORD code = 0;
        GetExitCodeProcess(process_, &code);
        // Exception codes (access violation and the like) are NTSTATUS errors.
        info.crashed = code >= 0xC0000000u;
        info.code = static_cast<long>(code);
        return true;
    }
    void Kill() override { TerminateProcess(process_, 1); }

private:
    HANDLE process_;
    HANDLE pipes_[2];
};

std::atomic<bool>* interruptFlag = nullptr;
BOOL WINAPI OnConsoleEvent(DWORD type) {
    if (type == CTRL_C_EVENT || type == CTRL_BREAK_EVENT || type == CTRL_CLOSE_EVENT) {
        if (interruptFlag) interruptFlag->store(true);
        return TRUE;
    }
    return FALSE;
}

}  // namespace

std::unique_ptr<Process> Spawn(const SpawnSpec& launch, std::string& error) {
    // The environment block: the shell's own, with the step's changes, sorted as Windows wants it.
    std::map<std::string, std::string> env;
    if (LPCH block = GetEnvironmentStringsA()) {
        for (LPCH p = block; *p; p += std::strlen(p) + 1) {
            std::string entry = p;
            std::size_t eq = entry.find('=', 1);
            if (eq != std::string::npos) env[entry.substr(0, eq)] = entry.substr(eq + 1);
        }
        FreeEnvironmentStringsA(block);
    }
    for (const auto& u : launch.unsetEnv) env.erase(u);
    for (const auto& s : launch.setEnv) env[s.first] = s.second;
    std::string envBlock;
    for (const auto& kv : env) envBlock += kv.first + "=" + kv.second + '\0';
    envBlock += '\0';

    std::string commandLine = Quote(launch.program);
    for (const auto& a : launch.args) commandLine += " " + Quote(a);

    SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, TRUE};
    HANDLE outRead, outWrite, errRead, errWrite;
    if (!CreatePipe(&outRead, &outWrite, &sa, 0)) { error = "CreatePipe failed"; return nullptr; }
    if (!CreatePipe(&errRead, &errWrite, &sa, 0)) {
        error = "CreatePipe failed";
        CloseHandle(outRead);
        CloseHandle(outWrite);
        return nullptr;
    }
    SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(errRead, HANDLE_FLAG_INHERIT, 0);
    HANDLE nul = CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa, OPEN_EXISTING, 0, nullptr);

    STARTUPINFOA si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdInput = nul;
    si.hStdOutput = outWrite;
    si.hStdError = errWrite;
    PROCESS_INFORMATION pi{};
    // A process group of its own: Ctrl+C reaches the shell, which stops the step through kill.ctl.
    BOOL ok = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP,
                             envBlock.data(), launch.workdir.empty() ? nullptr : launch.workdir.c_str(), &si, &pi);
    DWORD lastError = GetLastError();
    CloseHandle(outWrite);
    CloseHandle(errWrite);
    if (nul != INVALID_HANDLE_VALUE) CloseHandle(nul);
    if (!ok) {
        CloseHandle(outRead);
        CloseHandle(errRead);
        error = "CreateProcess failed with error " + std::to_string(lastError);
        return nullptr;
    }
    CloseHandle(pi.hThread);
    return std::make_unique<WinProcess>(pi.hProcess, outRead, errRead);
}

void InstallInterruptHandler(std::atomic<bool>* flag) {
    interruptFlag = flag;
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

bool StdoutIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

int TerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) {
        int width = info.srWindow.Right - info.srWindow.Left + 1;
        if (width > 20) return width;
    }
    return 80;
}

std::string HostName() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    if (!GetComputerNameA(name, &size)) return "unknown";
    return name;
}

std::string ExecutablePath() {
    char path[MAX_PATH] = {};
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    return std::string(path, n);
}

std::string EnvOr(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

void PrepareConsole() {
    SetConsoleOutputCP(CP_UTF8);
    DWORD mode = 0;
    HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
    if (GetConsoleMode(out, &mode)) SetConsoleMode(out, mode | 0x0004 /* virtual terminal processing */);
}

}  // namespace shellos
