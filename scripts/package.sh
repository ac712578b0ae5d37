#!/usr/bin/env bash
# Builds the Debian packages of this machine's release into build/package: libtn-kits0.2, libtn-kits-dev,
# tarnkit. The first one carries the number of the libraries' SONAME.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh build package
cmake --preset package >/dev/null
cmake --build --preset package -j "$(nproc)"
rm -f build/package/*.deb
(cd build/package && cpack -G DEB)
ls -l build/package/*.deb
