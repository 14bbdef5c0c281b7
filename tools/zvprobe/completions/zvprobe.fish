# SPDX-License-Identifier: MIT
# Completion of zvprobe for fish; files are offered everywhere.
function __zvprobe_seen -d 'Is one of these words on the line, other than as the value of --log?'
    set -l previous
    for word in (commandline -opc)
        if test "$previous" != --log; and contains -- $word $argv
            return 0
        end
        set previous $word
    end
    return 1
end

set -l commands probe monitor extract rtp pace remap flv-meta mp3-fix build
set -l kinds pat pmt sdt null
set -l no_command "not __zvprobe_seen $commands"
set -l in_build "__zvprobe_seen build"

complete -c zvprobe -s h -l help -d 'Print help'
complete -c zvprobe -l version -d 'Print the version'
complete -c zvprobe -s v -l verbose -d 'Tell errors as they are found'
complete -c zvprobe -s q -l quiet -d 'No progress bar'
complete -c zvprobe -r -l log -d "Append the library's log to a file"

complete -c zvprobe -n $no_command -a probe -d 'Describe sources'
complete -c zvprobe -n $no_command -a monitor -d 'Watch a live transport stream'
complete -c zvprobe -n $no_command -a extract -d 'Write the elementary streams to files'
complete -c zvprobe -n $no_command -a rtp -d 'Take a transport stream out of RTP'
complete -c zvprobe -n $no_command -a pace -d 'Send a transport stream in real time'
complete -c zvprobe -n $no_command -a remap -d 'Copy a stream under other numbers and PIDs'
complete -c zvprobe -n $no_command -a flv-meta -d 'Copy an FLV file with fresh onMetaData'
complete -c zvprobe -n $no_command -a mp3-fix -d 'Copy an MPEG audio file without damage'
complete -c zvprobe -n $no_command -a build -d 'Write a table or null packets'

for condition in $no_command "__zvprobe_seen probe"
    complete -c zvprobe -n $condition -l json -d 'Print one JSON object'
    complete -c zvprobe -n $condition -l history -d 'With --json, how a stream went over its time'
    complete -c zvprobe -n $condition -r -l html -d 'Write a page with plots'
    complete -c zvprobe -n $condition -l resolver -d 'Show what the resolver tells hosts'
    complete -c zvprobe -n $condition -l stats -d 'The same with arrival periods'
    complete -c zvprobe -n $condition -l strict -d 'Exit with status 1 when a source has errors'
    complete -c zvprobe -n $condition -x -l indicators -d 'With --strict, these count as errors'
    complete -c zvprobe -n $condition -l pace -f -a 'pcr pts' -d 'Feed in real time'
    complete -c zvprobe -n $condition -x -l jobs -d 'Sources read at a time'
    complete -c zvprobe -n $condition -l json-lines -d 'A line of JSON for each source as it is done'
    complete -c zvprobe -n $condition -r -l files-from -d 'Read more sources from a list'
    complete -c zvprobe -n $condition -s 0 -l null -d 'With --files-from, names end with NUL'
end

set -l monitor "__zvprobe_seen monitor"
complete -c zvprobe -n $monitor -x -l interval -d 'Seconds between reports'
complete -c zvprobe -n $monitor -r -l config -d 'File that names the sources'
complete -c zvprobe -n $monitor -x -l listen -d 'Answer over HTTP'
complete -c zvprobe -n $monitor -x -l allow-host -d 'Name that it is asked by'
complete -c zvprobe -n $monitor -l json-lines -d 'One line of JSON each'
complete -c zvprobe -n $monitor -l history -d 'With --json-lines, how the stream went over its time'
complete -c zvprobe -n $monitor -l plain -d 'Reports on a terminal, too'
complete -c zvprobe -n $monitor -l resolver -d 'Show what the resolver tells hosts'
complete -c zvprobe -n $monitor -l stats -d 'The same with arrival periods'

for condition in $no_command "__zvprobe_seen probe" $monitor
    complete -c zvprobe -n $condition -r -l limits -d 'Limits of indicators'
    complete -c zvprobe -n $condition -x -l limit -d 'One of them: NAME=N'
end

set -l extract "__zvprobe_seen extract"
complete -c zvprobe -n $extract -x -l pid -d 'Only this PID'
complete -c zvprobe -n $extract -x -l program -d 'Only this programme'
complete -c zvprobe -n $extract -l sections -d 'Tables as well'

complete -c zvprobe -n "__zvprobe_seen pace" -x -l to -a 'udp:// rtp:// tcp://' -d 'Where to'
complete -c zvprobe -n "__zvprobe_seen pace" -f -l loop -d 'Again and again, or so often'
complete -c zvprobe -n "__zvprobe_seen rtp" -x -l reorder-packets -d 'Packets that may overtake one'
complete -c zvprobe -n "__zvprobe_seen rtp" -x -l reorder-ms -d 'How long a packet is waited for'
complete -c zvprobe -n "__zvprobe_seen pace" -x -l by -a 'pcr pts' -d 'Clock to follow'

set -l remap "__zvprobe_seen remap"
complete -c zvprobe -n $remap -x -l program -d 'New programme number'
complete -c zvprobe -n $remap -x -l pmt -d 'New PID of the PMT'
complete -c zvprobe -n $remap -x -l pcr -d 'New PID of the PCR'
complete -c zvprobe -n $remap -x -l es -d 'New PIDs of the streams'
complete -c zvprobe -n $remap -x -l from -d 'Copy only this programme'
complete -c zvprobe -n $remap -x -l map -d 'New PID, OLD:NEW'
complete -c zvprobe -n $remap -x -l drop -d 'Leave a PID out'
complete -c zvprobe -n $remap -l drop-nulls -d 'Leave null packets out'

complete -c zvprobe -n "__zvprobe_seen flv-meta" -l update -d 'Replace the file by the copy'
complete -c zvprobe -n "__zvprobe_seen flv-meta" -l rebase -d 'Move the time stamps to 0'

complete -c zvprobe -n "$in_build; and not __zvprobe_seen $kinds" -x -a "$kinds"
set -l pmt "$in_build; and __zvprobe_seen pmt"
set -l sdt "$in_build; and __zvprobe_seen sdt"
complete -c zvprobe -n "$in_build; and __zvprobe_seen pat pmt" -x -l program -d 'Programme'
complete -c zvprobe -n $pmt -x -l pmt -d 'PID of the table'
complete -c zvprobe -n $pmt -x -l pcr -d 'PID with the PCR, 0x1fff for none'
complete -c zvprobe -n $pmt -x -l stream -d 'TYPE:PID[:HEX]'
complete -c zvprobe -n $sdt -x -l service -d 'Service number'
complete -c zvprobe -n $sdt -x -l provider -d 'Name of the provider'
complete -c zvprobe -n $sdt -x -l name -d 'Name of the service'
complete -c zvprobe -n "$in_build; and __zvprobe_seen null" -x -l count -d 'How many'
