#include "security/NtfsAccess.h"

#include <aclapi.h>

#include <vector>

#include "foundation/Environment.h"
#include "foundation/LongPath.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "security/Acls.h"
#include "security/LocalMemory.h"
#include "sync/NtApi.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\NtfsAccess";

constexpr ACCESS_MASK kDirectoryAccess = GENERIC_READ | WRITE_DAC | SYNCHRONIZE;
constexpr ULONG kShareAll =
    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// Room for the new entry, whatever the SID.
constexpr WORD kRoomForEntry = 256;

std::wstring MarkerOf(const std::wstring& directory, DWORD mask) {
  return FormatWide(L"%s\\vel_acc_%x", directory.c_str(), mask);
}

bool CreateMarker(const std::wstring& name) {
  const ScopedFileHandle marker(
      CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return marker.valid();
}

NTSTATUS OpenDirectory(const std::wstring& path, ScopedHandle& directory) {
  std::wstring name(kNtPathPrefix);
  name += StartsWith(path, L"\\") && path.size() >= kNtPathPrefix.size()
              ? path.substr(kNtPathPrefix.size())
              : path;
  UNICODE_STRING text;
  nt::RtlInitUnicodeString(&text, name.c_str());
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, nullptr,
                             nullptr);
  IO_STATUS_BLOCK io = {};
  return nt::ZwOpenFile(directory.put(), kDirectoryAccess, &attributes, &io,
                        kShareAll, FILE_SYNCHRONOUS_IO_NONALERT);
}

DWORD LastErrorOr(DWORD otherwise) {
  const DWORD error = GetLastError();
  return error != ERROR_SUCCESS ? error : otherwise;
}

bool HasEntry(ACL* dacl, PSID sid, DWORD mask) {
  for (DWORD i = 0; i < dacl->AceCount; ++i) {
    ACCESS_ALLOWED_ACE* entry = nullptr;
    if (!GetAce(dacl, i, reinterpret_cast<void**>(&entry))) return false;
    if (entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
        entry->Mask == mask && EqualSid(&entry->SidStart, sid)) {
      return true;
    }
  }
  return false;
}

bool CopyEntries(ACL* from, ACL* to) {
  if (from->AceCount == 0) return true;
  void* first = nullptr;
  return GetAce(from, 0, &first) &&
         AddAce(to, ACL_REVISION, 0, first,
                from->AclSize - static_cast<DWORD>(sizeof(ACL)));
}

// SetSidAccessOnHandle for the object's present list.
DWORD AddToDacl(HANDLE handle, ACL* old_dacl, PSID sid, DWORD mask) {
  AclFixSize(old_dacl);
  const WORD capacity = static_cast<WORD>(old_dacl->AclSize + kRoomForEntry);
  std::vector<BYTE> block(capacity);
  ACL* const new_dacl = reinterpret_cast<ACL*>(block.data());
  if (!InitializeAcl(new_dacl, capacity, ACL_REVISION)) {
    return LastErrorOr(kGrantNoNewList);
  }
  if (!EnsureSidInDacl(old_dacl, new_dacl, capacity, sid, mask)) {
    return LastErrorOr(kGrantNothingAdded);
  }
  AclFixSize(new_dacl);
  return SetSecurityInfo(
      handle, SE_FILE_OBJECT,
      DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION,
      nullptr, nullptr, new_dacl, nullptr);
}

}  // namespace

void SetSidAccessOnPath(const std::wstring& path, PSID sid, DWORD mask,
                        bool force) {
  std::wstring directory = expand_env(path, true);
  if (directory.empty()) {
    VelLog_Print(kLogWarning,
                 L"SetSidAccessOnPath'%s', 0x%x) - failed to expand path",
                 path.c_str(), mask);
    return;
  }
  if (GetFileAttributesW(MarkerOf(directory, mask).c_str()) !=
      INVALID_FILE_ATTRIBUTES) {
    VelLog_Print(kLogTrace,
                 L"SetSidAccessOnPath('%s', 0x%x) - marker already exists",
                 path.c_str(), mask);
    if (!force) return;
  }
  const std::wstring long_form = long_path(directory);
  if (!long_form.empty()) directory = long_form;
  make_directories(with_slash(directory));
  SetSidAccessOnExpandedPath(directory, sid, mask);
  const std::wstring marker = MarkerOf(directory, mask);
  if (!CreateMarker(marker)) {
    VelLog_Print(kLogTrace,
                 L"SetSidAccessOnPath('%s', 0x%x) - failed to create marker "
                 L"'%s' - le=%u",
                 directory.c_str(), mask, marker.c_str(), GetLastError());
  }
}

void SetSidAccessOnExpandedPath(const std::wstring& path, PSID sid,
                                DWORD mask) {
  ScopedHandle directory;
  const NTSTATUS status = OpenDirectory(path, directory);
  if (!nt::succeeded(status)) {
    VelLog_Print(kLogWarning, L"SetSidAccessOnExpandedPath('%s') rv=0x%x",
                 path.c_str(), status);
    return;
  }
  const DWORD error = SetSidAccessOnHandle(directory.get(), sid, mask);
  if (error != ERROR_SUCCESS) {
    VelLog_Print(kLogWarning, L"SetSidAccessOnExpandedPath('%s') err=%u",
                 path.c_str(), error);
  }
}

DWORD SetSidAccessOnHandle(HANDLE handle, PSID sid, DWORD mask) {
  ACL* dacl = nullptr;
  ScopedDescriptor descriptor;
  const DWORD error =
      GetSecurityInfo(handle, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                      nullptr, nullptr, &dacl, nullptr, descriptor.put());
  if (error != ERROR_SUCCESS) return error;
  if (!descriptor || dacl == nullptr) return ERROR_NO_SECURITY_ON_OBJECT;
  return AddToDacl(handle, dacl, sid, mask);
}

bool EnsureSidInDacl(ACL* old_dacl, ACL* new_dacl, DWORD, PSID sid,
                     DWORD mask) {
  if (old_dacl->AclRevision != new_dacl->AclRevision) {
    VelLog_Print(kLogNotice,
                 L"EnsureSidInDacl: different revisions: 0x%x!=0x%x",
                 old_dacl->AclRevision, new_dacl->AclRevision);
    return false;
  }
  if (HasEntry(old_dacl, sid, mask)) return false;
  if (!CopyEntries(old_dacl, new_dacl)) {
    VEL_LOG_WIN32_CALL();
    return false;
  }
  VelLog_Print(kLogNotice, L"EnsureSidInDacl: will add mask=0x%x", mask);
  if (!AddAccessAllowedAceEx(new_dacl, ACL_REVISION,
                             OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, mask,
                             sid)) {
    VEL_LOG_WIN32_CALL();
    return false;
  }
  return true;
}

}  // namespace vel
