// Message catalogues (.msg, INI form, one section per locale) and the texts the shell shows.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace shell {

class MessageCatalogue {
public:
    // Reads the file; a missing file is an empty catalogue. Problems go to `problem`.
    bool Load(const std::string& path, std::string& problem);
    // The raw value in `locale`, else in en_US, without the translation marker; empty when absent.
    std::string Value(const std::string& locale, const std::string& key) const;
    bool Empty() const { return sections_.empty(); }

private:
    std::map<std::string, std::map<std::string, std::string>> sections_;
};

// Puts the insert where the value's "%s" stands; "%%" is one percent sign.
std::string FormatMessage(const std::string& value, const std::string& insert);

class Texts {
public:
    Texts(std::string locale, MessageCatalogue program, MessageCatalogue shell)
        : locale_(std::move(locale)), program_(std::move(program)), shell_(std::move(shell)) {}
    const std::string& Locale() const { return locale_; }
    // A protocol message by number: the program's catalogue, else the number and the quoted insert.
    std::string Message(unsigned number, const std::string& insert) const;
    // The shell's own texts (reasons, labels), by number.
    std::string Shell(int number, const std::string& insert = "") const;
    // Words for a failure code: "990408: The screen ...", or the code alone when none are known.
    std::string Failure(long code) const;

private:
    std::string locale_;
    MessageCatalogue program_;
    MessageCatalogue shell_;
};

}  // namespace shell
