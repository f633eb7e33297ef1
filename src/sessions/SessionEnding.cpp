#include "sessions/SessionEnding.h"

namespace vel {

std::atomic<bool> session_ending{false};

}  // namespace vel
