#!/usr/bin/env bash
# install.sh CMAKE BUILD PREFIX: installs into another place first, so that nothing in the tree may depend on
# where it was installed.
set -euo pipefail
cmake=$1 build=$2 prefix=$3
rm -rf "$prefix" "$prefix.before"
"$cmake" --install "$build" --prefix "$prefix.before" >/dev/null
mv "$prefix.before" "$prefix"
"$prefix/bin/zul-collector" --help >/dev/null
"$prefix/bin/zul-sim" --help >/dev/null

# One version everywhere: what the header says, in the packages, the library's name and the programs.
macro() { sed -n "s/^#define ZUL_VERSION_$1 //p" "$prefix/include/zul/ZULSessionVersion.h"; }
version=$(macro MAJOR).$(macro MINOR).$(macro PATCH)
grep -qxF "Version: $version" "$(find "$prefix" -name zulsession.pc)"
grep -qF "PACKAGE_VERSION \"$version\"" "$(find "$prefix" -name zulsession-config-version.cmake)"
[[ -n $(find "$prefix" -name "libzulsession.so.$version") ]]
[[ $("$prefix/bin/zul-sim" --version) == "zul-sim $version" ]]
