#!/usr/bin/env bash
# build.sh SOURCE BUILD: the library compiles without a warning with clang, too, which also checks who holds which
# lock. BUILD is kept, so that the next time compiles what has changed.
set -euo pipefail
source=$1 build=$2
cd "$source"
"$CMAKE" --preset clang -B "$build" -D CMAKE_CXX_COMPILER="$CXX" --log-level=WARNING
"$CMAKE" --build "$build" --target zulsession zul_secret --parallel 2
