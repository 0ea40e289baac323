#!/usr/bin/env bash
# consumer.sh WAY PREFIX SOURCE WORK: builds the example project against the installed library and runs it.
set -euo pipefail
way=$1 prefix=$2 source=$3 work=$4
rm -rf "$work"
mkdir -p "$work"

with_cmake() {
  "$CMAKE" -G Ninja -S "$source" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug "$@"
  "$CMAKE" --build "$work"
}

with_pkg_config() {
  local pc flags
  pc=$(find "$prefix" -name "$1.pc")
  export PKG_CONFIG_PATH=${pc%/*}
  read -r -a flags < <("$PKG_CONFIG" --cflags --libs "$1")
  "$CXX" -std=c++20 -o "$work/consumer" "$source/main.cpp" "${flags[@]}" -Wl,-rpath,"${pc%/*}/.."
}

without=()
for package in SQLite3 CURL OpenSSL ZLIB LibXml2 fmt Boost PkgConfig; do
  without+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON")
done

# expect_lack COMMAND...: the command fails, and names what the static library lacks.
expect_lack() {
  if "$@" >"$work/output" 2>&1 || ! grep -q 'zul::session_static.*lacks.*fmt' "$work/output"; then
    cat "$work/output"
    echo "it should have told what is missing"
    exit 1
  fi
}

case $way in
  cmake-lacking)
    expect_lack with_cmake -DSTATIC=ON -DCMAKE_DISABLE_FIND_PACKAGE_fmt=ON
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(lacking LANGUAGES CXX)' \
      'find_package(zulsession REQUIRED COMPONENTS static)' >"$work/CMakeLists.txt"
    expect_lack "$CMAKE" -S "$work" -B "$work/required" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_DISABLE_FIND_PACKAGE_fmt=ON
    exit
    ;;
  # Whoever uses the shared library need not have what it was built with.
  cmake-shared) with_cmake "${without[@]}" ;;
  cmake-static) with_cmake -DSTATIC=ON ;;
  pkg-config-shared) with_pkg_config zulsession ;;
  pkg-config-static) with_pkg_config zulsession-static ;;
esac

needed=$(readelf -d "$work/consumer" | grep NEEDED)
unwanted='libzulsession'
if [[ $way == *-shared ]]; then
  grep -q 'libzulsession' <<<"$needed"
  unwanted='boost|curl|sqlite|crypto|fmt|plist|systemd|xml2'
fi
if grep -E "$unwanted" <<<"$needed"; then
  echo "the program should not need that"
  exit 1
fi

# Without a collector the program neither waits nor fails.
output=$(env -i PATH="$PATH" XDG_DATA_HOME="$work/data" timeout 10 "$work/consumer" 2>"$work/log")
cat "$work/log"
[[ $output == "{}" ]]
grep -q 'initialization start' "$work/log"
