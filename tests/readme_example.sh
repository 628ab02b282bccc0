#!/usr/bin/env bash
# Compares the README's program and the output shown below it with those of the program in
# examples/, built as the argument.
set -euo pipefail
cd "$(dirname "$0")/.."

# The block of this number among those of the README's example.
block() {
    sed '1,/^## A complete program/d' README.md |
        awk -v wanted="$1" '/^```/ { ++fences; next } fences == 2 * wanted - 1'
}
diff <(block 1) examples/quickstart.cpp
"$1" | diff <(block 2) -
[ "$(wc -l <examples/quickstart.cpp)" -le 25 ] || { echo "more than 25 lines" >&2; exit 1; }
