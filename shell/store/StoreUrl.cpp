#include "StoreUrl.h"

#include "Database.h"

namespace store {
namespace {

bool StartsWith(const std::string& text, const std::string& prefix) { return text.compare(0, prefix.size(), prefix) == 0; }

// The span of the password in user:password@, or npos.
size_t PasswordStart(const std::string& text, size_t& end) {
  size_t scheme = text.find("://");
  if (scheme == std::string::npos) return std::string::npos;
  size_t authorityEnd = text.find_first_of("/?", scheme + 3);
  if (authorityEnd == std::string::npos) authorityEnd = text.size();
  size_t at = text.rfind('@', authorityEnd);
  if (at == std::string::npos || at < scheme + 3) return std::string::npos;
  size_t colon = text.find(':', scheme + 3);
  if (colon == std::string::npos || colon > at) return std::string::npos;
  end = at;
  return colon + 1;
}

// The span of the value of a password= query parameter, or npos.
size_t QueryPasswordStart(const std::string& text, size_t& end) {
  size_t query = text.find('?');
  if (query == std::string::npos) return std::string::npos;
  for (size_t at = query + 1; at < text.size();) {
    size_t next = text.find('&', at);
    if (next == std::string::npos) next = text.size();
    if (text.compare(at, 9, "password=") == 0) {
      end = next;
      return at + 9;
    }
    at = next + 1;
  }
  return std::string::npos;
}

}  // namespace

StoreUrl ParseStoreUrl(const std::string& text) {
  StoreUrl result;
  if (StartsWith(text, "sqlite:")) {
    result.path = text.substr(7);
    if (result.path.empty()) throw StoreError("the store URL sqlite: names no file");
    return result;
  }
  if (!StartsWith(text, "postgresql://") && !StartsWith(text, "postgres://")) {
    throw StoreError("the store URL must begin sqlite: or postgresql://, not \"" + RedactUrl(text) + "\"");
  }
  size_t end = 0;
  if (PasswordStart(text, end) != std::string::npos || QueryPasswordStart(text, end) != std::string::npos) {
    throw StoreError("the store URL " + RedactUrl(text) +
                     " carries a password: put it in libpq's password file (~/.pgpass or PGPASSFILE) or a "
                     "service file instead");
  }
  result.postgres = true;
  result.url = text;
  return result;
}

std::string RedactUrl(const std::string& text) {
  std::string out = text;
  size_t end = 0;
  size_t start = PasswordStart(out, end);
  if (start != std::string::npos) out.replace(start, end - start, "***");
  start = QueryPasswordStart(out, end);
  if (start != std::string::npos) out.replace(start, end - start, "***");
  return out;
}

}  // namespace store
