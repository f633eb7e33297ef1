#include "security/RestrictedAccount.h"

#include <windows.h>

#include <lm.h>
#include <sddl.h>
#include <shlwapi.h>

#include <vector>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "security/AccountSids.h"
#include "security/LocalMemory.h"
#include "security/NtfsAccess.h"
#include "sync/ServiceHandle.h"

namespace vel {
namespace {

constexpr wchar_t kGroupComment[] = L"Brindlemar restricted group";
constexpr wchar_t kGroupSidTextValue[] = L"RestrictedGroupInitSid";
constexpr wchar_t kOldAccount[] = L"_VEL_restricted_";
constexpr wchar_t kOldAccountKey[] = L"Software\\Tessavane\\VEL\\Account";
constexpr wchar_t kOldService[] = L"rdtum";

constexpr DWORD kGroupInformationLevel = 1;
constexpr DWORD kFullAccess = GENERIC_ALL | SYNCHRONIZE;
constexpr DWORD kReadAccess = GENERIC_READ | SYNCHRONIZE;

// The system takes these texts as writable and doesn't write them.
void AddGroup() {
  LOCALGROUP_INFO_1 group = {const_cast<wchar_t*>(kRestrictedGroup),
                             const_cast<wchar_t*>(kGroupComment)};
  // What came of it shows when the group's SID is looked up.
  NetLocalGroupAdd(nullptr, kGroupInformationLevel,
                   reinterpret_cast<BYTE*>(&group), nullptr);
}

std::wstring SidToText(PSID sid) {
  ScopedSidText text;
  if (!ConvertSidToStringSidW(sid, text.put())) return {};
  return text.get();
}

}  // namespace

bool create_group() {
  delete_account();
  AddGroup();
  const PSID sid = LookupSidVel();
  if (sid == nullptr) return false;
  const DWORD length = GetLengthSid(sid);
  if (length == 0) return true;
  const BYTE* const bytes = static_cast<const BYTE*>(sid);
  RegSetBinary(HKEY_LOCAL_MACHINE, kProductKey, kRestrictedGroupSidValue,
               std::vector<BYTE>(bytes, bytes + length));
  return true;
}

bool delete_account() {
  const NET_API_STATUS status = NetUserDel(nullptr, kOldAccount);
  if (status != NERR_Success && status != NERR_UserNotFound) return false;
  SHDeleteKeyW(HKEY_CURRENT_USER, kOldAccountKey);
  return true;
}

bool delete_old_service() {
  const ServiceHandle manager(
      OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
  if (!manager) return false;
  const ServiceHandle service(OpenServiceW(manager.get(), kOldService, DELETE));
  if (!service) return true;
  return DeleteService(service.get()) != 0;
}

void init_group(bool force) {
  VEL_PROFILE_SCOPE("init_group");
  const PSID sid = LookupSidVel();
  if (sid == nullptr) {
    VelLog_Print(kLogNotice, L"init_group: LookupSidVel failed");
    return;
  }
  // The directory above comes second, so that the inner one is there by then.
  SetSidAccessOnPath(L"%TEMP%\\VelTmp", sid, kFullAccess, force);
  SetSidAccessOnPath(L"%TEMP%", sid, kReadAccess, force);
  const std::wstring text = SidToText(sid);
  if (!text.empty()) {
    RegSetString(HKEY_CURRENT_USER, kProductKey, kGroupSidTextValue, text,
                 kRegViewDefault);
  }
  VelLog_Print(kLogNotice, L"init_group: complete for '%s'", text.c_str());
}

}  // namespace vel
