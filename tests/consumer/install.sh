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
