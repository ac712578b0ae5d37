#!/bin/sh
# Shows the pipeline at work: people are found and followed through a video.
#
#   scripts/demo.sh            the pedestrian video of Debian's package opencv-doc; if that cannot be fetched,
#                              as with --figures
#   scripts/demo.sh --figures  a made-up clip of coloured figures, found by the built-in network; the tracks
#                              are scored against the truth. Nothing is downloaded
#   scripts/demo.sh VIDEO      a video of your own
#
# FRAMES=500 scripts/demo.sh   more frames than the first 200; FRAMES=all for the whole video
set -eu

if [ $# -gt 1 ] || [ "${1-}" = "-h" ] || [ "${1-}" = "--help" ]; then
  sed -n '2,10s/^# \{0,1\}//p' "$0"
  [ $# -le 1 ] && exit 0
  exit 2
fi

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
out=$root/build/demo
tool=$root/build/release/apps/tarnkit
video=${1-}
figures=
if [ "$video" = --figures ]; then
  figures=yes
  video=
elif [ -n "$video" ]; then
  if [ ! -f "$video" ]; then
    echo "demo: $video: no such file" >&2
    exit 1
  fi
  video=$(CDPATH='' cd -- "$(dirname -- "$video")" && pwd)/$(basename -- "$video")
fi

mkdir -p "$out"
# Builders and installers print a lot. It is shown only when they fail.
quietly() {
  what=$1
  shift
  echo "demo: $what ..."
  if ! "$@" >"$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" >&2
    echo "demo: $what failed; all of it is in $out/build.log" >&2
    exit 1
  fi
}

# Unpacks the package's video beside the results; nothing is installed. Fails quietly without it.
fetch_pedestrians() {
  [ -f "$out/vtest.avi" ] && return 0
  command -v apt-get >/dev/null && command -v dpkg-deb >/dev/null || return 1
  rm -rf "$out/package"
  mkdir -p "$out/package"
  (
    cd "$out/package"
    apt-get download opencv-doc || { apt-get update && apt-get download opencv-doc; }
    dpkg-deb -x ./opencv-doc_*.deb .
  ) >"$out/package.log" 2>&1 || return 1
  found=$(find "$out/package" \( -name 'vtest.avi' -o -name 'vtest.avi.gz' \) -print -quit)
  # It gets its name only when it is whole: a file of that name is used without a check.
  case $found in
    *.gz) gzip -dc "$found" >"$out/vtest.avi.part" || return 1 ;;
    ?*) cp "$found" "$out/vtest.avi.part" || return 1 ;;
    *) return 1 ;;
  esac
  mv "$out/vtest.avi.part" "$out/vtest.avi" || return 1
  rm -rf "$out/package"
}

cd "$root"
# The release preset builds the tests too, so what they need has to be there as it is configured.
quietly "setting up" "$root/scripts/setup.sh" build test
quietly "configuring" cmake --preset release
quietly "building (a few minutes the first time)" \
  cmake --build --preset release --target tarnkit --parallel "$(getconf _NPROCESSORS_ONLN)"

detector=hog
if [ -z "$video" ]; then
  if [ -z "$figures" ]; then
    echo "demo: fetching the pedestrian video of package opencv-doc ..."
    if fetch_pedestrians; then
      video=$out/vtest.avi
    else
      echo "demo: package opencv-doc cannot be fetched; showing coloured figures instead"
      figures=yes
    fi
  fi
  if [ -n "$figures" ]; then
    video=$out/figures.mp4
    detector=onnx
    "$tool" sample "$video" --scene figures --detections "$out/truth.txt" --frames 200
  fi
fi

set --
frames=${FRAMES-200}
[ "$frames" = all ] || set -- --frames "$frames"

# By default a track ends in the first frame that its object is not found in. These let it live on
# for up to eight frames, and unseen for three more before its identity is given up.
echo "demo: following what moves through $(basename -- "$video") ..."
"$tool" run "$video" --detector "$detector" "$@" \
  --max-confidence 8 --lost-threshold -3 \
  -o "$out/tracked.mp4" --tracks "$out/tracks.txt" \
  --contact-sheet "$out/contact-sheet.png" --trajectories "$out/trajectories.png"

if [ -n "$figures" ]; then
  echo
  echo "Against the truth, boxes matching from half of their union on:"
  "$tool" score "$out/tracks.txt" "$out/truth.txt"
fi

cat <<END

Annotated video   $out/tracked.mp4
Tracks            $out/tracks.txt
Contact sheet     $out/contact-sheet.png
Trajectories      $out/trajectories.png
END
