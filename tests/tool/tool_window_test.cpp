// SPDX-License-Identifier: MIT
// The tool's walks over windows of every size: wherever a window ends, every byte is accounted for
// and every tag, frame and packet is found. And a copy of other tags than were walked has no name.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <numeric>
#include <thread>

#include "audio/mpeg_audio_report.h"
#include "base/exit_status.h"
#include "commands/commands.h"
#include "commands/parts/ts_probe.h"
#include "flv/flv_copy.h"
#include "flv/flv_probe.h"
#include "io/file_source.h"
#include "support/flv_builder.h"
#include "support/folder.h"
#include "support/windowed_source.h"
#include "ts/packet_reader.h"

namespace {

using namespace zvtest;

constexpr Kind kKinds[] = {Kind::kFile, Kind::kStream};
const Bytes kFlvStart = {'F', 'L', 'V', 1, 5, 0, 0, 0, 9, 0, 0, 0, 0};

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes picture(size_t size) {
    Bytes body(size, 0x55);
    body[0] = 0x27;
    return video_tag(body);
}

Bytes media(const std::string& name, size_t size) {
    const std::string bytes = read_file(ZV_TEST_MEDIA "/" + name).substr(0, size);
    return {bytes.begin(), bytes.end()};
}

TEST(ByteCursor, IsWhereItSaysAfterAnyTwoMovesOverAnyWindows) {
    constexpr size_t kMost = 20;
    Bytes bytes(3 * kMost);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    for (const Kind kind : kKinds) {
        for (size_t window = 1; window <= kMost; ++window) {
            for (size_t moves = 0; moves < kMost * kMost; ++moves) {
                WindowedSource source(bytes, kind, window, window);
                zvprobe::ByteCursor cursor(source, source.next(0));
                Bytes read;
                cursor.read(moves % kMost, read);
                ASSERT_EQ(cursor.skip(moves / kMost), moves / kMost);
                const size_t at = moves % kMost + moves / kMost;
                ASSERT_EQ(cursor.position(), at) << window;
                ASSERT_EQ(cursor.peek(1)[0], at) << window;
            }
        }
    }
}

zvprobe::FlvReading walk_flv(zvprobe::Source& source) {
    return zvprobe::probe_flv(source, source.next(0), {}).reading;
}

void expect_all_found(const zvprobe::FlvReading& reading, size_t size, uint64_t tags) {
    ASSERT_EQ(reading.bytes, size);
    ASSERT_EQ(reading.accounted_bytes(), size);
    ASSERT_EQ(reading.tags, tags);
}

TEST(FlvWalk, FindsEveryTagWhereverWindowsEnd) {
    const Bytes script = script_tag(Amf().string("onCuePoint").object().string("a", "b").end());
    const Bytes config = video_tag(Bytes{0x17, 0} + Bytes(200, 1));
    const Bytes junk(50, 0xFF);
    const Bytes bytes = kFlvStart + script + config + picture(64) + picture(65) + picture(100) +
                        picture(500) + junk + picture(300) + picture(1) + Bytes(7, 9);
    for (const Kind kind : kKinds) {
        for (size_t window = 1; window <= bytes.size(); ++window) {
            SCOPED_TRACE(std::to_string(window) + (kind == Kind::kFile ? " file" : " stream"));
            WindowedSource source(bytes, kind, std::max(window, kFlvStart.size()), window);
            const auto reading = walk_flv(source);
            ASSERT_NO_FATAL_FAILURE(expect_all_found(reading, bytes.size(), 8));
            ASSERT_EQ(reading.skipped_bytes, junk.size());
            ASSERT_EQ(reading.trailing_bytes, 7u);
        }
    }
}

// A large tag, which is a hole in the file, puts the small ones where a window of the tool's real
// reader ends; it is passed over in a file, and read in what may be a pipe.
TEST(FlvWalk, FindsEveryTagAtTheEndOfRealWindows) {
    constexpr size_t kEnd = size_t{256} << 10;
    const Folder folder;
    const Bytes small = picture(100) + picture(100) + picture(100);
    for (size_t before = 0; before <= small.size() + 4; ++before) {
        SCOPED_TRACE(before);
        const size_t body = kEnd - before - kFlvStart.size() - 15;
        Bytes head = kFlvStart + Bytes{9};
        append_big_endian(head, body, 3);
        head = head + Bytes{0, 0, 0, 0, 0, 0, 0, 0x27};
        Bytes tail;
        append_big_endian(tail, body + 11, 4);
        tail = tail + small + picture(100);
        const std::string path = folder.put("large.flv", head);
        std::filesystem::resize_file(path, kEnd - before - 4);
        std::ofstream(path, std::ios::binary | std::ios::app)
            .write(reinterpret_cast<const char*>(tail.data()),
                   static_cast<std::streamsize>(tail.size()));
        const size_t size = kEnd - before - 4 + tail.size();
        const int fd = open(path.c_str(), O_RDONLY);
        zvprobe::FileSource streamed(fd);
        ASSERT_NO_FATAL_FAILURE(expect_all_found(walk_flv(streamed), size, 5));
        close(fd);
        ASSERT_NO_FATAL_FAILURE(expect_all_found(walk_flv(*zvprobe::open_source(path)), size, 5));
    }
}

TEST(MpegAudioWalk, FindsEveryFrameAndTagWhereverWindowsEnd) {
    constexpr size_t kFrame = 417;  // MPEG-1 layer III, 128 kbit/s at 44.1 kHz
    Bytes frame(kFrame, 0);
    std::copy_n("\xFF\xFB\x90\x00", 4, frame.begin());
    const Bytes run = frame + frame + frame + frame;
    const Bytes id3v2 = Bytes{'I', 'D', '3', 4, 0, 0, 0, 0, 2, 0} + Bytes(256, 0);
    const Bytes id3v1 = Bytes{'T', 'A', 'G'} + Bytes(125, 0);
    const Bytes junk(33, 7);
    const Bytes bytes = id3v2 + run + junk + run + id3v2 + run + id3v1;
    for (const Kind kind : kKinds) {
        for (size_t window = 1; window <= 2 * kFrame; ++window) {
            SCOPED_TRACE(std::to_string(window) + (kind == Kind::kFile ? " file" : " stream"));
            WindowedSource source(bytes, kind, window, window);
            const auto reading = zvprobe::probe_mpeg_audio(source, source.next(0), {}).reading;
            ASSERT_EQ(reading.bytes, bytes.size());
            ASSERT_EQ(reading.accounted_bytes(), bytes.size());
            ASSERT_EQ(reading.frames, 12u);
            ASSERT_EQ(reading.stray_bytes, junk.size());
            ASSERT_EQ(reading.id3v2.bytes + reading.id3v1.bytes, 2 * id3v2.size() + 128);
        }
    }
}

// -> packets that the second pass of a copying command sees
uint64_t count_packets(zvprobe::Source& source, size_t time_code) {
    zvprobe::PacketReader packets(source);
    uint64_t count = 0;
    while (packets.next()) {
        EXPECT_EQ(packets.packet().body[0], 0x47);
        EXPECT_EQ(packets.packet().time_code.size(), time_code);
        ++count;
    }
    return count;
}

TEST(TransportStreamWalk, FindsEveryPacketWhereverWindowsEnd) {
    const std::pair<const char*, size_t> samples[] = {
        {"single.ts", 188}, {"single-192.m2ts", 192}, {"single-204.ts", 204}};
    for (const auto& [name, size] : samples) {
        const Bytes sample = media(name, 30 * size), junk(100, 1);
        const Bytes bytes = sample + junk + sample;
        for (size_t window = 1; window <= 2 * size + 2; ++window) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(window));
            const size_t first = 6 * size + window;
            WindowedSource source(bytes, Kind::kStream, first, window);
            zvprobe::FindingLog findings("ts", false);
            const auto start = source.next(0);
            const zvprobe::Json survey =
                zvprobe::probe_transport_stream(findings, source, start, {}).survey;
            ASSERT_EQ(survey["bytes"], bytes.size());
            ASSERT_EQ(survey["packets"], 60);
            ASSERT_EQ(60 * size + survey["sync"]["skipped_bytes"].get<size_t>() +
                          survey["trailing_bytes"].get<size_t>(),
                      bytes.size());
            WindowedSource again(bytes, Kind::kStream, first, window);
            ASSERT_EQ(count_packets(again, size == 192 ? 4 : 0), 60u);
        }
    }
}

TEST(FlvCopy, CountsItsTagsHoweverTheyAreCut) {
    const Bytes tags = picture(100) + picture(1) + script_tag({}) + picture(70'000);
    for (size_t piece = 1; piece < 200; ++piece) {
        zvprobe::FlvTagCounter counter;
        for (size_t at = 0; at < tags.size(); at += piece) {
            ASSERT_EQ(counter.is_between_tags(), at == 0 || at == 115 || at == 131 || at == 146);
            counter.take(std::span(tags).subspan(at, std::min(piece, tags.size() - at)));
        }
        ASSERT_EQ(counter.tags(), 4u);
        ASSERT_TRUE(counter.is_between_tags());
    }
}

// Between the walk and the copy another writer makes one tag longer, in a window that the copy has
// not come to: opening the pipe is what the copy begins with, and it fills long before that.
TEST(FlvCopy, OfTagsThatDoNotAddUpIsRefused) {
    constexpr int kTags = 100;
    constexpr off_t kTag = 60'015;
    const Folder folder;
    Bytes bytes = kFlvStart;
    for (int i = 0; i < kTags; ++i)
        bytes = bytes + picture(static_cast<size_t>(kTag) - 15);
    const std::string in = folder.put("in.flv", bytes), pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread reader([&] {
        const int fd = open(pipe.c_str(), O_RDONLY), file = open(in.c_str(), O_WRONLY);
        EXPECT_EQ(pwrite(file, "\1", 1, 13 + 90 * kTag + 1), 1);
        close(file);
        char piece[65536];
        while (read(fd, piece, sizeof piece) > 0) {
        }
        close(fd);
    });
    const int status = run_command(zvprobe::FlvMetaOptions{{in, pipe}}, zvprobe::Session());
    reader.join();
    EXPECT_EQ(status, zvprobe::kExitCannotOpen);
}

}  // namespace
