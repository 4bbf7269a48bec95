#!/usr/bin/env bash
# Renders each manual page given and fails on any warning from groff or man.
set -uo pipefail
failed=0
for page in "$@"; do
  warnings=$( { groff -man -ww -z "$page"
                LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l "$page" >/dev/null; } 2>&1)
  if [ -n "$warnings" ]; then
    echo "$page:"; echo "$warnings"
    failed=1
  fi
done
exit $failed
