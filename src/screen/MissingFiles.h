// The check that a subtest's media lie beside the program.
#pragma once

#include <initializer_list>
#include <string>

// The names that do not exist as files, in the order given, joined by ","; empty if all exist.
// A null pointer ends the list early. The result holds at most 1024 characters.
std::string FindMissingFiles(std::initializer_list<const char*> names);
