// Brings the browsers' search engine and start page in line with the options of
// SearchOptions.h, and takes the changes back. For one thread; files and values
// that can't be read or written are passed over.
#ifndef VEL_BROWSER_SEARCHSETTINGS_H_
#define VEL_BROWSER_SEARCHSETTINGS_H_

namespace vel {

// Applies the search option to Internet Explorer, from version 7 on, and to
// Firefox's default profile. `removing` is for the uninstall: with the option
// off the partner's scope and engine are deleted. True when Internet Explorer
// has a search scope of the partner, found or made: a missing one is always
// made, though not always the default.
bool UpdateSearchSettings(bool removing);

// Applies the start-page option to both browsers. A start page that the user
// chose for himself stays when the option is off.
void UpdateStartPage();

}  // namespace vel

#endif  // VEL_BROWSER_SEARCHSETTINGS_H_
