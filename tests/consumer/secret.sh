#!/usr/bin/env bash
# secret.sh PREFIX WORK: a host chooses the keychain of the Secret Service, with CMake and with pkg-config.
set -euo pipefail
prefix=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
cat >"$work/main.cpp" <<END
#include <zul/Platform.h>
#include <zul/SecretService.h>
#include <zul/platform/Keychain.h>
int main() {
  zul::Platform platform = zul::linuxPlatform("com.example.consumer");
  platform.keychain = zul::secretServiceKeychain("com.example.consumer");
  return platform.keychain->SecItemAdd({}) == zul::platform::Keychain::Status::failed ? 0 : 1;
}
END
cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES CXX)
find_package(zulsession 1.1 REQUIRED COMPONENTS secret)
add_executable(host main.cpp)
target_link_libraries(host PRIVATE zul::session zul::secret)
END
"$CMAKE" -G Ninja -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$CMAKE" --build "$work/build"
env -i "$work/build/host"

pc=$(find "$prefix" -name zul-secret.pc)
export PKG_CONFIG_PATH=${pc%/*}
read -r -a flags < <("$PKG_CONFIG" --cflags --libs zulsession zul-secret)
"$CXX" -std=c++20 -o "$work/host" "$work/main.cpp" "${flags[@]}" -Wl,-rpath,"${pc%/*}/.."
env -i "$work/host"
