#!/usr/bin/env bash
# Measures how much of a frame's time the network takes, and how much tensor, decoding of boxes and tracking.
# Prints docs/performance/network-share.md for scripts/bench.sh.
# usage: scripts/network_share.sh TARNKIT TITLE
#   TARNKIT: the tool of a Release build. TITLE: a sentence that says what was measured on what.
# Environment: FRAMES (300). Needs python3-onnx for the larger network. Run it on an idle machine.
. "$(dirname "$0")/common.sh"
tool=${1:?usage: scripts/network_share.sh TARNKIT TITLE}
title=${2:?usage: scripts/network_share.sh TARNKIT TITLE}
frames=${FRAMES:-300}
out=build/network-share
mkdir -p "$out"
printf 'tarn-inference-config 1\nthreads 1\n' >"$out/one-thread.txt"
/usr/bin/python3 apps/detectors/models/make_blob_detector.py "$out/trunk16.onnx" --trunk 16 >&2

cat <<END
# Time outside the network

A frame's time outside the network is that of the letterboxed tensor, of decoding the network's output with
suppression of duplicates, and of tracking. \`tarnkit run --detector onnx\` prints the split in its summary. The goal is
less than 10 % of the sum.

$title; one thread, medians over $frames frames, in wall time.

| frames | network | tensor, ms | network, ms | decode, ms | track, ms | outside the network |
|---|---|---:|---:|---:|---:|---:|
END
for size in 640x480 1920x1080; do
  "$tool" sample "$out/figures.mp4" --scene figures --detections "$out/truth.txt" \
    --frames "$frames" --frame "$size" >&2
  for network in 'built-in' 'with a trunk, about 1 GFLOP'; do
    detector=onnx
    [ "$network" = built-in ] || detector=onnx:$out/trunk16.onnx
    "$tool" run "$out/figures.mp4" --detector "$detector" --config "$out/one-thread.txt" |
      awk -v size="$size" -v network="$network" '
        $1 ~ /^(tensor|network|detect|track)$/ && $2 ~ /^[0-9.]+$/ && !($1 in ms) { ms[$1] = $2; ++stages }
        END {
          if (stages != 4) { print "network_share.sh: a stage is missing" >"/dev/stderr"; exit 1 }
          ours = ms["tensor"] + ms["detect"] + ms["track"]
          printf "| %s | %s | %s | %s | %s | %s | %.1f %% |\n", size, network, ms["tensor"],
                 ms["network"], ms["detect"], ms["track"], 100 * ours / (ours + ms["network"])
        }'
  done
done
printf "\nFeeding the tensor to the network and copying its output count as network.\n"
