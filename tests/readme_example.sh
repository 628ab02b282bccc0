#!/usr/bin/env bash
# Looks for each block of C++ in the README among the programs in examples/, and compares what they
# print, built in the folder of the argument, with the README and with the comments at their top.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

programs=$(cat examples/*.cpp)
mapfile -d '' -t blocks < <(
    awk '/^```cpp/ { inside = 1; next } /^```/ && inside { inside = 0; printf "%c", 0 } inside' README.md)
[ ${#blocks[@]} -ge 3 ] || fail "the README has no blocks of C++"
for block in "${blocks[@]}"; do
    [[ $programs == *"$block"* ]] || fail "no example has" "$block"
done
diff <(printf %s "${blocks[0]}") examples/quickstart.cpp
[ "$(wc -l <examples/quickstart.cpp)" -le 25 ] || fail "the complete program has more than 25 lines"

for source in examples/*.cpp; do
    name=$(basename "$source" .cpp)
    if [ "$name" = quickstart ]; then
        told=$(sed '1,/and prints$/d' README.md | awk '/^```/ { ++fences; next } fences == 1')
    else
        told=$(sed -n '/^#include/q; s|^//     ||p' "$source")
    fi
    [ -n "$told" ] || fail "$name does not tell what it prints"
    printed=$("$1/$name") || fail "$name fails: $printed"
    diff <(echo "$told") <(echo "$printed") || fail "$name prints something else"
done
