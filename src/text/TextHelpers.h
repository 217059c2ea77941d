// Text, number and file helpers shared by the whole program. Narrow text is a byte string of the
// process code page; wide text holds 16-bit characters.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

bool IsHexDigits(const std::string& text);
bool IsDigits(const std::string& text);
bool IsDecimal(const std::string& text);
bool IsHex(const std::string& text);
bool IsInteger(const std::string& text);
bool IsDouble(const std::string& text);

// Decimal when IsDecimal, hexadecimal when IsHex, else 0. Out-of-range text saturates.
int32_t ToInt32(const std::string& text);
uint32_t ToUInt32(const std::string& text);
int64_t ToInt64(const std::string& text);
double ToDouble(const std::string& text);

std::string ToText(int32_t value);
std::string ToText(uint32_t value);
std::string ToText(int64_t value);
std::string ToText(double value);
std::string ToHexText(uint32_t value);

std::string ToLower(const std::string& text);
std::string ToUpper(const std::string& text);
std::wstring ToLowerW(const std::wstring& text);

std::string TrimLeft(const std::string& text);
std::string TrimRight(const std::string& text);
std::string Trim(const std::string& text);

// Replaces, in place, the first `from` from the start of the text until none is left.
void ReplaceAll(std::string& text, const std::string& from, const std::string& to);
// Appends each maximal run of characters not in `delimiters`.
void Split(const std::string& text, const std::string& delimiters, std::vector<std::string>& out);

std::wstring Widen(const std::string& text);
std::string Narrow(const std::wstring& text);
std::string XmlEscape(const std::string& text);

// `text` with every line feed replaced by one blank.
std::string OneLine(const std::string& text);
// The catalog's Description attribute: escaped, on one line, with its leading blank.
std::string CatalogDescription(const std::string& description);

bool FileExists(const std::string& path);
bool ReadTextFile(const std::string& path, std::string& text);
// A text file opened for reading, or null: also for one larger than any real one (errno EFBIG),
// which is never read.
std::FILE* OpenTextFile(const std::string& path);
std::string GetWorkingDirectory();
std::string GetModulePath();
