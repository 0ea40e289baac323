#!/usr/bin/env bash
# subproject.sh SOURCE WORK: a project that contains ours gets the libraries and nothing else.
set -euo pipefail
source=$1 work=$2
rm -rf "$work"
mkdir -p "$work/embedder"
cat >"$work/embedder/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(embedder LANGUAGES CXX)
add_subdirectory($source zulsession)
foreach(kind session session_static)
  add_executable(with_\${kind} $source/examples/consumer/main.cpp)
  target_link_libraries(with_\${kind} PRIVATE zul::\${kind})
endforeach()
END
"$CMAKE" -G Ninja -S "$work/embedder" -B "$work/build"

compiles=$(ninja -C "$work/build" -t commands all | grep -- ' -c ')
if sed 's/.* -c //' <<<"$compiles" | grep -vE "^$source/(src/.*|examples/consumer/main)\.cpp" || grep simulated <<<"$compiles"; then
  echo "these are not the library"
  exit 1
fi
if grep 'consumer/main\.cpp$' <<<"$compiles" | grep -E -- ' -(W|O|f|D|march)'; then
  echo "these flags are not the embedder's"
  exit 1
fi
if grep -r libzulsession --include=cmake_install.cmake "$work/build"; then
  echo "the embedder's installation has our files in it"
  exit 1
fi
