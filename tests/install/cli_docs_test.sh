#!/bin/bash
# The man page and the bash completion of kalvex say what the program says:
# every command, every option of `kalvex --help` and `kalvex <command> --help`
# and every exit code is in the man page and the help, and the man page names nothing
# else; the completion, run through bash-completion, offers exactly the
# commands and options of the help.
# usage: cli_docs_test.sh <kalvex> <kalvex.1> <kalvex.bash-completion> <CliCommands.h>
set -u
kalvex=$1
manpage=$2
completion=$3
exitcodes=$4
errors=0

fail() { echo "FAIL: $*" >&2; errors=$((errors + 1)); }
run() { QT_QPA_PLATFORM=offscreen HOME=${TMPDIR:-/tmp} "$kalvex" "$@"; }
sorted() { tr ' ' '\n' | sed '/^$/d' | sort -u | tr '\n' ' '; }

# What the program says about itself.
commands=$(run --help | sed -n 's/^  \([a-z][a-z-]*\) .*/\1/p' | sorted)
global=$(run --help | sed '/^$/q' | grep -o -- '--[a-z][a-z-]*' | sorted)
# Only the first long option of each line is an option; the rest is text.
command_options() {
    run "$1" --help | sed -n 's/^ \{1,\}\(-[a-zA-Z], \)\{0,1\}\(--[a-z][a-z-]*\).*/\2/p' | sorted
}
[ -n "$commands" ] || fail "no commands in kalvex --help"

check_man_page() {
    local man_options="" all_options="$global" c o
    for c in $commands; do
        grep -q "^\.SS \"$c[ \"]" "$manpage" || fail "man page: no section for command $c"
        all_options+=" $(command_options "$c")"
    done
    for o in $(echo "$all_options" | sorted); do
        grep -qF -- "$(echo "$o" | sed 's/-/\\-/g')" "$manpage" || fail "man page: option $o missing"
    done
    man_options=$(grep -oE -- '(\\-){2}[a-z]([a-z]|\\-)*' "$manpage" | sed 's/\\-/-/g' | sorted)
    for o in $man_options; do
        case " $(echo "$all_options" | sorted)" in *" $o "*) ;; *) fail "man page: $o is no option of kalvex" ;; esac
    done
}

check_exit_codes() {
    local codes man_codes help_codes
    codes=$(sed -n 's/^ *Exit[A-Za-z]* = \([0-9]*\),.*/\1/p' "$exitcodes" | sorted)
    man_codes=$(sed -n '/^\.SH EXIT STATUS/,/^\.SH /p' "$manpage" | sed -n 's/^\.B \([0-9]*\)$/\1/p' | sorted)
    [ -n "$codes" ] || fail "no exit codes found in $exitcodes"
    [ "$codes" = "$man_codes" ] || fail "exit codes: program has '$codes', man page '$man_codes'"
    help_codes=$(run --help | sed -n 's/^  \([0-9][0-9]*\)  .*/\1/p' | sorted)
    [ "$codes" = "$help_codes" ] || fail "exit codes: program has '$codes', its help '$help_codes'"
}

check_version() {
    local version th
    version=$(run --version) || fail "kalvex --version failed"
    th=$(sed -n 's/^\.TH KALVEX 1 "[^"]*" "\([^"]*\)".*/\1/p' "$manpage")
    [ "$version" = "$th" ] || fail "kalvex --version says '$version', the man page '$th'"
}

# What the completion offers for the words typed so far (the last is the
# word being completed).
complete_words() {
    bash -c '
        source /usr/share/bash-completion/bash_completion
        source "$1"; shift
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
        _kalvex kalvex "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}"
        printf "%s\n" "${COMPREPLY[@]}"' _ "$completion" "$@" | sorted
}

check_completion() {
    local c got
    got=$(complete_words kalvex "")
    [ "$got" = "$(echo "$global $commands" | sorted)" ] || fail "completion of 'kalvex ': '$got'"
    got=$(complete_words kalvex --lang 1033 --install-key K "")
    [ "$got" = "$(echo "$global $commands" | sorted)" ] || fail "completion after global options: '$got'"
    got=$(complete_words kalvex --lang "")
    [ "$got" = "1031 1033 " ] || fail "completion of --lang: '$got'"
    for c in $commands; do
        got=$(complete_words kalvex --yes "$c" --)
        [ "$got" = "$(command_options "$c")" ] || fail "completion of 'kalvex $c --': '$got', help: '$(command_options "$c")'"
    done
}

check_man_page
check_exit_codes
check_version
check_completion
[ "$errors" = 0 ] || exit 1
echo "man page and completion match the help of $(echo $commands | wc -w) commands"
