#!/usr/bin/env bash
# Builds the API pages into build/docs/html. Fails on a Doxygen warning and on an exported symbol without
# documentation.
# usage: scripts/docs.sh
. "$(dirname "$0")/common.sh"

scripts/setup.sh docs
rm -rf build/docs
mkdir -p build/docs
doxygen docs/Doxyfile
# A second run, as XML and with private members, for the check of the symbols.
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
