#!/usr/bin/env bash
# golden.sh ZUL-SIM SCRIPT EXPECTED: the simulator prints for a script what is kept beside it, to the letter.
set -euo pipefail
"$1" --no-log --transcript "$2" | diff "$3" - || {
  echo "Where this is wanted: $1 --no-log --transcript $2 >$3"
  exit 1
}
