# Completion of sps for bash: commands, options, topics and parameters of the store or the master that the line
# names.

_sps_commands="get set create attr rm ls tree show explain spaces topics params props walk delete dirs logmode
               import export store master hierarchy where version"
_sps_global="--server --space --workstation --user --instance --store --json --trace --help --version"

_sps_options() {
  case $1 in
    set) echo "--stdin --encrypt --super --expand --plain --force" ;;
    create) echo "--type --value --stdin --super --override --unit --description --readonly --replicate
                  --disable-log --encrypt" ;;
    attr) echo "--clear" ;;
    rm) echo "--value --yes" ;;
    delete) echo "--yes --dry-run" ;;
    store) [[ $topic == restore ]] && echo "--yes" ;;
    ls) echo "--spaces --reveal" ;;
    tree | show) echo "--reveal" ;;
    explain) echo "--as --reveal" ;;
    import) echo "--within --dry-run" ;;
    export) echo "--all --output --utf16" ;;
    master) echo "--requests" ;;
    hierarchy) echo "--dot" ;;
  esac
}

# Lines of names to COMPREPLY, quoted for the shell: names may hold blanks.
_sps_offer() {
  local name
  while IFS= read -r name; do
    [[ $name == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$name")")
  done
}

_sps_names() {
  local place=$1 command=$command
  if [[ $command == delete && $place -gt 1 ]]; then
    command=delete-$kind
    ((place--))
  fi
  case $place:$command in
    1:get | 1:set | 1:create | 1:attr | 1:rm | 1:ls | 1:tree | 1:show | 1:explain | 1:params | 1:props | 1:walk | \
      1:delete-topic | 1:delete-param | 1:delete-prop)
      _sps_offer < <(sps "${scope[@]}" topics 2>/dev/null) ;;
    2:get | 2:set | 2:attr | 2:rm | 2:show | 2:explain | 2:props | 2:delete-param | 2:delete-prop)
      _sps_offer < <(sps "${scope[@]}" params -- "$topic" 2>/dev/null) ;;
    3:delete-prop)
      # Columns stand two blanks apart, and the second is a type of the registry.
      _sps_offer < <(sps "${scope[@]}" props -- "$topic" "$par" 2>/dev/null | sed -E 's/ +(REG_|type )[^ ]*  .*$//') ;;
    1:delete) _sps_offer < <(printf '%s\n' space topic param prop) ;;
    1:delete-space) _sps_offer < <(sps "${scope[@]}" spaces 2>/dev/null) ;;
    3:attr) _sps_offer < <(printf '%s\n' type override readonly replicate disableLog encrypt decrypt unit \
                                         description functional) ;;
    1:dirs) _sps_offer < <(printf '%s\n' root bin config help install log syslog tmp) ;;
    1:logmode) _sps_offer < <(printf '%s\n' dms dlgmgr mac) ;;
    1:store) _sps_offer < <(printf '%s\n' info check copy restore) ;;
    1:import) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
    2:store) mapfile -t COMPREPLY < <(compgen -d -- "$cur") ;;
  esac
}

# The words of the line to line, with those joined again that bash took apart at a colon, as in unix:/path. The
# sign of --option=value goes: the option's value is the next word either way.
_sps_join() {
  local i
  line=()
  for ((i = 0; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == = && $i -gt 0 && ${COMP_WORDS[i - 1]} == --?* ]]; then
      continue
    elif [[ $i -gt 0 && (${COMP_WORDS[i]} == :* || ${COMP_WORDS[i - 1]} == *:) ]]; then
      line[-1]+=${COMP_WORDS[i]}
    else
      line+=("${COMP_WORDS[i]}")
    fi
  done
}

_sps() {
  local cur=${COMP_WORDS[COMP_CWORD]} command="" kind="" topic="" par="" place=0 i word
  local scope=() line
  COMPREPLY=()
  _sps_join
  for ((i = 1; i < ${#line[@]}; i++)); do
    word=${line[i]}
    case $word in
      --server | --space | --store)
        scope+=("$word" "${line[i + 1]}")
        ((i++)) ;;
      --workstation | --user | --instance | --type | --value | --super | --override | --unit | --description | \
        --as | --within | --output | -o | --requests)
        ((i++)) ;;
      -*) ;;
      *)
        if [[ -z $command ]]; then command=$word; else
          ((place++))
          # Quotes and backslashes of the shell go; the word is never evaluated.
          word=${word//[\\\"\']/}
          if [[ $command == delete && -z $kind ]]; then
            kind=$word
          elif [[ -z $topic ]]; then
            topic=$word
          elif [[ -z $par ]]; then
            par=$word
          fi
        fi ;;
    esac
  done
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$_sps_global $(_sps_options "$command")" -- "$cur")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$_sps_commands" -- "$cur")
  else
    _sps_names $((place + 1))
  fi
}

complete -F _sps sps
