# What a vendor sets for a build of the product. The default hosts end in
# .invalid, so that a build nobody has configured reaches nobody.
set(VEL_VENDOR_HOST "stats.brindlemar.invalid" CACHE STRING "Host of the usage reports")
set(VEL_PARTNER_HOST "search.partner.invalid" CACHE STRING "Host of the search partner")
set(VEL_PARTNER_NAME "Lumenaudit" CACHE STRING "Display name of the search partner")
set(VEL_START_PAGE "http://start.brindlemar.invalid/" CACHE STRING "The product's start page")
set(VEL_FIREFOX_HOST "en-us.start.browser.invalid" CACHE STRING "Host of Firefox's stock start page")
set(VEL_UNINSTALL_KEY "Brindlemar" CACHE STRING "Name of the uninstall key")
configure_file(${CMAKE_SOURCE_DIR}/cmake/ProductConfig.h.in
               ${CMAKE_BINARY_DIR}/generated/ProductConfig.h @ONLY)
