#!/usr/bin/env bash
# Wall time of the generalutils tool's crc32c on a 256 MiB file in the page cache, beside
# `cat FILE > /dev/null`, which reads the same bytes and does nothing with them.
# Usage: bench/tool_crc.sh BUILD_DIR [RUNS]   (the tool is BUILD_DIR/tools/generalutils)
# Each of the RUNS rounds (default 9) times one cat and one crc32c, in turns, so load that
# comes and goes hits both; the medians and their ratio are printed. The file goes to
# $GU_BENCH_DIR (default /var/tmp) and is removed on exit. Exit status 1 when the tool fails
# or its median is more than 1.15x cat's.
set -euo pipefail
shopt -s inherit_errexit  # a failed run inside $(...) stops the script too
export LC_ALL=C  # a '.' in EPOCHREALTIME

tool="${1:?usage: $0 BUILD_DIR [RUNS]}/tools/generalutils"
runs="${2:-9}"
[[ -x $tool ]] || { echo "no tool at $tool: build the generalutils target" >&2; exit 2; }

dir="${GU_BENCH_DIR:-/var/tmp}"
file="$dir/gu_crc_$$_src"
trap 'rm -f "$file"' EXIT

head -c $((256 << 20)) /dev/urandom >"$file"
cat "$file" >/dev/null  # into the page cache
"$tool" crc32c "$file" >/dev/null || { echo "crc32c: the tool failed" >&2; exit 1; }

# Microseconds that "$@" takes, its output thrown away.
elapsed_us() {
  local start=$EPOCHREALTIME
  "$@" >/dev/null
  local end=$EPOCHREALTIME
  echo $((10#${end/./} - 10#${start/./}))
}

median() { printf '%s\n' "$@" | sort -n | sed -n "$((($# + 1) / 2))p"; }

cat_us=() crc_us=()
for ((i = 0; i < runs; ++i)); do
  cat_us+=("$(elapsed_us cat "$file")")
  crc_us+=("$(elapsed_us "$tool" crc32c "$file")")
done

cat_med=$(median "${cat_us[@]}")
crc_med=$(median "${crc_us[@]}")
echo "cat:    ${cat_us[*]} us"
echo "crc32c: ${crc_us[*]} us"
awk -v a="$crc_med" -v b="$cat_med" 'BEGIN {
  r = a / b
  printf "median crc32c %.1f ms, cat %.1f ms, ratio %.2f (limit 1.15): %s\n", a / 1000, b / 1000, r,
         r <= 1.15 ? "met" : "MISSED"
  exit r <= 1.15 ? 0 : 1
}'
