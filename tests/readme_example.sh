#!/usr/bin/env bash
# Looks for each block of C++ in the README among the programs in examples/, which are built and run,
# and compares the output shown below the complete program with that of the argument.
set -euo pipefail
cd "$(dirname "$0")/.."

programs=$(cat examples/*.cpp)
mapfile -d '' -t blocks < <(
    awk '/^```cpp/ { inside = 1; next } /^```/ && inside { inside = 0; printf "%c", 0 } inside' README.md)
[ ${#blocks[@]} -ge 3 ] || { echo "the README has no blocks of C++" >&2; exit 1; }
for block in "${blocks[@]}"; do
    [[ $programs == *"$block"* ]] || { printf 'no example has\n%s' "$block" >&2; exit 1; }
done
diff <(printf %s "${blocks[0]}") examples/quickstart.cpp
"$1" | diff <(sed '1,/and prints$/d' README.md | awk '/^```/ { ++fences; next } fences == 1') -
[ "$(wc -l <examples/quickstart.cpp)" -le 25 ] || { echo "more than 25 lines" >&2; exit 1; }
