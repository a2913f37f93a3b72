# fish completion for vrdx_gateway

function __vrdx_gateway_routers
    set -l items /etc/vrdx/items
    set -q VRDX_ITEMS; and set items $VRDX_ITEMS
    for path in $items/*.item
        string replace -r '.*/(.*)\.item$' '$1' -- $path
    end
end

complete -c vrdx_gateway -f
complete -c vrdx_gateway -n __fish_use_subcommand -a token -d 'Add, list and remove tokens'
complete -c vrdx_gateway -n __fish_use_subcommand -a backup -d 'Write tokens, locks and history into a file'
complete -c vrdx_gateway -n __fish_use_subcommand -a restore -d 'Put them back'
complete -c vrdx_gateway -n '__fish_seen_subcommand_from backup restore' -F
complete -c vrdx_gateway -n '__fish_seen_subcommand_from token; and not __fish_seen_subcommand_from add list remove' -a 'add list remove'
complete -c vrdx_gateway -s h -l help -d 'Print a help text'
complete -c vrdx_gateway -l config -r -F -d Configuration
complete -c vrdx_gateway -l state -x -a '(__fish_complete_directories)' -d 'Directory of tokens and locks'
complete -c vrdx_gateway -n __fish_use_subcommand -l version -d 'Print the version'
complete -c vrdx_gateway -n __fish_use_subcommand -l check-config -d 'Say what is wrong with the configuration'
complete -c vrdx_gateway -n __fish_use_subcommand -l items -x -a '(__fish_complete_directories)' -d 'Directory of the items'
complete -c vrdx_gateway -n __fish_use_subcommand -l run -x -a '(__fish_complete_directories)' -d 'Directory of the sockets'
complete -c vrdx_gateway -n __fish_use_subcommand -l listen -x -d 'Where to listen'
complete -c vrdx_gateway -n __fish_use_subcommand -l ready-fd -x -d 'Descriptor that is told'
complete -c vrdx_gateway -n '__fish_seen_subcommand_from add' -l role -x -a 'view operate lock admin' -d 'What it may'
complete -c vrdx_gateway -n '__fish_seen_subcommand_from add' -l router -x -a '(__vrdx_gateway_routers)' -d 'A router it sees'
complete -c vrdx_gateway -n '__fish_seen_subcommand_from add' -l outputs -x -d 'Outputs it may take'
complete -c vrdx_gateway -n '__fish_seen_subcommand_from add' -l inputs -x -d 'Inputs it may take from'
