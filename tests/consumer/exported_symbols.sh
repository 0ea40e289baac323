#!/usr/bin/env bash
# exported_symbols.sh LIBRARY INCLUDE EXPECTED...: the shared library exports what the public headers mark with ZUL_EXPORT, and
# nothing of anybody else's, whose own copy in the host would clash with it.
set -euo pipefail
library=$1 include=$2
shift 2
symbols=$(nm -D --defined-only -C "$library" | cut -c 20- | sort -u)
failed=0

while read -r symbol; do
  name=${symbol#vtable for }
  name=${name#typeinfo for }
  name=${name#typeinfo name for }
  [[ $name =~ ^(zul::)?(platform::)?([A-Za-z]+) ]]
  if [[ $name != zul::* && $name != ZULSessionVersion* ]] ||
    ! grep -rqE "ZUL_EXPORT .*\b${BASH_REMATCH[3]}\b" "$include"; then
    echo "exported: $symbol"
    failed=1
  fi
done <<<"$symbols"

for expected in "$@"; do
  if ! grep -qxF "$expected" <<<"$symbols"; then
    echo "missing: $expected"
    failed=1
  fi
done
exit $failed
