#!/bin/sh
# SPDX-License-Identifier: MIT
# Writes the seeds (corpus/<target>/seed-*) anew from the sample streams of the tests. Each is the
# target's option bytes, then a piece of a stream; regression inputs beside them are left alone.
set -eu
cd "$(dirname "$0")"
media=../tests/media

# seed TARGET NAME OPTIONS [FILE SKIP COUNT]: options in printf's notation, then COUNT bytes of FILE
seed() {
    mkdir -p "corpus/$1"
    out="corpus/$1/seed-$2"
    printf "$3" >"$out"
    if [ $# -gt 3 ]; then
        tail -c "+$(($5 + 1))" "$media/$4" | head -c "$6" >>"$out"
    fi
}

quiet='\000\000\000'
logged='\200\377\077'
sizes='\001\003\002\007\001\005\011\040'

# mode, option word, log, piece sizes
seed ts_parse any-pieces "\000\024$quiet$sizes" single.ts 0 5640
seed ts_parse whole-188 "\003\024$logged$sizes" single.ts 0 5640
seed ts_parse whole-192 "\023\007$quiet$sizes" single-192.m2ts 4 5760
seed ts_parse whole-204 "\043\024$quiet$sizes" single-204.ts 0 6120
seed ts_parse three-programs "\003\027$logged$sizes" three-programs.ts 0 5640

# log, mode, option word, other options in turn (mode 4), piece sizes
seed ts_reference media "$quiet\001\024$sizes" single.ts 0 7520
seed ts_reference media-logged "$logged\015\027\024$sizes" three-programs.ts 0 5640
seed ts_reference made "$logged\000\027$sizes\000\010\001\002\000\001\001\003\133\120\020\007\020\000\000\000\133\000\020\010\000\000\000\000\000\000\000\000\000\002\377\020\000\003\101\020\003\102\020\013\301\020\001"

# mode, log, programme number, PMT PID, PCR PID, four stream PIDs, piece sizes
target='\000\007\001\101\001\000\001\001\001\002\000\000\000\000'
seed remap media "\002$quiet$target\001\001\003\001\007\001\001\002" single.ts 0 5640
seed remap any-pieces "\004$logged$target$sizes" single.ts 0 3760
seed remap made "\001$logged$target$sizes\000\010\001\002\000\001\001\003\133\120\020\133\000\020\002\000"
seed remap at-once "\002$quiet$target\377\377\377\377\377\377\377\377" single.ts 0 15040

# log, option word; records of table, header bits, section length, bytes
pat='\000\030\000\015\011\000\001\305\000\000\000\001\341\000'
pmt='\001\030\000\022\016\000\001\305\000\000\341\001\360\000\033\341\001\360\000'
sdt='\002\030\000\043\037\000\001\305\000\000\377\001\377\000\001\374\200\022\110\020\001\010provider\005names'
seed psi tables "$logged\004$pat$pmt$sdt$pat$pmt$sdt"

# mode, log, piece sizes; the probe starts after the file header
seed flv_check avc-pieces "\000$quiet$sizes" h264-aac.flv 13 2048
seed flv_check avc-tags "\002$logged$sizes" h264-aac.flv 13 4096
seed flv_check h263-tags "\002$quiet$sizes" h263-mp3.flv 13 4096
seed flv_check any-record "\001$quiet\001\001\001\001" h264-aac.flv 0 396

# mode, log; a script body
seed amf body "\000$logged" h264-aac.flv 24 300
seed amf body-h263 "\000$quiet" h263-mp3.flv 24 300
seed amf long-text "\001$quiet\000\003\000\002\022\377" single.ts 0 400
seed amf object "\001$logged\000\000\001\000\001a\000\077\360\000\000\000\000\000\000\000\001b\001\001\000\000\011"

# mode, log; a file
seed flv_walk avc "\004$logged" h264-aac.flv 0 4096
seed flv_walk h263 "\001$quiet" h263-mp3.flv 0 4096

# A configuration record longer than is kept.
seed flv_walk config "\001$quiet""FLV\001\005\000\000\000\011\000\000\000\000\010\000\005\000\000\000\000\000\000\000\000\257\000" h264-aac.flv 0 1282

# mode, log
seed mp3 layer3 "\000$quiet" mpeg1-layer3.mp3 0 1024
seed mp3 layer2 "\000$logged" mpeg1-layer2.mp2 0 1024
seed mp3 mpeg2 "\000$quiet" mpeg2-layer3-mono.mp3 0 1024
seed mp3 any-record "\001$quiet\003\000\000\000\001\000\000\000\001\000\000\000\200\000\000\000"

# log, place and mask of the sync bytes
seed pkt_size plain "$quiet\000\377" single.ts 0 1504
seed pkt_size timed "$quiet\001\377" single-192.m2ts 0 1536
seed pkt_size parity "$quiet\002\177" single-204.ts 0 1632

seed url multicast 'udp://@239.1.1.1:1234?localaddr=10.0.0.1&rcvbuf=65536'
seed url options 'udp://:1?timeout=-1&ttl=255&pkt_size=1316&listen=1&interface=lo&x&=&rcvbuf=2147483647'
seed url ipv6 'rtp://user:word@[fe80::1%%25eth0]:5004/path?timeout=5#part'
seed url https 'HTTPS://host.example:8443/a/b.ts?x=1'
seed url file 'file://localhost/var/%%6dedia/a%%20b.ts'
seed url path 'c:media/a.ts'

# first sequence number; records of size and flags, then the bytes
seed rtp header '\000\000\052\200\041\000\001\000\000\000\001\000\000\000\002\107\100\000\020\000\260\032\260\041\000\002\000\000\000\001\000\000\000\002\000\000\000\001\107\002\002\002'
seed rtp order '\377\376\204aaaa\204bbbb\304\001cccc\304\375dddd\304\020eeee\204ffff'

# mode, first sync byte, piece sizes
seed packet_feed plain "\000\000$sizes" single.ts 0 1880
seed packet_feed timed "\000\000$sizes" single-192.m2ts 0 1920
seed packet_feed forced "\005\003$sizes" single-204.ts 100 2040

# mode, optional header bytes, bounded, packet payload sizes, the stream; or mode and packets
seed pes_payload packed "\000\005\001\007\267\001\360\267\050\007\267" h264-aac.flv 0 1024
seed pes_payload overlong-field '\001\101\000\060\001\310'
seed pes_payload any-packets '\001\101\000\020\016\000\000\001\340\000\000\200\000\002\377\377abc\001\000\061\004\002\000\377d'

# mode, piece sizes; bytes, packets, or records of tables and packets
seed survey plain "\000$sizes" single.ts 0 5640
seed survey repaired "\001$sizes" three-programs.ts 0 5640
seed survey timed "\002$sizes" single-192.m2ts 4 5760
seed survey parity "\203$sizes" single-204.ts 0 6120
seed survey made "\204$sizes\000\010\001\002\000\001\001\003\133\120\020\133\000\020\002\000"
on='\000\000\000\260\015\000\001\301\000\000\000\001\341\000\000\000\340\020'
pmt='\000\200\002\260\032\000\001\301\000\000\341\001\360\006\011\004\001\000\341\003\206\341\002\360\006\012\004eng\000'
sdt='\000\003\102\260\027\000\001\301\000\000\000\001\377\000\001\374\000\012\110\010\001\002Ab\003One'
nit='\000\002\100\260\014\000\001\301\000\000\360\005\100\003Net'
tot='\000\005\163\060\007\313\122\022\000\000\360\000'
packet='\200\303\200\000\014\007\200secti'
seed survey tables "\005$sizes$on$pmt$sdt$nit$tot$packet$pmt"

# mode; a file
seed zvprobe_read ts '\000' three-programs.ts 0 5640
seed zvprobe_read timed-text '\004' single-192.m2ts 0 5760
seed zvprobe_read made '\005\000\010\001\002\000\001\001\003\133\120\020\133\000\020\002\000\003\101\020\003\102\020'
seed zvprobe_read flv '\000' h264-aac.flv 0 4096
flv='FLV\001\005\000\000\000\011\000\000\000\000'
meta='\022\000\000\045\000\000\000\000\000\000\000\002\000\012onMetaData\010\000\000\000\001\000\005width\000@t\000\000\000\000\000\000\000\000\011\000\000\000\060'
av1='\011\000\000\026\000\000\000\000\000\000\000\220av\060\061\201\000\000\000\012\013\000\000\000\004<\376\314\373\371\000@\000\000\000!'
two_tracks='\010\000\000\036\377\377\360\377\000\000\000\225\040mp\064a\000\000\000\002\022\020Opus\007\000\000\012OpusHead\001\006\000\000\000)'
vp9='\011\000\000\016\377\377\370\377\000\000\000\223vp\060\071\242I\203B\340\023\360\013\066\000\000\000\031'
extended='\011\000\000\022\000\000\010\000\000\000\000\227\000\000\001vp\060\070\320T\000\235\001*@\001\264\000\000\000\000\035'
enhanced="$flv$meta$av1$two_tracks$vp9$extended"
seed zvprobe_read flv-enhanced "\000$enhanced"
# an encrypted configuration and an encrypted key frame of AVC
locked="$flv"'\051\000\000\011\000\000\000\000\000\000\000\027\000\000\000\000\001\002SE\000\000\000\024\051\000\000\011\000\000\050\000\000\000\000\027\001\000\000\000\001\002SE\000\000\000\024'
seed zvprobe_read flv-encrypted "\000$locked"
seed zvprobe_read mp3 '\000' mpeg1-layer3.mp3 0 4096
seed zvprobe_read mp3-junk-tag '\000junkID3\004\000\000\000\000\000\000' mpeg1-layer3.mp3 45 4096

free='\377\373\000\100'
ape='\003\000\000\000\000\000\000\000Title\000abcAPETAGEX\350\003\000\000\061\000\000\000\001\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000'
fill='\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021\021'
lyrics='LYRICSBEGININD0000200LYR00005laleo000034LYRICS200'
seed zvprobe_read mp3-free-tags "\000$free$fill$free$fill$free$fill$ape$lyrics"
seed zvprobe_copy mp3-fix-free-tags "\040$free$fill$free$fill$free$fill$ape$lyrics"

# mode; a file
seed zvprobe_copy flv-meta '\001' h264-aac.flv 0 6144
seed zvprobe_copy flv-meta-h263 '\001' h263-mp3.flv 0 4096
seed zvprobe_copy flv-meta-enhanced "\003$enhanced"
seed zvprobe_copy flv-meta-encrypted "\001$locked"
seed zvprobe_copy flv-meta-rebase '\003' h264-aac.flv 0 6144
seed zvprobe_copy mp3-fix '\040' mpeg1-layer3.mp3 0 4096
seed zvprobe_copy mp3-fix-layer2 '\040' mpeg1-layer2.mp2 100 4096
seed zvprobe_copy remap '\012' single.ts 0 7520
# one bit of the mode: 16 bytes that choose the options, then bytes that steer a made stream, or packets
renamed='\164\001\002\003\004\005\006\007\010\011\012\013\014\015\016\017'
cut_out='\043\001\000\002\003\004\005\006\007\010\011\012\013\014\015\016'
seed zvprobe_copy remap-made "\300$renamed\001\002\003"
seed zvprobe_copy remap-cut-out "\300$cut_out\004\005\006"
seed zvprobe_copy remap-packets "\100$cut_out" three-programs.ts 0 5640
seed zvprobe_copy extract '\000' single.ts 0 7520
seed zvprobe_copy extract-tables '\030' single.ts 0 7520
seed zvprobe_copy made '\016\000\010\001\002\000\001\001\003\133\120\020\133\000\020\002\000'

# mode, piece sizes, then bytes that steer the making of a stream, packets, or a made one's damage
seed survey_reference made "\004$sizes" single.ts 0 24
seed survey_reference made-as-well "\007$sizes\001\002\003"
seed survey_reference damaged "\003$sizes\000\000\000\005\001\001\001\001\200\004\001\101\003\377\300\006\006\107"
seed survey_reference tables "\001$sizes" three-programs.ts 0 5640
seed survey_reference plain "\000$sizes" single.ts 0 7520

# cut; how the clock begins, then one to three bytes a packet (maker/timing_maker.cpp)
seed survey_timing head '\050\000\020\021\000\000\000\000\000\000\000\000\000\000\000\000\000\000\004\001\050\060\000\022\000\017'
seed survey_timing every-member '\037\000\020\021\000\007\014\001\000\017\014\005\000\022\014\001\000\000\000\032\000\000\036\037\040\000\017\041\042\043'
seed survey_timing late '\050\021\020\021\036\037\040\041\042\050\051\052\000\000\000\017\000\017\036'
seed survey_timing wrap '\050\001\020\021\000\017\000\016\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000\000'

# a third: time, then how and how long for each piece; the rest as survey_timing
seed survey_live plain '\000\001\001\144\000\144\001\364\000\012\000\000\020\021\000\000\000\000\014\001\014\005\000\017\036\037\050\051\000\017\000\022\014\001\020\021'
