# SPDX-License-Identifier: Apache-2.0
# bash completion for oftab-switch
_oftab_switch() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local options='--commands --no-boot --keep-going --then-prompt --version --help' mode=${COMP_WORDS[1]}
  [[ $mode == serve ]] && options='--listen --controller --port --datapath-id --miss --cpu-rate --packet-in-rate --socket
    --private-key --certificate --ca-cert --help'
  COMPREPLY=()
  case $previous in
    -c | --commands | --listen | --controller | --port | --datapath-id | --cpu-rate | --packet-in-rate) ;;
    --miss) mapfile -t COMPREPLY < <(compgen -W 'controller drop normal' -- "$word") ;;
    run | attach | --socket | --private-key | --certificate | --ca-cert) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
      ((COMP_CWORD == 1)) && mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W 'run serve attach' -- "$word")
      [[ $mode == serve && $word != -* ]] && mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
      ;;
  esac
  return 0
}
complete -o filenames -F _oftab_switch oftab-switch
