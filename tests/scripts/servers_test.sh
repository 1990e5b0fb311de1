#!/bin/bash
# Real servers under load: see tests/servers/run.sh.
exec "$(dirname "$0")/../servers/run.sh"
