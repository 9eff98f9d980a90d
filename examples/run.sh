#!/bin/sh
# Shows what the program makes of a motion-capture file: a report, a table of values and plots.
#
#   run.sh PROGRAM FILE.bvh OUTPUT-DIRECTORY
set -eu
