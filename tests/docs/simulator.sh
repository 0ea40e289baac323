#!/usr/bin/env bash
# The documents say of the simulator what it does.
#
#   tests/docs/simulator.sh FOLDER WITH THE PROGRAMS
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
bin=$1

"$root/docs/simulator.sh" "$bin" | diff - "$root/docs/simulator.md" || {
  echo "docs/simulator.md is out of date: ./dev docs"
  exit 1
}

# The README's script shows what its comments promise.
script=$(sed -n '/^```zul-sim$/,/^```$/{/^```/d;p}' "$root/README.md")
diff <(grep -o '# => .*' <<<"$script" | sed 's/# => //') <("$bin/zul-sim" --no-log <<<"$script")
