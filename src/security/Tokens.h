// Opening tokens and asking what they hold.
//
// A token that is handed back belongs to the caller; an empty one means
// failure, with the last error set. No state, any thread.
#ifndef VEL_SECURITY_TOKENS_H_
#define VEL_SECURITY_TOKENS_H_

#include <windows.h>

#include <vector>

#include "sync/ScopedHandle.h"

namespace vel {

// The token of `thread` with TOKEN_QUERY, asked for as the process and then as
// whom the thread impersonates. Empty when the thread has none.
ScopedHandle OpenThreadTokenQuery(HANDLE thread);
// The token of `process`, which needs PROCESS_QUERY_INFORMATION.
ScopedHandle OpenProcessTokenFor(DWORD access, HANDLE process);
// The calling thread's token if it has one, else the process's, for queries.
ScopedHandle OpenCurrentToken();
// A copy of `token`, which needs TOKEN_DUPLICATE.
ScopedHandle DuplicateTokenFor(HANDLE token, DWORD access,
                               SECURITY_IMPERSONATION_LEVEL level,
                               TOKEN_TYPE type);

// How ReadTokenInformation sizes its buffer: `first` bytes, and when that isn't
// enough what the system asks for and `slack` bytes.
struct TokenReadSizes {
  DWORD first;
  DWORD slack;
};
inline constexpr TokenReadSizes kAskForSize = {0, 128};
inline constexpr TokenReadSizes kReadAtOnce = {16384, 256};

// The information of one class, as the structure of that class with what it
// points to behind it. Empty on failure. `token` needs TOKEN_QUERY.
std::vector<BYTE> ReadTokenInformation(HANDLE token,
                                       TOKEN_INFORMATION_CLASS what,
                                       const TokenReadSizes& sizes);

// Whether `sid` is a group of the token that grants access: one that is there
// for denials only doesn't count. False also when the token can't be read or
// `sid` is null. `token` needs TOKEN_QUERY.
bool TokenHasGroup(HANDLE token, PSID sid);
// The two fixed forms are for the system's other programs.
bool TokenHasEveryone(HANDLE token);
// The product's own group; see LookupSidVel.
bool TokenHasVelGroup(HANDLE token);

inline constexpr DWORD kUnknownSession = 0xFFFFFFFF;

// The token of the user at the console. `state` is the console's session,
// looked up when it is kUnknownSession, as the caller sets it at first, and
// kept by the caller. Empty where nobody is logged on, or where the caller
// isn't the system account. For the system's other programs.
ScopedHandle GetConsoleUserToken(DWORD& state);

}  // namespace vel

#endif  // VEL_SECURITY_TOKENS_H_
