#!/usr/bin/env bash
# Fails when a file includes a header of a layer it may not see. Each folder
# under src/ may include its own headers and those of the layers listed for it.
set -euo pipefail
src="${1:?usage: check-layers.sh SRC_DIR}"
declare -A allowed=(
  [platform]=""
  [common]="platform"
  [g729]="common platform"
  [ptap]="common platform"
  [mgcp]="common platform"
  [voice]="g729 common platform"
  [audio]="common platform"
  [tones]="common platform"
  [support]="common platform"
  [core]="ptap mgcp voice support common platform"
  [api]="core ptap mgcp voice audio tones support common platform"
)
status=0
for dir in "$src"/*/; do
  layer="$(basename "$dir")"
  if [[ ! -v allowed[$layer] ]]; then
    echo "layer check: src/$layer is not a known layer" >&2
    status=1
    continue
  fi
  while IFS=: read -r file line text; do
    target="$(sed -E 's/.*#include "([a-z0-9_]+)\/.*/\1/' <<<"$text")"
    [[ "$target" == "$layer" ]] && continue
    if [[ " ${allowed[$layer]} " != *" $target "* ]]; then
      echo "$file:$line: $layer may not include $target/ ($text)" >&2
      status=1
    fi
  done < <(grep -rnE '^\s*#\s*include "[a-z0-9_]+/' "$dir" || true)
done
exit $status
