#include "Report.h"

#include "Protocol.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace shell {
namespace {

std::string Escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (unsigned char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default:
            // XML 1.0 has no place for other control characters: a garbled program output shows them as "?".
            if (c < 0x20 && c != '\n' && c != '\t') out += '?';
            else out += static_cast<char>(c);
        }
    }
    return out;
}

std::string Str(const nlohmann::json& j, const char* key) {
    auto it = j.find(key);
    return it != j.end() && it->is_string() ? it->get<std::string>() : std::string();
}

std::string Seconds(const nlohmann::json& step) {
    std::ostringstream s;
    s << std::fixed << std::setprecision(3) << step.value("duration_s", 0.0);
    return s.str();
}

std::string StepFile(const std::string& runDir, const nlohmann::json& step, const char* name) {
    return (fs::path(runDir) / Str(step, "folder") / name).string();
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string out;
    for (const auto& l : lines) out += l + "\n";
    return out;
}

}  // namespace

void WriteFileAtomically(const std::string& path, const std::string& text) {
    std::string temp = path + ".tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            out.close();
            std::error_code ignored;
            fs::remove(temp, ignored);
            throw std::runtime_error("cannot write " + temp);
        }
    }
    std::error_code ec;
    fs::rename(temp, path, ec);
    if (ec) {
        fs::remove(temp, ec);
        throw std::runtime_error("cannot rename " + temp + " to " + path);
    }
}

std::vector<std::string> ReadLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::string TranslateLine(const std::string& line, const Texts& texts) {
    ProtocolLine p = ParseLine(line);
    switch (p.kind) {
    case LineKind::LogMessage: return p.debugForm ? p.text : texts.Message(p.number, p.text);
    case LineKind::ReportFailure:
    case LineKind::TestFailed: return p.code >= 0 ? texts.Failure(p.code) : p.text;
    case LineKind::EndOfTest: return "EndOfTest";
    case LineKind::UpdatePercentage: return "";
    case LineKind::Garbage: return line;
    }
    return line;
}

std::string VerdictText(const nlohmann::json& step) {
    std::string v = Str(step, "verdict");
    if (v == "passed" && step.value("nothing_tested", false)) return "passed, nothing tested";
    if (v == "machine_down") return "machine went down";
    if (v == "not_run") return "not run";
    return v;
}

std::string JunitXml(const nlohmann::json& run, const std::string& runDir) {
    int failures = 0, errors = 0, skipped = 0;
    double total = 0;
    for (const auto& s : run["steps"]) {
        std::string v = Str(s, "verdict");
        if (v == "failed") ++failures;
        else if (v == "crashed" || v == "hung" || v == "machine_down") ++errors;
        else if (v == "stopped" || v == "not_run") ++skipped;
        total += s.value("duration_s", 0.0);
    }
    std::ostringstream x;
    x << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    x << "  <testsuite name=\"" << Escape(Str(run, "suite")) << "\" tests=\"" << run["steps"].size()
      << "\" failures=\"" << failures << "\" errors=\"" << errors << "\" skipped=\"" << skipped << "\" time=\""
      << std::fixed << std::setprecision(3) << total << "\" timestamp=\"" << Escape(Str(run, "started_at"))
      << "\" hostname=\"" << Escape(Str(run, "pc")) << "\">\n";
    x << "    <properties>\n";
    for (const char* key : {"run_id", "program", "program_version", "shell_version", "locale", "state"})
        x << "      <property name=\"" << key << "\" value=\"" << Escape(Str(run, key)) << "\"/>\n";
    x << "    </properties>\n";
    for (const auto& s : run["steps"]) {
        std::string v = Str(s, "verdict"), reason = Str(s, "reason");
        x << "    <testcase classname=\"" << Escape(Str(run, "suite") + "." + Str(s, "subtest")) << "\" name=\""
          << Escape(Str(s, "name")) << "\" time=\"" << Seconds(s) << "\">\n";
        std::string detail = VerdictText(s) + (reason.empty() ? "" : ": " + reason);
        for (const auto& m : s.value("messages", nlohmann::json::array())) detail += "\n" + m.get<std::string>();
        if (v == "failed")
            x << "      <failure type=\"failed\" message=\"" << Escape(reason) << "\">" << Escape(detail) << "</failure>\n";
        else if (v == "crashed" || v == "hung" || v == "machine_down")
            x << "      <error type=\"" << v << "\" message=\"" << Escape(reason) << "\">" << Escape(detail) << "</error>\n";
        else if (v == "stopped" || v == "not_run")
            x << "      <skipped message=\"" << Escape(VerdictText(s) + (reason.empty() ? "" : ": " + reason)) << "\"/>\n";
        if (!Str(s, "folder").empty()) {
            x << "      <system-out>" << Escape(Joined(ReadLines(StepFile(runDir, s, "protocol.log")))) << "</system-out>\n";
            x << "      <system-err>" << Escape(Joined(ReadLines(StepFile(runDir, s, "stderr.log")))) << "</system-err>\n";
        }
        x << "    </testcase>\n";
    }
    x << "  </testsuite>\n</testsuites>\n";
    return x.str();
}

std::string ReportHtml(const nlohmann::json& run, const std::string& runDir, const Texts& texts) {
    std::ostringstream h;
    int passed = 0, notPassed = 0;
    for (const auto& s : run["steps"]) (Str(s, "verdict") == "passed" ? passed : notPassed)++;
    h << "<!DOCTYPE html>\n<html lang=\"" << Escape(texts.Locale().substr(0, 2)) << "\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<title>Raster-scan: " << Escape(Str(run, "suite")) << " on " << Escape(Str(run, "pc")) << "</title>\n"
      << "<style>\n"
         "body{font:14px/1.4 sans-serif;margin:1.5em;color:#222}\n"
         "h1{font-size:1.5em;margin:0 0 .3em}h2{font-size:1.15em;margin:1.6em 0 .4em;border-bottom:1px solid #ccc}\n"
         "table{border-collapse:collapse}td,th{border:1px solid #ccc;padding:.25em .6em;text-align:left;vertical-align:top}\n"
         "th{background:#f0f0f0}.facts td:first-child{font-weight:bold}\n"
         ".v{font-weight:bold;white-space:nowrap}.passed{color:#176117}.failed,.crashed,.hung,.machine_down{color:#b00000}\n"
         ".stopped,.not_run{color:#8a5a00}.nothing{color:#8a5a00}\n"
         "pre{background:#f7f7f7;border:1px solid #ddd;padding:.5em;overflow-x:auto;max-height:24em;font-size:12px}\n"
         ".thumbs a{display:inline-block;margin:2px}.thumbs img{width:160px;border:1px solid #999}\n"
         ".failedpic img{max-width:640px;border:3px solid #b00000}\n"
         "</style>\n</head>\n<body>\n";
    h << "<h1>Raster-scan: " << Escape(Str(run, "suite")) << "</h1>\n";
    h << "<table class=\"facts\">\n";
    auto fact = [&](const char* label, const std::string& value) {
        h << "<tr><td>" << label << "</td><td>" << Escape(value) << "</td></tr>\n";
    };
    fact("PC", Str(run, "pc"));
    fact("Program", Str(run, "program"));
    fact("Program version", Str(run, "program_version"));
    fact("Shell version", Str(run, "shell_version"));
    // The machine under test, as the inventory read it.
    const nlohmann::json hardware = run.contains("hardware") ? run["hardware"] : nlohmann::json();
    if (hardware.is_object()) {
        for (const auto& a : hardware.value("adapters", nlohmann::json::array())) {
            fact("Adapter", a.value("name", "") + " (PCI " + a.value("vendor_id", "") + ":" + a.value("device_id", "") +
                                ", driver " + a.value("driver_version", "") + ", " +
                                std::to_string(a.value("memory_bytes", 0LL) >> 20) + " MB)");
        }
        for (const auto& m : hardware.value("monitors", nlohmann::json::array())) {
            fact("Monitor", m.value("name", "") + " " + std::to_string(m.value("width", 0)) + "x" +
                                std::to_string(m.value("height", 0)));
        }
    }
    fact("Run", Str(run, "run_id"));
    fact("Started", Str(run, "started_at"));
    fact("Ended", Str(run, "ended_at"));
    fact("State", Str(run, "state"));
    fact("Result", std::to_string(passed) + " passed, " + std::to_string(notPassed) + " not passed, of " +
                       std::to_string(run["steps"].size()));
    h << "</table>\n";

    h << "<h2>Summary</h2>\n<table id=\"summary\">\n<tr><th>#</th><th>Step</th><th>Verdict</th><th>Duration</th>"
         "<th>Failure</th></tr>\n";
    for (const auto& s : run["steps"]) {
        int index = s.value("index", 0);
        std::string v = Str(s, "verdict");
        h << "<tr><td>" << index + 1 << "</td><td><a href=\"#step-" << index << "\">" << Escape(Str(s, "name"))
          << "</a></td><td class=\"v " << v << (s.value("nothing_tested", false) ? " nothing" : "") << "\">"
          << Escape(VerdictText(s)) << "</td><td>" << (s["started_at"].is_null() ? "" : Seconds(s) + " s")
          << "</td><td>" << Escape(Str(s, "reason")) << "</td></tr>\n";
    }
    h << "</table>\n";

    for (const auto& s : run["steps"]) {
        int index = s.value("index", 0);
        std::string v = Str(s, "verdict");
        h << "<section class=\"step\" id=\"step-" << index << "\" data-verdict=\"" << v << "\">\n";
        h << "<h2>" << index + 1 << ". " << Escape(Str(s, "name")) << " <span class=\"v " << v << "\">"
          << Escape(VerdictText(s)) << "</span></h2>\n";
        h << "<table class=\"facts\">\n";
        fact("Subtest", Str(s, "subtest"));
        std::string args;
        for (const auto& a : s.value("arguments", nlohmann::json::array())) args += a.get<std::string>() + " ";
        fact("Arguments", args);
        fact("Machine", s["machine"].is_string() ? s["machine"].get<std::string>() : "built-in");
        if (!s["started_at"].is_null()) {
            fact("Started", Str(s, "started_at"));
            fact("Duration", Seconds(s) + " s");
            fact("Exit status", s["exit_status"].is_null() ? "none" : s["exit_status"].dump());
        }
        if (!Str(s, "reason").empty()) fact("Reason", Str(s, "reason"));
        std::string codes;
        for (const auto& c : s.value("failure_codes", nlohmann::json::array()))
            codes += (codes.empty() ? "" : "; ") + texts.Failure(c.get<long>());
        if (!codes.empty()) fact("Failure codes", codes);
        fact("Standard error", std::to_string(s.value("warnings", 0)) + " warnings, " +
                                   std::to_string(s.value("errors", 0)) + " errors");
        h << "</table>\n";
        if (s["failed_picture"].is_string()) {
            std::string pic = s["failed_picture"].get<std::string>();
            h << "<p>The picture that failed:</p>\n<p class=\"failedpic\"><a href=\"" << Escape(pic) << "\"><img src=\""
              << Escape(pic) << "\" alt=\"failed picture\"></a></p>\n";
        }
        if (!Str(s, "folder").empty() && !s["started_at"].is_null()) {
            std::vector<std::string> protocol = ReadLines(StepFile(runDir, s, "protocol.log"));
            h << "<details><summary>Protocol in words (" << protocol.size() << " lines)</summary>\n<pre class=\"protocol\">";
            for (const auto& line : protocol) {
                std::string t = TranslateLine(line, texts);
                if (!t.empty()) h << Escape(t) << "\n";
            }
            h << "</pre></details>\n";
            h << "<details><summary>Protocol as written</summary>\n<pre>" << Escape(Joined(protocol)) << "</pre></details>\n";
            std::vector<std::string> err = ReadLines(StepFile(runDir, s, "stderr.log"));
            h << "<p>Standard error:</p>\n<pre class=\"stderr\">" << Escape(Joined(err)) << "</pre>\n";
        }
        const auto shots = s.value("screenshots", nlohmann::json::array());
        if (!shots.empty()) {
            h << "<p>Screenshots (" << shots.size() << "):</p>\n<div class=\"thumbs\">";
            for (const auto& p : shots) {
                std::string pic = p.get<std::string>();
                h << "<a href=\"" << Escape(pic) << "\"><img loading=\"lazy\" src=\"" << Escape(pic) << "\" alt=\""
                  << Escape(fs::path(pic).filename().string()) << "\"></a>";
            }
            h << "</div>\n";
        }
        h << "</section>\n";
    }
    h << "</body>\n</html>\n";
    return h.str();
}

}  // namespace shell
