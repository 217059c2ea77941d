// Where results go: `sqlite:PATH` or `postgresql://...` (also `postgres://`).
#pragma once

#include <string>

namespace store {

struct StoreUrl {
  bool postgres = false;
  std::string path;  // sqlite: the file
  std::string url;   // postgresql: the URL as given, for libpq
};

// Throws StoreError for another scheme and for a URL that carries a password: passwords come
// from libpq's password file or service file, never from a command line or the environment that
// a process list or a log shows.
StoreUrl ParseStoreUrl(const std::string& text);

// The URL with any user:password@ or password= part replaced by "***", for messages.
std::string RedactUrl(const std::string& text);

}  // namespace store
