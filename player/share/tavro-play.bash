# SPDX-License-Identifier: MIT
#
# Completion for bash. The options, and what kind of value each takes, are read from --help.

_tavro_play() {
  local cur prev words cword value program=("$1")
  _init_completion -n : || return
  ((cword < 2)) || [[ ${words[1]} != check ]] || program+=(check)
  [[ $prev != --+([a-z-]) ]] ||
    value=$("${program[@]}" --help 2>/dev/null | sed -n "s/^.*$prev \([A-Z]\+\)  .*/\1/p")
  case $value in
    DEVICE)
      COMPREPLY=($(compgen -W "auto file: $("$1" -q --list-devices 2>/dev/null |
        grep -oE '(pulse|alsa):[^ ]+')" -- "$cur"))
      __ltrim_colon_completions "$cur"
      ;;
    ID) COMPREPLY=($(compgen -W "$("${program[@]}" --list | awk '{print $1}')" -- "$cur")) ;;
    MODE) COMPREPLY=($(compgen -W 'auto on off' -- "$cur")) ;;
    PATH) _filedir ;;
    ?*) ;;
    *)
      if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W '$("${program[@]}" --help 2>/dev/null | _parse_help -)' -- "$cur"))
      else
        _filedir
        ((cword > 1)) || COMPREPLY+=($(compgen -W check -- "$cur"))
      fi
      ;;
  esac
} && complete -F _tavro_play tavro-play
