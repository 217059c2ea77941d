// Access tokens and security identifiers, as far as the administrator check needs them.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/handles.h"

namespace platform {

constexpr uint32_t TokenQuery = 8;

struct Sid {
  uint8_t IdentifierAuthority[6] = {};
  std::vector<uint32_t> SubAuthorities;
};

constexpr uint8_t SecurityNtAuthority[6] = {0, 0, 0, 0, 0, 5};
constexpr uint32_t SecurityBuiltinDomainRid = 32;
constexpr uint32_t DomainAliasRidAdmins = 544;

// OpenThreadToken of the current thread; ERROR_NO_TOKEN when the thread impersonates nobody.
bool OpenThreadToken(uint32_t desiredAccess, bool openAsSelf, Handle& token);
// OpenProcessToken of the current process.
bool OpenProcessToken(uint32_t desiredAccess, Handle& token);
// GetTokenInformation of TokenGroups into a buffer of `bufferSize` bytes: the group SIDs, or
// false (ERROR_INSUFFICIENT_BUFFER) when they would not fit.
bool GetTokenGroups(Handle token, uint32_t bufferSize, std::vector<Sid>& groups);
// AllocateAndInitializeSid with the first `count` of the sub-authorities.
bool AllocateAndInitializeSid(const uint8_t (&authority)[6], uint8_t count, const uint32_t* subAuthorities, Sid& sid);
bool EqualSid(const Sid& a, const Sid& b);
void FreeSid(Sid& sid);

}  // namespace platform
