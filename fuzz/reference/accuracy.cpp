// SPDX-License-Identifier: MIT
// Accuracy and drift of PCRs in the reference survey: lines of least squares over byte offsets, and
// over the clock's time.
#include <algorithm>
#include <cmath>
#include <span>

#include "clock.h"
#include "rates.h"

namespace fuzz::reference {
namespace {

constexpr size_t kBlock = 64;
constexpr size_t kFewestPcrs = 8;

struct Point {
    double x, y;
};

// y = mean_y + slope * (x - mean_x)
struct Line {
    double mean_x = 0, mean_y = 0, slope = 0;

    double deviation(const Point& point) const {
        return point.y - mean_y - slope * (point.x - mean_x);
    }
};

Line fit(const std::vector<Point>& points) {
    Line line;
    const auto count = static_cast<double>(points.size());
    for (const Point& point : points) {
        line.mean_x += point.x / count;
        line.mean_y += point.y / count;
    }
    double xx = 0, xy = 0;
    for (const Point& point : points) {
        xx += (point.x - line.mean_x) * (point.x - line.mean_x);
        xy += (point.x - line.mean_x) * (point.y - line.mean_y);
    }
    if (xx > 0) line.slope = xy / xx;
    return line;
}

struct Block {
    uint16_t pid;
    std::span<const Pcr> pcrs;
    size_t intervals;  // of the clock that it is judged by
};

class Blocks {
  public:
    Blocks(const Framing& framing, const Clock& clock)
        : losses_(places_of_losses(framing)), clock_(clock) {}

    void add(uint16_t pid, std::span<const Pcr> pcrs) {
        size_t begin = 0;
        for (size_t i = 0; i < pcrs.size(); ++i) {
            const bool last = i + 1 == pcrs.size();
            const auto loss = std::ranges::upper_bound(losses_, pcrs[i].offset);
            const bool lost = loss != losses_.end() && (last || *loss <= pcrs[i + 1].offset);
            const bool full = i + 1 - begin == kBlock;
            if (!full && !lost && !last && pcrs[i + 1].sound()) continue;
            const size_t count = i + 1 - begin;
            size_t judged_by = clock_.intervals().size();
            if (full) {
                judged_by = intervals_before(pcrs[i].offset + 1);
            } else if (lost) {
                judged_by = intervals_before(*loss);
            } else if (!last) {
                judged_by = intervals_before(pcrs[i + 1].offset);
            }
            if (count >= kFewestPcrs)
                blocks_.push_back({pid, pcrs.subspan(begin, count), judged_by});
            begin = i + 1;
        }
    }

    // In the order in which they are judged.
    std::vector<Block> sorted() {
        std::ranges::stable_sort(blocks_, {}, &Block::intervals);
        return std::move(blocks_);
    }

  private:
    size_t intervals_before(uint64_t offset) const {
        const auto& all = clock_.intervals();
        return static_cast<size_t>(
            std::ranges::lower_bound(all, offset, {}, &Interval::end_offset) - all.begin());
    }

    std::vector<uint64_t> losses_;
    const Clock& clock_;
    std::vector<Block> blocks_;
};

void judge(const Block& block, Accuracy& accuracy) {
    std::vector<Point> points;
    double ns = 0;
    for (const Pcr& pcr : block.pcrs) {
        if (!points.empty()) ns += static_cast<double>(pcr.step) * 1000 / 27;
        points.push_back({static_cast<double>(pcr.offset - block.pcrs[0].offset), ns});
    }
    const Line line = fit(points);
    for (size_t i = 0; i < points.size(); ++i) {
        const double off = line.deviation(points[i]);
        if (!accuracy.ns) accuracy.ns = Range{off, off};
        accuracy.ns->min = std::min(accuracy.ns->min, off);
        accuracy.ns->max = std::max(accuracy.ns->max, off);
        if (std::abs(off) > kPcrAccuracyLimitNs) accuracy.wrong.push_back(block.pcrs[i].offset);
    }
}

}  // namespace

std::vector<uint64_t> places_of_losses(const Framing& framing) {
    std::vector<uint64_t> places;
    for (const Packet& packet : framing.packets) {
        if (packet.continuity_error) places.push_back(packet.offset);
    }
    for (const Loss& loss : framing.losses)
        places.push_back(loss.offset);
    std::ranges::sort(places);
    return places;
}

std::map<uint16_t, Accuracy> measure_accuracy(const Framing& framing, const Pids& pids,
                                              const Clock& clock) {
    std::map<uint16_t, Accuracy> measured;
    if (!clock.known() || clock.constant_rate() != true) return measured;
    Blocks blocks(framing, clock);
    for (const auto& [pid, facts] : pids)
        blocks.add(pid, facts.pcrs);
    ConstantRate so_far(clock.intervals(), clock.packet_size());
    for (const Block& block : blocks.sorted()) {
        while (so_far.count() < block.intervals)
            so_far.add_next();
        if (so_far.verdict() == true) judge(block, measured[block.pid]);
    }
    return measured;
}

std::optional<double> drift_ppm(const std::vector<uint64_t>& losses, const PidFacts& facts,
                                const Clock& clock) {
    const auto& pcrs = facts.pcrs;
    if (clock.constant_rate() != true || pcrs.size() < kFewestPcrs) return std::nullopt;
    const auto loss = std::ranges::upper_bound(losses, pcrs.front().offset);
    if (loss != losses.end() && *loss <= pcrs.back().offset) return std::nullopt;
    std::vector<Point> points;
    double ticks = 0;
    for (const Pcr& pcr : pcrs) {
        if (!points.empty() && !pcr.sound()) return std::nullopt;
        if (!points.empty()) ticks += static_cast<double>(pcr.step);
        points.push_back({clock.ticks_at(pcr.offset), ticks});
    }
    return (fit(points).slope - 1) * 1e6;
}

}  // namespace fuzz::reference
