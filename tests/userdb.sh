#!/usr/bin/env bash
# Sessions with userdb, the argument: what it answers, writes and refuses. Each check compares whole
# answers: all of standard output, then all of standard error, and the exit status.
set -euo pipefail
program=$(realpath "$1")
contacts=$(realpath "$(dirname "$0")/../examples/contacts.jsonl")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
exec </dev/null
database=users.db

userdb() { "$program" --db "$database" "$@"; }
in_view() { database=view.db userdb "$@"; }
full() { userdb "$@" >/dev/full; }
closed() { userdb "$@" >&-; }

# On a terminal with $1 columns.
on_screen() {
    NO_COLOR=1 script -qec "stty cols $1; $program -d users.db ${*:2}" /dev/null | tr -d '\r'
}

# Prints the answer to a command. In a line of standard error a "!" takes the place of "userdb:". An
# exit status other than 0 stands in brackets at the end. Most users here have no kind, and only the
# test of that looks at what an import says of it.
answer_to() {
    local answer status=0
    "$@" >out 2>err || status=$?
    answer=$(cat out && sed 's/^userdb:/!/' err | grep -v "${kindless-of no kind}" || true)
    [ $status = 0 ] || answer+=" [$status]"
    [ -z "$answer" ] || printf '%s\n' "$answer"
}

fail() { printf '%s\n' "$*" >&2; exit 1; }
equal() { diff "$1" "$2" >&2 || fail "$3: not what is expected (<)"; }

# Expects the answer $1 to a command.
expect() { equal <(printf '%s\n' "$1") <(answer_to "${@:2}") "${*:2}"; }

# Each line of standard input has words to add to the command $* and, behind =>, the answer to that.
answers() {
    local line
    while IFS= read -r line; do
        eval "expect \"\${line#*=> }\" $* ${line%%=> *}" </dev/null
    done
}

# Standard input has commands behind a $, and behind each of them its answer, of any number of lines.
session() {
    local line
    cat >expected
    while IFS= read -r line; do
        [[ $line != '$ '* ]] || { echo "$line" && eval "answer_to ${line#* }" </dev/null; }
    done <expected >given
    equal expected given "the session"
}

begin() {
    rm -f users.db
    [ "$1" = empty ] || expect "stored 21, ignored 0, read 21" userdb import "$contacts"
}

# Changes users. Prints the answer, and the fields that are not what they were before.
change() {
    userdb export | sed 's/,"/\n"/g; s/[{}]$//' >before
    userdb "$@" >printed
    userdb export | sed 's/,"/\n"/g; s/[{}]$//' >after
    { cat printed; diff before after | sed -n 's/^> //p'; } | paste -sd ' ' || true
}

# Leaves out the fields that are empty or 0.
filled() { sed -E 's/,"[a-z_]+":(""|"0"|0)//g'; }

# Users are printed as a table or as JSON, and counted.
begin examples
session <<'END'
$ userdb search captain --json
{"user_id":"u1004","device_id":"","avatar":"","user_name":"王大山","name_spell":"wang dashan","remark":"","is_anonymous":0,"is_star":0,"is_attention":0,"user_type":0,"user_version":0,"user_source":1,"gender":1,"extra":"","data_type":2,"local_user_id":"u1004:1","group_info":"[{\"group_id\":\"g1\",\"nick_name\":\"Captain Noodle\"},{\"group_id\":\"g2\",\"nick_name\":\"山哥\"}]","msg_set":"0","in_black_list":0,"is_blacked":0,"user_extension":"","contact_extension":""}
$ userdb search noodle
USER ID  SOURCE  KIND                     NAME               REMARK NAME  NICK NAMES
u1004    1       contact                  王大山                          Captain Noodle, 山哥
u1013    1       contact                  Zoë Brückner                    Noodle soup, Zo
p2002    3       contact, public-account  Noodle House Nine  Lunch
$ userdb search noodle --limit 1
USER ID  SOURCE  KIND     NAME    REMARK NAME  NICK NAMES
u1004    1       contact  王大山               Captain Noodle, 山哥
$ userdb search ОЛЬГА
USER ID  SOURCE  KIND     NAME          REMARK NAME  NICK NAMES
u1005    1       contact  Ольга Речная  Оля, хор
$ userdb search mlynarz
! nothing found [1]
$ userdb search mlynarz --ignore-diacritics
USER ID  SOURCE  KIND     NAME           REMARK NAME  NICK NAMES
u1016    2       contact  Piotr Młynarz  Miller
$ userdb search "sean (plumber)"
! nothing found [1]
$ userdb search --literal "sean (plumber)"
USER ID  SOURCE  KIND     NAME            REMARK NAME     NICK NAMES
u1014    1       contact  Seán Ó Faoláin  Sean (plumber)
$ userdb search "o'malley" --wide
USER ID  SOURCE  KIND     NAME             REMARK NAME     NICK NAMES
u1015    1       contact  O'Malley, Grace  Harbour master  Admiral
$ userdb list --type user --type public-account
USER ID  SOURCE  KIND                     NAME                   REMARK NAME  NICK NAMES
p2001    3       public-account           Harbour Weather Daily
p2002    3       contact, public-account  Noodle House Nine      Lunch
me       1       user                     Tuuli Koskinen
$ userdb list --type contact --source 3
USER ID  SOURCE  KIND                     NAME               REMARK NAME  NICK NAMES
p2002    3       contact, public-account  Noodle House Nine  Lunch
$ userdb list --limit 1
USER ID  SOURCE  KIND     NAME                REMARK NAME        NICK NAMES
u1001    1       contact  Alice Winterbourne  Lighthouse keeper
$ userdb get me:1 x:2 u1016:2
USER ID  SOURCE  KIND     NAME            REMARK NAME  NICK NAMES
u1016    2       contact  Piotr Młynarz   Miller
me       1       user     Tuuli Koskinen
! not found: x:2
$ userdb get me:1 p2001:3 --type user --type contact
USER ID  SOURCE  KIND  NAME            REMARK NAME  NICK NAMES
me       1       user  Tuuli Koskinen
! not found: p2001:3
$ userdb get u1016 2 --json | filled
{"user_id":"u1016","user_name":"Piotr Młynarz","name_spell":"piotr mlynarz","remark":"{\"remark_name\":\"Miller\"}","user_source":2,"gender":1,"data_type":2,"local_user_id":"u1016:2"}
$ userdb get x:2
! not found: x:2
! nothing found [1]
END
answers userdb <<'END'
count                                   => 21
count --type contact                    => 18
count --type contact --source 2         => 1
count --type user --type public-account => 3
count --source 3                        => 2
count --source 7                        => 0
search nobody                           => ! nothing found [1]
list --source 0                         => ! nothing found [1]
list --type user --source 2             => ! nothing found [1]
search '(' => ! the keyword '(' is no valid regular expression, or its cost has no bound [2]
search '(a)\1' => ! the keyword '(a)\1' is no valid regular expression, or its cost has no bound [2]
END

# A command changes the fields that it names, user_version, and nothing else.
begin examples
answers change <<'END'
set star me 1 1                 => changed 1 "is_star":1 "user_version":13
set attention me:1 1            => changed 1 "is_attention":1 "user_version":14
set data-type me 1 contact,user => changed 1 "user_version":15 "data_type":3
set data-type me 1 4            => changed 1 "user_version":16 "data_type":4
set remark me:1 'a "plain" one' => changed 1 "remark":"{\"remark_name\":\"a \\\"plain\\\" one\"}" "user_version":17
set remark me:1 ' { "n" : [ 1.50, true ] }' => changed 1 "remark":"{\"n\":[1.50,true]}" "user_version":18
set remark me:1 ''              => changed 1 "remark":"" "user_version":19
set star me:1 0                 => changed 1 "is_star":0 "user_version":20
index                           => indexed
index                           => indexed
update - <<<'{"user_id":"me","user_source":1,"is_attention":1}' => updated 1, not found 0, read 1 "user_name":"" "name_spell":"" "user_version":0 "gender":0 "data_type":0
END
expect 3 sqlite3 users.db "SELECT count(*) FROM pragma_index_list('users')" # one is the primary key's
equal <(sqlite3 users.db "SELECT user_id FROM users WHERE data_type & 2 ORDER BY rowid") \
    <(userdb list --type contact --json | sed -E 's/^\{"user_id":"([^"]*)".*/\1/') "contacts by the index"
answers userdb <<'END'
set star nobody 1 1             => ! nothing found [1]
set remark me:1 '{x'            => ! no JSON from byte 2 on [2]
update - <<<'{"user_id":"me","user_source":1,"x":1}' => ! standard input:1: key 'x': unknown [2]
count                           => 21
END
session <<'END'
$ userdb update - <<<$'{"user_id":"q"}\n{"user_id":"u1001","user_source":1}'
updated 1, not found 1, read 2
! standard input:1: not found: q:0
$ userdb update -
updated 0, not found 0, read 0
! nothing found [1]
$ userdb update - <<<'{"user_id":"q"}'
updated 0, not found 1, read 1
! standard input:1: not found: q:0
! nothing found [1]
$ userdb update - < <(seq -f '{"user_id":"q%.0f"}' 150) | sed -n '1,2p;101,$p'
updated 0, not found 150, read 150
! standard input:1: not found: q1:0
! standard input:100: not found: q100:0
! nothing found [1]
$ userdb get u1001:1 u1001:1 x:2 u1001 --type contact
! the user 'u1001' must be USER_ID:SOURCE [2]
$ userdb get p2001:3 $(printf "u1002:1 %.0s" {1..600})
USER ID  SOURCE  KIND            NAME                   REMARK NAME  NICK NAMES
u1002    1       contact         Bruno Castagna         Piano tuner
p2001    3       public-account  Harbour Weather Daily
$ userdb delete me 1
deleted 1
$ userdb delete u1001:1 me:1 u1002:1
deleted 2
! not found: me:1
$ userdb delete me:1
! not found: me:1
! nothing found [1]
$ userdb count
18
END

# What is exported can be imported again.
begin empty
session <<'END'
$ userdb import - <<<'{"user_id":"\u0000\"\ud83d\ude00","user_source":4294967295,"user_version":-9223372036854775808,"group_info":" kept ","remark":[ {"b" : 1, "a":[]} ]}'
stored 1, ignored 0, read 1
$ userdb export | filled
{"user_id":"\u0000\"😀","remark":"[{\"b\":1,\"a\":[]}]","user_version":-9223372036854775808,"user_source":4294967295,"local_user_id":"\u0000\"😀:-1","group_info":" kept "}
END
userdb import "$contacts" >out 2>&1
userdb export >exported
equal exported <(userdb list --json) "list --json"
begin empty
expect "stored 22, ignored 0, read 22" userdb import - <exported
equal exported <(userdb export) "the second export"

# Nothing is stored of a file with a bad line. This is a complaint of each kind; the fuzz corpus has
# more lines that must be refused.
nested=$(printf '[%.0s' {1..200})
begin empty
while IFS=' ' read -r line complaint; do
    printf '{"user_id":"good"}\n%b\n' "${line/NESTED/$nested}" >bad.jsonl
    expect "! bad.jsonl:2: $complaint [2]" userdb import bad.jsonl
    [ ! -e users.db ] || fail "a file is left of $line"
done <<'END'
{"user_id": not one whole JSON object: is the file pretty-printed?
{"user_id":"\xff"} no JSON from byte 13 on
[1] not one whole JSON object: is the file pretty-printed?
{ not one whole JSON object: is the file pretty-printed?
7 not one whole JSON object: is the file pretty-printed?
{} key 'user_id': missing
{"user_id":""} key 'user_id': empty
{"user_id":"a","data_type":["friend"]} key 'data_type': 'friend' is no kind of user: contact, public-account, user
{"user_id":"a","data_type":[2]} key 'data_type': an array of it must have names of kinds
{"user_id":"a","data_type":4.5} key 'data_type': must be a whole number from 0 to 4294967295
{"user_id":7} key 'user_id': must be a text
{"user_id":"a","user_id":"b"} key 'user_id': given twice
{"user_id":"a","gender":"1"} key 'gender': must be a whole number from 0 to 4294967295
{"user_id":"a","gender":4294967296} key 'gender': must be a whole number from 0 to 4294967295
{"user_id":"a","user_version":9223372036854775808} key 'user_version': must be a whole number from -9223372036854775808 to 9223372036854775807
{"user_id":"a","remark":null} key 'remark': must be a text, an object or an array
{"user_id":"a","extra":{}} key 'extra': must be a text
{"user_id":"a","remark":NESTED key 'remark': nested more than 100 levels deep
{"user_id":"a","remark":{"x":1e400}} key 'remark': a number too large
{"user_id":"a","\\u001b[2J":1} key '�[2J': unknown
END

# A user who is stored already is treated as --on-conflict says.
begin empty
printf '{"user_id":"%s","user_name":"new"}\n' b a >new.jsonl
printf '{"user_id":"%s"}\n' a a >twice.jsonl
printf '{"user_id":"b"}\0{"user_id":"c"}\n' >nul.jsonl
expect "! twice.jsonl:2: key 'user_id': this user is stored already [2]" \
    userdb import twice.jsonl --on-conflict fail
[ "$(wc -c users.db*)" = "0 users.db" ] || fail "not an empty file is left of a failed import"
session <<'END'
$ userdb import - --on-conflict fail <<<'{"user_id":"a","user_name":"old"}'
stored 1, ignored 0, read 1
$ userdb import new.jsonl --on-conflict fail
! new.jsonl:2: key 'user_id': this user is stored already [2]
$ userdb import nul.jsonl
! nul.jsonl:1: there is a NUL byte in the line [2]
$ userdb export | filled
{"user_id":"a","user_name":"old","local_user_id":"a:0"}
$ userdb import new.jsonl --on-conflict ignore
stored 1, ignored 1, read 2
$ userdb export | filled
{"user_id":"a","user_name":"old","local_user_id":"a:0"}
{"user_id":"b","user_name":"new","local_user_id":"b:0"}
$ userdb import new.jsonl
stored 2, ignored 0, read 2
$ userdb export | filled
{"user_id":"b","user_name":"new","local_user_id":"b:0"}
{"user_id":"a","user_name":"new","local_user_id":"a:0"}
END

# A table has straight columns and no control characters.
begin empty
expect 'stored 4, ignored 0, read 4
! 1 user is not found by a remark that is no JSON such as {"remark_name":"..."}' \
    userdb import - <<'END'
{"user_id":"a","user_source":7,"user_name":"小雨","data_type":3,"remark":{"remark_name":"x","phone":"y"},"group_info":[{"nick_name":"n"},"stray",{"nick_name":"m"}]}
{"user_id":"b","user_name":"é\u001b[\u0000\u202e\u200b\ufeff\u009b","remark":"{broken"}
{"user_id":"d","user_name":"\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645 \ud83d\udc69\u200d\ud83d\ude80 \u0d9a\u0dca\u200d\u0dc2"}
{"user_id":"c","user_name":"c%%","remark":{"remark_name":"z"}}
END
LC_ALL=C sed -i $'s/c%%/c\xe5%/' users.db # no UTF-8, which no import stores
session <<'END'
$ userdb list
USER ID  SOURCE  KIND           NAME             REMARK NAME  NICK NAMES
a        7       contact, user  小雨             x            n, m
b        0                      é�[��​﻿�
d        0                      می‌خواهم 👩‍🚀 ක්‍ෂ
c        0                      c�%              z
$ userdb get b:0 c:0 --json | filled
{"user_id":"b","user_name":"\u00e9\u001b[\u0000\u202e\u200b\ufeff\u009b","remark":"{broken","local_user_id":"b:0"}
{"user_id":"c","user_name":"c�%","remark":"{\"remark_name\":\"z\"}","local_user_id":"c:0"}
! has bytes that are no UTF-8, written as U+FFFD: c:0 [4]
END

# SQLite's own complaints are told in a sentence each, without SQL texts, and with the line.
begin empty
echo '{"user_id":"a"}' >one.jsonl
expect "stored 1, ignored 0, read 1" userdb import one.jsonl
sqlite3 users.db "CREATE TRIGGER no_b BEFORE INSERT ON users WHEN new.user_id = 'b'
    BEGIN SELECT RAISE(ABORT, 'no b here'); END"
cp users.db view.db
sqlite3 view.db "DROP TRIGGER no_b; ALTER TABLE users RENAME TO u; CREATE VIEW users AS SELECT * FROM u"
session <<'END'
$ userdb import - <<<$'{"user_id":"c"}\n{"user_id":"b"}'
! users.db: standard input:2: no b here [3]
$ in_view import one.jsonl
! view.db: one.jsonl:1: cannot modify users because it is a view [3]
$ in_view get a:0
USER ID  SOURCE  KIND  NAME  REMARK NAME  NICK NAMES
a        0
$ in_view list
USER ID  SOURCE  KIND  NAME  REMARK NAME  NICK NAMES
a        0
$ in_view index
! view.db: views may not be indexed [3]
END

# Kinds have names, and an import says which users the search does not look at, or cannot read.
begin empty
printf '{"user_id":"%s","remark":%s,"data_type":%s}\n' a '"{ \"remark_name\" : \"Tom \\u0026 Co\" }"' '"contact"' \
    b '"Tom"' '["contact","user"]' c '"{\"remark_name\":\"Tom\""' 6 d '" [1, 2] "' '"user,contact"' >kinds.jsonl
kindless=nothing session <<'END'
$ userdb import - --type contact <<<$'{"user_id":"e"}\n{"user_id":"f","data_type":0}\n{"user_id":"g","data_type":1}'
stored 3, ignored 0, read 3
! 1 user is of no kind: search does not look at them
$ userdb import - <<<$'{"user_id":"f"}\n{"user_id":"h"}'
stored 2, ignored 0, read 2
! 2 users are of no kind: search does not look at them
$ userdb import kinds.jsonl
stored 4, ignored 0, read 4
! 2 users are not found by a remark that is no JSON such as {"remark_name":"..."}
$ userdb export | filled
{"user_id":"e","data_type":2,"local_user_id":"e:0"}
{"user_id":"g","data_type":1,"local_user_id":"g:0"}
{"user_id":"f","local_user_id":"f:0"}
{"user_id":"h","local_user_id":"h:0"}
{"user_id":"a","remark":"{\"remark_name\":\"Tom & Co\"}","data_type":2,"local_user_id":"a:0"}
{"user_id":"b","remark":"Tom","data_type":3,"local_user_id":"b:0"}
{"user_id":"c","remark":"{\"remark_name\":\"Tom\"","data_type":6,"local_user_id":"c:0"}
{"user_id":"d","remark":"[1,2]","data_type":3,"local_user_id":"d:0"}
$ userdb search 'tom & co'
USER ID  SOURCE  KIND     NAME  REMARK NAME  NICK NAMES
a        0       contact        Tom & Co
END

# What others have put into the table is told where JSON cannot hold it, or an import would change it.
foreign() { database=foreign.db userdb "$@"; }
session <<'END'
$ foreign import - <<<$'{"user_id":"a"}\n{"user_id":"a","is_star":1}\n{"user_id":"ok","user_source":4294967295}'
stored 2, ignored 0, read 3
! 1 user is replaced by a later line of the file for the same user
$ sqlite3 foreign.db "UPDATE users SET user_source = 4294967297, is_star = 'yes', gender = -1, user_version = 0.5 WHERE user_id = 'a'"
$ sqlite3 foreign.db "INSERT INTO users (local_user_id, user_id, gender) VALUES ('alias', 'b', '7'), (NULL, '', 0)"
$ foreign export | filled
{"user_id":"a","user_source":1,"gender":4294967295,"local_user_id":"a:0"}
{"user_id":"ok","user_source":4294967295,"local_user_id":"ok:-1"}
{"user_id":"b","gender":7,"local_user_id":"alias"}
{"user_id":""}
! has other values, which do not fit, in is_star user_version user_source gender: a:1
! has a key that no import gives it, a:0: a:1
! has a key that no import gives it, alias: b:0
! has no user_id, so that no import takes it: :0
! has a key that no import gives it, : :0 [4]
$ foreign get a:0 --json | filled
{"user_id":"a","user_source":1,"gender":4294967295,"local_user_id":"a:0"}
! has other values, which do not fit, in is_star user_version user_source gender: a:1
! has a key that no import gives it, a:0: a:1 [4]
$ sqlite3 foreign.db "UPDATE users SET data_type = 2 + (1 << 32), user_name = 'odd' WHERE user_id = 'b'"
$ foreign search --json odd | filled
{"user_id":"b","user_name":"odd","gender":7,"data_type":2,"local_user_id":"alias"}
! has other values, which do not fit, in data_type: b:0
! has a key that no import gives it, alias: b:0 [4]
$ foreign count --source 1
0
$ foreign list --source 1
! nothing found [1]
END

# An older table, one by other names, and one whose versions may be NULL.
sqlite3 old.db "CREATE TABLE users (local_user_id TEXT PRIMARY KEY, user_id, user_source);
    INSERT INTO users VALUES ('a:0', 'a', 0)"
old() { database=old.db userdb "$@"; }
begin examples
sqlite3 users.db ".dump users" | sed '1,/CREATE TABLE/s/NOT NULL//g' >dump.sql
sqlite3 loose.db <dump.sql
sqlite3 loose.db "ALTER TABLE users RENAME user_name TO User_Name;
    UPDATE users SET user_version = NULL WHERE user_id = 'me'"
loose() { database=loose.db userdb "$@"; }
session <<'END'
$ old count
1
$ old list
! old.db: an older table: it has no device_id [3]
$ old set star a:0 1
! old.db: an older table: it has no is_star [3]
$ old delete a:0
deleted 1
$ loose get u1002:1
USER ID  SOURCE  KIND     NAME            REMARK NAME  NICK NAMES
u1002    1       contact  Bruno Castagna  Piano tuner
$ loose set star me:1 1
changed 1
! its user_version is NULL, and stays so
$ loose set star u1001:1 1
changed 1
END

# A copy is whole, or not there.
begin examples
session <<'END'
$ userdb backup copy.db
copied 3 pages
$ userdb backup copy.db
! cannot create copy.db: File exists [2]
$ userdb backup no/copy.db
! cannot create no/copy.db: No such file or directory [2]
END
equal <(userdb export) <(database=copy.db userdb export) "the copy"

# A database without the table stays without it.
database=other.db
expect "stored 1, ignored 0, read 1" userdb import - <<<'{"user_id":"a"}'
LC_ALL=C sed -i 's/users/userz/g' other.db # a database without the table
for arguments in 'set star a 0 1' 'delete a 0' index 'update -' list; do
    # shellcheck disable=SC2086 # a word each
    expect "! other.db: no such table: users [3]" userdb $arguments <<<'{"user_id":"a"}'
done
database=users.db

# An id is taken as it is typed, whatever it means to a library.
head='USER ID  SOURCE  KIND  NAME  REMARK NAME  NICK NAMES'
begin empty
for id in '[a]' '[a,b]' '{x}' '{}' -x a:1 '"q"' %2 %% list; do
    expect "stored 1, ignored 0, read 1" userdb import - \
        <<<"{\"user_id\":\"${id//\"/\\\"}\",\"user_source\":1}"
    expect "changed 1" userdb set star -- "$id" 1 1
    expect "changed 1" userdb set attention -- "$id:1" 1
    expect "changed 1" userdb set remark -- "$id:1" "[$id]"
    answer=$(printf '%s\n%-7s  1                   [%s]' "$head" "$id" "$id")
    expect "$answer" userdb get -- "$id" 1
    expect "$answer"$'\n! not found: none:7' userdb get -- "$id:1" none:7
    expect "deleted 1" userdb delete -- "$id" 1
done
expect "! nothing found [1]" userdb list

# Blank lines count as lines, but not as records.
begin empty
answers userdb <<'END'
import - <<<$'{"user_id":"a"}\n\r\n \n{"user_id":"b"}\n' => stored 2, ignored 0, read 2
import - <<<$'\n\nx' => ! standard input:3: no JSON from byte 1 on [2]
import - <&- => ! cannot read standard input: it is not open [2]
END

# An object may have many members. A tree of them would take a minute.
begin empty
{ printf '{"user_id":"a","remark":{"remark_name":"first"'
  seq -f ',"m%.0f":"x"' 300000 | tr -d '\n'
  echo ',"remark_name":"last"}}'; } >many.jsonl
session <<'END'
$ userdb import many.jsonl
stored 1, ignored 0, read 1
$ userdb list
USER ID  SOURCE  KIND  NAME  REMARK NAME  NICK NAMES
a        0                   first, last
$ userdb export | userdb import -
stored 1, ignored 0, read 1
END

# What is too wide is cut.
begin empty
{ seq -f '{"user_id":"u%.0f"}' 101
  echo '{"user_id":"long","data_type":2,"remark":{"remark_name":"ŕ-小雨-a remark name that is far longer than what fits"}}'
} >many.jsonl
session <<'END'
$ userdb import many.jsonl
stored 102, ignored 0, read 102
$ userdb list | tail -1
long     0       contact        ŕ-小雨-a remark name that is far longer…
$ userdb list --wide | tail -1
long     0       contact        ŕ-小雨-a remark name that is far longer than what fits
$ userdb search far --wide
USER ID  SOURCE  KIND     NAME  REMARK NAME                                             NICK NAMES
long     0       contact        ŕ-小雨-a remark name that is far longer than what fits
$ on_screen 60 search far
USER ID  SOURCE  KIND     NAME  REMARK NAME       NICK NAMES
long     0       contact        ŕ-小雨-a remark…
END

# An id is never cut, even if its line is then out of line. What the first hundred users leave of the
# screen is shared out, since those behind them may have longer texts.
begin empty
{ seq -f '{"user_id":"u%.0f"}' 100
  echo '{"user_id":"an id that is longer than forty columns are wide","user_source":4294967295,"user_name":"a longer name","remark":{"remark_name":"x"}}'
} >many.jsonl
session <<'END'
$ userdb import many.jsonl
stored 101, ignored 0, read 101
$ userdb list | sed -n '1p;$p'
USER ID  SOURCE  KIND  NAME  REMARK NAME  NICK NAMES
an id that is longer than forty columns are wide  4294967295        a longer name  x
$ on_screen 100 list | sed -n '1p;$p'
USER ID            SOURCE  KIND            NAME            REMARK NAME           NICK NAMES
an id that is longer than forty columns are wide  4294967295                  a longer name   x
END

# What can be read of a damaged file is printed, also behind the damage, and the rest is named.
begin empty
seq -f '{"user_id":"u%.0f"}' 5000 >many.jsonl
expect "stored 5000, ignored 0, read 5000" userdb import many.jsonl
userdb list >expected
# On a terminal an import shows how far it is: once as it checks the lines, once as it stores them.
begin empty
[ "$(on_screen 80 import many.jsonl | grep -o ':2000, 3[0-9] %\|stored 5000' | tr '\n' ' ')" = \
    "$(printf ':2000, %s ' '39 %' '39 %')stored 5000 " ] || fail "an import shows no progress"
dd if=/dev/zero of=users.db bs=4096 seek=40 count=20 conv=notrunc status=none
dd if=/dev/zero of=users.db bs=4096 seek=20 count=1 conv=notrunc status=none
answer_to userdb list >given
gap='! cannot read the users in rows'
damage='! users.db: it is damaged; .recover of the sqlite3 shell may read more of it [3]'
grep -v '^!' given >read
equal <(awk -v gap="$gap" 'NR == FNR { if (index($0, gap) == 1) for (i = $8 + 0; i <= $10 + 0; i++) lost["u" i]; next }
    !($1 in lost)' given expected) read "what can be read"
[ "$(grep -c "^$gap [0-9]* to [0-9]*$" given) $(wc -l <given)" = "2 $(($(wc -l <read) + 3))" ] &&
    [ "$(tail -1 given)" = "$damage" ] || fail "what is said of the damage: $(grep ^! given)"
[ "$(wc -l <read)" -gt 3000 ] || fail "little is read of a damaged file"

# A path that looks like a URI is a path.
database=file::memory:
expect "stored 1, ignored 0, read 1" userdb import - <<<'{"user_id":"a"}'
expect 1 userdb count
[ -f file::memory: ] || fail "no file of that name"
database=users.db

# Trouble with the database is explained, and no file is created.
begin empty
for arguments in list 'search x' 'get a 1' 'get a:1' export 'delete a 1' 'set star a 1 1' \
    'update -' index count; do
    # shellcheck disable=SC2086 # a word each
    expect "! users.db: there is no such file [3]" userdb $arguments
done
mkdir folder
database=no/users.db expect "! no/users.db: its folder is missing [3]" userdb import "$contacts"
for arguments in list "import $contacts" 'set star a 1 1'; do
    # shellcheck disable=SC2086 # a word each
    database=folder expect "! folder: it is a directory [3]" userdb $arguments
done
expect "! cannot read /no/such/file: No such file or directory [2]" userdb import /no/such/file
[ ! -e users.db ] || fail "reading created a file"
: >users.db
expect "! users.db: no such table: users [3]" userdb list
head -c 5000 "$contacts" >users.db
for arguments in list 'import -' count; do
    # shellcheck disable=SC2086 # a word each
    expect "! users.db: it is no SQLite database, or an encrypted one [3]" userdb $arguments \
        <<<'{"user_id":"a"}'
done
database='' expect "! --db or USERDB_DB must name the database [2]" userdb list
database=:memory: expect "! :memory:: there is no such file [3]" userdb list

# Built with SQLCipher, userdb reads and makes encrypted files.
if "$program" --help | grep -q -e --key-file; then
    begin empty
    rm -f secret*
    with() { database=$1 userdb --key-file "$2" "${@:3}"; }
    printf 'pass phrase\n' >key
    printf 'pass phrase' >same
    echo wrong >wrong
    echo >none
    expect "stored 21, ignored 0, read 21" with secret.db key import "$contacts"
    expect "copied 3 pages" with secret.db same backup secret-copy.db
    for file in secret.db secret-copy.db; do
        expect 21 with $file key count
        expect "! $file: the key is wrong, or it is no SQLite database [3]" with $file wrong count
        expect "! $file: the key is wrong, or it is no SQLite database [3]" with $file wrong import "$contacts"
        database=$file expect "! $file: it is no SQLite database, or an encrypted one [3]" userdb count
    done
    for file in none no "$contacts"; do
        expect "! cannot read a key of one line in $file [2]" with secret.db "$file" count
    done
fi

# Bad usage is explained. Where a complaint ends in "tells more", it begins in the words of the
# library that parses the command line.
begin examples
answers userdb <<'END'
=> ! A subcommand is required; userdb --help tells more [2]
serach x => ! 'serach' is no command; userdb --help tells more [2]
'[x]' => ! '[x]' is no command; userdb --help tells more [2]
get => ! USER is required; userdb --help tells more [2]
get a 1 b:1 c => ! the user 'a' must be USER_ID:SOURCE [2]
get a 4294967296 => ! the source '4294967296' must be a whole number from 0 to 4294967295 [2]
list --type x => ! --type: x not in {contact,public-account,user}; userdb --help tells more [2]
list -x => ! unknown option -x; userdb --help tells more [2]
-x list => ! unknown option -x; userdb --help tells more [2]
list --source 0x1 => ! the source '0x1' must be a whole number from 0 to 4294967295 [2]
list --limit 0 => ! the limit '0' must be a whole number from 1 to 4294967295 [2]
import / => ! cannot read /: Is a directory [2]
import - </ => ! cannot read standard input: Is a directory [2]
import - --on-conflict x => ! --on-conflict: x not in {replace,ignore,fail}; userdb --help tells more [2]
set star a:1 b:1 1 => ! one user is needed, as USER_ID:SOURCE, and a value [2]
set star a 1 2 => ! the value of star must be 0 or 1 [2]
set attention a 1 '' => ! the value of attention must be 0 or 1 [2]
set data-type a 1 friend => ! 'friend' is no kind of user: contact, public-account, user [2]
set data-type a 1 user, => ! '' is no kind of user: contact, public-account, user [2]
set name a 1 x => ! FIELD: name not in {star,attention,remark,data-type}; userdb --help tells more [2]
set star a:1 => ! one user is needed, as USER_ID:SOURCE, and a value [2]
END
help=$(answer_to "$program" list --type x --help)
[[ $help == $'List users\nUsage: userdb list [--db FILE] [OPTIONS]\n'*' --limit N '*'a record as it is' ]] ||
    fail "the help for a command: $help"
[[ $(answer_to "$program" --version) =~ ^userdb\ [0-9.]+$ ]] || fail "no version"
[[ $(answer_to "$program" set --help) == *$'\nUsage: userdb set [--db FILE] FIELD USER VALUE\n'* ]] ||
    fail "the usage of set"
[ -z "$("$program" --help | awk 'length > 80')" ] || fail "the help is wider than 80 columns"
script -qec "stty cols 60; $program --help" /dev/null >given
[[ $(<given) == *"Exit status"* && -z $(tr -d '\r' <given | awk 'length > 60') ]] ||
    fail "the help is not as wide as the screen"
begin examples
[ "$(USERDB_DB=users.db "$program" count) $(USERDB_DB=x "$program" -d users.db count)" = "21 21" ] ||
    fail "USERDB_DB is not the database, or not that of last resort"

# What is done is told even if standard output fails. Exit status 2 would say that nothing is changed.
unheard=', but standard output cannot be written [4]'
begin examples
while IFS=: read -r outcome arguments; do
    eval "expect '! $outcome$unheard' full $arguments" <<<'{"user_id":"me","user_source":1}'
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
expect "! stored 1, ignored 0, read 1$unheard" closed import - <<<'{"user_id":"me"}'
