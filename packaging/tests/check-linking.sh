#!/usr/bin/env bash
# Checks how a program is linked: the loader maps the shared libcups and each LIBRARY given (so
# that their updates reach the program and the package's dependencies name them), maps no
# library given as -LIBRARY, and the program defines none of libcups' functions itself.
# Usage: check-linking.sh PROGRAM [LIBRARY | -LIBRARY]...
set -euo pipefail
program=$1
shift
failed=0

listing=$(LD_TRACE_LOADED_OBJECTS=1 "$program")
for library in libcups.so.2 "$@"; do
  mapped=0
  awk -v l="${library#-}" '$1 == l && $3 ~ /^\// { found = 1 } END { exit !found }' <<<"$listing" && mapped=1
  if [ "${library:0:1}" = - ] && [ $mapped = 1 ]; then
    echo "the loader maps ${library#-} for $program, which must not need it:"; echo "$listing"; failed=1
  elif [ "${library:0:1}" != - ] && [ $mapped = 0 ]; then
    echo "the loader does not map $library for $program:"; echo "$listing"; failed=1
  fi
done

libcups=$(awk '$1 == "libcups.so.2" { print $3 }' <<<"$listing")
if [ -n "$libcups" ]; then
  exported=$(nm -D --defined-only "$libcups" | awk '$2 ~ /^[TW]$/ { print $3 }' | sed 's/@.*//' | sort -u)
  [ -n "$exported" ] || { echo "nm lists no functions of $libcups"; failed=1; }
  # Both symbol tables: a stripped program keeps only the dynamic one.
  defined=$({ nm --defined-only "$program" 2>/dev/null || true; nm -D --defined-only "$program"; } |
            awk '$2 ~ /^[TtWw]$/ { print $3 }' | sort -u)
  copied=$(comm -12 <(echo "$exported") <(echo "$defined"))
  if [ -n "$copied" ]; then
    echo "$program defines libcups functions itself:"; echo "$copied" | head -20; failed=1
  fi
fi
exit $failed
