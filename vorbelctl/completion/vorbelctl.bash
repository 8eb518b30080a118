# Completes the commands, options and arguments of vorbelctl in bash. Installed where bash-completion finds it by name;
# elsewhere: source it. The program itself says what may stand where, so it must be there.

_vorbelctl() {
  mapfile -t COMPREPLY < <("${COMP_WORDS[0]/#\~/$HOME}" --complete "$COMP_CWORD" "${COMP_WORDS[@]}" 2>/dev/null)
  if [[ ${COMPREPLY[0]} == :files ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")
  fi
}

complete -F _vorbelctl vorbelctl
