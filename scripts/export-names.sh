#!/usr/bin/env bash
# Prints the export names of src/api/export_list.h, one a line.
set -euo pipefail
sed -n 's/^ *X(\([A-Za-z_0-9]*\)).*/\1/p' "${1:?usage: export-names.sh EXPORT_LIST_H}"
