#!/usr/bin/env bash
# Peak resident memory of the generalutils tool's crc32c, cmp and cp on a 1 GiB file.
# Usage: bench/peak_memory.sh BUILD_DIR   (the tool is BUILD_DIR/tools/generalutils)
# The files go to $GU_BENCH_DIR (default /var/tmp) and are removed on exit. Exit status 1
# when a subcommand fails or peaks at 16 MiB or more.
set -euo pipefail

tool="${1:?usage: $0 BUILD_DIR}/tools/generalutils"
[[ -x $tool ]] || { echo "no tool at $tool: build the generalutils target" >&2; exit 2; }
[[ -x /usr/bin/time ]] || { echo "needs /usr/bin/time (apt-get install time)" >&2; exit 2; }

limit_kib=$((16 * 1024))
dir="${GU_BENCH_DIR:-/var/tmp}"
src="$dir/gu_peak_$$_src" twin="$dir/gu_peak_$$_twin" dst="$dir/gu_peak_$$_dst"
trap 'rm -f "$src" "$twin" "$dst"' EXIT

head -c $((1 << 30)) /dev/urandom >"$src"
cp "$src" "$twin"  # equal bytes, so cmp has to read both files to the end

status=0
printf '%-8s %14s %10s %s\n' command max_rss_kib limit result
for cmd in "crc32c $src" "cmp $src $twin" "cp $src $dst"; do
  read -r -a args <<<"$cmd"
  report=$(/usr/bin/time -v "$tool" "${args[@]}" 2>&1 >/dev/null) || {
    echo "${args[0]}: the tool failed" >&2
    status=1
  }
  rss=$(sed -n 's/^[[:space:]]*Maximum resident set size (kbytes): //p' <<<"$report")
  result=met
  ((rss < limit_kib)) || { result=MISSED; status=1; }
  printf '%-8s %14s %10s %s\n' "${args[0]}" "$rss" "$limit_kib" "$result"
done
cmp -s "$src" "$dst" || { echo "cp: the copy differs from the source" >&2; status=1; }
exit $status
