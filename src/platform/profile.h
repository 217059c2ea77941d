// Private-profile (INI file) calls of kernel32. Each call reads or rewrites the file by name; the
// sim caches nothing, so a file changed between two calls is seen by the second.
//
// Arguments, buffer cuts and results are those of the Windows calls:
// - A value is copied cut to size - 1 characters plus a terminator; the result is the number of
//   characters copied, without the terminator.
// - A list (section names, key names, the lines of a section) holds one zero-ended string per item
//   and one more zero at its end; the result counts everything but that last zero. A list that
//   does not fit is cut after size - 2 characters and ended by two zeros; the result is size - 2.
// Wide text holds 16-bit characters, like the rest of the program's wide text.
#pragma once

#include <cstdint>

namespace platform {

// The value of `key` in `section`, or `defaultValue` (trailing blanks removed, null as empty)
// when the file, section or key is missing. A value in matching double or single quotes loses
// them. A null `section` gives the list of section names; a null `key` the list of the section's
// keys.
uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* defaultValue, char* buffer,
                                  uint32_t size, const char* fileName);
uint32_t GetPrivateProfileStringW(const wchar_t* section, const wchar_t* key, const wchar_t* defaultValue,
                                  wchar_t* buffer, uint32_t size, const wchar_t* fileName);

// The lines of `section` as a list, comments and blank lines left out ("key=value" for entries);
// 0 and an empty list when the section is missing.
uint32_t GetPrivateProfileSectionA(const char* section, char* buffer, uint32_t size, const char* fileName);

// The names of all sections as a list.
uint32_t GetPrivateProfileSectionNamesA(char* buffer, uint32_t size, const char* fileName);

// Sets `key` in `section` to `value`, creating the file, the section and the key as needed. A null
// `value` deletes the key, a null `key` the whole section. False when the file cannot be written.
bool WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* fileName);

// Stores `size` bytes of `data` under `key` as hexadecimal digits followed by a checksum byte.
// A null `data` deletes the key, a null `key` the whole section.
bool WritePrivateProfileStructA(const char* section, const char* key, const void* data, uint32_t size,
                                const char* fileName);

}  // namespace platform
