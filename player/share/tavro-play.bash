# SPDX-License-Identifier: MIT
#
# Completion for bash. The options, and what kind of value each takes, are read from --help.

_tavro_play() {
  local cur prev words cword value
  _init_completion -n : || return
  [[ $prev != --+([a-z-]) ]] ||
    value=$("$1" --help 2>/dev/null | sed -n "s/^.*$prev \([A-Z]\+\)  .*/\1/p")
  case $value in
    DEVICE)
      COMPREPLY=($(compgen -W "auto file: $("$1" -q --list-devices 2>/dev/null |
        grep -oE '(pulse|alsa):[^ ]+')" -- "$cur"))
      __ltrim_colon_completions "$cur"
      ;;
    MODE) COMPREPLY=($(compgen -W 'auto on off' -- "$cur")) ;;
    PATH) _filedir ;;
    ?*) ;;
    *)
      if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W '$(_parse_help "$1")' -- "$cur"))
      else
        _filedir
      fi
      ;;
  esac
} && complete -F _tavro_play tavro-play
