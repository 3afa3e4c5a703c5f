# Completion for bash of cmm and cmm-emulator: commands, options and values as their own --help tells them, so that a new
# command or option is known here at once. What a value is that the help does not tell stands in _cmm_value alone.

# Completes the value of an option. Arguments: option, word so far. Result: whether the option is known here.
_cmm_value() {
  case $1 in
    --port | --head-port)
      local link names=
      for link in "${CC_PORT_DIR:-/dev/null}"/com*; do
        [ -e "$link" ] && names+=" ${link##*/}"
      done
      if [[ $2 == */* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$2")
      else
        mapfile -t COMPREPLY < <(compgen -W "${names^^}" -- "${2^^}")
      fi
      ;;
    --picture | --csv | --json | --state | --log) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    *) return 1 ;;
  esac
}

# The words between braces of the help's line that begins with $1, from standard input.
_cmm_choices() {
  sed -nE "s/^ *$1[ ,].*:\{([^}]*)\}.*/\1/p" | tr ',' ' '
}

# The help of a program and its command.
_cmm_help() {
  "$@" --help 2> /dev/null | tr -d '\0'
}

_cmm() {
  local program=$1 word=$2 previous=$3
  local help command=() i positionals
  help=$(_cmm_help "$program")
  local commands
  commands=$(sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z-]*\) .*/\1/p' <<< "$help")
  for ((i = 1; i < COMP_CWORD; i++)); do
    [ -z "${command[0]:-}" ] && grep -qx -- "${COMP_WORDS[i]}" <<< "$commands" && command=("${COMP_WORDS[i]}")
  done
  [ -n "${command[0]:-}" ] && help=$(_cmm_help "$program" "${command[@]}")

  if [[ $previous == --* ]] && grep -qE -- "^ *([^ ]*,)?$previous(,[^ ]*)? (TEXT|INT|UINT|FLOAT)" <<< "$help"; then
    local kind
    kind=$(grep -oE -- "$previous(,[^ ]*)? [A-Z]+[^ ]*" <<< "$help" | head -n 1)
    if [[ $kind == *:\{* ]]; then
      mapfile -t COMPREPLY < <(compgen -W "$(_cmm_choices "$previous" <<< "$help")" -- "$word")
    elif [[ $kind == *:FILE* ]]; then
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
    elif [[ $kind == *:DIR* ]]; then
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
    else
      _cmm_value "$previous" "$word"
    fi
    return
  fi
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(grep -oE '^ *-[^ ]+' <<< "$help" | tr ',' ' ')" -- "$word")
  elif [ -z "${command[0]:-}" ] && [ -n "$commands" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
  else
    positionals=$(sed -n '/^Positionals:/,/^$/p' <<< "$help" | _cmm_choices '[a-z]+')
    mapfile -t COMPREPLY < <(compgen -W "$positionals" -- "$word")
  fi
}

complete -o filenames -F _cmm cmm cmm-emulator
