# Shared by ./bench/run and ./bench/counts: the programs, and how they are made ready.
# Sourced after scripts/common.sh, with the project's folder as the working directory.

bench_programs=(control control_threads control_allocations property_set property_read notice objects
  deferred request service)

is_bench_program() { case " ${bench_programs[*]} " in *" $1 "*) return 0 ;; esac; return 1; }

# Nothing of the machine's services: the service under test finds this systemctl first.
PATH=$PWD/scripts/stand-in:$PATH
export PATH

# Peers are wanted, not needed: one that cannot be installed is left out, and named with the result.
install_peers() {
  local kind package
  [ "$(id -u)" -eq 0 ] || return 0
  while read -r kind package; do
    [ "$kind" = peer ] || continue
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      { say "Installing $package"
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$package" >&2 &&
          rm -f build/bench/build.ninja; }
  done < <(grep -v '^#' packages.txt)
}

name_missing_peers() {
  local kind package
  while read -r kind package; do
    [ "$kind" = peer ] || continue
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      printf 'left out for want of a package: what needs %s\n' "$package"
  done < <(grep -v '^#' packages.txt)
}

prepare_benchmarks() {
  install_missing run bench
  install_peers
  say 'Building: bench'
  build bench bench_programs
}
