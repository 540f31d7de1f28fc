# Completion of the velmor command for bash.

_velmor()
{
    local current previous command words_of_output words_of_service
    COMPREPLY=()
    current=${COMP_WORDS[COMP_CWORD]}
    previous=${COMP_WORDS[COMP_CWORD - 1]}
    command=${COMP_WORDS[1]-}

    words_of_output="--json --quiet --verbose --help"
    words_of_service="--api-key --user-id --base-url --log-url --callback-url --service --developer-mode --ca-file
        --data-dir --service-dir"

    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "track mel report sessions average delete-report delete-user serve doctor help
            --help --version" -- "$current")
        return
    fi

    case $previous in
        --input | --ca-file | --svg)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --out-dir | --data-dir | --service-dir)
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
            ;;
        --speed)
            mapfile -t COMPREPLY < <(compgen -W "real max" -- "$current")
            return
            ;;
        --order)
            mapfile -t COMPREPLY < <(compgen -W "asc desc" -- "$current")
            return
            ;;
    esac

    local words
    case $command in
        track)
            words="--microphone --input --synthetic --seed --speed --start --duration --interrupt --no-analysis
                $words_of_service $words_of_output"
            ;;
        mel) words="--out-dir --png $words_of_output" ;;
        report) words="--svg $words_of_service $words_of_output" ;;
        sessions) words="--from --to --order --offset --limit $words_of_service $words_of_output" ;;
        average) words="--from --to $words_of_service $words_of_output" ;;
        delete-report | delete-user | doctor) words="$words_of_service $words_of_output" ;;
        serve) words="--port --service-dir --api-key $words_of_output" ;;
        *) return ;;
    esac
    if [ "$command" = mel ] && [[ $current != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -o filenames -F _velmor velmor
