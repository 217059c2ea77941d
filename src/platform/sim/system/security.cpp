#include "platform/security.h"

#include "platform/sim/system/handle_table.h"
#include "platform/sim/machine.h"

namespace platform {

bool OpenThreadToken(uint32_t /*desiredAccess*/, bool /*openAsSelf*/, Handle& /*token*/) {
  // The program's thread impersonates nobody.
  SetLastError(ErrorNoToken);
  return false;
}

bool OpenProcessToken(uint32_t desiredAccess, Handle& token) {
  if ((desiredAccess & TokenQuery) == 0) {
    SetLastError(ErrorAccessDenied);
    return false;
  }
  token = sim::OpenHandle(sim::HandleKind::Token, 0);
  return true;
}

bool GetTokenGroups(Handle token, uint32_t bufferSize, std::vector<Sid>& groups) {
  uint32_t value = 0;
  if (!sim::LookupHandle(token, sim::HandleKind::Token, value)) return false;
  std::vector<Sid> list;
  auto add = [&](uint8_t authority, std::vector<uint32_t> subs) {
    Sid sid;
    sid.IdentifierAuthority[5] = authority;
    sid.SubAuthorities = std::move(subs);
    list.push_back(sid);
  };
  add(1, {0});                            // Everyone
  add(5, {21, 1004336348, 1177238915, 682003330, 513});  // the domain's users
  if (sim::CurrentMachine().Administrator) add(5, {32, 544});  // BUILTIN\Administrators
  add(5, {32, 545});                      // BUILTIN\Users
  add(5, {4});                            // INTERACTIVE
  add(5, {11});                           // Authenticated Users
  // TOKEN_GROUPS: a count, then per group a SID pointer and attributes, then the SIDs.
  uint32_t needed = 4;
  for (const Sid& sid : list) needed += 8 + 8 + 4 * static_cast<uint32_t>(sid.SubAuthorities.size());
  if (needed > bufferSize) {
    SetLastError(ErrorInsufficientBuffer);
    return false;
  }
  groups = list;
  return true;
}

bool AllocateAndInitializeSid(const uint8_t (&authority)[6], uint8_t count, const uint32_t* subAuthorities, Sid& sid) {
  if (count == 0 || count > 8 || !subAuthorities) {
    SetLastError(ErrorInvalidParameter);
    return false;
  }
  for (int i = 0; i < 6; ++i) sid.IdentifierAuthority[i] = authority[i];
  sid.SubAuthorities.assign(subAuthorities, subAuthorities + count);
  return true;
}

}  // namespace platform
