# Shared by ./bench/run and ./bench/counts: the programs, and how they are made ready.
# Sourced after scripts/common.sh, with the project's folder as the working directory.

bench_programs=(control control_threads control_allocations property_set property_read notice objects
  deferred request service)

is_bench_program() { case " ${bench_programs[*]} " in *" $1 "*) return 0 ;; esac; return 1; }

# Nothing of the machine's services: the service under test finds this systemctl first.
PATH=$PWD/scripts/stand-in:$PATH
export PATH

# peers installed|missing: those packages, one a line.
peers() {
  local kind package is
  while read -r kind package; do
    [ "$kind" = peer ] || continue
    is=missing
    ! dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' || is=installed
    [ "$is" != "$1" ] || printf '%s\n' "$package"
  done < <(grep -v '^#' packages.txt)
}

install_peer() {
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$1" >&2 </dev/null
}

# Peers are wanted, not needed: one that cannot be installed is left out, and named with the result.
install_peers() {
  local package missing
  mapfile -t missing < <(peers missing)
  [ "${#missing[@]}" -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    printf '%s: %d peers are missing and left out. This installs them:\n\n' "${0##*/}" "${#missing[@]}" >&2
    printf '  sudo apt-get install --no-install-recommends %s\n\n' "${missing[*]}" >&2
    return 0
  fi
  local updated=no
  for package in "${missing[@]}"; do
    say "Installing $package"
    install_peer "$package" && continue
    [ "$updated" = no ] || continue
    updated=yes
    apt-get update >&2 && install_peer "$package"
  done
}

# CMake looks anew when peers have come or gone since it was last here.
notice_peers() {
  local now
  now=$(peers installed)
  [ ! -f build/bench/build.ninja ] || [ "$now" = "$(cat build/bench/peers.txt 2>/dev/null)" ] ||
    rm -f build/bench/build.ninja build/bench/CMakeCache.txt
  mkdir -p build/bench
  printf '%s\n' "$now" >build/bench/peers.txt
}

name_missing_peers() {
  peers missing | sed 's/^/left out for want of a package: what needs /'
}

prepare_benchmarks() {
  install_missing run bench
  install_peers
  notice_peers
  say 'Building: bench'
  build bench bench_programs
}
