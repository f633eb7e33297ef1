// Random bytes and short random names. Any thread; the last error is kept.
#ifndef VEL_FOUNDATION_RANDOMTEXT_H_
#define VEL_FOUNDATION_RANDOMTEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace vel {

inline constexpr std::wstring_view kRandomNameAlphabet =
    L"qwertyuiopasdfghjklzxcvbnm1234567890";

// A length for RandomName that leaves the choice to it: 16 to 31 characters.
inline constexpr std::size_t kRandomNameLength = std::wstring::npos;

// Fills the buffer and can't fail. The bytes are of cryptographic quality where
// the system has a provider for them; without one they come from the tick count
// and the screen and are fit for names only.
void RandomBytes(void* buffer, std::size_t size);

// `length` characters of the alphabet.
std::wstring RandomName(std::size_t length);

// What RandomBytes draws on. A source fills the buffer and tells whether it
// could.
struct RandomSources {
  bool (*standard)(void* buffer, std::size_t size);
  bool (*hardware)(void* buffer, std::size_t size);
};
// RandomBytes with other sources: without the standard one the bytes come from
// the runtime's generator, and with neither the screen is mixed in.
void RandomBytesFrom(const RandomSources& sources, void* buffer,
                     std::size_t size);

}  // namespace vel

#endif  // VEL_FOUNDATION_RANDOMTEXT_H_
