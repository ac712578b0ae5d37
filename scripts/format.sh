#!/usr/bin/env bash
# Formats every source file in place.
# --check changes nothing. It fails on a file that is not formatted, and on any clang-tidy finding in what changed since
# the last release. --check-all lints all files. Both are checked with one version of the tools, since others format
# and find otherwise; where that is not to be had they are skipped.
# clang-tidy reads build/release/compile_commands.json, so configure and build that preset first.
. "$(dirname "$0")/common.sh"

version=14
case "${1:-}" in
  '' | --check | --check-all) ;;
  *) refuse "'$1' is neither --check nor --check-all" ;;
esac
command -v clang-format-$version >/dev/null && command -v clang-tidy-$version >/dev/null || scripts/setup.sh lint
if ! command -v clang-format-$version >/dev/null || ! command -v clang-tidy-$version >/dev/null; then
  [ -n "${1:-}" ] || refuse "clang-format-$version is missing"
  echo "format and lint: skipped, this system has no clang-format-$version and clang-tidy-$version"
  exit 0
fi

mapfile -t files < <(find apps benchmarks common docs examples fuzz platform tarnkit tests -name '*.h' -o -name '*.cpp' | sort)
if [ -z "${1:-}" ]; then
  clang-format-$version -i "${files[@]}"
  exit 0
fi
clang-format-$version --dry-run --Werror "${files[@]}"

# Benchmarks, examples and common are not part of the release build; headers are linted through the files that use them.
build=build/release
[ -f "$build/compile_commands.json" ] || refuse "build the release preset first"
mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep '\.cpp$' | grep -Ev '^(benchmarks|common|examples)/')

# The files that differ from the last release. Fails where its commit is not in the history: then all are linted.
changed() {
  local release
  release=$(cat packaging/released)
  git cat-file -e "$release^{commit}" 2>/dev/null || return 1
  { git diff --name-only "$release" && git ls-files --others --exclude-standard; } >"$build/changed.txt"
}

# Of the sources those that changed, and one for each changed header that none of them includes.
sources_of_changes() {
  ninja -C "$build" -t deps >"$build/deps.txt"
  grep -q . "$build/deps.txt" || refuse "build the release preset first"
  awk -v root="$PWD/" '
    NR == FNR { changed[$0]; next }
    /^[^ ]/ { source = ""; next }
    {
      if (index($1, root) == 1) $1 = substr($1, length(root) + 1)
      sub("^[.][.]/[.][.]/", "", $1)
      if (source == "") source = $1
      if ($1 in changed) includes[source] = includes[source] " " $1
    }
    END {
      for (source in includes) if (source in changed) take(source)
      for (source in includes) {
        count = split(includes[source], headers, " ")
        for (i = 1; i <= count; ++i) if (!(headers[i] in linted)) { take(source); break }
      }
    }
    function take(source,    headers, count, i) {
      print source
      count = split(includes[source], headers, " ")
      for (i = 1; i <= count; ++i) linted[headers[i]]
    }' "$build/changed.txt" "$build/deps.txt" >"$build/lint.txt"
  printf '%s\n' "${sources[@]}" | grep -Fx -f <(cat "$build/lint.txt" "$build/changed.txt") || true
}

what="all ${#sources[@]} files"
if [ "$1" = --check ] && changed; then
  wanted=$(sources_of_changes)
  mapfile -t sources <<<"$wanted"
  what="${#sources[@]} files for what changed since the last release"
fi
# The analyzer stops in a function after this many states. With its default it spends two thirds of the whole
# run in constructors of the command-line library.
printf '%s\n' "${sources[@]}" | xargs -r -P "$jobs" -n 1 clang-tidy-$version -p "$build" --quiet --warnings-as-errors='*' \
  --extra-arg={-Wno-unknown-warning-option,-Xclang,-analyzer-config,-Xclang,max-nodes=20000} 2>/dev/null
echo "format and lint: clean ($what)"
