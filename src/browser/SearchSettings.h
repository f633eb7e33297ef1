// Brings the browsers' search engine and start page in line with the options
// that the user chose, and takes the changes back.
#ifndef VEL_BROWSER_SEARCHSETTINGS_H_
#define VEL_BROWSER_SEARCHSETTINGS_H_

namespace vel {

// Applies the search option to Internet Explorer and Firefox; `removing` is for
// the uninstall. True when Internet Explorer has a search scope of the partner,
// found or made. Failures of single steps aren't reported.
bool UpdateSearchSettings(bool removing);

// Applies the start-page option to both browsers. A start page that the user
// chose for himself stays.
void UpdateStartPage();

// The search feature isn't on offer on this machine any more. True when the
// machine's value could be deleted.
bool DeleteSearchFeature();

}  // namespace vel

#endif  // VEL_BROWSER_SEARCHSETTINGS_H_
