#!/usr/bin/env bash
# A user with both browsers: options on, options off, uninstall. Prints what
# each step does to his files and keys, and compares that with what it may do.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
use_test_library
explorer='HKCU\Software\Microsoft\Internet Explorer'
options='HKCU\Software\Tessavane\VEL\Settings\Search'
machine_scopes='HKLM\Software\Microsoft\Internet Explorer\SearchScopes'
roaming=$(winepath -u "$(windows cmd /c 'echo %APPDATA%' | tr -d '\r')")
firefox=$roaming/Mozilla/Firefox

# Every value and every line of a file, with new scopes under one name.
state() {
  windows reg export "$explorer" 'C:\state.reg' /y >/dev/null
  iconv -f UTF-16LE -t UTF-8 "$WINEPREFIX/drive_c/state.reg" | tr -d '\r' |
    awk '/^\[/ {key = $0; next} NF {print key " " $0}' |
    sed -E 's/\{[0-9a-f-]{36}\}/{scope}/g'
  rm "$WINEPREFIX/drive_c/state.reg"
  (cd "$roaming" && find Mozilla -type f | while read -r file; do
    tr -d '\r' <"$file" | sed "s|^|$file: |"
  done)
}
# step <name> <command...>: runs it and keeps what it has changed.
step() {
  local name=$1
  shift
  "$@" || echo "($name ended with $?)"
  state | sort >"$results/now"
  diff "$results/then" "$results/now" | grep '^[<>]' >"$results/$name"
  mv "$results/now" "$results/then"
  printf '\n%s:\n' "$name"
  cat "$results/$name"
}
set_options() {
  local option
  for option in opt_def_browser_search opt_browser_startpage; do
    windows reg add "$options" /v $option /t REG_DWORD /d "$1" /f >/dev/null
  done
  brindlemar '/askpref="1"'
}
# changed <name> <lines>: that step did exactly this.
changed() {
  [ "$(sort "$results/$1")" = "$(sort <<<"$2")" ] ||
    fail "$1 differs from what it may do"
}

mkdir -p "$firefox/p"
printf '[Profile0]\r\nName=p\r\nIsRelative=1\r\nPath=p\r\n' \
  >"$firefox/profiles.ini"
printf '# Mozilla User Preferences\r\n\r\nuser_pref("b", true);\r\nuser_pref("browser.startup.homepage", "http://own.test/");\r\n' \
  >"$firefox/p/prefs.js"
windows reg add "$explorer\\Main" /v 'Start Page' /d http://own.test/ /f >/dev/null
windows reg add 'HKLM\Software\Microsoft\Internet Explorer' /v Version \
  /d 9.0 /f >/dev/null
windows reg add "$machine_scopes" /v DefaultScope /d machine /f >/dev/null
state | sort >"$results/then"

step options-on set_options 1
step options-off set_options 0
step uninstall brindlemar '/velinst="[uninstall]"'
step uninstall-again brindlemar '/velinst="[uninstall]"'

key='[HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer'
prefs='Mozilla/Firefox/p/prefs.js:'
page=http://start.brindlemar.invalid/
ours() { sed "s|^|$1 |" <<END; }
$key\\SearchScopes\\{scope}] "DisplayName"="Lumenaudit"
$key\\SearchScopes\\{scope}] "FaviconPath"=$icon
$key\\SearchScopes\\{scope}] "FaviconURL"="http://search.partner.invalid/favicon.ico"
$key\\SearchScopes\\{scope}] "URL"="http://search.partner.invalid/web?q={searchTerms}&qsrc=2871&o=101817&l=dis"
END
icon=$(winepath -w "$product/Lumenaudit/search/Ask.ico" | sed 's/\\/\\\\/g; s/.*/"&"/')
engine=$(sed 's|^|> Mozilla/Firefox/p/searchplugins/askcom.xml: |' \
  "$product/Lumenaudit/search/askcom.xml")
changed options-on "$(ours '>')
> $key\\SearchScopes] \"DefaultScope\"=\"{scope}\"
< $key\\Main] \"Start Page\"=\"http://own.test/\"
> $key\\Main] \"Start Page\"=\"$page\"
< $prefs user_pref(\"browser.startup.homepage\", \"http://own.test/\");
> $prefs user_pref(\"browser.startup.homepage\", \"$page\");
> $prefs user_pref(\"browser.search.selectedEngine\", \"Lumenaudit\");
$engine"
changed options-off "< $key\\SearchScopes] \"DefaultScope\"=\"{scope}\"
> $key\\SearchScopes] \"DefaultScope\"=\"machine\"
< $key\\Main] \"Start Page\"=\"$page\"
> $key\\Main] \"Start Page\"=\"about:blank\"
< $prefs user_pref(\"browser.startup.homepage\", \"$page\");
> $prefs user_pref(\"browser.startup.homepage\", \"about:blank\");
< $prefs user_pref(\"browser.search.selectedEngine\", \"Lumenaudit\");
> $prefs user_pref(\"browser.search.selectedEngine\", \"\");"
changed uninstall "$(ours '<')
$(sed 's/^>/</' <<<"$engine")"
# A scope that is missing is added, while removing too.
changed uninstall-again "$(ours '>')"

echo "Passed"
