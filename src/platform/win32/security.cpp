#include "platform/security.h"

#include <windows.h>

namespace platform {

bool OpenThreadToken(uint32_t desiredAccess, bool openAsSelf, Handle& token) {
  HANDLE handle = nullptr;
  if (!::OpenThreadToken(::GetCurrentThread(), desiredAccess, openAsSelf ? TRUE : FALSE, &handle)) return false;
  token = reinterpret_cast<Handle>(handle);
  return true;
}

bool OpenProcessToken(uint32_t desiredAccess, Handle& token) {
  HANDLE handle = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), desiredAccess, &handle)) return false;
  token = reinterpret_cast<Handle>(handle);
  return true;
}

bool GetTokenGroups(Handle token, uint32_t bufferSize, std::vector<Sid>& groups) {
  // DWORD-aligned storage for TOKEN_GROUPS.
  std::vector<DWORD> buffer((bufferSize + 3) / 4);
  DWORD returned = 0;
  if (!::GetTokenInformation(reinterpret_cast<HANDLE>(token), TokenGroups, buffer.data(), bufferSize, &returned))
    return false;
  const TOKEN_GROUPS* list = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
  groups.clear();
  for (DWORD i = 0; i < list->GroupCount; ++i) {
    PSID sid = list->Groups[i].Sid;
    if (!::IsValidSid(sid)) continue;
    Sid copy;
    const SID_IDENTIFIER_AUTHORITY* authority = ::GetSidIdentifierAuthority(sid);
    for (int j = 0; j < 6; ++j) copy.IdentifierAuthority[j] = authority->Value[j];
    UCHAR count = *::GetSidSubAuthorityCount(sid);
    for (UCHAR j = 0; j < count; ++j) copy.SubAuthorities.push_back(*::GetSidSubAuthority(sid, j));
    groups.push_back(copy);
  }
  return true;
}

bool AllocateAndInitializeSid(const uint8_t (&authority)[6], uint8_t count, const uint32_t* subAuthorities, Sid& sid) {
  SID_IDENTIFIER_AUTHORITY value;
  for (int i = 0; i < 6; ++i) value.Value[i] = authority[i];
  DWORD s[8] = {};
  for (uint8_t i = 0; i < count && i < 8; ++i) s[i] = subAuthorities[i];
  PSID made = nullptr;
  if (!::AllocateAndInitializeSid(&value, count, s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], &made)) return false;
  for (int i = 0; i < 6; ++i) sid.IdentifierAuthority[i] = authority[i];
  sid.SubAuthorities.assign(s, s + count);
  ::FreeSid(made);
  return true;
}

}  // namespace platform
