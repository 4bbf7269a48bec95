#!/usr/bin/env python3
# measure.py: runs one command and appends its wall time, CPU time and peak RSS to a file.
#
# Usage: measure.py RESULT_FILE -- COMMAND [ARG...]
# The command inherits every descriptor (the filter's back and side channels stay open)
# and its own resource usage is read with wait4, so a wrapper around this script (the
# simulator, unshare) is not counted. Appends "wall_s cpu_s rss_kib status".
import os
import sys
import time

if len(sys.argv) < 4 or sys.argv[2] != "--":
    sys.stderr.write("usage: measure.py RESULT_FILE -- COMMAND [ARG...]\n")
    sys.exit(2)
result, argv = sys.argv[1], sys.argv[3:]
start = time.perf_counter()
pid = os.fork()
if pid == 0:
    try:
        os.execvp(argv[0], argv)
    finally:
        os._exit(127)
_, status, usage = os.wait4(pid, 0)
wall = time.perf_counter() - start
code = os.waitstatus_to_exitcode(status)
with open(result, "a") as out:
    out.write("%.6f %.6f %d %d\n" % (wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss, code))
sys.exit(code if code >= 0 else 128 - code)
