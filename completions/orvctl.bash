# bash completion of orvctl, which answers itself what could come next.

_orvctl() {
  local -a words=() candidates=()
  local rest=$COMP_LINE blank word current handled i

  # bash ends words at "=" and ":", orvctl at blanks alone.
  for ((i = 0; i <= COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    blank=${rest%%[![:space:]]*}
    rest=${rest#"$blank"}
    rest=${rest#"$word"}
    if [[ i -gt 0 && -z $blank ]]; then words[-1]+=$word; else words+=("$word"); fi
  done
  current=${words[-1]}
  # What bash has put away already: all up to the last "=" or ":".
  handled=${current%"${current##*[=:]}"}

  COMPREPLY=()
  mapfile -t candidates < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
  case ${candidates[0]-} in
    :files | :dirs)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen "-${candidates[0]:1:1}" -- "${current#"$handled"}")
      return
      ;;
  esac
  for word in "${candidates[@]}"; do
    word=${word%%$'\t'*}
    printf -v word %q "${word#"$handled"}"
    COMPREPLY+=("$word")
  done
}

complete -F _orvctl orvctl
