# Sourced by the other scripts: strict mode, the project's folder as the current one, and what several of
# them do.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
jobs=$(nproc)

# refuse TEXT: ends the script over a bad argument.
refuse() { echo "scripts/$(basename "$0"): $1" >&2; exit 2; }

# step TITLE: announces a part of a long script.
step() { printf '\n== %s (%s s)\n' "$1" "$SECONDS"; }

# build PRESET [TARGET ...]
build() { cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$jobs" ${2+--target "${@:2}"}; }

# logged FILE COMMAND...: the output goes into the file, whose end is shown when the command fails.
logged() { "${@:2}" >"$1" 2>&1 || { tail -n 60 "$1" >&2; return 1; }; }
