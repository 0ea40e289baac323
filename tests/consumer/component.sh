#!/usr/bin/env bash
# component.sh PREFIX WORK secret|webkit: a host chooses a piece from a library beside ours, with CMake and with
# pkg-config.
set -euo pipefail
prefix=$1 work=$2 component=$3
rm -rf "$work"
mkdir -p "$work"
case $component in
  secret)
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
    ;;
  webkit)
    cat >"$work/main.cpp" <<END
#include <zul/Platform.h>
#include <zul/WebKit.h>
#include <zul/platform/WebView.h>
int main() {
  zul::Platform platform = zul::linuxPlatform("com.example.consumer");
  platform.webViews = zul::webKitWebViews(platform.dispatcher);
  return platform.webViews->hiddenWebView(nullptr)->isLoading() ? 1 : 0;
}
END
    ;;
esac
cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES CXX)
find_package(zulsession 1.1 REQUIRED COMPONENTS $component)
add_executable(host main.cpp)
target_link_libraries(host PRIVATE zul::session zul::$component)
END
"$CMAKE" -G Ninja -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$CMAKE" --build "$work/build"
env -i "$work/build/host"

pc=$(find "$prefix" -name "zul-$component.pc")
export PKG_CONFIG_PATH=${pc%/*}
read -r -a flags < <("$PKG_CONFIG" --cflags --libs zulsession "zul-$component")
"$CXX" -std=c++20 -o "$work/host" "$work/main.cpp" "${flags[@]}" -Wl,-rpath,"${pc%/*}/.."
env -i "$work/host"
