// The user's counters: DWORDs below HKEY_CURRENT_USER\Software\Tessavane\VEL.
#ifndef VEL_USAGE_USAGECOUNTERS_H_
#define VEL_USAGE_USAGECOUNTERS_H_

namespace vel {

// Seconds that the program has run, and how often it was started.
inline constexpr wchar_t kUsedTime[] = L"UsedTime";
inline constexpr wchar_t kStartsCount[] = L"StartsCount";
// Written by a crash handler, if there is one.
inline constexpr wchar_t kSentDumpsCount[] = L"SentDumpsCount";
inline constexpr wchar_t kCrashesCount[] = L"CrashesCount";

// In the order of the report.
inline constexpr const wchar_t* kUsageCounters[] = {
    kUsedTime, kStartsCount, kSentDumpsCount, kCrashesCount};

}  // namespace vel

#endif  // VEL_USAGE_USAGECOUNTERS_H_
