#!/bin/bash
# The page for the person on call speaks of every ERROR line and every file that the library has.
# operations.sh SOURCES
set -euo pipefail
cd "$1"
rooms=(src/{conf,crm,dl,frame,node,peer,space,state,sync})
{
  grep -rhoP 'HA_LOG\(ERROR, "\K[^"]+|HA_LOG_WITH_RECORD\("\K[^"]+' "${rooms[@]}" | sed 's/\\n$//'
  grep -rhoP '"\K/(tmp|var|usr/tavo|etc)[^" ]*[^":/](?=")' "${rooms[@]}" | sed 's|//|/|'
} | sort -u | {
  missing=0
  while read -r text; do
    [ "$text" = %s ] || grep -qF -e "$text" docs/operations.md ||
      { echo "docs/operations.md does not speak of: $text"; missing=1; }
  done
  exit $missing
}
