# bash completion for the programs cmm-..., loaded by the package bash-completion.  -*- shell-script -*-

_cmmaudio() {
  local cur prev words cword split
  _init_completion -s || return

  case $prev in
    --quality) COMPREPLY=($(compgen -W "linear high" -- "$cur")); return ;;
    --stages) COMPREPLY=($(compgen -W "1 2" -- "$cur")); return ;;
    --pitch) _filedir csv; return ;;
    --output) _filedir wav; return ;;
    -?*) # an option whose value is free: --help has its kind in capitals
      "$1" --help 2>/dev/null | grep -qE -e "^ +(-., )?$prev [A-Z]" -e "^ +$prev, --[a-z-]+ [A-Z]" && return ;;
  esac

  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W '$(_parse_help "$1")' -- "$cur"))
  else
    _filedir wav
    [ ${#COMPREPLY[@]} -gt 0 ] || _filedir
  fi
} &&
  complete -F _cmmaudio cmm-record cmm-info cmm-convert cmm-harmonize cmm-mirror cmm-play cmm-repair
