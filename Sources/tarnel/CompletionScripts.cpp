#include "tarnel/CompletionScripts.h"

namespace tarnel {

namespace {

// Words with a colon or an equals sign are several to bash: they are put together again, and what stands before the
// last of these signs is cut off each candidate. Where the program has none the shell offers files.
constexpr std::string_view bash = R"(# tarnel: completion for bash
_tarnel() {
    local piece word prefix candidate glue= i last=-1
    local -a words=()
    for ((i = 1; i <= COMP_CWORD; i++)); do
        piece=${COMP_WORDS[i]}
        if ((last >= 0)) && [[ -n $glue || $piece == [:=]* ]]; then
            words[last]+=$piece
        else
            words[++last]=$piece
        fi
        glue=
        [[ $piece != [:=] ]] || glue=1
    done
    for ((i = 0; i < last; i++)); do # as the shell would pass them on
        word=${words[i]//[\'\"\\]/}
        words[i]=$word
    done
    word=${words[last]-}
    local quote=
    case "$word" in [\'\"]*) quote=${word:0:1} word=${word:1} ;; esac
    words[last]=$word
    prefix=
    case "$word" in *[:=]*) prefix=${word%"${word##*[:=]}"} ;; esac
    COMPREPLY=()
    while IFS= read -r candidate; do
        candidate=${candidate%%$'\t'*}
        [[ -n $candidate ]] || continue
        candidate=${candidate#"$prefix"}
        [[ -n $quote ]] || printf -v candidate '%q' "$candidate"
        COMPREPLY+=("$candidate")
    done < <("${COMP_WORDS[0]}" __complete "${words[@]}" 2>/dev/null)
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
    set -l candidates ($words[1] __complete $words[2..-1] "$current" 2>/dev/null)
    if set -q candidates[1]
        printf '%s\n' $candidates
    else
        __fish_complete_path "$current"
    end
end
complete -c tarnel -f -a '(__tarnel_candidates)')";

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
