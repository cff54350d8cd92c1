#!/usr/bin/env bash
# Runs a 32-bit Windows program under Wine: tools/wine-run.sh PROGRAM.exe [ARGUMENT...]
exec "$(dirname "${BASH_SOURCE[0]}")/wine-env.sh" run "$@"
