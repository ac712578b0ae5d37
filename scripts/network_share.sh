#!/bin/sh
# Measures how much of the work on a frame is the network's, and how much tensor, decoding of boxes and
# tracking take around it: a table for docs/performance/network-share.md.
#
#   cmake --preset release && cmake --build --preset release --target tarnkit && scripts/network_share.sh
#
# Needs python3-onnx for the larger network. Everything runs on one thread; run it on an idle machine.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
tool=$root/build/release/apps/tarnkit
out=$root/build/network-share
frames=${FRAMES-300}
mkdir -p "$out"

printf 'tarn-inference-config 1\nthreads 1\n' >"$out/one-thread.txt"
/usr/bin/python3 "$root/apps/detectors/models/make_blob_detector.py" "$out/trunk16.onnx" --trunk 16

echo '| frames | network | tensor, ms | network, ms | detect, ms | track, ms | all but the network |'
echo '|---|---|---:|---:|---:|---:|---:|'
for size in 640x480 1920x1080; do
  "$tool" sample "$out/figures.mp4" --scene figures --detections "$out/truth.txt" \
    --frames "$frames" --frame "$size"
  for network in built-in 'with a trunk of 16 channels'; do
    detector=onnx
    [ "$network" = built-in ] || detector=onnx:$out/trunk16.onnx
    "$tool" run "$out/figures.mp4" --detector "$detector" --config "$out/one-thread.txt" |
      awk -v size="$size" -v network="$network" '
        $1 ~ /^(tensor|network|detect|track)$/ && $2 ~ /^[0-9.]+$/ && !($1 in ms) { ms[$1] = $2 }
        END {
          ours = ms["tensor"] + ms["detect"] + ms["track"]
          printf "| %s | %s | %s | %s | %s | %s | %.1f %% |\n", size, network, ms["tensor"],
                 ms["network"], ms["detect"], ms["track"], 100 * ours / (ours + ms["network"])
        }'
  done
done
