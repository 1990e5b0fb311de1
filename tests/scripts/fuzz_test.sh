#!/bin/bash
# A short run of every fuzzing target.
exec "$(dirname "${BASH_SOURCE[0]}")/../fuzz/run.sh" 8
