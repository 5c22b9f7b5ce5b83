#!/usr/bin/env bash
# Compares the dynamic symbols a shared library exports with the list it is
# meant to export; either set differing is an ABI change.
#   check_exports.sh <nm> <shared library> <symbol list>
set -euo pipefail

if (($# != 3)); then
    echo "usage: $0 <nm> <shared library> <symbol list>" >&2
    exit 2
fi
readonly nm_tool="$1" library="$2" symbol_list="$3"

# Symbols the linker may add on its own; never part of the interface.
readonly linker_symbols='^(_init|_fini|_edata|_end|__bss_start)$'

exported_symbols() {
    if [[ "$(uname -s)" == Darwin ]]; then
        "${nm_tool}" -gU "${library}" | awk 'NF >= 3 { print $3 }' | sed 's/^_//'
    else
        # Type A entries are version nodes, not symbols; drop "@VERSION" suffixes.
        "${nm_tool}" -D --defined-only "${library}" |
            awk 'NF >= 3 && $2 != "A" { print $3 }' | sed 's/@.*//'
    fi
}

listed_symbols() {
    sed -e 's/#.*//' -e 's/[[:space:]]//g' "${symbol_list}" | grep -v '^$' || true
}

actual="$(exported_symbols | grep -Ev "${linker_symbols}" | LC_ALL=C sort -u)"
expected="$(listed_symbols | LC_ALL=C sort -u)"

if [[ -z "${expected}" ]]; then
    echo "no symbols listed in ${symbol_list}" >&2
    exit 1
fi

unexpected="$(LC_ALL=C comm -23 <(printf '%s\n' "${actual}") <(printf '%s\n' "${expected}"))"
missing="$(LC_ALL=C comm -13 <(printf '%s\n' "${actual}") <(printf '%s\n' "${expected}"))"

if [[ -n "${unexpected}" || -n "${missing}" ]]; then
    echo "exported symbols of ${library} differ from ${symbol_list}"
    if [[ -n "${unexpected}" ]]; then
        echo "exported but not listed:"
        sed 's/^/  + /' <<<"${unexpected}"
    fi
    if [[ -n "${missing}" ]]; then
        echo "listed but not exported:"
        sed 's/^/  - /' <<<"${missing}"
    fi
    exit 1
fi
echo "$(printf '%s\n' "${expected}" | wc -l) exported symbols, as listed"
