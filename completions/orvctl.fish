# fish completion of orvctl, which answers itself what could come next.

function __orvctl_candidates
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l candidates ($words[1] complete -- $words[2..-1] $current 2>/dev/null)
    switch "$candidates[1]"
        case :files
            __fish_complete_path (string replace -r '^--[^=]*=' '' -- $current)
        case :dirs
            __fish_complete_directories (string replace -r '^--[^=]*=' '' -- $current)
        case '*'
            test -n "$candidates[1]"; and printf '%s\n' $candidates
    end
end

complete -c orvctl -f -a '(__orvctl_candidates)'
