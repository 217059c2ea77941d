// Progress on the terminal: a live line on a console, plain lines elsewhere (CI logs).
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace shell {

class Terminal {
public:
    explicit Terminal(bool live) : live_(live) {}
    void StepStarted(int index, int total, const std::string& name);
    void Progress(int index, int percent, const std::string& message);
    void StepEnded(int index, int total, const std::string& name, const std::string& verdict, double seconds,
                   const std::string& reason);
    // Any other line: clears the live line first.
    void Line(const std::string& text);

private:
    struct Live {
        std::string name;
        int percent = 0;
        std::string message;
        std::chrono::steady_clock::time_point start;
    };
    void ClearLive();
    void DrawLive();
    bool live_;
    std::mutex mutex_;
    std::map<int, Live> running_;
    int shown_ = -1;
    std::chrono::steady_clock::time_point lastDraw_{};
};

}  // namespace shell
