// What a run leaves behind: results.json, junit.xml and report.html, made from the run's results
// and the protocols kept in its step folders, so that a resumed run writes them the same way.
#pragma once

#include "Messages.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace shell {

// Writes `text` to `path` through a temporary name, so that no half file ever has the real name.
void WriteFileAtomically(const std::string& path, const std::string& text);
std::vector<std::string> ReadLines(const std::string& path);

// A protocol line in words: the message's text, or the failure's; empty for progress lines.
std::string TranslateLine(const std::string& line, const Texts& texts);

std::string JunitXml(const nlohmann::json& run, const std::string& runDir);
std::string ReportHtml(const nlohmann::json& run, const std::string& runDir, const Texts& texts);
std::string VerdictText(const nlohmann::json& step);   // "passed, nothing tested" and the like

}  // namespace shell
