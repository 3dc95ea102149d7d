#!/bin/sh
# usage: check_level.sh LEVEL OBJECT...
# Every symbol that a kernel object defines for others must carry its level's namespace: the linker keeps one of two
# functions with the same name, and an old processor would run the newer level's. (Thunks of 32-bit code that fetch the
# program counter have no vector code in them.)
level=$1
shift
for object in "$@"; do
  nm -C --defined-only "$object" | awk -v level="lum::$level::" -v object="$object" '
    $2 ~ /[TWVDBRuC]/ && index($0, level) == 0 && $3 !~ /^__x86\.get_pc_thunk/ { print object ": " $0; bad = 1 }
    END { exit bad }' || exit 1
done
