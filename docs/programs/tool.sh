#!/bin/sh
# Follows a box through a file of detections and scores the result against the truth.
# usage: tool.sh TARNKIT
set -eu
tarnkit=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# frame,id,left,top,width,height,score,class,visible; in frame 3 nothing is found
for frame in 1 2 3 4 5; do
  line="$frame,1,$((100 + 4 * frame)),80,60,120,1,0,1"
  echo "$line" >>truth.txt
  [ "$frame" = 3 ] || echo "$line" >>detections.txt
done

"$tarnkit" track detections.txt --frame 640x480 --max-confidence 3 -o tracks.txt
cat tracks.txt
"$tarnkit" score tracks.txt truth.txt

# What is wrong is said in one line, and the exit status tells.
"$tarnkit" track nowhere.txt --frame 640x480 -o tracks.txt 2>&1 || echo "exit status $?"
