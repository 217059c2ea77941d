// The shell's operating-system layer on Linux and other POSIX systems.
#include "Platform.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace shellos {
namespace {

class PosixProcess : public Process {
public:
    PosixProcess(pid_t pid, int out, int err) : pid_(pid), fds_{out, err} {}
    ~PosixProcess() override {
        if (!ended_) {
            Kill();
            ExitInfo ignored;
            while (!TryWait(ignored)) usleep(10000);
        }
        for (int fd : fds_)
            if (fd >= 0) close(fd);
    }
    long Read(int stream, char* buffer, std::size_t size) override {
        int fd = fds_[stream == 2 ? 1 : 0];
        for (;;) {
            ssize_t n = read(fd, buffer, size);
            if (n >= 0) return static_cast<long>(n);
            if (errno != EINTR) return 0;
        }
    }
    bool TryWait(ExitInfo& info) override {
        if (ended_) {
            info = info_;
            return true;
        }
        int status = 0;
        pid_t r = waitpid(pid_, &status, WNOHANG);
        if (r == 0) return false;
        if (r < 0 && errno == EINTR) return false;
        ended_ = true;
        if (r > 0 && WIFSIGNALED(status)) {
            info_.crashed = true;
            info_.code = WTERMSIG(status);
        } else if (r > 0) {
            info_.code = WEXITSTATUS(status);
        }
        // Whatever the program left running in its group goes with it.
        kill(-pid_, SIGKILL);
        info = info_;
        return true;
    }
    void Kill() override {
        if (!ended_) {
            kill(-pid_, SIGKILL);
            kill(pid_, SIGKILL);
        }
    }

private:
    pid_t pid_;
    int fds_[2];
    bool ended_ = false;
    ExitInfo info_;
};

std::atomic<bool>* interruptFlag = nullptr;
void OnInterrupt(int) {
    if (interruptFlag) interruptFlag->store(true);
}

}  // namespace

std::unique_ptr<Process> Spawn(const SpawnSpec& launch, std::string& error) {
    // Everything the child needs is made before the fork: after it only plain system calls.
    std::vector<std::string> envText;
    for (char** e = environ; *e; ++e) {
        std::string entry = *e;
        std::string name = entry.substr(0, entry.find('='));
        bool drop = false;
        for (const auto& u : launch.unsetEnv) drop = drop || u == name;
        for (const auto& s : launch.setEnv) drop = drop || s.first == name;
        if (!drop) envText.push_back(entry);
    }
    for (const auto& s : launch.setEnv) envText.push_back(s.first + "=" + s.second);
    std::vector<char*> envp;
    for (auto& e : envText) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> argText{launch.program};
    argText.insert(argText.end(), launch.args.begin(), launch.args.end());
    std::vector<char*> argv;
    for (auto& a : argText) argv.push_back(a.data());
    argv.push_back(nullptr);

    int out[2], err[2], report[2];
    if (pipe2(out, O_CLOEXEC) != 0) { error = std::strerror(errno); return nullptr; }
    if (pipe2(err, O_CLOEXEC) != 0) { error = std::strerror(errno); close(out[0]); close(out[1]); return nullptr; }
    if (pipe2(report, O_CLOEXEC) != 0) {
        error = std::strerror(errno);
        for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
        return nullptr;
    }
    pid_t pid = fork();
    if (pid < 0) {
        error = std::strerror(errno);
        for (int fd : {out[0], out[1], err[0], err[1], report[0], report[1]}) close(fd);
        return nullptr;
    }
    if (pid == 0) {
        // A group of its own: a Ctrl+C at the terminal reaches the shell, which stops the step its way.
        setpgid(0, 0);
        int devnull = open("/dev/null", O_RDONLY);
        if (devnull >= 0) dup2(devnull, 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        int code = 0;
        if (!launch.workdir.empty() && chdir(launch.workdir.c_str()) != 0) code = errno;
        if (code == 0) {
            execve(argv[0], argv.data(), envp.data());
            code = errno;
        }
        ssize_t ignored = write(report[1], &code, sizeof code);
        (void)ignored;
        _exit(127);
    }
    setpgid(pid, pid);
    close(out[1]);
    close(err[1]);
    close(report[1]);
    int code = 0;
    ssize_t n;
    do n = read(report[0], &code, sizeof code); while (n < 0 && errno == EINTR);
    close(report[0]);
    if (n == static_cast<ssize_t>(sizeof code)) {
        error = std::strerror(code);
        int status;
        waitpid(pid, &status, 0);
        close(out[0]);
        close(err[0]);
        return nullptr;
    }
    return std::make_unique<PosixProcess>(pid, out[0], err[0]);
}

void InstallInterruptHandler(std::atomic<bool>* flag) {
    interruptFlag = flag;
    struct sigaction sa {};
    sa.sa_handler = OnInterrupt;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

bool StdoutIsTerminal() { return isatty(1) != 0; }

int TerminalWidth() {
    struct winsize ws {};
    if (ioctl(1, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 20) return ws.ws_col;
    return 80;
}

std::string HostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return "unknown";
    return name;
}

std::string ExecutablePath() {
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) return "";
    return std::string(path, static_cast<std::size_t>(n));
}

std::string EnvOr(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

void PrepareConsole() {}

}  // namespace shellos
