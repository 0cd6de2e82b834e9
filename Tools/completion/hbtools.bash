# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# Completion for bash, of all programs: commands, their options, and the values of those that take a few. Where nothing
# of it fits bash goes on with the names of files. Installed under the name of each program.

# What stands behind a program, or behind a program and a command.
_hbtools_words() {
    case $1 in
    hbtag) echo "-h --help --version ls dump tree verify repair convert export diff" ;;
    "hbtag ls") echo "-h --help --json --id" ;;
    "hbtag dump") echo "-h --help --json --id --values" ;;
    "hbtag tree") echo "-h --help --json --html" ;;
    "hbtag verify") echo "-h --help --json" ;;
    "hbtag repair") echo "-h --help --json --force" ;;
    "hbtag convert") echo "-h --help --json --force --form" ;;
    "hbtag export") echo "-h --help --force --ply --csv --npy" ;;
    "hbtag diff") echo "-h --help --json" ;;
    hblog) echo "-h --help --version log debug profile" ;;
    "hblog log") echo "-h --help --json --level --group --since --until --last" ;;
    "hblog debug") echo "-h --help --json --since --until --last" ;;
    "hblog profile") echo "-h --help --json -o" ;;
    hbres) echo "--help --pack --check --strict --pseudo --version" ;;
    scanlab)
        echo "-h --help --version --out --language --progress --ini --help-operators --check-driver --seconds demo align run do"
        ;;
    "scanlab demo") echo "-h --help --out --language --progress --ini --points" ;;
    "scanlab align" | "scanlab run" | "scanlab do") echo "-h --help --out --language --progress --ini" ;;
    esac
}

# What an option takes, where it is one of a few.
_hbtools_values() {
    case $1 in
    --form) echo "32 64" ;;
    --level) echo "user nonfatal fatal" ;;
    --language) echo "AUTO DEU ENU" ;;
    esac
}

# Whether an option takes a word that nobody can foresee, such as the name of a file.
_hbtools_takes_word() {
    case $1 in
    --out | --ini | --check-driver | --seconds | --points | --id | --values | --group | --since | --until | --last | -o) ;;
    *) return 1 ;;
    esac
}

_hbtools() {
    local program=${COMP_WORDS[0]##*/} current=${COMP_WORDS[COMP_CWORD]} former=${COMP_WORDS[COMP_CWORD - 1]}
    local words i
    COMPREPLY=()
    if _hbtools_takes_word "$former"; then return; fi
    words=$(_hbtools_values "$former")
    if [ -z "$words" ]; then
        # The command is the first word that is one.
        local place=$program
        for ((i = 1; i < COMP_CWORD; i++)); do
            if _hbtools_takes_word "${COMP_WORDS[i - 1]}"; then continue; fi
            if [ -n "$(_hbtools_words "$program ${COMP_WORDS[i]}")" ]; then
                place="$program ${COMP_WORDS[i]}"
                break
            fi
        done
        words=$(_hbtools_words "$place")
    fi
    # Options are offered once a dash is there: files are wanted more often.
    [[ $current == -* || $words != -* || $words == *[[:space:]][a-z]* ]] || return 0
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -o default -F _hbtools hbtag hblog hbres scanlab
