#!/usr/bin/env bash
# Makes the examples anew from their sources and compares them with the tree's.
set -euo pipefail
cd "$(dirname "$0")/../../examples"
made=$(mktemp -d)
trap 'rm -rf "$made"' EXIT
convert/convert-all "$made"
count=0
for file in "$made"/*; do
  diff -u "$(basename "$file")" "$file"
  count=$((count + 1))
done
[ "$count" -eq "$(git ls-files -- '*.json' '*.xrl' ':!*/*' | wc -l)" ] || {
  echo "an example is not made by convert/convert-all" >&2
  exit 1
}
