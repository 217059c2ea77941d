// Force-included into the Windows unit tests. The Windows C library has no mkdtemp, which the
// tests use for their scratch folders; and a few cases are left out where Wine differs from Windows.
#pragma once

#include <direct.h>
#include <errno.h>
#include <process.h>
#include <stdio.h>
#include <string.h>

inline char* mkdtemp(char* pattern) {
  static unsigned counter = 0;
  const size_t length = strlen(pattern);
  if (length < 6 || strcmp(pattern + length - 6, "XXXXXX") != 0) {
    errno = EINVAL;
    return nullptr;
  }
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const unsigned unique = (static_cast<unsigned>(_getpid()) * 7919u + counter++) & 0xFFFFFFu;
    snprintf(pattern + length - 6, 7, "%06x", unique);
    if (_mkdir(pattern) == 0) return pattern;
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

// True when the tests run under Wine rather than Windows.
bool RunningUnderWine();
