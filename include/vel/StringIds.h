// The numbers of the user's texts in the language-resource library VELRCS.dll.
// Plain macros, so that resource scripts can include this too.
#ifndef VEL_PUBLIC_STRINGIDS_H_
#define VEL_PUBLIC_STRINGIDS_H_

// The program's own texts.
#define VEL_STRING_INSTALL_PENDING 10232
#define VEL_STRING_RESOURCES_MISSING 10234
#define VEL_STRING_PRODUCT_NAME 10235
// Formats with one %u for the system's error.
#define VEL_STRING_SCM_FAILED 10236
#define VEL_STRING_SERVICE_DELETE_FAILED 10237
#define VEL_STRING_EXIT 10239
#define VEL_STRING_SHUTTING_DOWN 10241
#define VEL_STRING_START_PAGE 10474

// Texts of the menus plug-in: 10600 to 10699.
#define VEL_STRING_MENU_OPEN_BROWSER 10600
#define VEL_STRING_MENU_OPEN_FILE 10601
#define VEL_STRING_MENU_CONFIGURATION 10602
#define VEL_STRING_MENU_SESSIONS 10603
#define VEL_STRING_MENU_NO_SESSIONS 10604
// The next two format with one %s, the configuration's name.
#define VEL_STRING_MENU_START_SESSION 10605
#define VEL_STRING_MENU_END_SESSION 10606
#define VEL_STRING_MENU_START_WITH_WINDOWS 10607
#define VEL_STRING_MENU_CONFIGURE 10608
#define VEL_STRING_MENU_ABOUT 10609
// Name of the file dialog's only filter.
#define VEL_STRING_MENU_ALL_FILES 10610
#define VEL_STRING_HINT_NO_SESSION 10620
// Formats with one %u, how many sessions run.
#define VEL_STRING_HINT_SESSIONS 10621
// Formats with two %s: the product's name and its version.
#define VEL_STRING_ABOUT_TEXT 10630
#define VEL_STRING_CONFIGURE_TITLE 10640
#define VEL_STRING_CONFIGURE_DEFAULT 10641
#define VEL_STRING_OK 10650
#define VEL_STRING_CANCEL 10651
// Formats with one %u for the system's error.
#define VEL_STRING_SAVE_FAILED 10652
// Formats with one %s: what was to be opened.
#define VEL_STRING_OPEN_FAILED 10653
// Formats with a %s, the configuration's name, and a %x, the VelStatus.
#define VEL_STRING_SESSION_FAILED 10654

#endif  // VEL_PUBLIC_STRINGIDS_H_
