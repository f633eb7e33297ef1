# shellcheck shell=bash
# Leaves of the caller's environment only what the scripts mean to take from it:
# compilers, flags, search paths, locales, and options of make, tar, grep or
# apt that happen to be set there change nothing. Sourced by bash, first of all.

_kept_variables=(HOME USER LOGNAME TERM DISPLAY XAUTHORITY XDG_RUNTIME_DIR
  XDG_CACHE_HOME http_proxy https_proxy ftp_proxy no_proxy HTTP_PROXY
  HTTPS_PROXY FTP_PROXY NO_PROXY VEL_WINEPREFIX VEL_BENCH_CPU)

_forget_the_rest() {
  local name
  while read -r name; do
    case " ${_kept_variables[*]} " in
      *" $name "*) ;;
      # A few belong to bash itself and can't be unset.
      *) unset "$name" 2>/dev/null || true ;;
    esac
  done < <(compgen -e)
  while read -r name; do
    unset -f "${name##* }"
  done < <(declare -Fx)
}

_forget_the_rest
unset -f _forget_the_rest
unset _kept_variables
unalias -a
set +o posix
umask 022
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
export LC_ALL=C.UTF-8
[ -n "${HOME:-}" ] || HOME=$(getent passwd "$(id -u)" | cut -d : -f 6)
export HOME
# The convention of these folders: a relative path counts as none.
case ${XDG_CACHE_HOME:-} in
  /*) ;;
  *) unset XDG_CACHE_HOME ;;
esac
