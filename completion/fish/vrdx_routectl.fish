# fish completion for vrdx_routectl

set -g __vrdx_routectl_commands list status names route undo takes router-set set report watch save restore logs help send ping exit

# What reaches the router: the item and the options that find its socket, one per line. Fails without any.
function __vrdx_routectl_router
    set -l words (commandline -opc)
    set -l router
    set -l at 2
    while test $at -le (count $words)
        switch $words[$at]
            case --sock --metadir --gateway --token-file --ca
                set -a router $words[$at] $words[(math $at + 1)]
                set at (math $at + 1)
            case --timeout
                set at (math $at + 1)
            case '-*'
            case '*'
                contains -- $words[$at] $__vrdx_routectl_commands; and break
                set -a router $words[$at]
        end
        set at (math $at + 1)
    end
    test (count $router) -gt 0; or return 1
    printf '%s\n' $router
end

# The command on the line; fails when there is none yet.
function __vrdx_routectl_command
    for word in (commandline -opc)[2..-1]
        if contains -- $word $__vrdx_routectl_commands
            echo $word
            return
        end
    end
    return 1
end

function __vrdx_routectl_is
    contains -- (__vrdx_routectl_command; or echo none) $argv
end

function __vrdx_routectl_names -a side
    set -l router (__vrdx_routectl_router); or return
    vrdx_routectl --timeout 1 $router names $side 2>/dev/null | string replace -r '^(\d+)\t(.+)' '$2\t$1' | string match -rv '^\d+\t?$'
end

# OUT=IN: what stands before "=" is an output, the rest an input.
function __vrdx_routectl_take
    set -l word (commandline -ct | string unescape)
    if string match -q '*=*' -- $word
        set -l output (string split -m 1 = -- $word)[1]
        for name in (__vrdx_routectl_names inputs)
            echo "$output=$name"
        end
    else
        __vrdx_routectl_names outputs | string replace -r '\t' '=\t'
    end
end

function __vrdx_routectl_items
    set -l items /etc/vrdx/items
    set -q VRDX_ITEMS; and set items $VRDX_ITEMS
    for path in $items/*.item
        string replace -r '.*/(.*)\.item$' '$1' -- $path
    end
end

complete -c vrdx_routectl -f
complete -c vrdx_routectl -n 'not __vrdx_routectl_command >/dev/null; and not __vrdx_routectl_router >/dev/null' -F -a '(__vrdx_routectl_items) list help'
complete -c vrdx_routectl -n 'not __vrdx_routectl_command >/dev/null; and __vrdx_routectl_router >/dev/null' -a "$__vrdx_routectl_commands"
complete -c vrdx_routectl -s h -l help -d 'Print a help text'
complete -c vrdx_routectl -n 'not __vrdx_routectl_command >/dev/null' -l version -d 'Print the version'
complete -c vrdx_routectl -l json -d 'Print JSON'
complete -c vrdx_routectl -l timeout -x -d 'Longest wait for an answer'
complete -c vrdx_routectl -l sock -r -F -d 'Socket of the driver'
complete -c vrdx_routectl -l metadir -x -a '(__fish_complete_directories)' -d 'Metadata directory of the driver'
complete -c vrdx_routectl -l gateway -x -d 'Gateway to ask instead of the driver'
complete -c vrdx_routectl -l token-file -r -F -d 'File with the token for the gateway'
complete -c vrdx_routectl -l ca -r -F -d 'Who signs its certificate'
complete -c vrdx_routectl -n '__vrdx_routectl_is status restore' -l outputs -x -a '(__vrdx_routectl_names outputs)' -d 'Only these outputs'
complete -c vrdx_routectl -n '__vrdx_routectl_is status' -l input -x -a '(__vrdx_routectl_names inputs)' -d 'Only outputs that show this input'
complete -c vrdx_routectl -n '__vrdx_routectl_is status' -l free -d 'Only outputs without a source'
complete -c vrdx_routectl -n '__vrdx_routectl_is status' -l name -x -d 'Only outputs with this in their name'
complete -c vrdx_routectl -n '__vrdx_routectl_is route' -l wait -d 'Wait for the confirmation'
complete -c vrdx_routectl -n '__vrdx_routectl_is route' -l no-wait -d 'Only send'
complete -c vrdx_routectl -n '__vrdx_routectl_is route undo restore' -l dry-run -d 'Send nothing'
complete -c vrdx_routectl -n '__vrdx_routectl_is route undo restore' -l by -x -d 'Who takes'
complete -c vrdx_routectl -n '__vrdx_routectl_is save restore' -l names -d 'Names, too'
complete -c vrdx_routectl -n '__vrdx_routectl_is logs takes' -s f -l follow -d 'Go on'
complete -c vrdx_routectl -n '__vrdx_routectl_is logs takes' -l lines -x -d 'How many'
complete -c vrdx_routectl -n '__vrdx_routectl_is send' -l entry -x -d 'An entry of the packet'
complete -c vrdx_routectl -n '__vrdx_routectl_is route' -a '(__vrdx_routectl_take)'
complete -c vrdx_routectl -n '__vrdx_routectl_is names' -a 'inputs outputs'
complete -c vrdx_routectl -n '__vrdx_routectl_is help' -a "$__vrdx_routectl_commands"
complete -c vrdx_routectl -n '__vrdx_routectl_is save restore' -F
complete -c vrdx_routectl -n '__vrdx_routectl_is set' -a '"enable debug messages="'
complete -c vrdx_routectl -n '__vrdx_routectl_is router-set' -a 'input. output.'
complete -c vrdx_routectl -n '__vrdx_routectl_is send' -a 'status describe watch take route report set ping exit'
