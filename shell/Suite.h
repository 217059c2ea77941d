// A suite: the steps of a run as a person writes them, in INI form (docs/shell.md).
#pragma once

#include "Catalog.h"

#include <string>
#include <vector>

namespace shell {

enum class MachineKind { Builtin, Field, File };

struct Step {
    int index = 0;
    std::string name;
    std::string subtest;
    std::vector<std::string> arguments;
    double timeLimit = 600;
    double stopWait = 15;
    std::string folder;          // empty: a folder of its own; else shared with steps of that name
    bool catalogue = true;
    bool media = false;
    std::string videoport;       // a file copied in as videoport.ini
    std::string videoportDir;    // else the file of this folder named like the step's machine
    MachineKind machine = MachineKind::Builtin;
    std::string machineFile;
    bool hasOperator = false;
    std::string operatorScript;
    std::string clock;           // empty: as the shell was started
    bool screenshots = false;
};

struct Suite {
    std::string path;
    std::string name;            // the file's stem
    std::string description;
    std::vector<Step> steps;
};

// Reads a suite; each mistake is one line in `problems` (and the suite is then not to be run).
Suite LoadSuite(const std::string& path, std::vector<std::string>& problems);
// Checks every step against the program's catalog: one line per mistake.
std::vector<std::string> ValidateSuite(const Suite& suite, const Catalog& catalog);
// Splits an arguments value at blanks.
std::vector<std::string> SplitWords(const std::string& text);

}  // namespace shell
