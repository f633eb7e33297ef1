# register_session_view <SessionView.exe, a Unix path>: makes it the handler of
# http, https and ftp in the Wine prefix WINEPREFIX, so that a session opens a
# URL in a window of its own. It does nothing, and says nothing, unless http
# still goes to Wine's winebrowser, which opens the host's browser outside of
# the session, and nobody has chosen or installed a browser. Sourced by bash.

has_registry_key() { wine reg query "$1" >/dev/null 2>&1; }

# Wine's own choice for http is its class of that name.
has_chosen_a_browser() {
  local choices='HKCU\Software\Microsoft\Windows\Shell\Associations\UrlAssociations'
  wine reg query "$choices\\http\\UserChoice" /v ProgId 2>/dev/null |
    tr -d '\r' | grep ProgId | grep -qv 'REG_SZ *http$'
}

prefix_has_no_browser() {
  wine reg query 'HKCR\http\shell\open\command' /ve 2>/dev/null |
    grep -qi winebrowser || return 1
  ! has_chosen_a_browser &&
    ! has_registry_key 'HKCU\Software\Clients\StartMenuInternet' &&
    ! has_registry_key 'HKLM\Software\Clients\StartMenuInternet'
}

register_session_view() {
  prefix_has_no_browser || return 0
  local program file=$WINEPREFIX/drive_c/session-view.reg scheme hive
  program=$(winepath -w "$1")
  # Wine doesn't show the user's classes among all classes, Windows does.
  {
    echo 'Windows Registry Editor Version 5.00'
    for hive in HKEY_CURRENT_USER HKEY_LOCAL_MACHINE; do
      for scheme in http https ftp; do
        printf '\n[%s\\Software\\Classes\\%s\\shell\\open\\command]\n' \
          "$hive" "$scheme"
        printf '@="\\"%s\\" \\"%%1\\""\n' "${program//\\/\\\\}"
      done
    done
  } | iconv -f UTF-8 -t UTF-16 >"$file"
  wine reg import 'C:\session-view.reg' >/dev/null 2>&1 ||
    { rm -f "$file"; return 1; }
  rm -f "$file"
  echo "SessionView shows the URLs that sessions open in $WINEPREFIX."
}
