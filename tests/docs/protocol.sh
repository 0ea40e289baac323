#!/usr/bin/env bash
# The description of the wire is what the library's tables say, and its examples do what it says of them.
#
#   tests/docs/protocol.sh FOLDER WITH THE PROGRAMS
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
document=$root/docs/protocol.md

"$root/docs/protocol.sh" "$1" | diff - "$document" || {
  echo "docs/protocol.md is out of date: ./dev docs"
  exit 1
}

# block LANGUAGE: what the document's first block in it holds.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/d;p}" "$document"; }

diff <(block text) <(python3 <<<"$(block python)")
grep -qF "| ZUL | \`$(bash <<<"$(block sh)")\` |" "$document"
