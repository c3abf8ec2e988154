# SPDX-License-Identifier: Apache-2.0
# Completion of byodctl's command line for bash.

_byodctl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local global='--socket --timeout --json --help'
  local kinds='mac user-agent dhcp-option'
  local -A nouns=(
    [show]='rules rule order counts status unknown authorization'
    [set]='rule order authorization'
    [unset]='rule order authorization unknown'
    [check]='rules'
  )
  local verbs='identify show set unset import export watch backup restore reload check help'
  local fields='--name --vendor --category --os'

  case $previous in
    --socket | --rules | --ieee | --pcap)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --input)
      mapfile -t COMPREPLY < <(compgen -W 'auto tsv json' -- "$current")
      return
      ;;
    --interface)
      mapfile -t COMPREPLY < <(compgen -W "$(ls /sys/class/net 2>/dev/null)" -- "$current")
      return
      ;;
    --timeout | --mac | --user-agent | --dhcp | --order | --group | --count | --match | --wins | --example)
      return
      ;;
  esac

  # The words before this one that are neither options nor their values.
  local words=() i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --socket | --timeout) ((++i)) ;;
      -*) ;;
      help) ((${#words[@]} == 0)) || words+=(help) ;;
      *) words+=("${COMP_WORDS[i]}") ;;
    esac
  done
  local verb=${words[0]-} noun=${words[1]-} choices

  if [[ -z $verb ]]; then
    choices="$verbs $global --version"
  elif [[ -n ${nouns[$verb]-} && -z $noun ]]; then
    choices="${nouns[$verb]} $global"
  else
    [[ -n ${nouns[$verb]-} ]] || noun=''
    case "$verb $noun" in
      'identify ')
        choices='--offline --mac --user-agent --dhcp --pcap --input --tsv --json --explain --rules
                 --ieee --order --group'
        ;;
      'show rules') choices="$kinds --custom --modified $fields --match --wins --json" ;;
      'show rule') choices='--next --json' ;;
      'set rule') choices="$fields --example --json" ;;
      'unset rule') choices="$fields --json" ;;
      'set order') choices='dhcp,user-agent,mac --json' ;;
      'export ') choices="$kinds --json" ;;
      'import ') choices='--replace --dry-run --json' ;;
      'backup ') choices='--force --json' ;;
      'watch ') choices='--interface --offline --rules --ieee --order --count --json' ;;
      'check rules') choices='--ieee --strict --json' ;;
      *) choices='--json' ;;
    esac
    if [[ $noun == rule && ${#words[@]} -eq 2 ]]; then choices+=" $kinds"; fi
    choices+=" $global"
  fi
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
  case "$verb $noun" in
    'import ' | 'backup ' | 'restore ' | 'check rules')
      local files=()
      mapfile -t files < <(compgen -f -- "$current")
      COMPREPLY+=("${files[@]}")
      ;;
  esac
}

complete -o filenames -F _byodctl byodctl
