# Completion of qzstress for bash; installed under share/bash-completion/completions.
_qzstress() {
    local command=${COMP_WORDS[1]} word=$2 before=$3
    local reading="--leads --fs --uv-per-bit"
    local analysis="--mains --lowpass --smooth --post-j --relearn"
    COMPREPLY=()
    case $before in
    --mains) COMPREPLY=($(compgen -W "0 50 60" -- "$word")); return ;;
    --smooth | --angina) COMPREPLY=($(compgen -W "0 1 2" -- "$word")); return ;;
    --protocol) COMPREPLY=($(compgen -W "bruce bicycle ramp steps" -- "$word")); return ;;
    esac
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "analyze simulate info evaluate batch --help --help-all" -- "$word"))
    elif [[ $word == -* ]]; then
        local options
        case $command in
        analyze)
            options="$reading $analysis --template-from --csv --every --json --wfdb-ann --export --double --report \
                --strips --angina --exercise-seconds --stages --protocol --exercise-start --realtime --quiet"
            ;;
        simulate) options="--protocol --seconds --leads --fs --uv-per-bit --seed --mains --mains-uv --muscle-uv --wander-uv \
                --motion-uv --st-uv --ectopy --lead-off" ;;
        info) options=$reading ;;
        evaluate) options="$reading $analysis --ann --skip --json --quiet" ;;
        batch) options="--out --jobs --quiet" ;;
        esac
        COMPREPLY=($(compgen -W "$options --help" -- "$word"))
    else
        compopt -o default
    fi
}
complete -F _qzstress qzstress
