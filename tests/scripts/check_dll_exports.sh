#!/usr/bin/env bash
# A Windows build of the library exports exactly the names of the export
# list, undecorated, and nothing else.
#   check_dll_exports.sh OBJDUMP softphone.dll export_list.h
set -euo pipefail
objdump="$1"
dll="$2"
list="$3"
want=$("$(dirname "$0")/../../scripts/export-names.sh" "$list" | sort)
count=$(echo "$want" | wc -l)
have=$("$objdump" -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | tail -n +2 | awk 'NF {print $NF}' | sort)
if [ "$want" != "$have" ]; then
  echo "export mismatch:"
  diff <(echo "$want") <(echo "$have") || true
  exit 1
fi
echo "$count exports, no other name"
