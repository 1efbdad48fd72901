# fish completion of ORVDaemonExe: options, start-up keys, and files where a key or tag takes one.

# The list under the cursor with each key behind what stands there already: "--startup=" is not part of it.
function __orvdaemon_list
    set -l current (string replace -r '^--startup=' '' -- (commandline -ct))
    set -l before (string match -r '^.*,' -- $current)
    set -l item (string replace -r '^.*,' '' -- $current)
    switch $item
        case 'configfile=*' 'rtconfigfile=*' 'executable=*' 'app.hwapi.appcfg.filename=*'
            set -l key (string replace -r '=.*' '=' -- $item)
            string replace -r '^' "$before$key" -- (__fish_complete_path (string replace -r '^[^=]*=' '' -- $item))
        case 'syscomgwprotocol=*'
            echo $before'syscomgwprotocol=TCP'
        case '*=*'
        case '*'
            string replace -r '^' "$before" -- $argv
    end
end

complete -c ORVDaemonExe -f
complete -c ORVDaemonExe -s h -d 'Print the usage, and start all the same'
complete -c ORVDaemonExe -s v -l verbose -d 'Accepted, without effect'
complete -c ORVDaemonExe -s c -l config -x -d 'Set configuration tags' -a '(__orvdaemon_list app.hwapi.appcfg.filename=)'
complete -c ORVDaemonExe -s s -l config_short -x -d 'Set configuration tags, numbers with 16 bits' -a '(__orvdaemon_list app.hwapi.appcfg.filename=)'
complete -c ORVDaemonExe -l startup -x -d 'What the node is' -a '(__orvdaemon_list nid= cename= executable= configfile= rtconfigfile= masternid= masterip= mastergwport= slavenids= notifreceiver= syscomgwprotocol= testerport= testermultiplicity= printport= printip= btslogport= tbtscpid=)'
