#!/usr/bin/env bash
# Looks for each block of C++ in the README among the programs in examples/, and compares what they
# print, built in the folder of the argument, with the README and with the comments at their top.
# Then does what the README shows of userdb, from the same folder.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

programs=$(cat examples/*.cpp)
mapfile -d '' -t blocks < <(
    awk '/^```cpp/ { inside = 1; next } /^```/ && inside { inside = 0; printf "%c", 0 } inside' README.md)
[ ${#blocks[@]} -ge 1 ] || fail "the README has no block of C++"
for block in "${blocks[@]}"; do
    [[ $programs == *"$block"* ]] || fail "no example has" "$block"
done
diff <(printf %s "${blocks[0]}") examples/quickstart.cpp
[ "$(wc -l <examples/quickstart.cpp)" -le 25 ] || fail "the complete program has more than 25 lines"

for source in examples/*.cpp; do
    name=$(basename "$source" .cpp)
    [ "$name" != encrypted ] || [ -e "$1/encrypted" ] || continue # SQLite is not SQLCipher here
    if [ "$name" = quickstart ]; then
        told=$(sed '1,/and prints$/d' README.md | awk '/^```/ { ++fences; next } fences == 1')
    else
        told=$(sed -n '/^#include/q; s|^//     ||p' "$source")
    fi
    [ -n "$told" ] || fail "$name does not tell what it prints"
    printed=$("$1/$name") || fail "$name fails: $printed"
    diff <(echo "$told") <(echo "$printed") || fail "$name prints something else"
done

session=$(sed '1,/^## The program userdb/d' README.md | awk '/^```/ { ++fences; next } fences == 1')
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ln -s "$PWD/examples" "$work"
PATH=$(realpath "$1"):$PATH
cd "$work"
shown=$(grep '^\$ ' <<<"$session" | while read -r prompt command; do
    echo "$prompt $command"
    bash -c "$command" </dev/null 2>&1 || true
done)
diff <(echo "$session") <(echo "$shown") || fail "userdb does something else"
