// Access lists as text, for comparison.
#ifndef VEL_TESTS_SECURITY_ACLTEXT_H_
#define VEL_TESTS_SECURITY_ACLTEXT_H_

#include <windows.h>

#include <sddl.h>

#include <string>
#include <vector>

#include "foundation/Text.h"
#include "security/LocalMemory.h"

namespace vel::test {

inline std::wstring SidText(PSID sid) {
  ScopedSidText text;
  return ConvertSidToStringSidW(sid, text.put()) ? text.get() : L"?";
}

// "type flags mask SID" of each entry.
inline std::vector<std::wstring> AclText(ACL* acl) {
  std::vector<std::wstring> entries;
  for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i) {
    ACCESS_ALLOWED_ACE* entry = nullptr;
    if (!GetAce(acl, i, reinterpret_cast<void**>(&entry))) break;
    entries.push_back(FormatWide(L"%x %x %x %s", entry->Header.AceType,
                                 entry->Header.AceFlags, entry->Mask,
                                 SidText(&entry->SidStart).c_str()));
  }
  return entries;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SECURITY_ACLTEXT_H_
