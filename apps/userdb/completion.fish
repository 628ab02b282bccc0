# Completes the commands and options of userdb in fish.

# True if the command of the line is one of the arguments, or with none, if there is no command yet.
function __userdb_in
    set -l commands import export search list get count update index set backup delete
    set -l before ''
    for word in (commandline --tokenize --current-process --cut-at-cursor)
        if contains -- $word $commands; and not contains -- $before -d --db
            contains -- $word $argv
            return
        end
        set before $word
    end
    not set -q argv[1]
end

# True if the word before the cursor's is the command set: its field comes next.
function __userdb_wants_field
    set -l words (commandline --tokenize --current-process --cut-at-cursor)
    __userdb_in set; and test $words[-1] = set
end

complete -c userdb -f
complete -c userdb -s d -l db -r -F -d 'The SQLite file that holds the users'
complete -c userdb -s h -l help -d 'Print the help and exit'
complete -c userdb -l version -d 'Print the version and exit'

complete -c userdb -n __userdb_in -a import -d 'Store the contacts of a file'
complete -c userdb -n __userdb_in -a export -d 'Print every user as a line of JSON'
complete -c userdb -n __userdb_in -a search -d 'Find contacts by a keyword'
complete -c userdb -n __userdb_in -a list -d 'List users'
complete -c userdb -n __userdb_in -a get -d 'Print one user, or many'
complete -c userdb -n __userdb_in -a count -d 'Count users'
complete -c userdb -n __userdb_in -a update -d 'Rewrite the stored records of users'
complete -c userdb -n __userdb_in -a index -d 'Make the index that update and set use'
complete -c userdb -n __userdb_in -a set -d 'Change one field of a user'
complete -c userdb -n __userdb_in -a backup -d 'Copy the database'
complete -c userdb -n __userdb_in -a delete -d 'Delete users'

complete -c userdb -n '__userdb_in import update backup' -F
complete -c userdb -n '__userdb_in import' -l on-conflict -x -a 'replace ignore fail' \
    -d 'What to do about a stored user'
complete -c userdb -n '__userdb_in import list get count' -l type -x -a 'user contact public-account' \
    -d 'Users of this kind'
complete -c userdb -n '__userdb_in list count' -l source -x -d 'Only users of this source'
complete -c userdb -n '__userdb_in search' -l literal -d 'The keyword is a text'
complete -c userdb -n '__userdb_in search list' -l limit -x -d 'At most so many users'
complete -c userdb -n '__userdb_in search list get' -l json -d 'Print JSON, not a table'
complete -c userdb -n '__userdb_in search' -l ignore-diacritics -d 'Let zoe find Zoë'
complete -c userdb -n '__userdb_in search list get' -l wide -d 'Print texts in full'
complete -c userdb -n __userdb_wants_field -a 'star attention remark data-type'
