#compdef hbtag hblog hbres scanlab
# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# Completion for zsh, of all programs: commands, their options with what they are for, the values of those that take a few,
# and files. Installed as _hbtools.

local program=$service context state state_descr line ret=1
typeset -A opt_args
local -a help=('(- *)'{-h,--help}'[how to use it]')
local -a version=('(- *)--version[the version]')
local -a json=('--json[print JSON]')
local -a force=('--force[replace OUT if it is there]')
local -a tag=('1:tag file:_files')
local -a log=(
    '--since[only entries from this date on]:date, such as 2024-12-31'
    '--until[only entries up to this date]:date, such as 2024-12-31'
    '--last[only the last of what is left]:number'
    '1:file:_files'
)
local -a run=(
    '--out[folder for the files that are written]:folder:_files -/'
    '--language[of all texts]:language:(AUTO DEU ENU)'
    '--progress[a line for each stage of long work]'
    '--ini[settings]:settings:_files'
)
local -a commands of
local title

case $program in
hbtag)
    commands=(
        'ls:list the records as a tree'
        'dump:list the records with their payloads'
        'tree:list the records, or write a page for a browser'
        'verify:name each fault with its place and cost'
        'repair:write what is whole into a new file'
        'convert:write a file anew with all its records in one form'
        'export:write the numbers of one record'
        'diff:compare what two files hold'
    )
    ;;
hblog)
    commands=(
        'log:show the entries of an exception log'
        'debug:show the entries of a debug file'
        'profile:add up the profile lines of a debug file'
    )
    ;;
scanlab)
    commands=(
        'demo:run the main job with a synthetic plate or a scan'
        'align:bring a scan onto another one'
        'run:run macros'
        'do:run command lines'
    )
    of=(
        $run
        '--help-operators[all operators and their parameters as Markdown]'
        '--check-driver[try a driver out]:driver:_files -g "*.so"'
        '--seconds[how long --check-driver waits]:seconds'
    )
    ;;
hbres)
    _arguments -A '-*' : '(- *)--help[how to use it]' \
        '(--check --pseudo --version)--pack[make a language pack]:language:(DEU ENU QPS)' \
        '(--pack --pseudo --version)--check[compare a translation with the texts]' \
        '--strict[missing texts are errors]' \
        '(--pack --check --version)--pseudo[make the pseudo-language]' \
        '(--pack --check --pseudo)--version[make a version block]' \
        '*:file:_files'
    return
    ;;
esac

_arguments -C : $help $version $of '1: :->command' '*:: :->rest' && ret=0
case $state in
command)
    _describe -t commands command commands && ret=0
    [[ $program != scanlab ]] || { _files && ret=0; }  # macros
    return ret
    ;;
rest) ;;
*) return ret ;;
esac

case "$program $line[1]" in
'hbtag ls') of=($json '--id[only records of this id]:id' $tag) ;;
'hbtag dump') of=($json '--id[only records of this id]:id' '--values[values shown of each payload]:number, -1 for all' $tag) ;;
'hbtag tree') of=($json '--html[write a page for a browser]' $tag) ;;
'hbtag verify') of=($json $tag) ;;
'hbtag repair') of=($json $force $tag '2:new file:_files') ;;
'hbtag convert') of=($json $force '--form[of the records]:bits:(32 64)' $tag '2:new file:_files') ;;
'hbtag export')
    of=(
        $force
        '(--csv --npy)--ply[points, binary]'
        '(--ply --npy)--csv[text with a line for each element]'
        '(--ply --csv)--npy[an array of NumPy]'
        $tag
        '2:record, or new file:_files'
        '3:new file:_files'
    )
    ;;
'hbtag diff') of=($json $tag '2:another one:_files') ;;
'hblog log')
    of=(
        $json
        '--level[only entries of this level or a graver one]:level:(user nonfatal fatal)'
        '--group[only entries of this group]:group'
        $log
    )
    ;;
'hblog debug') of=($json $log) ;;
'hblog profile') of=($json '-o[write the calls as a trace that browsers show]:new file:_files' '1:debug file:_files') ;;
'scanlab demo') of=($run '--points[of the synthetic plate]:number' '1:scan:_files') ;;
'scanlab align') of=($run '1:scan that stays:_files' '2:scan that is moved:_files') ;;
'scanlab do') of=($run '*:command line') ;;
*) of=($run '*:macro:_files') ;;
esac
curcontext=${curcontext%:*:*}:$program-$line[1]:
_arguments : $help $of && ret=0
return ret
