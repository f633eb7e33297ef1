// What the user, or the machine for all users, chose for the browsers' search
// and start page. Read anew at each call; false when nothing was chosen.
#ifndef VEL_BROWSER_SEARCHOPTIONS_H_
#define VEL_BROWSER_SEARCHOPTIONS_H_

namespace vel {

// The search partner is the browsers' default search engine.
bool opt_def_browser_search();
// The product's page is the browsers' start page.
bool opt_browser_startpage();
// The search box is shown.
bool opt_search_box();
// The search feature is on offer on this machine.
bool is_search_feature_offered();

// Ends that offer. True when the machine's value could be deleted.
bool DeleteSearchFeature();

}  // namespace vel

#endif  // VEL_BROWSER_SEARCHOPTIONS_H_
