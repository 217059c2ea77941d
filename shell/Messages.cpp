#include "Messages.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <fstream>

namespace shell {

bool MessageCatalogue::Load(const std::string& path, std::string& problem) {
    sections_.clear();
    std::ifstream in(path);
    if (!in) return false;
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::ini_parser::read_ini(in, tree);
    } catch (const boost::property_tree::ini_parser_error& e) {
        problem = path + ": " + e.message() + " at line " + std::to_string(e.line());
        return false;
    }
    for (const auto& section : tree) {
        auto& keys = sections_[section.first];
        for (const auto& kv : section.second) {
            std::string v = kv.second.data();
            // A value in double quotes keeps its outer blanks.
            if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
            keys[kv.first] = v;
        }
    }
    return true;
}

std::string MessageCatalogue::Value(const std::string& locale, const std::string& key) const {
    static const std::string marker = "<DO NOT TRANSLATE>";
    for (const std::string& section : {locale, std::string("en_US")}) {
        auto s = sections_.find(section);
        if (s == sections_.end()) continue;
        auto k = s->second.find(key);
        if (k == s->second.end() || k->second.empty()) continue;
        std::string v = k->second;
        if (v.find(marker) != std::string::npos) v = v.substr(v.size() < marker.size() ? v.size() : marker.size());
        return v;
    }
    return "";
}

std::string FormatMessage(const std::string& value, const std::string& insert) {
    std::string out;
    bool inserted = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '%' && i + 1 < value.size()) {
            if (value[i + 1] == '%') {
                out += '%';
                ++i;
                continue;
            }
            if (value[i + 1] == 's' && !inserted) {
                out += insert;
                inserted = true;
                ++i;
                continue;
            }
        }
        out += value[i];
    }
    return out;
}

std::string Texts::Message(unsigned number, const std::string& insert) const {
    std::string v = program_.Value(locale_, std::to_string(number));
    if (v.empty()) return std::to_string(number) + " \"" + insert + "\"";
    return FormatMessage(v, insert);
}

std::string Texts::Shell(int number, const std::string& insert) const {
    std::string v = shell_.Value(locale_, std::to_string(number));
    if (v.empty()) return std::to_string(number) + (insert.empty() ? "" : " \"" + insert + "\"");
    return FormatMessage(v, insert);
}

std::string Texts::Failure(long code) const {
    std::string v = shell_.Value(locale_, std::to_string(code));
    return v.empty() ? std::to_string(code) : std::to_string(code) + ": " + v;
}

}  // namespace shell
