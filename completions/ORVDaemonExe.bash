# bash completion of ORVDaemonExe: options, start-up keys, and files where a key or tag takes one.

_ORVDaemonExe() {
  local keys="nid= cename= executable= configfile= rtconfigfile= masternid= masterip= mastergwport= slavenids= notifreceiver=
    syscomgwprotocol= testerport= testermultiplicity= printport= printip= btslogport= tbtscpid="
  local line=${COMP_LINE:0:COMP_POINT} word prefix item offered
  word=${line##*[[:space:]]}
  # What bash has put away already: all up to the last "=" or ":".
  local handled=${word%"${word##*[=:]}"}
  # The list's last item, and what stands before it.
  item=${word##*,}
  item=${item#--startup=}
  prefix=${word%"$item"}

  COMPREPLY=()
  case $word in
    --startup=* | *,*) ;;
    -*)
      mapfile -t COMPREPLY < <(compgen -W "-h -v --verbose -c --config -s --config_short --startup=" -- "$word")
      [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace
      return
      ;;
  esac
  case $item in
    configfile=* | rtconfigfile=* | executable=* | app.hwapi.appcfg.filename=*)
      compopt -o filenames
      mapfile -t offered < <(compgen -f -- "${item#*=}")
      prefix+=${item%%=*}=
      ;;
    syscomgwprotocol=*)
      mapfile -t offered < <(compgen -W "TCP" -- "${item#*=}")
      prefix+=${item%%=*}=
      ;;
    *=*) return ;;
    *)
      compopt -o nospace
      if [[ $word == --startup=* ]]; then
        mapfile -t offered < <(compgen -W "$keys" -- "$item")
      else
        mapfile -t offered < <(compgen -W "app.hwapi.appcfg.filename=" -- "$item")
      fi
      ;;
  esac
  for item in "${offered[@]}"; do
    item=$prefix$item
    COMPREPLY+=("${item#"$handled"}")
  done
}

complete -F _ORVDaemonExe ORVDaemonExe
