# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# What zsh offers at the end of each command line, one word a line and then a dot, with completion loaded from a file.
#   zsh -f offered.zsh FILE LINE...
zmodload zsh/zpty
folder=$(mktemp -d)
cp $1 $folder/_hbtools
cat >$folder/setup <<'EOF'
PROMPT= RPROMPT= LISTMAX=10000
autoload -Uz compinit
fpath=($folder $fpath)
compinit -u -D
compadd() {
    local word
    local -a matches
    for word; do
        [[ $word != (-|--) ]] || break
        [[ $word != -[OAD]* ]] || { builtin compadd "$@"; return; }  # completion itself wants to know
    done
    builtin compadd -O matches "$@"
    (( ! $#matches )) || print -rl -- $matches >>$folder/offered
    builtin compadd "$@"
}
note() {
    _main_complete
    : >$folder/finished
}
bindkey -e
zle -C note list-choices note
bindkey '^_' note
: >$folder/ready
EOF
zpty -b shell "folder=$folder TERM=dumb zsh -f -i"
# wait_for NAME: until the shell has made that file, for at the most 20 seconds; what it prints is of no interest.
wait_for() {
    local -i tries=1000
    local junk
    while [[ ! -e $folder/$1 ]] && (( tries-- )); do
        while zpty -r -t shell junk; do :; done
        sleep 0.02
    done
}
zpty -w shell ". $folder/setup"
wait_for ready
shift
for line; do
    rm -f $folder/{offered,finished}
    zpty -w -n shell $'\x15'"$line"$'\x1f'  # instead of the line before
    wait_for finished
    [[ ! -e $folder/offered ]] || sort -u $folder/offered
    print .
done
zpty -d shell
[[ -e $folder/finished ]]
code=$?
rm -rf $folder
exit $code
