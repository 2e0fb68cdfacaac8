# fish completion for netrondo
set -l subcommands analyze frames classify decode follow filter

complete -c netrondo -s h -l help -d 'Show help'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -l version -d 'Show the version'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a analyze -d 'Who talked to whom, how much and how well'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a frames -d 'The frames as JSON Lines'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a classify -d 'What each frame says, as JSON Lines'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a decode -d 'The packet list'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a follow -d 'A pcap file that is still being written'
complete -c netrondo -n "not __fish_seen_subcommand_from $subcommands" -a filter -d 'Check, show and complete display filters'

complete -c netrondo -n '__fish_seen_subcommand_from analyze classify follow' -l mode -x -a 'l3IP l2MAC' -d 'What a host is'
complete -c netrondo -n '__fish_seen_subcommand_from analyze follow' -l strictness -x -a 'lenient balanced strict' -d 'Where the grades begin'
complete -c netrondo -n '__fish_seen_subcommand_from analyze decode follow' -l json -d 'Machine-readable output'
complete -c netrondo -n '__fish_seen_subcommand_from follow' -l interval -x -d 'Seconds between two pulls'
complete -c netrondo -n '__fish_seen_subcommand_from follow' -l pulls -x -d 'How many pulls'
complete -c netrondo -n '__fish_seen_subcommand_from filter; and not __fish_seen_subcommand_from check tree complete fields' -x -a 'check tree complete fields'
complete -c netrondo -n '__fish_seen_subcommand_from filter; and __fish_seen_subcommand_from complete' -l limit -x -d 'At most so many names'
complete -c netrondo -n '__fish_seen_subcommand_from analyze' -l filter -x -d 'Only the frames that this display filter selects'
complete -c netrondo -n '__fish_seen_subcommand_from decode' -l from -x -d 'The first frame to show'
complete -c netrondo -n '__fish_seen_subcommand_from decode' -l count -x -d 'How many frames to show'
