"""What the shells are told of a program, for them to complete its command lines."""

import os
import re

# What stands for a value in the help, and what can be offered for it.
KINDS = {"FILE": "file", "PATH": "file", "DIR": "directory", "NAME=DATAFILE": "assignment", "LINE": "line",
         "LIGHT": "light", "CHANNEL": "channel", "SHELL": "shell"}

# Of a program that runs others on a board of its own.
LAUNCHER = """
    local root=${given[--root]:-${OSTDRV_SIM_ROOT:-${XDG_STATE_HOME:-$HOME/.local/state}/ostdrv-sim}}
    local _ostdrv_board=${root/#\~/$HOME}/fs
    if [[ -n $ended ]]; then
        _@name@_command "${words[@]:i + 1}"
        _@name@_divide
        return
    fi"""


def _kind(option):
    """A word and what goes with it; nothing of a flag."""
    if option.words:
        return " ".join(["words"] + option.words)
    line = re.fullmatch(r"LINE(\[?)([=:])([^\]]*)\]?", option.form)
    if line:
        return f"line {'' if line.group(1) else '!'}{line.group(2)} {line.group(3).replace('|', ' ')}"
    return KINDS.get(option.form, "unknown" if option.form else "")


def _bash_table(command):
    """The rows of this command and those below."""
    options = [f"'{' '.join(option.names)};{_kind(option)};{' '.join(option.excludes)};"
               f"{'again' if option.repeatable else ''}'" for option in command.switches]
    arguments = [f"'{_kind(option)};{'again' if option.repeatable else ''}'" for option in command.arguments]
    lines = [f"        '{' '.join(command.path[1:])}')"]
    if command.commands:
        lines.append(f"            commands='{' '.join(below.name for below in command.commands)}'")
    for name, entries in (("options", options), ("arguments", arguments)):
        if entries:
            lines += [f"            {name}=("] + [" " * 16 + entry for entry in entries] + ["            )"]
    lines.append("            ;;")
    for below in command.commands:
        lines += _bash_table(below)
    return lines


def _is_launcher(program):
    return " -- COMMAND" in program.description


def _filled(template, program, **parts):
    with open(os.path.join(os.path.dirname(__file__), template), encoding="utf-8") as file:
        text = file.read()
    for name, part in parts.items():
        text = text.replace(f"@{name}@", part)
    return text.replace("@name@", program.name.replace("-", "_")).replace("@program@", program.name)


def bash(program):
    return _filled("completion.bash", program, table="\n".join(_bash_table(program)),
                   launcher=LAUNCHER if _is_launcher(program) else "")


# What zsh does for a kind; what begins with a blank it calls as it is.
ACTIONS = {"unknown": " ", "file": "_files", "directory": "_files -/", "assignment": " _@name@_assignment",
           "shell": "(${(f)\"$(grep -s ^/ /etc/shells)\"})", "light": " _@name@_names '/sys/class/backlight/*' '' ''",
           "channel": " _@name@_names '/var/tmp/adc/in_voltage*_raw' in_voltage _raw"}

ZSH_LAUNCHER = """
    integer at
    local root=${OSTDRV_SIM_ROOT:-${XDG_STATE_HOME:-$HOME/.local/state}/ostdrv-sim}
    for ((at = 2; at < CURRENT; ++at)); do
        case $words[at] in
            (-r|--root) root=${~words[at + 1]} ;;
            (--root=*) root=${~words[at]#*=} ;;
            (--) break ;;
        esac
    done
    local _ostdrv_board=$root/fs
    if ((at < CURRENT)); then
        shift $at words
        ((CURRENT -= at))
        _normal
        return
    fi"""


def _action(option):
    kind = _kind(option)
    if kind.startswith("line"):
        return " _@name@_lines" + kind[len("line"):]
    return f"({' '.join(option.words)})" if option.words else ACTIONS[kind]


def _value(option):
    return ":" + re.match(r"\w*", option.form).group() + ":" + _action(option)


def _quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def _zsh_option(option):
    said = re.sub(r"([\[\]])", r"\\\1", option.description)
    names = [name + ("" if not option.form else "=" if name.startswith("--") else "+") for name in option.names]
    others = [name for name in option.excludes if name.startswith("-")] + ([] if option.repeatable else option.names)
    front = ("*" if option.repeatable else "") + (f"({' '.join(others)})" if others else "")
    shown = "{" + ",".join(names) + "}" if len(names) > 1 else names[0]
    return _quoted(front) + shown + _quoted(f"[{said}]" + (_value(option) if option.form else ""))


def _zsh_function(command, launches):
    """The function of this command, in front of it those of the ones below."""
    name = "_@name@" + "".join("__" + word for word in command.path[1:])
    arguments = [_zsh_option(option) for option in command.switches]
    lines = [f"{name}() {{"]
    if launches:
        lines += ZSH_LAUNCHER.split("\n")[1:]
    if command.commands:
        arguments += ["': :->command'", "'*:: :->below'"]
        lines += ["    local curcontext=$curcontext state line", "    local -a commands=("]
        lines += ["        " + _quoted(below.name + ":" + below.description) for below in command.commands]
        lines += ["    )"]
    else:
        arguments += [_quoted(("*" if option.repeatable else "" if option.required else ":") + _value(option))
                  for option in command.arguments]
    lines += ["    _arguments -C -s -S \\"] + [f"        {argument} \\" for argument in arguments]
    lines[-1] = lines[-1][:-2]
    if command.commands:
        lines += ["    case $state in", "        (command) _describe -t commands command commands ;;",
                  f"        (below) (($+functions[{name}__$line[1]])) && {name}__$line[1] ;;", "    esac"]
    text = "\n".join(lines + ["}", ""])
    return "\n".join([_zsh_function(below, False) for below in command.commands] + [text])


def zsh(program):
    return _filled("completion.zsh", program, functions=_zsh_function(program, _is_launcher(program)))
