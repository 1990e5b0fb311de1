#!/bin/bash
# Faults around the module in real servers: see tests/servers/faults.sh.
exec "$(dirname "$0")/../servers/faults.sh"
