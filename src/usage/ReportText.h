// The text of a usage report; docs/privacy.md has all that goes out.
#ifndef VEL_USAGE_REPORTTEXT_H_
#define VEL_USAGE_REPORTTEXT_H_

#include <cstddef>
#include <string>

namespace vel {

// Stands for the user's name, which can't be told from it.
std::string report_user_hash();

// Lines that end in LF: the reason, the user's hash, the program's version, the
// system, the hardware and the counters.
std::wstring report_body(const std::wstring& reason);

// The present time in UTC, as it stands in a header.
std::wstring report_date();

// The request's headers for a body of so many characters.
std::wstring report_headers(const std::wstring& date, std::size_t body_length);

// A name of its own for each report. Nothing uses it.
std::wstring report_name(const std::wstring& reason);

}  // namespace vel

#endif  // VEL_USAGE_REPORTTEXT_H_
