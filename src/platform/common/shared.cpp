// What both backends do alike: plain C++ on values the backends have already fetched.
#include <cstdlib>

#include "platform/security.h"
#include "platform/system.h"

namespace platform {

bool EqualSid(const Sid& a, const Sid& b) {
  for (int i = 0; i < 6; ++i)
    if (a.IdentifierAuthority[i] != b.IdentifierAuthority[i]) return false;
  return a.SubAuthorities == b.SubAuthorities;
}

void FreeSid(Sid& sid) { sid = Sid{}; }

bool GetEnv(const std::string& name, std::string& value) {
  const char* text = std::getenv(name.c_str());
  if (!text) return false;
  value = text;
  return true;
}

}  // namespace platform
