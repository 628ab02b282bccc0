#!/usr/bin/env bash
# Completes command lines as bash, zsh and fish do, and compares what each of them offers with what
# the help of userdb, the argument, tells of. A shell that is not installed is left out.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work # the shells write there

# Each prints what it offers at the end of the line that is its argument, one a line.
offered_by_bash() (
    # shellcheck disable=SC1091 # found from here
    . apps/userdb/completion.bash
    read -ra COMP_WORDS <<<"${1//=/ = }" # as bash breaks words
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _userdb || true
    printf '%s\n' "${COMPREPLY[@]}"
)
offered_by_zsh() {
    : >"$work/offered"
    LINE=$1 ZDOTDIR=$work zsh -fc '
        zmodload zsh/zpty
        zpty session zsh -di
        while zpty -r session; do :; done' </dev/null >"$work/zsh.log" 2>&1
    cat "$work/offered"
}
offered_by_fish() {
    # shellcheck disable=SC2016 # fish expands it
    fish --no-config -c 'source apps/userdb/completion.fish; complete --do-complete $argv[1]' "$1" |
        sed 's/\t.*//; s|/$||; s/^--db=//'
}

# zsh completes on a terminal only. There this takes the place of what somebody types, and notes each
# match that zsh is given; those that it is asked about but not given do not raise the number.
cp apps/userdb/completion.zsh "$work/_userdb"
cat >"$work/.zshrc" <<'END'
fpath+=("$ZDOTDIR")
autoload -U compinit && compinit -u -d "$ZDOTDIR/dump"
compadd() {
    local before=$compstate[nmatches] offered=()
    builtin compadd "$@" || return
    (( compstate[nmatches] > before )) || return 0
    builtin compadd -O offered "$@"
    print -rl -- $offered >>"$ZDOTDIR/offered"
}
zle-line-init() {
    BUFFER=$LINE CURSOR=$#LINE
    zle complete-word
    exit
}
zle -N zle-line-init
END

shells=()
for shell in bash zsh fish; do
    if command -v $shell >/dev/null; then
        shells+=("$shell")
    else
        echo "$shell is not installed: its completion is not tested" >&2
    fi
done

sorted() { tr -s ' ,|\n' '\n' <<<"$*" | sed '/^$/d' | sort -u; }

# Compares the words $2 with those of form $3 that are offered at the end of the line $1.
expect() {
    for shell in "${shells[@]}"; do
        diff <(sorted "$2") <(sorted "$("offered_by_$shell" "$1")" | grep -e "${3-}") >&2 ||
            { echo "$shell offers (>) not what it should (<) after: $1" >&2; exit 1; }
    done
}

while IFS=: read -r line words; do expect "$line" "$words"; done <<'END'
userdb --db x s:search set
userdb --db list l:list
userdb --db READ:README.md
userdb --db=x l:list
userdb --db=READ:README.md
userdb backup example:examples
userdb -d list l:list
userdb -d READ:README.md
userdb import example:examples
userdb update example:examples
userdb export example:
userdb search example:
userdb list --type user --type c:contact
userdb set star s:
END

help=$("$1" --help | sed '/^  --key-file/,/^$/{/^$/!d}') # in builds with SQLCipher alone
globals=$(sed '/^Subcommands/q' <<<"$help" | grep -o '^ *-[-a-z,]*')
commands=$(grep -x '[a-z][a-z]*' <<<"$help")
expect 'userdb ' "$commands" '^[^-]'
for command in $commands; do
    section=$(sed -n "/^$command\$/,/^\$/p" <<<"$help")
    expect "userdb $command -" "$globals $(grep -o '^ *-[-a-z,]*' <<<"$section")"
    while read -r name choices; do
        [[ $choices == *'|'* ]] || choices=
        if [[ $name == -* ]]; then
            expect "userdb $command ${name##*,} " "$choices"
        else
            expect "userdb $command " "$choices" '^[^-]'
        fi
    done < <(grep -E '^ *[^ ]* [a-z-]*\|[^ ]*$|^ *-[^ ]* [A-Z]' <<<"$section")
done
