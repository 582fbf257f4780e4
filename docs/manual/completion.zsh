#compdef @program@
# Completion of @program@ for zsh, made from the program's own tables.

# What is left of the device's files without front and back; of a simulated board's where its launcher is completed.
_@name@_names() {  # GLOB FRONT BACK
    local -a names
    names=(${_ostdrv_board:-}${~1}(N:t))
    compadd "${@:4}" - ${${names#$2}%$3}
}

_@name@_lines() {  # [SEPARATOR CHOICE...]: "=", or "!=" where a line alone will not do
    local separator=${1#!}
    if [[ -n $separator ]] && compset -P "*$separator"; then
        compadd - ${@:2}
    elif [[ -n $separator ]]; then
        _@name@_names '/sys/class/gpio/gpio<->' gpio '' -S $separator -r " "
    else
        _@name@_names '/sys/class/gpio/gpio<->' gpio ''
    fi
}

_@name@_assignment() { compset -P '*=' && _files }

@functions@
_@name@ "$@"
