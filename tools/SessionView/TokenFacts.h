// What a token lets its processes do.
#ifndef VEL_TOOLS_SESSIONVIEW_TOKENFACTS_H_
#define VEL_TOOLS_SESSIONVIEW_TOKENFACTS_H_

#include <windows.h>

#include <string>

#include "SessionView/Facts.h"

namespace sessionview {

// This process's token, compared with what the user has outside a session: the
// shell's token, or the one that is linked with this one.
Facts own_token_facts();

// `token` needs TOKEN_QUERY; with TOKEN_DUPLICATE too, what the system doesn't
// tell is found out. `reference` needs TOKEN_QUERY; null for none.
Facts token_facts(HANDLE token, HANDLE reference);

// The name of the band that the level lies in, and its number.
std::wstring integrity_name(DWORD level);

}  // namespace sessionview

#endif  // VEL_TOOLS_SESSIONVIEW_TOKENFACTS_H_
