#!/usr/bin/env bash
# Sessions with userdb, the argument: what it answers, writes and refuses.
set -euo pipefail
userdb=$(realpath "$1")
contacts=$(realpath "$(dirname "$0")/../examples/contacts.jsonl")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
exec </dev/null

# Runs userdb with the arguments behind the first two, of which one is the exit status to expect, the
# other a part of what is written to either stream. All of that is then in the file `said`.
expect() {
    local expected=$1 part=$2 status=0
    shift 2
    "$userdb" --db "${database-users.db}" "$@" >said 2>&1 || status=$?
    if [ $status != "$expected" ] || [[ $(cat said) != *"$part"* ]]; then
        printf 'userdb %s: expected status %s and\n%s\nbut there is status %s and\n' \
            "$*" "$expected" "$part" $status | cat - said >&2
        exit 1
    fi
}

equal() { diff "$1" "$2" >&2 || { echo "$1 and $2 differ" >&2; exit 1; }; }

begin() {
    rm -f users.db
    [ "$1" = empty ] || expect 0 "stored 21, ignored 0, read 21" import "$contacts"
}

shows_users() {
    begin examples
    expect 0 $'NICK NAMES\nu1004  ' search captain
    expect 0 '{"user_id":"u1004"' search captain --json
    expect 0 $'NICK NAMES\nu1003  ' search 小雨
    expect 0 $'NICK NAMES\nu1015  ' search "o'malley"
    expect 1 "nothing found" search nobody
    expect 0 "p2001    3       public-account " list --type user --type public-account
    expect 0 '{"user_id":"p2002",' list --source 3 --type contact --json
    expect 0 $'NICK NAMES\nu1016    2 ' list --source 2
    expect 1 "nothing found" list --source 0
    expect 1 "not found: u1001:1" get u1001 1 --type user
    expect 0 '{"user_id":"u1001",' get --type user --type contact u1001 1 --json
    expect 0 $'not found: x:2\nUSER ID' get me:1 x:2 u1016:2
    expect 0 $'\nu1016  ' get me:1 u1016:2
    expect 1 "not found: x:2" get x:2
    expect 0 "18" count --type contact
    expect 0 "1" count --type contact --source 2
    expect 0 "0" count --source 7
    expect 0 "" list --limit 3
    [ "$(wc -l <said)" = 4 ] || { echo "not three users" >&2; exit 1; }
    expect 2 "keyword '(' is no valid" search '('
    expect 2 "or its cost has no bound" search '(a)\1'
    expect 0 "" search noodle
    [ "$(wc -l <said)" = 4 ] || { echo "not a line a user" >&2; exit 1; }
}

changes_users() {
    begin examples
    expect 0 "changed 1" set star me 1 1
    expect 0 "" set attention me 1 1
    expect 0 "" set data-type me 1 contact,user
    expect 0 "" set remark me 1 '{"remark_name":"myself"}'
    expect 0 '"is_star":1,"is_attention":1,"user_type":0,"user_version":16' search myself --json
    expect 0 "" set star me:1 0
    expect 0 "" set star me 1 1
    expect 1 "" set star nobody 1 1
    expect 0 "" set remark me:1 'a "plain" word'
    expect 0 '"remark":"{\"remark_name\":\"a \\\"plain\\\" word\"}"' search 'a .*word' --json
    expect 2 "no JSON from byte 2" set remark me:1 '{x'
    expect 0 "" set remark me:1 ''
    expect 0 '"remark":""' get me:1 --json
    expect 0 "" set remark me:1 ' { "remark_name" : "my" , "n" : [ 1.50, true ] }'
    expect 0 '"remark":"{\"remark_name\":\"my\",\"n\":[1.50,true]}"' get me:1 --json
    expect 2 "standard input:2: key 'x': unknown" update - \
        <<<$'{"user_id":"me","user_source":1}\n{"x":1}'
    expect 0 '"user_name":"Tuuli' get me 1 --json
    expect 0 indexed index
    expect 0 indexed index
    expect 0 $'input:1: not found: q:0\nupdated 1, not found 1, read 2' update - \
        <<<$'{"user_id":"q"}\n{"user_id":"me","user_source":1}'
    expect 1 "updated 0" update - <<<'{"user_id":"q"}'
    expect 0 '"user_name":"","name_spell":""' get me 1 --json
    expect 0 "deleted 1" delete me 1
    expect 1 "" delete me 1
    expect 1 "" get me 1
}

exports_what_goes_in_again() {
    begin examples
    expect 0 "" import - <<'END'
{"user_id":"\u0000\"\ud83d\ude00","user_source":4294967295,"user_version":-9223372036854775808,"group_info":" kept ","remark":[ {"b" : 1, "a":[]} ]}
END
    expect 0 '"remark":"[{\"b\":1,\"a\":[]}]"' export
    mv said exported
    grep -q '"user_id":"\\u0000\\"😀"' exported
    grep -q '":" kept "' exported
    expect 0 "" list --json
    equal exported said
    begin empty
    expect 0 "stored 22" import - <exported
    expect 0 "" export
    equal exported said
}

# A complaint of each kind; the fuzz corpus has more lines that must be refused.
stores_nothing_of_a_file_with_a_bad_line() {
    local line complaint nested
    nested=$(printf '[%.0s' {1..200})
    begin empty
    while IFS=' ' read -r line complaint; do
        printf '{"user_id":"good"}\n%b\n' "${line/NESTED/$nested}" >bad.jsonl
        expect 2 "bad.jsonl:2: $complaint" import bad.jsonl
        [ ! -e users.db ] || { echo "a file is left of $line" >&2; exit 1; }
    done <<'END'
{"user_id": no JSON
{"user_id":"\xff"} no JSON
[1] no JSON object
{} key 'user_id': missing
{"user_id":7} key 'user_id': must be a text
{"user_id":"a","user_id":"b"} key 'user_id': given twice
{"user_id":"a","gender":"1"} key 'gender': must be a whole number from 0
{"user_id":"a","gender":4294967296} key 'gender': must be a whole number from 0 to 4294967295
{"user_id":"a","user_version":9223372036854775808} key 'user_version': must be a whole number from -9
{"user_id":"a","remark":null} key 'remark': must be a text, an object
{"user_id":"a","extra":{}} key 'extra': must be a text
{"user_id":"a","remark":NESTED key 'remark': nested more than
{"user_id":"a","remark":{"x":1e400}} key 'remark': a number too large
{"user_id":"a","\\u001b[2J":1} key '�[2J': unknown
END
}

settles_conflicts_as_told() {
    local both=$'{"user_id":"b"}\n{"user_id":"a","user_name":"new"}'
    begin empty
    expect 0 "" import - <<<'{"user_id":"a","user_name":"old"}'
    expect 2 "standard input:2: key 'user_id'" import - --on-conflict fail <<<"$both"
    mv users.db old.db
    expect 2 "standard input:2: key" import - --on-conflict fail <<<$'{"user_id":"a"}\n{"user_id":"a"}'
    [ "$(echo users.db*)" = 'users.db*' ] || { echo "a file is left of a failed import" >&2; exit 1; }
    mv old.db users.db
    expect 2 "standard input:1: there is a NUL byte" import - \
        < <(printf '{"user_id":"b"}\0{"user_id":"c"}\n')
    expect 1 "" get b 0
    expect 0 "stored 1, ignored 1, read 2" import - --on-conflict ignore <<<"$both"
    expect 0 old get a 0
    expect 0 "stored 2, ignored 0, read 2" import - <<<"$both"
    expect 0 new get a 0
}

aligns_wide_characters_and_hides_controls() {
    begin empty
    expect 0 "stored 3" import - <<'END'
{"user_id":"a","user_source":7,"user_name":"小雨","data_type":3,"remark":{"remark_name":"x","phone":"y"},"group_info":[{"nick_name":"n"},"stray",{"nick_name":"m"}]}
{"user_id":"b","user_name":"é\u001b[\u0000\u202e\u200b\ufeff\u009b","remark":"{broken"}
{"user_id":"c","user_name":"c%%","remark":{"remark_name":"z"}}
END
    LC_ALL=C sed -i $'s/c%%/c\xe5%/' users.db # no UTF-8, which no import stores
    expect 0 "" list
    equal said /dev/fd/3 3<<'END'
USER ID  SOURCE  KIND           NAME      REMARK NAME  NICK NAMES
a        7       contact, user  小雨      x            n, m
b        0                      é�[�����
c        0                      c�%       z
END
    expect 0 "written as U+FFFD: c:0" export
    expect 0 '\u202e\u200b\ufeff\u009b"' get b:0 --json
}

leaves_the_databases_of_others_alone() {
    database=other.db
    expect 0 "" import - <<<'{"user_id":"a"}'
    LC_ALL=C sed -i 's/users/userz/g' other.db # a database without the table
    for arguments in 'set star a 0 1' 'delete a 0' index 'update -' list; do
        # shellcheck disable=SC2086 # a word each
        expect 3 "other.db: it has no table users" $arguments <<<'{"user_id":"a"}'
    done
    unset database
}

takes_an_id_as_it_is_typed() {
    local id
    begin empty
    for id in '[a]' '[a,b]' '{x}' '{}' -x a:1 '"q"' %2 %% '' list; do
        expect 0 "" import - <<<"{\"user_id\":\"${id//\"/\\\"}\",\"user_source\":1}"
        expect 0 "changed 1" set star -- "$id" 1 1
        expect 0 "changed 1" set attention -- "$id:1" 1
        expect 0 $'\n'"$id " get -- "$id" 1
        expect 0 "changed 1" set remark -- "$id:1" "[$id]"
        expect 0 "" get --json -- "$id:1" none:7
        expect 0 "deleted 1" delete -- "$id" 1
    done
    expect 1 "nothing found" list
}

passes_over_blank_lines() {
    begin empty
    expect 0 "stored 2, ignored 0, read 2" import - <<<$'{"user_id":"a"}\n\r\n \n{"user_id":"b"}\n'
    expect 2 "input:3: no JSON" import - <<<$'\n\nx'
    expect 2 "input: it is not open" import - <&-
}

# A tree of the members would take a minute.
reads_objects_of_many_members() {
    begin empty
    { printf '{"user_id":"a","remark":{"remark_name":"first"'
      seq -f ',"m%.0f":"x"' 300000 | tr -d '\n'
      echo ',"remark_name":"last"}}'; } >many.jsonl
    expect 0 "stored 1" import many.jsonl
    expect 0 "first, last" list
    expect 0 "" export
    mv said exported
    expect 0 "stored 1" import exported
}

cuts_what_is_too_wide() {
    local wide='ŕ-小雨-' long='a remark name that is far longer than what fits' line
    begin empty
    { seq -f '{"user_id":"u%.0f"}' 101
      echo "{\"user_id\":\"long\",\"user_name\":\"n\",\"remark\":{\"remark_name\":\"$wide$long\"}}"
    } >many.jsonl
    expect 0 "stored 102" import many.jsonl
    line=$'\nlong     0             n     '$wide
    expect 0 "$line${long:0:32}…" list
    expect 0 "$line$long" list --wide
    script -qec "stty cols 60; $userdb --db users.db list" /dev/null >said
    [[ $(cat said) == *"$line${long:0:3}…"* ]] || { echo "not cut for a screen"; cat said; exit 1; }
}

prints_what_it_can_read_of_a_damaged_file() {
    begin empty
    seq -f '{"user_id":"u%.0f"}' 5000 >many.jsonl
    expect 0 "stored 5000" import many.jsonl
    dd if=/dev/zero of=users.db bs=4096 seek=40 count=20 conv=notrunc status=none
    expect 3 $'\nu99      0\n' list --source 0
    [[ $(tail -1 said) == "userdb: users.db: "*malformed* ]] ||
        { echo "nothing said of the damage" >&2; exit 1; }
}

takes_a_path_for_a_path() {
    begin empty
    database=file::memory: expect 0 "stored 1" import - <<<'{"user_id":"a"}'
    database=file::memory: expect 0 '"user_id":"a"' export
    [ -f file::memory: ] || { echo "no file of that name" >&2; exit 1; }
}

tells_trouble_with_the_database() {
    local arguments
    begin empty
    for arguments in list 'search x' 'get a 1' 'get a:1' export 'delete a 1' 'set star a 1 1' \
        'update -'; do
        # shellcheck disable=SC2086 # a word each
        expect 3 users.db $arguments
    done
    expect 2 "No such file" import /no/such/file
    [ ! -e users.db ] || { echo "reading created a file" >&2; exit 1; }
    expect 2 "cannot read standard input" import - </
    : >users.db
    expect 3 "no table users" list
    head -c 5000 "$contacts" >users.db
    for arguments in list 'import -' 'count'; do
        # shellcheck disable=SC2086 # a word each
        expect 3 "userdb: users.db: it is no SQLite database, or an encrypted one" $arguments \
            <<<'{"user_id":"a"}'
        [ "$(wc -l <said)" = 1 ] || { echo "more than a line of no database" >&2; exit 1; }
    done
    database='' expect 2 "--db or USERDB_DB must name" list
    database=:memory: expect 2 "must name a file" list
}

tells_usage() {
    local arguments
    begin empty
    while read -r arguments; do
        eval "expect 2 ' ' $arguments </dev/null"
    done <<'END'

get a
get a:x
get a 1 b:1 c
get a -1
get a 4294967296
list --type x
list --source ''
list --source 0x1
list --limit 0
import /
import - --on-conflict x
delete a 0x1
delete a ''
set star a 1 2
set data-type a 1 friend
set data-type a 1 ''
set data-type a 1 user,
set name a 1 x
set star a:1
delete a:1 b:1
END
    expect 2 "'serach' is no command; did you mean 'search'?" serach x
    expect 2 "'frobnicate' is no command; userdb --help" frobnicate
    expect 0 "Exit status" --help
    expect 0 "userdb " --version
    script -qec "stty cols 60; $userdb --help" /dev/null >said
    [[ $(<said) == *"Exit status"* && -z $(tr -d '\r' <said | awk 'length > 60') ]] ||
        { echo "the help is not as wide as the screen" >&2; exit 1; }
    begin examples
    [ "$(USERDB_DB=users.db "$userdb" count) $(USERDB_DB=x "$userdb" -d users.db count)" = "21 21" ] ||
        { echo "USERDB_DB is not the database, or not that of last resort" >&2; exit 1; }
}

# Exit status 2 would say that nothing is changed.
says_what_is_done_if_nobody_hears() {
    begin examples
    while IFS=: read -r outcome arguments; do
        status=0
        # shellcheck disable=SC2086 # a word each
        "$userdb" --db users.db $arguments <<<'{"user_id":"me","user_source":1}' >/dev/full 2>said ||
            status=$?
        [ "$status $(cat said)" = "4 userdb: $outcome, but standard output cannot be written" ] ||
            { echo "status $status for $arguments with a full standard output" >&2; exit 1; }
    done <<'END'
changed 1:set star me 1 1
stored 1, ignored 0, read 1:import -
updated 1, not found 0, read 1:update -
indexed:index
deleted 1:delete me 1
done:list
done:export
done:count
done:--help
END
    status=0
    "$userdb" --db users.db import - <<<'{"user_id":"me"}' 2>said >&- || status=$?
    [ $status = 4 ] || { echo "status $status for a closed standard output" >&2; exit 1; }
}

shows_users
changes_users
exports_what_goes_in_again
stores_nothing_of_a_file_with_a_bad_line
settles_conflicts_as_told
aligns_wide_characters_and_hides_controls
leaves_the_databases_of_others_alone
takes_an_id_as_it_is_typed
passes_over_blank_lines
reads_objects_of_many_members
cuts_what_is_too_wide
prints_what_it_can_read_of_a_damaged_file
takes_a_path_for_a_path
tells_trouble_with_the_database
tells_usage
says_what_is_done_if_nobody_hears
