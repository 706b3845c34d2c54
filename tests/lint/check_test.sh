#!/usr/bin/env bash
# check_test.sh CHECK FILE TEXT MESSAGE: puts TEXT into FILE of a tree of its own, runs CHECK on the
# tree and compares what it says with MESSAGE, which is empty when there is nothing to find.

set -euo pipefail
check=$1 file=$2 text=$3 message=$4

tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree/$(dirname "$file")"
printf '%b\n' "$text" >"$tree/$file"

status=0
output=$("$check" "$tree" 2>&1) || status=$?

if [[ -z $message ]]; then
  expected_status=0 expected=""
else
  expected_status=1 expected="$file:$message"
fi
if ((status != expected_status)) || [[ $output != "$expected" ]]; then
  printf 'expected exit code %d and: %s\n' "$expected_status" "$expected"
  printf 'found exit code %d and: %s\n' "$status" "$output"
  exit 1
fi
