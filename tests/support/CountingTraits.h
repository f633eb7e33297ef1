// Character traits that count the characters they touch: the work that a text
// algorithm does, whatever the machine is busy with.
#ifndef VEL_TESTS_SUPPORT_COUNTINGTRAITS_H_
#define VEL_TESTS_SUPPORT_COUNTINGTRAITS_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vel::test {

template <typename Char>
struct CountingTraits : std::char_traits<Char> {
  using Base = std::char_traits<Char>;
  static inline std::uint64_t touched = 0;

  static int compare(const Char* a, const Char* b, std::size_t count) {
    touched += count;
    return Base::compare(a, b, count);
  }
  static const Char* find(const Char* text, std::size_t count, const Char& c) {
    touched += count;
    return Base::find(text, count, c);
  }
  static Char* move(Char* to, const Char* from, std::size_t count) {
    touched += count;
    return Base::move(to, from, count);
  }
  static Char* copy(Char* to, const Char* from, std::size_t count) {
    touched += count;
    return Base::copy(to, from, count);
  }
};

template <typename Char>
using CountingString = std::basic_string<Char, CountingTraits<Char>>;
template <typename Char>
using CountingView = std::basic_string_view<Char, CountingTraits<Char>>;

// The characters that `work` touches in such strings.
template <typename Char, typename Work>
std::uint64_t CharactersTouched(const Work& work) {
  const std::uint64_t before = CountingTraits<Char>::touched;
  work();
  return CountingTraits<Char>::touched - before;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_COUNTINGTRAITS_H_
