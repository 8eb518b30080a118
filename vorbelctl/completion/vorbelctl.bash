# Completes the commands, options and arguments of vorbelctl in bash. Installed where bash-completion finds it by name;
# elsewhere: source it.

_vorbelctl_common='--mcast --port --iface --session --host --report-port --retrans-port --control-port --quiet --json
--help'

# The options of a command beside the common ones.
_vorbelctl_options() {
  case $1 in
    control) echo "--timeout" ;;
    report) echo "--window --timeout" ;;
    listen) echo "--recover --from --until-end --count --seconds --format" ;;
    fetch) ;;
    wait) echo "--timeout" ;;
    doctor) echo "--seconds" ;;
    watch) echo "--recover --seconds --timeout" ;;
    audit) echo "--truth --tape --pcap --offline --capture --from --until-end --seconds --timeout --html" ;;
  esac
}

# Whether a word is an option that takes no value.
_vorbelctl_is_flag() {
  [[ $1 == --@(quiet|json|recover|until-end|offline|help) || $1 == -- ]]
}

# How many words stand between the command, the word number $1, and the one to be completed that are neither options nor
# their values.
_vorbelctl_arguments() {
  local i count=0
  for ((i = $1 + 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      ((++count))
    elif ! _vorbelctl_is_flag "${COMP_WORDS[i]}"; then
      ((++i))
    fi
  done
  echo "$count"
}

_vorbelctl() {
  local commands='control report listen fetch wait doctor watch audit'
  local verbs='pause resume drop dup reorder drop_every dup_every reorder_every rate cancel correct halt resume_halt
close mark stats stop'
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      -*) ;;
      *)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  COMPREPLY=()
  if [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word")
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_vorbelctl_options "$command") $_vorbelctl_common" -- "$word")
  elif [[ $before == --format ]]; then
    mapfile -t COMPREPLY < <(compgen -W "text json" -- "$word")
  elif [[ $before == --@(truth|tape|pcap|capture|html) ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  elif [[ $before == -* ]] && ! _vorbelctl_is_flag "$before"; then
    return # a value that nobody can guess
  elif [[ $command == control && $(_vorbelctl_arguments "$i") == 0 ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word")
  elif [[ $command == report ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

complete -F _vorbelctl vorbelctl
