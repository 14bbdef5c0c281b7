// SPDX-License-Identifier: MIT
// The survey over any bytes, over packets, and over tables of any shape whose CRC is right: cut at
// random it says what it says of the whole, its JSON is JSON, every byte and packet is accounted
// for, and its memory is bounded.
#include <nlohmann/json.hpp>
#include <string>

#include "parts/input.h"
#include "parts/packets.h"
#include "support/counted_new.h"
#include "support/history_check.h"
#include "survey/psi/crc32.h"
#include "zvsurvey.h"

namespace {

using zvtest::CountedNew;

// Tables where the survey looks for some: by standard, as PAT entries, and anywhere.
class TableMaker {
  public:
    explicit TableMaker(fuzz::ByteSource& in) : in_(in) {}

    std::vector<uint8_t> run() {
        while (!in_.empty() && packets_.size() < kMostBytes)
            in_.u8() & 0x80 ? add_packet() : add_section();
        return std::move(packets_);
    }

  private:
    static constexpr size_t kMostBytes = size_t{512} << 10;

    uint16_t pid() {
        constexpr uint16_t kTablePids[] = {0, 1, 0x10, 0x11, 0x12, 0x14, 0x1FFB};
        const uint8_t choice = in_.u8();
        if (choice < 0x80) return kTablePids[choice % std::size(kTablePids)];
        return choice < 0xF0 ? 0x100 + (choice & 0x0F) : in_.u16() & 0x1FFF;
    }

    // A section of a table; long ones have a CRC, wrong at times.
    void add_section() {
        const uint16_t on = pid();
        std::vector<uint8_t> section = {in_.u8(), in_.u8(), 0};
        const size_t size = in_.u8() * (section[1] & 0x40 ? size_t{16} : size_t{1});
        const auto body = in_.take(size);
        section.insert(section.end(), body.begin(), body.end());
        const size_t length = section.size() - 3 + 4;
        section[1] = static_cast<uint8_t>((section[1] & 0xF0) | ((length >> 8) & 0x0F));
        section[2] = static_cast<uint8_t>(length);
        uint32_t crc = 0xFFFFFFFF;
        for (const uint8_t byte : section)
            crc = (crc << 8) ^ zv::survey::kCrcTable[(crc >> 24) ^ byte];
        for (int shift = 24; shift >= 0; shift -= 8)
            section.push_back(static_cast<uint8_t>(crc >> shift));
        add_payloads(on, section);
    }

    void add_payloads(uint16_t on, std::span<const uint8_t> section) {
        bool first = true;
        while (!section.empty()) {
            const size_t room = first ? 183 : 184;
            const auto piece = section.first(std::min(room, section.size()));
            section = section.subspan(piece.size());
            begin_packet(on, first ? 0x40 : 0, 0x10);
            if (std::exchange(first, false)) packets_.push_back(0);
            packets_.insert(packets_.end(), piece.begin(), piece.end());
            end_packet();
        }
    }

    // Any header, adaptation field and payload.
    void add_packet() {
        const uint8_t flags = in_.u8();
        const uint16_t on = pid();
        if (flags & 8) ++next_counter_[on];
        if (flags & 4) --next_counter_[on];
        begin_packet(on, flags & 0xC0, static_cast<uint8_t>(flags << 4 | (in_.u8() & 0xC0)));
        const auto body = in_.take(in_.u8() % 185);
        packets_.insert(packets_.end(), body.begin(), body.end());
        end_packet();
    }

    void begin_packet(uint16_t on, int flags, uint8_t control) {
        at_ = packets_.size();
        packets_.push_back(0x47);
        packets_.push_back(static_cast<uint8_t>(flags | on >> 8));
        packets_.push_back(static_cast<uint8_t>(on));
        const uint8_t counter = control & 0x10 ? next_counter_[on]++ : next_counter_[on] - 1;
        packets_.push_back(static_cast<uint8_t>((control & 0xF0) | (counter & 15)));
    }
    void end_packet() { packets_.resize(at_ + 188, 0xFF); }

    fuzz::ByteSource& in_;
    std::vector<uint8_t> packets_;
    size_t at_ = 0;
    uint8_t next_counter_[8192] = {};
};

std::vector<uint8_t> make_input(fuzz::ByteSource& in, uint8_t mode) {
    switch (mode & 7) {
        case 0:
            return fuzz::any_bytes(in.rest());
        case 1:
            return fuzz::whole_packets(in.rest(), 188, true);
        case 2:
            return fuzz::whole_packets(in.rest(), 192, false);
        case 3:
            return fuzz::whole_packets(in.rest(), 204, false);
        case 4:
            return fuzz::make_stream(in);
        default:
            return TableMaker(in).run();
    }
}

// What is kept of how the stream goes over its time.
struct History {
    bool kept;
    uint32_t span_s;  // 0: all of it
};

// A survey of the input, and what its callbacks were told.
class Run {
  public:
    Run(std::span<const uint8_t> input, History history) : input_(input) {
        ZvSurveyOptions options = {};
        options.size = sizeof options;
        options.arg = this;
        options.history = history.kept;
        options.history_span_s = history.span_s;
        options.on_event = [](void* self, const ZvSurveyEvent* event) {
            static_cast<Run*>(self)->see_event(*event);
        };
        options.on_packets = [](void* self, const uint8_t* packets, size_t packet_size,
                                size_t count, uint64_t offset) {
            static_cast<Run*>(self)->see_packets(packets, packet_size, count, offset);
        };
        survey_ = zvsurvey_new(&options);
        fuzz::require(survey_, "there is memory");
    }
    ~Run() { zvsurvey_free(survey_); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void feed(std::span<const uint8_t> piece) {
        fuzz::ExactBytes bytes(piece);
        fuzz::require(zvsurvey_feed(survey_, bytes.span().data(), bytes.size()) == 0,
                      "any bytes are taken");
    }
    std::string finish() {
        zvsurvey_finish(survey_);
        zvsurvey_totals(survey_, &totals_, sizeof totals_);
        fuzz::require(totals_.bytes == input_.size(), "all bytes were taken");
        fuzz::require(totals_.packets == packets_, "each packet counted was told");
        // What proves not to be measured was told before that was known.
        fuzz::require(totals_.events <= events_, "each event counted was told");
        require_account();
        return json();
    }
    std::string json() const {
        std::string text;
        const auto add = [](void* to, const char* piece, size_t size) {
            static_cast<std::string*>(to)->append(piece, size);
            return 0;
        };
        fuzz::require(zvsurvey_json(survey_, add, &text) == 0, "JSON can be written");
        return text;
    }

  private:
    void see_event(const ZvSurveyEvent& event) {
        ++events_;
        fuzz::require(event.offset < input_.size(), "events are in the input");
        for (const char* c = event.message; *c; ++c)
            fuzz::require(*c >= 0x20 && *c < 0x7F, "messages are printable");
    }
    void see_packets(const uint8_t* packets, size_t packet_size, size_t count, uint64_t offset) {
        fuzz::require(offset >= next_ && count > 0, "runs come in order");
        for (size_t i = 0; i < count; ++i)
            fuzz::require(std::equal(packets + i * packet_size, packets + i * packet_size + 188,
                                     input_.data() + offset + i * packet_size),
                          "the packets of a run are those of the input");
        packets_ += count;
        next_ = offset + count * packet_size;
    }
    void require_account() const {
        if (totals_.packet_size == 0) return fuzz::require(packets_ == 0, "no size, no packets");
        const uint64_t code = totals_.packet_size == 192 ? 4 : 0;
        const uint64_t lacking = code - std::min(code, totals_.first_sync_offset);
        fuzz::require(totals_.bytes + lacking == totals_.packets * totals_.packet_size +
                                                     totals_.skipped_bytes + totals_.trailing_bytes,
                      "every byte is accounted for");
    }

    std::span<const uint8_t> input_;
    ZvSurvey* survey_ = nullptr;
    ZvSurveyTotals totals_ = {};
    uint64_t packets_ = 0, events_ = 0, next_ = 0;
};

std::string survey_whole(std::span<const uint8_t> input, History history) {
    Run run(input, history);
    run.feed(input);
    return run.finish();
}

std::string survey_cut(std::span<const uint8_t> input, History history, fuzz::PieceSizes sizes,
                       size_t scale) {
    Run run(input, history);
    bool looked = false;
    for (size_t at = 0, pieces = 0; at < input.size(); ++pieces) {
        const size_t size = std::min(input.size() - at, sizes.next() * scale + (pieces & 1));
        run.feed(input.subspan(at, size));
        at += size;
        if (at > input.size() / 2 && !std::exchange(looked, true)) run.json();
    }
    return run.finish();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    const History history = {(mode & 0x40) != 0, mode & 0x20 ? 1u : 0u};
    const fuzz::PieceSizes sizes(in);
    const std::vector<uint8_t> input = make_input(in, mode);

    const size_t held_before = CountedNew::most_held = CountedNew::held;
    const std::string whole = survey_whole(input, history);
    // Of many short tables a row each is large.
    const size_t little = (size_t{history.kept ? 7u : 4u} << 20) + 64 * input.size();
    fuzz::require(CountedNew::most_held - held_before < little, "a survey of little is little");
    fuzz::require(CountedNew::most_held - held_before < size_t{64} << 20, "a survey has its bound");
    fuzz::require(nlohmann::json::accept(whole), "the JSON is JSON, and UTF-8");
    if (history.kept) {
        const nlohmann::json survey = nlohmann::json::parse(whole);
        const std::string wrong = zvtest::HistoryCheck(survey, history.span_s).run();
        fuzz::require(wrong.empty(), ("the history adds up to the totals: " + wrong).c_str());
    }
    fuzz::require(survey_cut(input, history, sizes, mode & 0x80 ? 37 : 1) == whole,
                  "the cuts do not show in the result");
    return 0;
}
