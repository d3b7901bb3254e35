# Shared by ./run and ./test: messages, and the installation of what is missing.
# Sourced with the project's folder as the working directory.

say() { printf '\n== %s\n' "$*" >&2; }
fail() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# install_missing KIND...: the packages of those kinds in packages.txt that are not installed.
install_missing() {
  local kind package missing=()
  while read -r kind package; do
    case " $* " in *" $kind "*) ;; *) continue ;; esac
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      missing+=("$package")
  done < <(grep -v '^#' packages.txt)
  [ "${#missing[@]}" -eq 0 ] && return 0
  command -v apt-get >/dev/null 2>&1 ||
    fail "this needs a Debian machine, or these packages by their names here: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    printf '%s: %d packages are missing. Run this once, then try again:\n\n' "${0##*/}" "${#missing[@]}" >&2
    printf '  sudo apt-get install --no-install-recommends %s\n\n' "${missing[*]}" >&2
    exit 1
  fi
  say "Installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  { apt-get install -y --no-install-recommends "${missing[@]}" ||
    { apt-get update && apt-get install -y --no-install-recommends "${missing[@]}"; }; } >&2 ||
    fail "apt-get could not install: ${missing[*]}"
  # CMake looks again: what was left out for want of a package is built from now on.
  rm -f build/*/build.ninja
}

# The compiler's results are found again in another checkout too.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

# The service loads no module that others than its owner could write: what is built here is not.
umask 022

# build PRESET [TARGET...]: configures once, builds; everything it prints goes to standard error.
build() {
  local preset=$1; shift
  [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >&2 || fail "cmake --preset $preset failed"
  cmake --build "build/$preset" ${1:+--target "$@"} >&2 || fail "the $preset build failed"
}

# The Windows programs run in a Wine prefix of the build tree, never in the user's own.
use_wine() {
  export WINEPREFIX=$PWD/build/wine WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES='mscoree,mshtml='
  unset DISPLAY
  mkdir -p build
  [ -f "$WINEPREFIX/system.reg" ] || {
    say 'Preparing the Wine prefix'
    /usr/lib/wine/wine64 wineboot --init >/dev/null 2>&1 || fail 'Wine could not make its prefix'
  }
}
