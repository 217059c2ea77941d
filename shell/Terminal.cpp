#include "Terminal.h"

#include "Platform.h"

#include <cstdio>
#include <iostream>

namespace shell {
namespace {

// Plain output carries no control characters, whatever the program wrote.
std::string Printable(const std::string& text) {
    std::string out;
    for (unsigned char c : text) out += (c < 0x20 || c == 0x7f) ? ' ' : static_cast<char>(c);
    return out;
}

std::string Counter(int index, int total) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "[%2d/%d]", index + 1, total);
    return buffer;
}

}  // namespace

void Terminal::ClearLive() {
    if (live_ && shown_ >= 0) {
        std::cout << "\r\033[K";
        shown_ = -1;
    }
}

void Terminal::DrawLive() {
    if (!live_ || running_.empty()) return;
    auto now = std::chrono::steady_clock::now();
    // The most recently started step is the one shown.
    auto& [index, step] = *running_.rbegin();
    double elapsed = std::chrono::duration<double>(now - step.start).count();
    const int barWidth = 20;
    int filled = step.percent * barWidth / 100;
    std::string bar = "[" + std::string(static_cast<std::size_t>(filled), '#') +
                      std::string(static_cast<std::size_t>(barWidth - filled), '.') + "]";
    char head[64];
    std::snprintf(head, sizeof head, " %3d%% ", step.percent);
    char time[32];
    std::snprintf(time, sizeof time, " %6.1fs ", elapsed);
    std::string text = bar + head + step.name + time + Printable(step.message);
    if (running_.size() > 1) text = "(" + std::to_string(running_.size()) + " running) " + text;
    std::size_t width = static_cast<std::size_t>(shellos::TerminalWidth() - 1);
    if (text.size() > width) text.resize(width);
    std::cout << "\r\033[K" << text << std::flush;
    shown_ = index;
    lastDraw_ = now;
}

void Terminal::StepStarted(int index, int total, const std::string& name) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_[index] = Live{name, 0, "", std::chrono::steady_clock::now()};
    if (live_) {
        DrawLive();
    } else {
        std::cout << Counter(index, total) << " " << name << ": started" << std::endl;
    }
}

void Terminal::Progress(int index, int percent, const std::string& message) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = running_.find(index);
    if (it == running_.end()) return;
    if (percent >= 0) it->second.percent = percent;
    if (!message.empty()) it->second.message = message;
    if (live_ && std::chrono::steady_clock::now() - lastDraw_ > std::chrono::milliseconds(100)) DrawLive();
}

void Terminal::StepEnded(int index, int total, const std::string& name, const std::string& verdict, double seconds,
                         const std::string& reason) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(index);
    ClearLive();
    char time[32];
    std::snprintf(time, sizeof time, "%.1f s", seconds);
    std::cout << Counter(index, total) << " " << name << ": " << verdict << " (" << time << ")"
              << (reason.empty() ? "" : "  " + Printable(reason)) << std::endl;
    DrawLive();
}

void Terminal::Line(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    ClearLive();
    std::cout << (live_ ? text : Printable(text)) << std::endl;
    DrawLive();
}

}  // namespace shell
