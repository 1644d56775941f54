#include <algorithm>
#include <array>
#include <ostream>
#include <string_view>

#include "tools/policyctl/command_line/command_completion.h"

namespace {

struct Script {
  std::string_view shell;
  std::string_view text;
};

// They know no word of policyctl's: what it has, it is asked for.
constexpr std::array SCRIPTS{
    Script{"bash",
           R"script(# bash completion of policyctl                              -*- shell-script -*-

_policyctl() {
  local cur=${COMP_WORDS[COMP_CWORD]} words=("${COMP_WORDS[@]:0:COMP_CWORD+1}") cword word help
  # Names with a colon are one word.
  if declare -F _get_comp_words_by_ref > /dev/null; then
    _get_comp_words_by_ref -n : cur words cword
    words=("${words[@]:0:cword+1}")
  fi
  COMPREPLY=()
  while IFS=$'\t' read -r word help; do
    if [ "$word" = '<files>' ]; then
      compopt -o filenames 2> /dev/null
      mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$cur")
    else
      COMPREPLY+=("$(printf %q "$word")")
    fi
  done < <("${words[0]}" complete -- "${words[@]:1}" 2> /dev/null)
  if declare -F __ltrim_colon_completions > /dev/null; then
    __ltrim_colon_completions "$cur"
  fi
}
complete -F _policyctl policyctl
)script"},
    Script{"zsh", R"script(#compdef policyctl
# zsh completion of policyctl

_policyctl() {
  local word help files=0
  local -a offers
  while IFS=$'\t' read -r word help; do
    if [[ $word == '<files>' ]]; then
      files=1
    else
      offers+=("${word//:/\\:}${help:+:$help}")
    fi
  done < <("${words[1]}" complete -- "${(@Q)words[2,CURRENT]}" 2> /dev/null)
  (( ${#offers} )) && _describe -V policyctl offers
  (( files )) && _files
  return 0
}

if [ "$funcstack[1]" = _policyctl ]; then
  _policyctl "$@"
else
  compdef _policyctl policyctl
fi
)script"},
    Script{"fish", R"script(# fish completion of policyctl

function __policyctl_complete
  set -l words (commandline -opc) (commandline -ct)
  for line in ($words[1] complete -- $words[2..-1] 2> /dev/null)
    if test "$line" = '<files>'
      __fish_complete_path (commandline -ct)
    else
      echo $line
    end
  end
end
complete -c policyctl -f -k -a '(__policyctl_complete)'
)script"},
};

}  // namespace

ExitStatus completion_command(const Context& context, const std::string& shell) {
  const auto* const at = std::find_if(SCRIPTS.begin(), SCRIPTS.end(),
                                      [&shell](const Script& s) { return s.shell == shell; });
  if (at == SCRIPTS.end()) {
    throw Failure(ExitStatus::USAGE, "there is no completion for the shell '" + shell + "'.",
                  "There is for bash, fish and zsh.");
  }
  context.out << at->text;
  return ExitStatus::DONE;
}
