// SPDX-License-Identifier: MIT
// What becomes of a packet by its distance from the one to be delivered next.
#include "rtp/rtp_sequence.h"

#include <algorithm>
#include <bit>

namespace zv {
namespace {

// From one sequence number to another, the short way round: -32768..32767.
int distance(uint16_t from, uint16_t to) {
    return static_cast<int16_t>(static_cast<uint16_t>(to - from));
}

RtpRules bounded(RtpRules rules) {
    rules.window = std::clamp(rules.window, 0, RtpSequence::kMostWindow);
    rules.most_late = std::clamp(rules.most_late, 0, RtpSequence::kMostLate);
    return rules;
}

}  // namespace

RtpSequence::RtpSequence(const RtpRules& rules)
    : rules_(bounded(rules)), slots_(std::bit_ceil(static_cast<size_t>(rules_.window) + 1)) {}

std::optional<size_t> RtpSequence::put(uint16_t sequence, uint32_t ssrc) {
    ++counts_.packets;
    if (!started_ || ssrc != ssrc_) {
        counts_.ssrc_changes += started_;
        flush();
        begin(sequence);
        ssrc_ = ssrc;
    }
    const int ahead = distance(next_, sequence);
    if (ahead < 0) return put_past(sequence, -ahead);
    if (ahead > rules_.most_ahead) return put_stray(sequence);
    strayed_ = false;
    if (ahead > rules_.window) give_up(ahead - rules_.window);
    return hold(sequence);
}

void RtpSequence::begin(uint16_t sequence) {
    started_ = true;
    strayed_ = false;
    next_ = highest_ = sequence;
    history_.reset();
}

// A packet whose turn is over.
std::optional<size_t> RtpSequence::put_past(uint16_t sequence, int packets_ago) {
    if (packets_ago > rules_.most_late) return put_stray(sequence);
    const auto place = static_cast<size_t>(packets_ago - 1);
    ++(history_[place] ? counts_.repeated : counts_.late);
    history_[place] = true;
    return std::nullopt;
}

// One packet that is far off is late, but two in a row there are a sender that began anew under its
// old SSRC.
std::optional<size_t> RtpSequence::put_stray(uint16_t sequence) {
    if (strayed_ && sequence == after_stray_) {
        ++counts_.restarts;
        flush();
        if (rules_.keeps_stray) {
            --counts_.late;
            deliver_(user_, slots_);
        }
        begin(sequence);
        history_[0] = rules_.keeps_stray;
        return hold(sequence);
    }
    ++counts_.late;
    strayed_ = true;
    after_stray_ = static_cast<uint16_t>(sequence + 1);
    return rules_.keeps_stray ? std::optional(slots_) : std::nullopt;
}

std::optional<size_t> RtpSequence::hold(uint16_t sequence) {
    const size_t at = slot(sequence);
    if (filled_[at]) {  // by the same packet: no two within the window share a slot
        ++counts_.repeated;
        return std::nullopt;
    }
    if (distance(next_, sequence) < distance(next_, highest_))
        ++counts_.reordered;
    else
        highest_ = sequence;
    filled_[at] = true;
    return at;
}

// Moves on by so many packets, whether they have come or not.
void RtpSequence::give_up(int packets) {
    const int looked_at = std::min(packets, rules_.window + 1);  // after these nothing is held
    for (int i = 0; i < looked_at; ++i)
        step();
    const int rest = packets - looked_at;
    counts_.lost += static_cast<uint64_t>(rest);
    next_ = static_cast<uint16_t>(next_ + rest);
    history_ <<= static_cast<size_t>(rest);
}

void RtpSequence::deliver_ready() {
    while (filled_[slot(next_)])
        step();
}

void RtpSequence::give_up_gap() {
    if (waiting() <= 0) return;
    while (!filled_[slot(next_)])
        step();
    deliver_ready();
}

int RtpSequence::waiting() const {
    return started_ ? distance(next_, highest_) + 1 : 0;
}

std::optional<size_t> RtpSequence::held(int ahead) const {
    const size_t at = slot(static_cast<uint16_t>(next_ + ahead));
    return filled_[at] ? std::optional(at) : std::nullopt;
}

void RtpSequence::flush() {
    for (int left = waiting(); left > 0; --left)
        step();
}

void RtpSequence::step() {
    const size_t from = slot(next_);
    const bool came = filled_[from];
    if (came && deliver_ != nullptr) deliver_(user_, from);
    if (!came) ++counts_.lost;
    history_ <<= 1;
    history_[0] = came;
    filled_[from] = false;
    ++next_;
}

}  // namespace zv
