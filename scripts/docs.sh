#!/usr/bin/env bash
# Builds the API pages into build/docs/html. Fails on a warning of Doxygen's, and when an exported symbol
# has no documentation.
# usage: scripts/docs.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh docs
rm -rf build/docs
mkdir -p build/docs
doxygen docs/Doxyfile
# Once more for the symbols, private ones included, which the pages leave out.
{
  cat docs/Doxyfile
  echo "GENERATE_HTML = NO
    GENERATE_XML = YES
    XML_PROGRAMLISTING = NO
    EXTRACT_PRIVATE = YES
    WARN_IF_UNDOCUMENTED = NO"
} | doxygen -
python3 scripts/documented_symbols.py build/docs/xml packaging/abi/*.symbols
echo "pages: build/docs/html/index.html"
