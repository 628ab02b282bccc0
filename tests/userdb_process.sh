#!/usr/bin/env bash
# Runs userdb, the argument, as one process among others: interrupted and killed in the midst of an
# import, with a reader that has enough, on a terminal, and over a file that it must not touch.
# Nothing here depends on how long anything takes.
set -euo pipefail
userdb=$(realpath "$1")
contacts=$(realpath "$(dirname "$0")/../examples/contacts.jsonl")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkfifo pipe
extra=$(printf '%04000d' 0)

userdb() { "$userdb" --db users.db "$@"; }

# Fails, telling of $1, unless $3 is $2.
expect() {
    [ "$3" = "$2" ] ||
        { printf '%s: expected\n%s\nbut there is\n%s\n' "$1" "$2" "$3" >&2; exit 1; }
}

# A thousand users with this name, 4 MB in all: more than SQLite keeps in memory.
users() { seq -f "{\"user_id\":\"%g\",\"data_type\":2,\"user_name\":\"$1\",\"extra\":\"$extra\"}" 1000; }

# Runs a command as a user who may not write here. Few may try that as somebody else.
unprivileged() {
    if [ "$(id -u)" = 0 ]; then
        chmod 755 . && chmod 644 users.db*
        setpriv --reuid=65534 --clear-groups "$@"
    else
        chmod a-w . users.db*
        "$@" || true
        chmod u+w . users.db*
    fi
}

contents() { { userdb export 2>/dev/null || true; } | cksum; }

# How the import ended that runs in the background, and what it said.
end_import() {
    local status=0
    wait $! 2>/dev/null || status=$?
    echo "status $status: $(cat said)"
}

# Starts an import, by the command given, that waits for more of its pipe.
begin_import_of_pipe() {
    "$@" --db users.db import - <pipe >said 2>&1 &
    exec 3>pipe
    users new >&3
}

users old >old.jsonl
users new >new.jsonl
userdb import old.jsonl >/dev/null

begin_import_of_pipe "$userdb"
expect "another one, while an import waits for input" "stored 1000, ignored 0, read 1000" \
    "$(userdb import old.jsonl)"
kill -TERM $!
exec 3>&-
end_import >ended
expect "a signal while waiting" "status 143: userdb: interrupted, nothing was changed" "$(cat ended)"
begin_import_of_pipe env --ignore-signal=HUP "$userdb"
kill -HUP $!
exec 3>&-
end_import >ended
expect "HUP, ignored" "status 0: stored 1000, ignored 0, read 1000" "$(cat ended)"

# A process may inherit more files than select can look at.
files() (
    ulimit -n 2000
    for ((file = 3; file < 1100; file++)); do eval "exec $file</dev/null"; done
    userdb import old.jsonl 2>&1
)
expect "a process with many files" "stored 1000, ignored 0, read 1000" "$(files)"

before=$(contents)
# The last of the users takes for ever.
for change in INSERT UPDATE; do
    sqlite3 users.db "CREATE TRIGGER endless_$change AFTER $change ON users WHEN new.user_id = '1000' BEGIN
        SELECT count(*) FROM (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)
            SELECT i FROM n); END"
done
while read -r signal status command; do
    # shellcheck disable=SC2086 # a word each
    env --default-signal="$signal" "$userdb" --db users.db $command >said 2>&1 &
    until [ -s users.db-journal ] || ! kill -0 $! 2>/dev/null; do sleep 0.01; done
    kill -"$signal" $!
    end_import >ended
    expect "$signal" "status $status: userdb: interrupted, nothing was changed" "$(cat ended)"
    expect "the users after $signal" "$before" "$(contents)"
done <<'END'
INT 130 import old.jsonl
TERM 143 import old.jsonl
HUP 129 set star 1000:0 1
END

# A reader that pauses, as a pager does, keeps nobody from writing.
userdb export >pipe &
exec 3<pipe
first=$(head -c 1 <&3) # so that the export has begun
expect "a change beside a reader that pauses" "changed 1" "$(userdb set star 1:0 1)"
expect "what the reader gets at last" "$before" "$({ printf %s "$first" && cat; } <&3 | cksum)"
exec 3<&-
wait $!

# A reader costs a second in all, even if it never pauses for that long: this one needs 20.
userdb export >pipe &
slowly() { while sleep 0.3 && head -c 65536 && [ ! -e changed ]; do :; done; cat; }
slowly <pipe >exported &
expect "a change beside a slow reader" "changed 1" "$(userdb set star 1:0 0)"
touch changed
wait
expect "what the slow reader gets at last" "$(sed 1d exported)" "$(userdb export | sed 1d)"

# Without room for a copy of what a reader leaves, the reader is waited for; an import says where.
mkdir small
# shellcheck disable=SC2016 # expanded in there
in_little_room='mount -t tmpfs -o size=64k none small
    TMPDIR=$PWD/small "$0" --db users.db export | (sleep 3 && cksum)
    cat old.jsonl | TMPDIR=small "$0" --db users.db import -'
has_mounts=
if unshare --user --map-root-user --mount mount -t tmpfs none small 2>/dev/null; then
    expect "little room" "$(contents)
userdb: cannot keep standard input in a temporary file in small: No space left on device" \
        "$(unshare --user --map-root-user --mount bash -c "$in_little_room" "$userdb" 2>&1)"
    has_mounts=yes
else
    echo "without a file system of our own, one that is full is not tested" >&2
fi

# What is done is told, even if a signal comes behind it: here while the answer waits for its reader.
exec 3<>pipe
dd if=/dev/zero bs=1 count=1000000 oflag=nonblock status=none >&3 2>/dev/null || true
"$userdb" --db told.db import "$contacts" >pipe 2>/dev/null 3<&- &
told=$!
until [ "$(sqlite3 told.db "SELECT count(*) FROM users" 2>/dev/null)" = 21 ]; do sleep 0.01; done
kill -TERM $told
exec 4<pipe 3<&- # there is a reader all the time
tr -d '\0' <&4 >said
exec 4<&-
status=0
wait $told || status=$?
expect "a signal behind the commit" "status 0: stored 21, ignored 0, read 21" \
    "status $status: $(cat said)"

# Killed by the system when a file reaches 3 MB: some users have left the memory by then.
for file in new journal wal; do
    rm -f users.db*
    [ $file = new ] || userdb import old.jsonl >/dev/null
    [ $file != wal ] || sqlite3 users.db "PRAGMA journal_mode = WAL" >/dev/null
    before=$(contents)
    (ulimit -c 0 -f 3000 && exec "$userdb" --db users.db import new.jsonl) >said 2>&1 &
    end_import >ended
    expect "the kill, $file" "status 153: " "$(cat ended)"
    log=users.db-${file/new/journal}
    expect "a log that is not empty, $file" yes "$([ ! -s "$log" ] || echo yes)"
    rm -f new.db*
    cp "$log" new.db-${file/new/journal}
    expect "a new file beside the log of an old one, $file" "stored 21, ignored 0, read 21
21
ok" "$("$userdb" --db new.db import "$contacts" 2>&1 | grep -v 'of no kind'; "$userdb" --db new.db count 2>&1
        sqlite3 new.db "PRAGMA integrity_check" 2>&1)"
    # One that needs LD_LIBRARY_PATH does not run as somebody else.
    if [ $file = journal ] && unprivileged "$userdb" --version >/dev/null 2>&1; then
        expect "what nobody else may undo" "userdb: users.db: a program that wrote to it was \
interrupted; to undo that, userdb must be allowed to write to it and to its folder, or to a copy of \
it and of the files beside it" "$(unprivileged "$userdb" --db users.db list 2>&1)"
    fi
    # A command that only reads undoes what is half done, even if the disk has no room left.
    if [ $file = journal ] && [ $has_mounts ]; then
        # shellcheck disable=SC2016 # expanded in there
        expect "the users on a full disk" "$before" "$(unshare --user --map-root-user --mount bash -c '
            mount -t tmpfs -o size=16m none small && cp users.db* small
            head -c 16M /dev/zero >small/rest 2>/dev/null || "$0" --db small/users.db export | cksum
            [ ! -e small/users.db-journal ] || ls small' "$userdb" 2>&1)"
    fi
    expect "the users after the kill, $file" "$before" "$(contents)"
    expect "the import again, $file" "stored 1000, ignored 0, read 1000" "$(userdb import new.jsonl)"
done

# Ends by the signal, also where a parent has left it ignored, as some do.
for setting in - ''; do
    ended=$({ (trap -- "$setting" PIPE; userdb list --json && true; echo "status $?" >&2) |
        head -1 >/dev/null; } 2>&1)
    expect "a reader that has enough, trap '$setting' PIPE" "status 141" "$ended"
done

rm users.db
userdb import "$contacts" >said 2>&1
# How many bold heads a list has on a terminal, where $1 is said before its command, and $2 behind.
bold_heads() {
    script -qec "$1 $userdb --db users.db list $2" /dev/null >said
    grep -q u1001 said || expect "a list on a terminal" "u1001" "$(cat said)"
    grep -c $'\033\\[1mUSER ID' said || true
}
expect "a head on a terminal" 1 "$(bold_heads 'env -u NO_COLOR' '')"
expect "a head with an empty NO_COLOR" 1 "$(bold_heads 'NO_COLOR=' '')"
expect "a head on a dumb terminal" 0 "$(bold_heads 'env -u NO_COLOR TERM=dumb' '')"
expect "a head with NO_COLOR" 0 "$(bold_heads 'NO_COLOR=1' '')"
expect "a head in a pipe" 0 "$(bold_heads 'env -u NO_COLOR' '| cat')"

state() { ls; ls --full-time users.db; cksum users.db; }
before=$(state)
for command in list 'search u' 'get me 1' 'get me:1' export; do
    # shellcheck disable=SC2086 # a word each
    userdb $command >/dev/null
done
expect "a file that was only read" "$before" "$(state)"
