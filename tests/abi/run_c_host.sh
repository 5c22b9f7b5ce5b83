#!/usr/bin/env bash
# Runs the C host and checks both its exit status and what the library printed.
#   run_c_host.sh <c_host> <directory without a client library>
set -euo pipefail

readonly host="$1" empty_dir="$2"
mkdir -p "${empty_dir}"

status=0
output="$("${host}" "${empty_dir}" 2>&1)" || status=$?
printf '%s\n' "${output}"

if ((status != 0)); then
    echo "c_host exited with status ${status}"
    exit 1
fi
if ! grep -qF "Vesk_OSC.dll loading failed" <<<"${output}"; then
    echo "the load failure message is missing from the output"
    exit 1
fi
