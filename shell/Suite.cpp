#include "Suite.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <filesystem>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace shell {
namespace {

const std::set<std::string> stepKeys = {"subtest", "arguments", "time_limit", "stop_wait", "folder", "catalogue",
                                        "media", "videoport", "videoport_dir", "machine", "operator", "clock",
                                        "screenshots"};
const std::set<std::string> suiteKeys = {"description", "time_limit", "stop_wait", "clock"};

bool ParseYesNo(const std::string& text, bool& value) {
    if (text == "true" || text == "yes" || text == "1") value = true;
    else if (text == "false" || text == "no" || text == "0") value = false;
    else return false;
    return true;
}

bool ParseSeconds(const std::string& text, double& value) {
    if (!IsDouble(text)) return false;
    value = std::stod(text);
    return value > 0;
}

}  // namespace

std::vector<std::string> SplitWords(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    std::string w;
    while (in >> w) words.push_back(w);
    return words;
}

Suite LoadSuite(const std::string& path, std::vector<std::string>& problems) {
    Suite suite;
    suite.path = path;
    suite.name = fs::path(path).stem().string();
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::ini_parser::read_ini(path, tree);
    } catch (const boost::property_tree::ini_parser_error& e) {
        problems.push_back(path + ":" + std::to_string(e.line()) + ": " + e.message());
        return suite;
    }
    fs::path base = fs::absolute(fs::path(path)).parent_path();
    auto resolve = [&](const std::string& p) { return (base / p).lexically_normal().string(); };

    Step defaults;
    std::set<std::string> names;
    for (const auto& section : tree) {
        const std::string& name = section.first;
        const auto where = path + " [" + name + "]";
        if (section.second.empty() && !section.second.data().empty()) {
            problems.push_back(path + ": \"" + name + "\" stands outside a section");
            continue;
        }
        if (name == "suite") {
            for (const auto& kv : section.second) {
                const std::string& key = kv.first;
                std::string value = kv.second.data();
                if (!suiteKeys.count(key)) problems.push_back(where + ": unknown key " + key);
                else if (key == "description") suite.description = value;
                else if (key == "clock") defaults.clock = value;
                else if (!ParseSeconds(value, key == "time_limit" ? defaults.timeLimit : defaults.stopWait))
                    problems.push_back(where + ": " + key + " = " + value + " is no number of seconds above 0");
            }
            continue;
        }
        Step step = defaults;
        step.index = static_cast<int>(suite.steps.size());
        step.name = name;
        for (const auto& kv : section.second) {
            const std::string& key = kv.first;
            std::string value = kv.second.data();
            if (!stepKeys.count(key)) {
                problems.push_back(where + ": unknown key " + key);
            } else if (key == "subtest") {
                step.subtest = value;
            } else if (key == "arguments") {
                step.arguments = SplitWords(value);
            } else if (key == "time_limit" || key == "stop_wait") {
                if (!ParseSeconds(value, key == "time_limit" ? step.timeLimit : step.stopWait))
                    problems.push_back(where + ": " + key + " = " + value + " is no number of seconds above 0");
            } else if (key == "folder") {
                step.folder = value;
            } else if (key == "catalogue" || key == "media" || key == "screenshots") {
                bool& flag = key == "catalogue" ? step.catalogue : key == "media" ? step.media : step.screenshots;
                if (!ParseYesNo(value, flag)) problems.push_back(where + ": " + key + " = " + value + " is neither yes nor no");
            } else if (key == "videoport" || key == "videoport_dir") {
                std::string resolved = resolve(value);
                if (!fs::exists(resolved)) problems.push_back(where + ": " + key + " = " + value + ": no such file or folder");
                (key == "videoport" ? step.videoport : step.videoportDir) = resolved;
            } else if (key == "machine") {
                if (value == "builtin") {
                    step.machine = MachineKind::Builtin;
                } else if (value == "field") {
                    step.machine = MachineKind::Field;
                } else {
                    step.machine = MachineKind::File;
                    step.machineFile = resolve(value);
                    if (!fs::is_regular_file(step.machineFile))
                        problems.push_back(where + ": machine = " + value + ": no such file");
                }
            } else if (key == "operator") {
                step.hasOperator = true;
                step.operatorScript = value;
            } else if (key == "clock") {
                step.clock = value;
            }
        }
        if (!step.clock.empty() && step.clock != "virtual" && step.clock != "real")
            problems.push_back(where + ": clock = " + step.clock + " is neither virtual nor real");
        if (step.subtest.empty()) problems.push_back(where + ": no subtest");
        if (!names.insert(name).second) problems.push_back(where + ": a second step of this name");
        suite.steps.push_back(step);
    }
    if (suite.steps.empty() && problems.empty()) problems.push_back(path + ": no steps");
    return suite;
}

std::vector<std::string> ValidateSuite(const Suite& suite, const Catalog& catalog) {
    std::vector<std::string> problems;
    for (const auto& step : suite.steps) {
        const auto where = suite.path + " [" + step.name + "]: ";
        const TestInfo* test = catalog.Find(step.subtest);
        if (!test) {
            problems.push_back(where + "the program has no subtest " + step.subtest);
            continue;
        }
        for (const auto& p : CheckArguments(*test, step.arguments)) problems.push_back(where + p);
    }
    return problems;
}

}  // namespace shell
