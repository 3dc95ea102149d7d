#!/usr/bin/env bash
# usage: check_links.sh PAGE...
# Every link and picture of these Markdown pages that is a path must lead somewhere.
set -euo pipefail
dead=0
for page in "$@"; do
  while read -r target; do
    [ -e "$(dirname "$page")/$target" ] || {
      echo "$page: no $target"
      dead=1
    }
  done < <(grep -oE '\]\([^):#]+[):#]' "$page" | grep -v ':$' | sed 's/^](//; s/.$//')
done
exit "$dead"
