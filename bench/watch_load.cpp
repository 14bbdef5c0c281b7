// SPDX-License-Identifier: MIT
// Sends many transport streams to ports of the loopback interface at a steady rate: load for
// `zvprobe monitor`. docs/OPERATIONS.md has what was measured with it.
// usage: watch_load FILE STREAMS MBIT_PER_SECOND SECONDS FIRST_PORT
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kDatagram = size_t{7} * 188;

// The streams take turns, so that their datagrams are spread out as those of many senders are.
class Load {
  public:
    Load(std::string bytes, int streams, int first_port)
        : bytes_(std::move(bytes)), turns_(bytes_.size() / kDatagram) {
        for (int i = 0; i < streams; ++i)
            to_.push_back({AF_INET,
                           htons(static_cast<uint16_t>(first_port + i)),
                           {htonl(INADDR_LOOPBACK)},
                           {}});
    }

    // One datagram of the file to each stream. -> how many the kernel refused
    void send_turn(uint64_t turn, size_t first, size_t count) {
        const char* const datagram = bytes_.data() + turn % turns_ * kDatagram;
        for (size_t i = first; i < first + count; ++i) {
            const auto* const to = reinterpret_cast<const sockaddr*>(&to_[i]);
            if (sendto(socket_, datagram, kDatagram, 0, to, sizeof to_[i]) > 0)
                ++sent_;
            else
                ++refused_;
        }
    }

    size_t streams() const { return to_.size(); }
    uint64_t sent() const { return sent_; }
    uint64_t refused() const { return refused_; }

  private:
    const std::string bytes_;
    const uint64_t turns_;
    std::vector<sockaddr_in> to_;
    const int socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    uint64_t sent_ = 0;
    uint64_t refused_ = 0;
};

// A tenth of the streams at a time: ten bursts a turn.
void run(Load& load, double turns_per_s, double seconds) {
    constexpr uint64_t kParts = 10;
    const auto begin = Clock::now();
    const auto parts = static_cast<uint64_t>(turns_per_s * seconds) * kParts;
    for (uint64_t part = 0; part < parts; ++part) {
        const std::chrono::duration<double> due(static_cast<double>(part) / kParts / turns_per_s);
        std::this_thread::sleep_until(begin + std::chrono::duration_cast<Clock::duration>(due));
        const size_t first = load.streams() * (part % kParts) / kParts;
        const size_t end = load.streams() * (part % kParts + 1) / kParts;
        load.send_turn(part / kParts, first, end - first);
    }
    const std::chrono::duration<double> took = Clock::now() - begin;
    std::printf("%llu datagrams (%llu refused) in %.1f s\n",
                static_cast<unsigned long long>(load.sent()),
                static_cast<unsigned long long>(load.refused()), took.count());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: watch_load FILE STREAMS MBIT_PER_SECOND SECONDS FIRST_PORT\n", stderr);
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    if (bytes.size() < kDatagram) return 3;
    Load load(std::move(bytes), std::atoi(argv[2]), std::atoi(argv[5]));
    run(load, std::atof(argv[3]) * 1e6 / 8 / kDatagram, std::atof(argv[4]));
    return 0;
}
