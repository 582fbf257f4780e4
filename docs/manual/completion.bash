# Completion of @program@ for bash, made from the program's own tables. It needs nothing but bash.

# What may follow "@program@ PATH". An option is its names, what its value is, what it excludes, and whether it may come
# again; an argument is what it is, and whether there may be more of it.
_@name@_table() {  # PATH
    commands='' options=() arguments=()
    case $1 in
@table@
    esac
}

# The words up to the cursor as the program will see them: bash has divided them at = and : as well.
_@name@_words() {
    local rest=$COMP_LINE between word i
    words=()
    for ((i = 0; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        between=${rest%%[![:blank:]]*}
        if [[ $i -gt 0 && -z $between && -n $rest ]]; then words[-1]+=$word; else words+=("$word"); fi
        rest=${rest#"$between$word"}
    done
}

# What is left of the device's files without front and back; of a simulated board's where its launcher is completed.
_@name@_names() {  # GLOB FRONT BACK
    local path
    for path in "${_ostdrv_board:-}"$1; do
        [[ -e $path ]] || continue
        path=${path##*/"$2"}
        printf '%s\n' "${path%"$3"}"
    done
}

_@name@_lines() {  # SEPARATOR CHOICE...: "=", or "!=" where a line alone will not do
    local line choice
    for line in $(_@name@_names '/sys/class/gpio/gpio[0-9]*' gpio ''); do
        [[ $1 == !* ]] || printf '%s\n' "$line"
        if [[ $1 == !* || $typed == *[=:]* ]]; then
            for choice in "${@:2}"; do printf '%s\n' "$line${1#!}$choice"; done
        fi
    done
}

# What can stand where something of this kind is wanted, a line each.
_@name@_candidates() {  # KIND...
    case $1 in
        words) printf '%s\n' "${@:2}" ;;
        file) compgen -f -- "$typed" ;;
        directory) compgen -d -- "$typed" ;;
        assignment) [[ $typed != *=* ]] || compgen -P "${typed%%=*}=" -f -- "${typed#*=}" ;;
        shell) grep -s '^/' /etc/shells ;;
        light) _@name@_names '/sys/class/backlight/*' '' '' ;;
        channel) _@name@_names '/var/tmp/adc/in_voltage*_raw' in_voltage _raw ;;
        line) _@name@_lines "${@:2}" ;;
    esac
}

_@name@_offer() {  # KIND TYPED FRONT: what belongs to the word, not to the value
    local typed=$2 word
    case $1 in file | directory | assignment) compopt -o filenames 2>/dev/null ;; esac
    while IFS= read -r word; do
        [[ $word == "$typed"* ]] && COMPREPLY+=("$3$word")
    done < <(_@name@_candidates $1)
}

# A command behind "--" is completed as it would be without what stands in front.
_@name@_command() {  # WORD...
    local name=${1##*/} here=${BASH_SOURCE[0]%/*} function=
    if [[ $# == 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -c -- "$1")
        return
    fi
    if ! complete -p "$name" &>/dev/null && [[ -r $here/$name ]]; then source "$here/$name"; fi
    [[ $(complete -p "$name" 2>/dev/null) =~ \ -F\ ([^ ]+) ]] && function=${BASH_REMATCH[1]}
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE=$* COMP_POINT=${#COMP_LINE}
    if [[ -n $function ]]; then "$function" "$name" "${@: -1}" "${@: -2:1}"; else _@name@_offer file "${@: -1}" ''; fi
}

_@name@() {
    local words word last commands options arguments entry names kind excludes again i
    local path='' wanted='' option='' ended='' taken=0 offered=''
    local -A given=()
    COMPREPLY=()
    _@name@_words
    last=${words[-1]}
    _@name@_table ''
    for ((i = 1; i < ${#words[@]} - 1; ++i)); do
        word=${words[i]}
        if [[ -n $wanted ]]; then
            given[$option]=$word wanted=''
        elif [[ $word == -- ]]; then
            ended=yes
            break
        elif [[ $word == -* ]]; then
            for entry in "${options[@]}"; do
                IFS=';' read -r names kind excludes again <<<"$entry"
                [[ " $names " == *" ${word%%=*} "* ]] || continue
                option=${names##* }
                given[$option]=${word#*=}
                [[ -z $kind || $word == *=* ]] || wanted=$kind
            done
        elif [[ " $commands " == *" $word "* ]]; then
            path+="${path:+ }$word"
            _@name@_table "$path"
        else
            ((++taken))
        fi
    done
@launcher@
    if [[ -n $wanted ]]; then
        _@name@_offer "$wanted" "$last" ''
    elif [[ $last == --*=* ]]; then
        for entry in "${options[@]}"; do
            IFS=';' read -r names kind excludes again <<<"$entry"
            [[ ${names##* } != "${last%%=*}" || -z $kind ]] || _@name@_offer "$kind" "${last#*=}" "${last%%=*}="
        done
    elif [[ $last == -* ]]; then
        for entry in "${options[@]}"; do
            IFS=';' read -r names kind excludes again <<<"$entry"
            [[ -z ${given[${names##* }]+yes} || -n $again ]] || continue
            for option in $excludes; do [[ -z ${given[$option]+yes} ]] || continue 2; done
            offered+=" ${names##* }"
        done
        [[ -z $offered ]] || _@name@_offer "words$offered" "$last" ''
    elif [[ -n $commands ]]; then
        _@name@_offer "words $commands" "$last" ''
    elif [[ ${#arguments[@]} -gt 0 ]]; then
        entry=${arguments[taken]:-${arguments[-1]}}
        IFS=';' read -r kind again <<<"$entry"
        [[ $taken -ge ${#arguments[@]} && -z $again ]] || _@name@_offer "$kind" "$last" ''
    fi
    _@name@_divide
}

# Where = and : divide words, readline keeps what stands in front of the last of them.
_@name@_divide() {
    local front=${last%"${last##*[=:]}"}
    [[ -z $front || $COMP_WORDBREAKS != *"${front: -1}"* ]] || COMPREPLY=("${COMPREPLY[@]#"$front"}")
}

complete -F _@name@ @program@
