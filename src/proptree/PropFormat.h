// The bytes of the packed form of a property tree; docs/files.md tells how they
// go together.
#ifndef VEL_PROPTREE_PROPFORMAT_H_
#define VEL_PROPTREE_PROPFORMAT_H_

#include <cstdint>
#include <string_view>

namespace vel {

inline constexpr std::string_view kPropLeadIn = "<VELPROP:";
inline constexpr std::string_view kPropLeadOut = ":VELPROP>";

// How a node's name is stored.
inline constexpr std::uint8_t kPropNameTag = 0xF0;
inline constexpr std::uint8_t kPropWideName = 0xF1;
inline constexpr std::uint8_t kPropNarrowName = 0xF2;
inline constexpr std::uint8_t kPropIndexedName = 0xF3;
inline constexpr std::uint8_t kPropEndOfAttributes = 0xFE;
inline constexpr std::uint8_t kPropEndOfChildren = 0xFF;

// An attribute's tag: the name's form in the low bits, which are those of a
// node's name or 0 for an empty one, and the value's in the high ones.
inline constexpr std::uint8_t kPropNameBits = 0x0F;
inline constexpr std::uint8_t kPropValueBits = 0xF0;
inline constexpr int kPropValueShift = 4;
inline constexpr std::uint8_t kPropEmptyAttributeName = 0;
inline constexpr std::uint8_t kPropWideText = 0x10;
inline constexpr std::uint8_t kPropNarrowText = 0x20;
inline constexpr std::uint8_t kPropIndexedText = 0x30;
inline constexpr std::uint8_t kPropSmallNumber = 0x40;
inline constexpr std::uint8_t kPropLargeNumber = 0x50;
inline constexpr std::int64_t kPropLargestSmall = 127;

}  // namespace vel

#endif  // VEL_PROPTREE_PROPFORMAT_H_
