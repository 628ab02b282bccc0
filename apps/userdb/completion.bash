# Completes the commands and options of userdb in bash.
_userdb() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' i
    local commands='import export search list get count update index set backup delete'
    [[ $word != = ]] || word='' # bash takes the = of --db=FILE for a word
    [[ $before != = ]] || before=${COMP_WORDS[COMP_CWORD - 2]}
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ " $commands " == *" ${COMP_WORDS[i]} "* && ! ${COMP_WORDS[i - 1]} =~ ^(-d|--db|=)$ ]] &&
            { command=${COMP_WORDS[i]}; break; }
    done
    case $before in
        -d | --db) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
        --type) mapfile -t COMPREPLY < <(compgen -W 'user contact public-account' -- "$word"); return ;;
        --on-conflict) mapfile -t COMPREPLY < <(compgen -W 'replace ignore fail' -- "$word"); return ;;
        --source | --limit) return ;;
    esac
    local choices='-d --db -h --help --version'
    case $command in
        '') choices+=" $commands" ;;
        import) choices+=' --on-conflict --type' ;;
        list) choices+=' --type --source --limit --json --wide' ;;
        get) choices+=' --type --json --wide' ;;
        count) choices+=' --type --source' ;;
        search) choices+=' --literal --ignore-diacritics --limit --json --wide' ;;
        set) [[ $before == set ]] && choices+=' star attention remark data-type' ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
    [[ $command =~ ^(import|update|backup)$ ]] &&
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$word")
}
complete -o filenames -F _userdb userdb
