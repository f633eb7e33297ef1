// Which of the library's two builds this is.
#ifndef VEL_COMPANIONS_SESSION_BUILDKIND_H_
#define VEL_COMPANIONS_SESSION_BUILDKIND_H_

namespace velul {

// The reduced build serves the minimal modes: its sessions keep the user's own
// rights, and it can be put into a mode. The full build takes rights away.
#ifdef VEL_UL_REDUCED
inline constexpr bool kReducedBuild = true;
#else
inline constexpr bool kReducedBuild = false;
#endif

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_BUILDKIND_H_
