// Granting one SID access to a directory and all that is made in it, once. No
// state, any thread; two processes that grant at once may both add the entry.
#ifndef VEL_SECURITY_NTFSACCESS_H_
#define VEL_SECURITY_NTFSACCESS_H_

#include <windows.h>

#include <string>

namespace vel {

// Results of SetSidAccessOnHandle beside the system's error codes, for a step
// that failed without one.
inline constexpr DWORD kGrantNothingAdded = static_cast<DWORD>(-1);
inline constexpr DWORD kGrantNoNewList = static_cast<DWORD>(-2);

// Grants `mask` on the directory `path`, which may hold %VAR% references and is
// created with its parents if need be. An empty marker file in the directory,
// vel_acc_<mask in hexadecimal>, records that this was done, whatever came of
// it: with the marker there nothing is tried again unless `force` is set.
// Failures are logged.
void SetSidAccessOnPath(const std::wstring& path, PSID sid, DWORD mask,
                        bool force);

// The same for a path as it is, with no marker. A path that begins with a
// backslash has a prefix of four characters, such as \??\. Failures are logged,
// and so is the entry that was there before: as a failure, with a left-over
// error code.
void SetSidAccessOnExpandedPath(const std::wstring& path, PSID sid, DWORD mask);

// Adds the entry to the list of an open directory, unless an entry of the same
// SID and mask is there, and lets the parent's inheritable entries flow in.
// `handle` needs READ_CONTROL and WRITE_DAC. 0 when the entry was added;
// ERROR_NO_SECURITY_ON_OBJECT where there is no list to add to; else what
// failed, or one of the values above. An entry that is there gives
// kGrantNothingAdded, or the last error that the thread had.
DWORD SetSidAccessOnHandle(HANDLE handle, PSID sid, DWORD mask);

// Fills `new_dacl`, which is initialised and empty, with the entries of
// `old_dacl` and an inheritable one for `sid` at the end. False when nothing
// has to be added, or on failure, which is logged. The size field of `old_dacl`
// must be exact (AclFixSize); `capacity` is the block size of `new_dacl`.
bool EnsureSidInDacl(ACL* old_dacl, ACL* new_dacl, DWORD capacity, PSID sid,
                     DWORD mask);

}  // namespace vel

#endif  // VEL_SECURITY_NTFSACCESS_H_
