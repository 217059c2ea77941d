#include "Catalog.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace shell {
namespace {

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool IsDigits(const std::string& s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

bool IsHexDigits(const std::string& s) {
    if (s.size() < 3 || s[0] != '0' || (s[1] != 'x' && s[1] != 'X')) return false;
    return std::all_of(s.begin() + 2, s.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

std::string WithoutSign(const std::string& s) { return !s.empty() && s[0] == '-' ? s.substr(1) : s; }

bool IsDecimal(const std::string& s) { return !s.empty() && IsDigits(WithoutSign(s)); }
bool IsHex(const std::string& s) { return !s.empty() && IsHexDigits(WithoutSign(s)); }

// The program converts with 32-bit streams or 64-bit reads; both fit in a long long here.
long long ToNumber(const std::string& s) {
    bool negative = !s.empty() && s[0] == '-';
    std::string digits = WithoutSign(s);
    if (IsDecimal(s)) return digits.empty() ? 0 : std::strtoll(s.c_str(), nullptr, 10);
    if (IsHex(s)) {
        long long v = static_cast<long long>(std::strtoull(digits.c_str() + 2, nullptr, 16));
        return negative ? -v : v;
    }
    return 0;
}

std::vector<std::string> SplitList(const std::string& list) {
    std::vector<std::string> words;
    std::string word;
    for (char c : list) {
        if (c == ',') {
            if (!word.empty()) words.push_back(word);
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty()) words.push_back(word);
    return words;
}

template <typename T>
bool Compare(const std::string& attribute, T value, T bound) {
    if (attribute == "Equal") return value == bound;
    if (attribute == "DifferentThan") return value != bound;
    if (attribute == "GreaterThan") return value > bound;
    if (attribute == "EqualToOrGreaterThan") return value >= bound;
    if (attribute == "EqualToOrLessThan") return value <= bound;
    if (attribute == "LessThan") return value < bound;
    return true;
}

const char* const compareAttributes[] = {"Equal", "DifferentThan", "GreaterThan", "EqualToOrGreaterThan",
                                         "EqualToOrLessThan", "LessThan"};

// Words the program takes on every run besides a test's own.
const char* const frameworkBooleans[] = {"-debug"};
const char* const informational[] = {"-version", "-description", "-help", "-catalog", "-dictionary"};

}  // namespace

std::string ArgumentInfo::ConstraintText() const {
    if (!list.empty()) return "one of [" + list + "]";
    if (isRange) return "between " + low + " and " + high;
    if (!compareAttribute.empty()) {
        static const std::map<std::string, std::string> words = {
            {"Equal", "equal to"}, {"DifferentThan", "different than"}, {"GreaterThan", "greater than"},
            {"EqualToOrGreaterThan", "equal to or greater than"}, {"EqualToOrLessThan", "equal to or less than"},
            {"LessThan", "less than"}};
        return words.at(compareAttribute) + " " + compareValue;
    }
    return "";
}

const ArgumentInfo* TestInfo::Find(const std::string& n) const {
    std::string wanted = Lower(n);
    for (const auto& a : arguments)
        if (Lower(a.name) == wanted) return &a;
    return nullptr;
}

const TestInfo* Catalog::Find(const std::string& n) const {
    for (const auto& t : tests)
        if (t.name == n) return &t;
    return nullptr;
}

Catalog ParseCatalog(const std::string& xml) {
    namespace pt = boost::property_tree;
    pt::ptree tree;
    std::istringstream in(xml);
    try {
        pt::read_xml(in, tree);
    } catch (const pt::xml_parser_error& e) {
        throw std::runtime_error("the catalog is no XML: " + e.message() + " at line " + std::to_string(e.line()));
    }
    auto testFrom = [](const pt::ptree& node) {
        TestInfo t;
        t.name = node.get<std::string>("<xmlattr>.Name", "");
        t.description = node.get<std::string>("<xmlattr>.Description", "");
        for (const auto& child : node) {
            if (child.first != "ARGUMENT") continue;
            const pt::ptree& a = child.second;
            ArgumentInfo info;
            info.name = a.get<std::string>("<xmlattr>.Name", "");
            info.type = a.get<std::string>("<xmlattr>.Type", "string");
            info.defaultValue = a.get<std::string>("<xmlattr>.Value", "");
            info.description = a.get<std::string>("<xmlattr>.Description", "");
            info.required = a.get<std::string>("<xmlattr>.Required", "false") == "true";
            info.hidden = a.get<std::string>("<xmlattr>.Hidden", "false") == "true";
            info.guiHidden = a.get<std::string>("<xmlattr>.GUIHidden", "false") == "true";
            info.list = a.get<std::string>("<xmlattr>.List", "");
            if (auto low = a.get_optional<std::string>("<xmlattr>.Low")) {
                info.isRange = true;
                info.low = *low;
                info.high = a.get<std::string>("<xmlattr>.High", "");
            }
            for (const char* attribute : compareAttributes)
                if (auto v = a.get_optional<std::string>(std::string("<xmlattr>.") + attribute)) {
                    info.compareAttribute = attribute;
                    info.compareValue = *v;
                }
            t.arguments.push_back(info);
        }
        return t;
    };
    Catalog c;
    if (auto diagnostic = tree.get_child_optional("DIAGNOSTIC")) {
        c.name = diagnostic->get<std::string>("<xmlattr>.Name", "");
        c.version = diagnostic->get<std::string>("<xmlattr>.Version", "");
        for (const auto& child : *diagnostic)
            if (child.first == "TEST") c.tests.push_back(testFrom(child.second));
    } else if (auto test = tree.get_child_optional("TEST")) {
        c.tests.push_back(testFrom(*test));
    } else {
        throw std::runtime_error("the catalog has no DIAGNOSTIC or TEST element");
    }
    return c;
}

bool IsBooleanWord(const std::string& text) {
    std::string l = Lower(text);
    return l == "true" || l == "false";
}

bool IsInteger(const std::string& text) { return IsDecimal(text) || IsHex(text); }

bool IsDouble(const std::string& text) {
    if (text.empty()) return false;
    std::size_t i = 0;
    if ((text[0] == '-' || text[0] == '+') && text.size() > 1 && std::isdigit(static_cast<unsigned char>(text[1]))) i = 1;
    int digits = 0, dots = 0, after = 0;
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (std::isdigit(static_cast<unsigned char>(c))) {
            ++digits;
            if (dots > 0) ++after;
        } else if (c == '.') {
            ++dots;
        } else {
            return false;
        }
    }
    return digits > 0 && dots <= 1 && !(dots == 1 && after == 0);
}

std::string CheckValue(const ArgumentInfo& a, const std::string& value) {
    if (a.type == "boolean" && !IsBooleanWord(value)) return "is no boolean word (true or false)";
    if ((a.type == "integer" || a.type == "largeinteger") && !IsInteger(value)) return "is no integer";
    if (a.type == "double" && !IsDouble(value)) return "is no number";
    if (!a.list.empty()) {
        std::string v = Lower(value);
        for (const auto& w : SplitList(a.list))
            if (Lower(w) == v) return "";
        return "must be " + a.ConstraintText();
    }
    if (!a.isRange && a.compareAttribute.empty()) return "";
    bool ok;
    if (a.type == "double") {
        if (!IsDouble(value)) return "is no number";
        double v = std::strtod(value.c_str(), nullptr);
        ok = a.isRange ? v >= std::strtod(a.low.c_str(), nullptr) && v <= std::strtod(a.high.c_str(), nullptr)
                       : Compare(a.compareAttribute, v, std::strtod(a.compareValue.c_str(), nullptr));
    } else {
        if (!IsInteger(value)) return "is no integer";
        long long v = ToNumber(value);
        if (a.type == "integer") v = static_cast<long long>(static_cast<int>(static_cast<unsigned long long>(v) & 0xFFFFFFFFull));
        ok = a.isRange ? v >= std::strtoll(a.low.c_str(), nullptr, 10) && v <= std::strtoll(a.high.c_str(), nullptr, 10)
                       : Compare(a.compareAttribute, v, std::strtoll(a.compareValue.c_str(), nullptr, 10));
    }
    return ok ? "" : "must be " + a.ConstraintText();
}

std::vector<std::string> CheckArguments(const TestInfo& test, const std::vector<std::string>& words) {
    std::vector<std::string> problems;
    std::map<std::string, std::string> given;
    for (const auto& word : words) {
        std::size_t eq = word.find('=');
        if (word.empty() || word[0] != '-' || eq == std::string::npos) {
            problems.push_back("\"" + word + "\" is not of the form -name=value");
            continue;
        }
        std::string name = word.substr(0, eq), lowered = Lower(name), value = word.substr(eq + 1);
        given[lowered] = value;
        if (lowered == "-subtest") {
            problems.push_back("-subtest belongs in the step's subtest key, not in its arguments");
            continue;
        }
        if (lowered == "-locale") continue;
        if (std::find(std::begin(informational), std::end(informational), lowered) != std::end(informational)) {
            problems.push_back(name + " asks for an informational answer, which runs no test");
            continue;
        }
        if (std::find(std::begin(frameworkBooleans), std::end(frameworkBooleans), lowered) != std::end(frameworkBooleans)) {
            if (!IsBooleanWord(value)) problems.push_back(name + "=" + value + ": the value is no boolean word (true or false)");
            continue;
        }
        if (lowered == "-diagconf") continue;  // names a file in the step's folder, made there by the step
        const ArgumentInfo* a = test.Find(name);
        if (!a) {
            problems.push_back(test.name + " has no argument " + name);
            continue;
        }
        std::string why = CheckValue(*a, value);
        if (!why.empty()) problems.push_back(a->name + "=" + value + ": the value " + why);
    }
    for (const auto& a : test.arguments) {
        if (!a.required) continue;
        auto g = given.find(Lower(a.name));
        if (g == given.end() || g->second.empty()) problems.push_back(test.name + " needs " + a.name + ", which is missing");
    }
    return problems;
}

}  // namespace shell
