# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# What bash offers at the end of each command line, one word a line and then a dot, with completion loaded from a file.
#   bash offered.bash FILE LINE...
. "$1"
shift
for line; do
    read -ra COMP_WORDS <<<"$line"
    [[ $line != *' ' ]] || COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _hbtools
    [ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
    echo .
done
