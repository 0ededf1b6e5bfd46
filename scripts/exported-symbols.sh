#!/usr/bin/env bash
# Prints the symbols libZemCal.so exports, demangled and sorted: the
# library's binary surface. The test suite compares it with
# tests/exported-symbols.txt so the surface never changes by accident;
# after an intended change, regenerate that file with
#   scripts/exported-symbols.sh build/default/src/libZemCal.so > tests/exported-symbols.txt
set -euo pipefail
lib=${1:?usage: exported-symbols.sh LIBRARY}
# Defined text and data symbols only; typeinfo and vtables of exported
# classes follow the classes themselves.
nm -D --defined-only -C "$lib" | awk '$2 ~ /^[TDBRVW]$/ { $1=""; $2=""; sub(/^  /, ""); print }' |
  LC_ALL=C sort -u
