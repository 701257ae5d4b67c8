# SPDX-License-Identifier: Apache-2.0
# bash completion for oftab-switch
_oftab_switch() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} mode='' at
  for ((at = 1; at < COMP_CWORD && ${#mode} == 0; ++at)); do
    case ${COMP_WORDS[at]} in
      -c | --commands) ((++at)) ;;
      run | serve | attach) mode=${COMP_WORDS[at]} ;;
    esac
  done
  local words
  case $mode in
    run) words='--no-boot --keep-going --then-prompt --help' ;;
    serve) words='--listen --controller --port --datapath-id --miss --cpu-rate --packet-in-rate --socket --private-key
      --certificate --ca-cert --help' ;;
    attach) words='--commands --help' ;;
    *) words='run serve attach --commands --no-boot --keep-going --then-prompt --version --help' ;;
  esac
  COMPREPLY=()
  case $previous in
    -c | --commands | --listen | --controller | --port | --datapath-id | --cpu-rate | --packet-in-rate) ;;
    --miss) mapfile -t COMPREPLY < <(compgen -W 'controller drop normal' -- "$word") ;;
    --socket | --private-key | --certificate | --ca-cert) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *)
      if [[ $mode && $word != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
      else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
      fi
      ;;
  esac
  return 0
}
complete -o filenames -F _oftab_switch oftab-switch
