#ifndef VEL_USAGE_INTERNETGATE_H_
#define VEL_USAGE_INTERNETGATE_H_

namespace vel {

// Whether it makes sense to try the network: the system calls itself connected,
// and this machine's name has an address that isn't its own loopback. Sends
// nothing but what the resolver does for that name. Any thread.
bool is_internet_reachable();

}  // namespace vel

#endif  // VEL_USAGE_INTERNETGATE_H_
