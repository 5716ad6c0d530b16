# bash completion for tavohactl, which knows itself what may come next. Where it does not, names of
# files are offered.
_tavohactl() {
  local word=${COMP_WORDS[COMP_CWORD]} words
  words=$("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _tavohactl tavohactl
