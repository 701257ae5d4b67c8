# SPDX-License-Identifier: Apache-2.0
# bash completion for oftab-switch
_oftab_switch() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $previous in
    run | serve | attach) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    -c | --commands) ;;
    *) mapfile -t COMPREPLY < <(compgen -W 'run serve attach --commands --no-boot --version --help' -- "$word") ;;
  esac
}
complete -o filenames -F _oftab_switch oftab-switch
