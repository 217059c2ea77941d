#include "Fleet.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <nlohmann/json.hpp>

namespace fleet {
namespace {

namespace fs = std::filesystem;
using store::Dialect;
using store::Row;

constexpr const char* FailureVerdicts = "('failed', 'hung', 'crashed', 'machine_down')";

std::string TimeText(Dialect dialect, const std::string& column) {
  return dialect == Dialect::Postgres ? "to_char(" + column + ", 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"')" : column;
}
std::string DayText(Dialect dialect, const std::string& column) {
  return dialect == Dialect::Postgres ? "to_char(" + column + ", 'YYYY-MM-DD')" : "substr(" + column + ", 1, 10)";
}

std::string Str(const Row& row, size_t column) { return row[column].value_or(""); }
long long Num(const Row& row, size_t column) { return row[column] ? std::stoll(*row[column]) : 0; }

std::string Html(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

// A file name that a run id from any PC cannot turn into a path.
std::string SafeName(const std::string& text) {
  std::string out;
  for (char c : text) out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') ? c : '_';
  return out.substr(0, 80);
}

std::string Percent(long long part, long long whole) {
  if (whole == 0) return "-";
  std::ostringstream out;
  out.precision(1);
  out << std::fixed << 100.0 * static_cast<double>(part) / static_cast<double>(whole) << "%";
  return out.str();
}

std::string Verdict(const LatestRun& run) {
  if (run.state == "running") return "unfinished";
  if (run.failures > 0) return "failed (" + std::to_string(run.failures) + ")";
  return run.state == "finished" || run.state == "resumed" ? "passed" : run.state;
}

void WriteAtomically(const fs::path& path, const std::string& bytes) {
  fs::path temporary = path;
  temporary += ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << bytes;
    out.close();
    if (!out) {
      std::error_code ignored;
      fs::remove(temporary, ignored);
      throw std::runtime_error("cannot write " + temporary.string());
    }
  }
  fs::rename(temporary, path);
}

// A column padded to `width` (texts here are ASCII or UTF-8 whose width we do not measure).
std::string Pad(std::string text, size_t width) {
  if (text.size() > width) text = text.substr(0, width - 1) + "~";
  return text + std::string(width + 2 - text.size(), ' ');
}

}  // namespace

FleetData QueryFleet(store::Connection& db) {
  const Dialect d = db.GetDialect();
  FleetData data;
  std::string day = DayText(d, "r.started_at");
  for (const Row& row : db.Query("SELECT " + day + " AS day, COUNT(*), SUM(CASE WHEN e.failures > 0 THEN 1 ELSE 0 END) "
                                 "FROM runs r LEFT JOIN run_ends e ON e.run_id = r.run_id GROUP BY 1 ORDER BY 1")) {
    data.days.push_back(DayCount{Str(row, 0), Num(row, 1), Num(row, 2)});
  }
  for (const Row& row : db.Query(std::string("SELECT subtest, COALESCE(adapter, '(unknown)'), COUNT(*), SUM(CASE WHEN verdict IN ") +
                                 FailureVerdicts + " THEN 1 ELSE 0 END) FROM steps WHERE verdict <> 'not_run' "
                                 "GROUP BY 1, 2 ORDER BY 1, 2")) {
    data.rates.push_back(FailureRate{Str(row, 0), Str(row, 1), Num(row, 2), Num(row, 3)});
  }
  for (const Row& row : db.Query(std::string("SELECT subtest, COALESCE(reason, ''), COUNT(*) FROM steps WHERE verdict IN ") +
                                 FailureVerdicts + " GROUP BY 1, 2 ORDER BY 3 DESC, 1, 2 LIMIT 10")) {
    data.frequent.push_back(FrequentFailure{Str(row, 0), Str(row, 1), Num(row, 2)});
  }
  for (const Row& row :
       db.Query("SELECT pc, run_id, started, state, adapter, failures FROM ("
                "SELECT r.pc, r.run_id, " + TimeText(d, "r.started_at") + " AS started, COALESCE(e.state, 'running') AS state, "
                "COALESCE(r.adapter, '') AS adapter, COALESCE(e.failures, 0) AS failures, "
                "ROW_NUMBER() OVER (PARTITION BY r.pc ORDER BY r.started_at DESC, r.run_id DESC) AS n "
                "FROM runs r LEFT JOIN run_ends e ON e.run_id = r.run_id) latest WHERE n = 1 ORDER BY pc")) {
    data.latest.push_back(LatestRun{Str(row, 0), Str(row, 1), Str(row, 2), Str(row, 3), Str(row, 4), Num(row, 5), {}});
  }
  return data;
}

void AddFailedSteps(store::Connection& db, FleetData& data, const std::string& pageFolder) {
  // The latest runs go in as one JSON parameter: two queries, however many PCs.
  nlohmann::json ids = nlohmann::json::array();
  std::map<std::string, LatestRun*> byId;
  for (LatestRun& run : data.latest) {
    if (run.failures == 0 && run.state != "running") continue;
    ids.push_back(run.runId);
    byId[run.runId] = &run;
  }
  if (ids.empty()) return;
  const std::string inLatest = db.GetDialect() == Dialect::Postgres ? "run_id IN (SELECT jsonb_array_elements_text($1::jsonb))"
                                                                    : "run_id IN (SELECT value FROM json_each($1))";
  for (const Row& row : db.Query(std::string("SELECT run_id, ordinal, subtest, verdict, reason FROM steps WHERE ") + inLatest +
                                 " AND verdict IN " + FailureVerdicts + " ORDER BY run_id, ordinal",
                                 {ids.dump()})) {
    byId[Str(row, 0)]->failed.push_back(FailedStep{static_cast<int>(Num(row, 1)), Str(row, 2), Str(row, 3), Str(row, 4), ""});
  }
  if (pageFolder.empty()) return;
  fs::path pictures = fs::path(pageFolder) / "pictures";
  for (const Row& row : db.Query("SELECT run_id, ordinal, name, bytes FROM failed_pictures WHERE " + inLatest, {ids.dump()})) {
    std::string extension = fs::path(Str(row, 2)).extension().string();
    std::string name = SafeName(Str(row, 0)) + "-" + Str(row, 1);
    if (extension.size() > 1) name += "." + SafeName(extension.substr(1));
    fs::create_directories(pictures);
    WriteAtomically(pictures / name, Str(row, 3));
    for (FailedStep& step : byId[Str(row, 0)]->failed) {
      if (step.ordinal == Num(row, 1)) step.picture = "pictures/" + name;
    }
  }
}

std::string FleetTable(const FleetData& data) {
  std::ostringstream out;
  long long runs = 0, failed = 0;
  for (const DayCount& day : data.days) {
    runs += day.runs;
    failed += day.failedRuns;
  }
  out << runs << " runs, " << failed << " with failures, " << data.latest.size() << " PCs\n\n";
  out << Pad("PC", 24) << Pad("Latest run", 20) << Pad("Verdict", 14) << Pad("Adapter", 28) << "Failed steps\n";
  for (const LatestRun& run : data.latest) {
    std::string steps;
    for (const FailedStep& step : run.failed) steps += (steps.empty() ? "" : "; ") + step.subtest + ": " + step.reason;
    out << Pad(run.pc, 24) << Pad(run.startedAt, 20) << Pad(Verdict(run), 14) << Pad(run.adapter, 28) << steps << "\n";
  }
  out << "\n" << Pad("Subtest", 26) << Pad("Adapter", 28) << Pad("Steps", 8) << Pad("Failed", 8) << "Rate\n";
  for (const FailureRate& rate : data.rates) {
    out << Pad(rate.subtest, 26) << Pad(rate.adapter, 28) << Pad(std::to_string(rate.steps), 8)
        << Pad(std::to_string(rate.failures), 8) << Percent(rate.failures, rate.steps) << "\n";
  }
  if (!data.frequent.empty()) out << "\nMost frequent failures\n";
  for (const FrequentFailure& f : data.frequent) out << Pad(std::to_string(f.count), 8) << f.subtest << ": " << f.reason << "\n";
  return out.str();
}

std::string FleetPage(const FleetData& data) {
  nlohmann::json chart = {{"days", nlohmann::json::array()}, {"runs", nlohmann::json::array()}, {"failed", nlohmann::json::array()}};
  for (const DayCount& day : data.days) {
    chart["days"].push_back(day.day);
    chart["runs"].push_back(day.runs);
    chart["failed"].push_back(day.failedRuns);
  }
  // Inside a script element "</" would end it.
  std::string chartData = chart.dump();
  for (size_t at = chartData.find("</"); at != std::string::npos; at = chartData.find("</", at)) chartData.replace(at, 2, "<\\/");

  std::ostringstream page;
  page << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Raster-scan fleet</title>\n<style>\n"
          "body{font-family:sans-serif;margin:1.5em;color:#222}h1{font-size:1.5em}h2{font-size:1.15em;margin-top:1.6em}\n"
          "table{border-collapse:collapse}td,th{border:1px solid #ccc;padding:.25em .6em;text-align:left;vertical-align:top}\n"
          "th{background:#f0f0f0}.failed{color:#b00020;font-weight:bold}.passed{color:#1b7a1b}.num{text-align:right}\n"
          "#chart{max-width:900px;max-height:320px}\n</style></head><body>\n<h1>Raster-scan fleet</h1>\n";
  long long runs = 0, failed = 0;
  for (const DayCount& day : data.days) {
    runs += day.runs;
    failed += day.failedRuns;
  }
  page << "<p id=\"summary\">" << runs << " runs, " << failed << " with failures, " << data.latest.size() << " PCs.</p>\n";
  page << "<h2>Runs and failures per day</h2>\n<canvas id=\"chart\"></canvas>\n";
  page << "<h2>Each PC's latest run</h2>\n<table id=\"latest\"><tr><th>PC</th><th>Started (UTC)</th><th>Verdict</th>"
          "<th>Adapter</th><th>Failed steps</th></tr>\n";
  for (const LatestRun& run : data.latest) {
    std::string verdict = Verdict(run);
    std::string started = run.startedAt;
    if (started.size() >= 16) started = started.substr(0, 10) + " " + started.substr(11, 5);
    page << "<tr><td>" << Html(run.pc) << "</td><td>" << Html(started) << "</td><td class=\""
         << (run.failures > 0 ? "failed" : "passed") << "\">" << Html(verdict) << "</td><td>" << Html(run.adapter) << "</td><td>";
    for (const FailedStep& step : run.failed) {
      page << "<div>" << Html(step.subtest) << " (" << Html(step.verdict) << "): " << Html(step.reason);
      if (!step.picture.empty()) page << " <a href=\"" << Html(step.picture) << "\">picture</a>";
      page << "</div>";
    }
    page << "</td></tr>\n";
  }
  page << "</table>\n<h2>Failure rate per subtest and adapter model</h2>\n<table id=\"rates\"><tr><th>Subtest</th>"
          "<th>Adapter</th><th>Steps</th><th>Failed</th><th>Rate</th></tr>\n";
  for (const FailureRate& rate : data.rates) {
    page << "<tr><td>" << Html(rate.subtest) << "</td><td>" << Html(rate.adapter) << "</td><td class=\"num\">" << rate.steps
         << "</td><td class=\"num\">" << rate.failures << "</td><td class=\"num\">" << Percent(rate.failures, rate.steps)
         << "</td></tr>\n";
  }
  page << "</table>\n<h2>Most frequent failures</h2>\n<ol id=\"frequent\">\n";
  for (const FrequentFailure& f : data.frequent) {
    page << "<li>" << Html(f.subtest) << ": " << Html(f.reason) << " <b>(" << f.count << ")</b></li>\n";
  }
  page << "</ol>\n<script src=\"chart.js\"></script>\n<script>\nconst data = " << chartData << ";\n"
          "new Chart(document.getElementById('chart'), {type: 'bar', data: {labels: data.days, datasets: [\n"
          "  {label: 'Runs', data: data.runs, backgroundColor: '#4e79a7'},\n"
          "  {label: 'Runs with failures', data: data.failed, backgroundColor: '#e15759'}]},\n"
          "  options: {animation: false, responsive: true, scales: {y: {beginAtZero: true, ticks: {precision: 0}}}}});\n"
          "</script>\n</body></html>\n";
  return page.str();
}

std::string WriteFleet(store::Connection& db, const std::string& folder, FleetData& data) {
  fs::create_directories(folder);
  AddFailedSteps(db, data, folder);
  const char* chartSource = std::getenv("RASTERSCAN_CHARTJS");
  fs::path chartJs = chartSource && *chartSource ? chartSource : "/usr/share/javascript/chart.js/chart.min.js";
  std::ifstream in(chartJs, std::ios::binary);
  if (!in) throw std::runtime_error("Chart.js is missing at " + chartJs.string() + " (Debian package libjs-chart.js)");
  std::ostringstream script;
  script << in.rdbuf();
  WriteAtomically(fs::path(folder) / "chart.js", script.str());
  fs::path page = fs::path(folder) / "fleet.html";
  WriteAtomically(page, FleetPage(data));
  return page.string();
}

}  // namespace fleet
