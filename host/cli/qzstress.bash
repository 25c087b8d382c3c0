# Completion of qzstress for bash; installed under share/bash-completion/completions.
_qzstress() {
    local command=${COMP_WORDS[1]} word=$2 before=$3 values="" options=""
    local reading="--leads --fs --uv-per-bit --raw"
    local exercise="--template-from --reference --angina --exercise-seconds --stages --protocol --exercise-start --predicted --stage-leads \
        --anonymous --language --strips --paper"
    local analysis="--mains --paced --comb --lowpass --smooth --post-j --st-rate-limit --q-point --j-point --st-point"
    COMPREPLY=()

    # bash takes "--mains=60" for three words.
    if [[ $word == = ]]; then
        word=""
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    if [[ $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W "analyze simulate info evaluate batch monitor view --help --help-all --version" -- "$word"))
        return
    fi
    case $before in
    --mains) values="auto 0 50 60" ;;
    --paced) values="auto yes no" ;;
    --smooth | --angina) values="0 1 2" ;;
    --protocol)
        values="bruce modified-bruce naughton balke bicycle who25 who50 ramp"
        [[ $command == simulate ]] && values="steps bruce bicycle ramp"
        ;;
    --predicted) values="fox tanaka gulati" ;;
    --language) values="en de" ;;
    --reports) values="html pdf png" ;;
    --paper) values="a4 letter" ;;
    --out)
        compopt -o plusdirs
        return
        ;;
    # Numbers and names of leads: neither a list nor files.
    --leads | --fs | --uv-per-bit | --raw | --lowpass | --post-j | --st-rate-limit | --q-point | --j-point | --st-point | --every | --strips | --reference | --exercise-seconds | --exercise-start | --stage-leads | --ended | --symptoms | \
        --seconds | --seed | --mains-uv | --muscle-uv | --wander-uv | --motion-uv | --st-uv | --ectopy | --lead-off | \
        --skip | --jobs | --timeout | --speed | --port | --address | --host-name)
        return
        ;;
    esac
    if [[ -n $values ]]; then
        COMPREPLY=($(compgen -W "$values" -- "$word"))
    elif [[ $word == -* ]]; then
        case $command in
        analyze) options="$reading $analysis $exercise --patient --bp --ended --symptoms --csv --every --json --wfdb-ann --export --double \
            --report --realtime --quiet --force" ;;
        simulate) options="--protocol --seconds --leads --fs --uv-per-bit --seed --mains --mains-uv --muscle-uv --wander-uv \
            --motion-uv --st-uv --ectopy --lead-off --force" ;;
        info) options="$reading --json" ;;
        evaluate) options="$reading $analysis --ann --fiducials --skip --json --quiet --force" ;;
        batch) options="$reading $analysis $exercise --out --jobs --timeout --keep --reports --quiet" ;;
        monitor) options="$reading $analysis --out --resume --speed --protocol --patient --port --address --host-name --no-page" ;;
        view) options="$reading $analysis --port --address --host-name" ;;
        esac
        COMPREPLY=($(compgen -W "$options --help" -- "$word"))
    else
        compopt -o default
    fi
}
complete -F _qzstress qzstress
