# Sourced by the other scripts: strict mode, the project's folder as the current one, and what several of
# them do.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
jobs=$(nproc)

# What was compiled before, in this clone or another, is taken from ccache where it is installed.
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  export CCACHE_BASEDIR=${CCACHE_BASEDIR-$PWD} CCACHE_NOHASHDIR=1
fi

# refuse TEXT: ends the script over a bad argument.
refuse() { echo "scripts/$(basename "$0"): $1" >&2; exit 2; }

# step TITLE: announces a part of a long script.
step() { printf '\n== %s (%s s)\n' "$1" "$SECONDS"; }

# build PRESET [TARGET ...]
build() { cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$jobs" ${2+--target "${@:2}"}; }

# logged FILE COMMAND...: the output goes into the file, whose end is shown when the command fails.
logged() { mkdir -p "$(dirname "$1")" && "${@:2}" >"$1" 2>&1 || { tail -n 60 "$1" >&2; return 1; }; }

# run_stages STAGE ... -- [WANTED ...]: calls stage_STAGE for all stages, or for those wanted, in the order given first,
# and prints the time of each. The first that fails ends the script.
run_stages() {
  local all=() wanted times=
  while [ "$1" != -- ]; do all+=("$1") && shift; done
  shift
  for stage in "$@"; do
    [[ " ${all[*]} " = *" $stage "* ]] || refuse "there is no stage '$stage'; stages are ${all[*]}"
  done
  wanted=" ${*:-${all[*]}} "
  for stage in "${all[@]}"; do
    [[ "$wanted" = *" $stage "* ]] || continue
    printf '\n== %s\n' "$stage"
    # Not local: the trap runs when the function has gone.
    start=$SECONDS
    trap 'status=$? && echo "== $stage FAILED after $((SECONDS - start)) s" >&2 && exit $status' EXIT
    "stage_$stage"
    trap - EXIT
    times+=$(printf '%-11s %5s s' "$stage" $((SECONDS - start)))$'\n'
    echo "== $stage: $((SECONDS - start)) s"
  done
  printf '\n%s%-11s %5s s, all passed\n' "$times" "$(basename "$0")" "$SECONDS"
}
