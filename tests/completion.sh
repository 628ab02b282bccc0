#!/usr/bin/env bash
# Completes command lines as bash does, and compares what is offered with what the help of userdb,
# the argument, tells of.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck disable=SC1091 # found from here
. apps/userdb/completion.bash

sorted() { tr -s ' |\n' '\n' <<<"$*" | sed '/^$/d' | sort; }

# Compares the words $2 with those of form $3 that are offered at the end of the line $1.
expect() {
    read -ra COMP_WORDS <<<"$1"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _userdb || true
    diff <(sorted "$2") <(sorted "${COMPREPLY[@]}" | grep -e "${3-}") >&2 ||
        { echo "offered (>) is not what should be (<) after: $1" >&2; exit 1; }
}

while IFS=: read -r line words; do expect "$line" "$words"; done <<'END'
userdb --db x s:search set
userdb --db list l:list
userdb --db READ:README.md
userdb import example:examples
userdb list --type user --type c:contact
userdb set star s:
END

help=$("$1" --help)
globals=$(sed '/^Subcommands/q' <<<"$help" | grep -o -e '--[a-z]*')
commands=$(grep -x '[a-z][a-z]*' <<<"$help")
expect 'userdb ' "$commands" '^[^-]'
for command in $commands; do
    section=$(sed -n "/^$command\$/,/^\$/p" <<<"$help")
    expect "userdb $command -" "$globals $(grep -o '^ *--[a-z-]*' <<<"$section")"
    while read -r name choices; do
        [[ $name == -* ]] || name=
        expect "userdb $command ${name:+$name }" "$choices" '^[^-]'
    done < <(grep '^ *[^ ]* [a-z-]*|[^ ]*$' <<<"$section")
done
