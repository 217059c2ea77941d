// The program's description of itself (-catalog=true), and the checks a suite's arguments must pass.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace shell {

struct ArgumentInfo {
    std::string name;           // as declared, e.g. "-Retries"
    std::string type;           // string, integer, boolean, double, largeinteger
    std::string defaultValue;
    std::string description;
    bool required = false;
    bool hidden = false;
    bool guiHidden = false;
    // The constraint, at most one kind.
    std::string list;
    bool isRange = false;
    std::string low, high;
    std::string compareAttribute;  // Equal, DifferentThan, GreaterThan, ...
    std::string compareValue;
    std::string ConstraintText() const;
};

struct TestInfo {
    std::string name;
    std::string description;
    std::vector<ArgumentInfo> arguments;
    const ArgumentInfo* Find(const std::string& name) const;  // matched without regard to case
};

struct Catalog {
    std::string name;
    std::string version;
    std::vector<TestInfo> tests;
    const TestInfo* Find(const std::string& name) const;     // matched exactly, as the program does
};

// Parses the text the program prints for -catalog=true; throws std::runtime_error.
Catalog ParseCatalog(const std::string& xml);

// The command-line rules the program applies, so that a suite is refused before it runs.
bool IsBooleanWord(const std::string& text);
bool IsInteger(const std::string& text);
bool IsDouble(const std::string& text);
// Empty when `value` is acceptable for the argument, else why not.
std::string CheckValue(const ArgumentInfo& argument, const std::string& value);

// Checks one step's words against the test: each problem is one line of text.
std::vector<std::string> CheckArguments(const TestInfo& test, const std::vector<std::string>& words);

}  // namespace shell
