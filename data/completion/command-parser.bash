# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# bash completion for command-parser, the embossing device's shell tool.
#
# The numbers after -c and -e come from the device itself: the categories that `command-parser -l`
# lists, and the commands of each. With the command handler absent or not answering, nothing is
# offered, within half a second.

# Prints the numbers of the entries that the tool lists with the given options, one a line, or
# nothing when the device does not answer within the given milliseconds. Lines of a failed
# exchange carry a number but no text and are left out.
_command_parser_numbers()
{
    local tool=$1 ms=$2
    shift 2
    LS_DBUS_TIMEOUT_MS=$((ms - 100)) timeout "$((ms / 1000)).$((ms % 1000 / 100))" "$tool" "$@" \
        2>&1 < /dev/null \
        | while read -r number text; do
            [[ $number =~ ^[0-9]+$ && -n $text ]] && printf '%s\n' "$number"
        done
}

# Prints the number of every command of every category. The categories are asked side by side,
# once the device has listed them: with the device absent or silent, that first answer takes the
# half second, and nothing else is asked. A device that has answered gets two seconds for its
# categories, so that a busy one still lists them all.
_command_parser_commands()
{
    local categories category
    categories=$(_command_parser_numbers "$1" 500 -l)
    [ -n "$categories" ] || return 0
    for category in $categories; do
        _command_parser_numbers "$1" 2000 -c "$category" &
    done | sort -n
}

_command_parser()
{
    local cur=${COMP_WORDS[COMP_CWORD]}
    local prev=${COMP_WORDS[COMP_CWORD - 1]}
    local tool=${COMP_WORDS[0]}
    # The tool as typed, if it runs from here; else the one on PATH.
    [[ $tool == */* && -x $tool ]] || tool=command-parser
    COMPREPLY=()

    case $prev in
    -c | --listCommands)
        mapfile -t COMPREPLY < <(compgen -W "$(_command_parser_numbers "$tool" 500 -l)" -- "$cur")
        return
        ;;
    -e | --executeCommand)
        mapfile -t COMPREPLY < <(compgen -W "$(_command_parser_commands "$tool")" -- "$cur")
        return
        ;;
    -a | --arguments)
        # Free text: the command's arguments, one blank between each, quoted as one word.
        return
        ;;
    esac

    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '-e --executeCommand -a --arguments -l
            --listCategories -c --listCommands -h --help --help-all -v --version' -- "$cur")
    fi
}
complete -F _command_parser command-parser
