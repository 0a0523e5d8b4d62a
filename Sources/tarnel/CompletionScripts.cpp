#include "tarnel/CompletionScripts.h"

namespace tarnel {

namespace {

// A word with a colon is several words to bash: the whole of it is asked for, and what stands before its last colon is
// cut off again. Where the program has no candidate the shell's own are files.
constexpr std::string_view bash = R"(# tarnel: completion for bash
_tarnel() {
    local line word prefix candidate
    line=${COMP_LINE:0:COMP_POINT}
    word=${line##*[[:space:]]}
    local -a words=()
    local i
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == : || ${COMP_WORDS[i]} == = || (i -gt 1 && ${COMP_WORDS[i - 1]} == [:=]) ]] &&
            ((${#words[@]})); then
            words[-1]+=${COMP_WORDS[i]}
        else
            words+=("${COMP_WORDS[i]}")
        fi
    done
    if [[ ${COMP_WORDS[COMP_CWORD]} == [:=] || (COMP_CWORD -gt 1 && ${COMP_WORDS[COMP_CWORD - 1]} == [:=]) ]]; then
        unset 'words[-1]'
    else
        word=${COMP_WORDS[COMP_CWORD]}
    fi
    prefix=
    case "$word" in *[:=]*) prefix=${word%"${word##*[:=]}"} ;; esac
    word=${word#[\"\']}
    COMPREPLY=()
    while IFS= read -r candidate; do
        candidate=${candidate%%$'\t'*}
        [[ -n $candidate ]] || continue
        printf -v candidate '%q' "${candidate#"$prefix"}"
        COMPREPLY+=("$candidate")
    done < <("${COMP_WORDS[0]}" __complete "${words[@]+"${words[@]}"}" "$word" 2>/dev/null)
}
complete -o default -F _tarnel tarnel)";

constexpr std::string_view zsh = R"(#compdef tarnel
# tarnel: completion for zsh
_tarnel() {
    local line
    local -a values descriptions
    while IFS= read -r line; do
        [[ -n $line ]] || continue
        values+=("${line%%$'\t'*}")
        descriptions+=("${line/$'\t'/  -- }")
    done < <("${words[1]}" __complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)
    if (( ${#values} )); then
        compadd -l -d descriptions -- "${values[@]}"
    else
        _files
    fi
}
if [[ ${funcstack[1]} == _tarnel ]]; then
    _tarnel "$@"
else
    compdef _tarnel tarnel
fi)";

constexpr std::string_view fish = R"(# tarnel: completion for fish
function __tarnel_candidates
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    $words[1] __complete $words[2..-1] "$current" 2>/dev/null
end
complete -c tarnel -a '(__tarnel_candidates)')";

} // namespace

std::string_view CompletionScripts::of(std::string_view shell)
{
    if (shell == "bash")
        return bash;
    if (shell == "zsh")
        return zsh;
    return shell == "fish" ? fish : std::string_view();
}

} // namespace tarnel
