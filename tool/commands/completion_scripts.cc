// The scripts for the shells.
#include "commands/completion.h"

namespace ovix::tool {
namespace {

// bash breaks words at '=' and ':', and replaces only what follows.
constexpr char kBash[] = R"bash(# bash completion of ovix-contracts
_ovix_contracts() {
  local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]}
  local answer=($("${COMP_WORDS[0]}" complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null))
  [ "$word" != = ] || word=''
  case ${answer[0]-} in
    files) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$word")) ;;
    folders) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- "$word")) ;;
    *) answer=("${answer[@]:1}"); COMPREPLY=("${answer[@]%%$'\t'*}") ;;
  esac
}
complete -F _ovix_contracts ovix-contracts
)bash";

constexpr char kZsh[] = R"zsh(#compdef ovix-contracts
# zsh completion of ovix-contracts
_ovix_contracts() {
  local -a answer described
  local line
  answer=("${(@f)$("${(Q)words[1]}" complete "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)}")
  case $answer[1] in
    files) [[ $PREFIX != --*=* ]] || compset -P '--*='; _files ;;
    folders) [[ $PREFIX != --*=* ]] || compset -P '--*='; _files -/ ;;
    words)
      for line in "${(@)answer[2,-1]}"; do
        described+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
      done
      _describe -t words ovix-contracts described ;;
  esac
}
if [[ $funcstack[1] == _ovix-contracts ]]; then  # read by the completion system, for this answer
  _ovix_contracts "$@"
else
  compdef _ovix_contracts ovix-contracts
fi
)zsh";

constexpr char kFish[] = R"fish(# fish completion of ovix-contracts
function __ovix_contracts
    set -l word (commandline -ct)
    set -l words (commandline -opc)
    set -l answer ($words[1] complete $words[2..-1] "$word" 2>/dev/null)
    switch "$answer[1]"
        case files
            __fish_complete_path (string replace -r -- '^--[^=]*=' '' "$word")
        case folders
            __fish_complete_directories (string replace -r -- '^--[^=]*=' '' "$word")
        case words
            printf '%s\n' $answer[2..-1]
    end
end
complete -c ovix-contracts -f -a '(__ovix_contracts)'
)fish";

}  // namespace

std::string CompletionScript(Shell shell) {
  return shell == Shell::kBash ? kBash : shell == Shell::kZsh ? kZsh : kFish;
}

}  // namespace ovix::tool
