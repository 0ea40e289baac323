#!/usr/bin/env bash
# headers.sh COMPILER INCLUDE: every public header compiles alone, and pulls in the standard library and its own
# kind only.
set -euo pipefail
compiler=$1 include=$2
cd "$include"
failed=0
while read -r header; do
  flags=(-std=c++20 -Wall -Wextra -Wpedantic -Werror -I "$include" -x c++ -include "$header" /dev/null)
  if ! "$compiler" -fsyntax-only "${flags[@]}"; then
    echo "$header does not compile alone"
    failed=1
  elif "$compiler" -M "${flags[@]}" | tr ' ' '\n' |
    grep -E '/(boost|curl|openssl|fmt|plist|systemd|libsecret[^/]*|glib[^/]*)/|/(sqlite3|zlib|zconf)[^/]*\.h$'; then
    echo "$header pulls these in"
    failed=1
  fi
done < <(find zul -name '*.h' | sort)
exit $failed
