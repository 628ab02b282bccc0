#compdef userdb
# Completes the commands and options of userdb in zsh.
local curcontext=$curcontext state line
local -A opt_args
local -a commands=(
    'import:store the contacts of a file'
    'export:print every user as a line of JSON'
    'search:find contacts by a keyword'
    'list:list users'
    'get:print one user, or many'
    'count:count users'
    'update:rewrite the stored records of users'
    'index:make the index that update and set use'
    'set:change one field of a user'
    'backup:copy the database'
    'delete:delete users'
)
local -a everywhere=(
    '(-d --db)'{-d+,--db=}'[the SQLite file that holds the users]:database:_files'
    '(- : *)'{-h,--help}'[print the help and exit]'
    '(- : *)--version[print the version and exit]'
)
local type='--type[users of this kind]:kind:(user contact public-account)'
local source='--source[only users of this source]:source: '
local literal='--literal[the keyword is a text]'
local limit='--limit[at most so many users]:number: '
local json='--json[print JSON, not a table]'
local wide='--wide[print texts in full]'

_arguments -C $everywhere '1:command:->command' '*::argument:->argument' && return
case $state in
command) _describe command commands ;;
argument)
    case $words[1] in
    import)
        _arguments $everywhere '1:contacts:_files' "*$type" \
            '--on-conflict[what to do about a stored user]:policy:(replace ignore fail)'
        ;;
    search) _arguments $everywhere $literal '--ignore-diacritics[let zoe find Zoë]' $limit $json $wide '1:keyword: ' ;;
    list) _arguments $everywhere "*$type" $source $limit $json $wide ;;
    get) _arguments $everywhere "*$type" $json $wide '*:user: ' ;;
    count) _arguments $everywhere "*$type" $source ;;
    update) _arguments $everywhere '1:contacts:_files' ;;
    set) _arguments $everywhere '1:field:(star attention remark data-type)' '*:argument: ' ;;
    backup) _arguments $everywhere '1:copy:_files' ;;
    delete) _arguments $everywhere '*:user: ' ;;
    *) _arguments $everywhere ;;
    esac
    ;;
esac
