// SPDX-License-Identifier: MIT
// Implementation of metrics.h. Names and meanings are told in docs/OPERATIONS.md.
#include "watch/http/metrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <cstdio>
#include <initializer_list>

#include "base/texts.h"

namespace zvprobe {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Label = ClientMetric::Label;

struct Definition {
    const char* name;
    const char* help;
    MetricType type;
};

// In the order of the output.
constexpr Definition kDefinitions[] = {
    {"zvprobe_up", "1 while packets come.", MetricType::Gauge},
    {"zvprobe_last_packet_timestamp_seconds", "When a packet came last.", MetricType::Gauge},
    {"zvprobe_ts_packets_total", "Transport stream packets.", MetricType::Counter},
    {"zvprobe_ts_bytes_total", "Bytes received, packets or not.", MetricType::Counter},
    {"zvprobe_ts_null_packets_total", "Packets of PID 0x1FFF.", MetricType::Counter},
    {"zvprobe_sync_losses_total", "Times that packet sync was lost.", MetricType::Counter},
    {"zvprobe_transport_errors_total", "Packets marked as damaged.", MetricType::Counter},
    {"zvprobe_rtp_packets_lost_total", "RTP packets that never came, or too late.",
     MetricType::Counter},
    {"zvprobe_receive_drops_total",
     "Datagrams that the kernel dropped: the receive buffer was full.", MetricType::Counter},
    {"zvprobe_reconnects_total", "Times that the source was opened again.", MetricType::Counter},
    {"zvprobe_tr101290_errors_total", "Errors by indicator of ETSI TR 101 290.",
     MetricType::Counter},
    {"zvprobe_pid_packets_total", "Packets of a PID.", MetricType::Counter},
    {"zvprobe_continuity_errors_total", "Packets of a PID that were out of order.",
     MetricType::Counter},
    {"zvprobe_packets_lost_total", "Packets of a PID lost, as far as continuity counters tell.",
     MetricType::Counter},
    {"zvprobe_pids_left_out", "PIDs beyond the limit of series.", MetricType::Gauge},
    {"zvprobe_pcr_interval_max_seconds", "Longest interval between PCRs of a PID.",
     MetricType::Gauge},
    {"zvprobe_table_interval_seconds", "Mean interval between repetitions of a table.",
     MetricType::Gauge},
    {"zvprobe_pid_info", "What a PID carries; always 1.", MetricType::Gauge},
    {"zvprobe_service_info", "A service of the stream; always 1.", MetricType::Gauge},
};

class Families {
  public:
    Families() {
        for (const auto& [name, help, type] : kDefinitions) {
            MetricFamily& family = families_.emplace_back();
            family.name = name;
            family.help = help;
            family.type = type;
        }
    }

    void add(const char* name, double value, const std::vector<Label>& source,
             std::initializer_list<Label> more = {}) {
        for (MetricFamily& family : families_) {
            if (family.name != name) continue;
            ClientMetric& metric = family.metric.emplace_back();
            metric.label = source;
            metric.label.insert(metric.label.end(), more);
            (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) =
                value;
            return;
        }
    }

    void add(const char* name, uint64_t value, const std::vector<Label>& source,
             std::initializer_list<Label> more = {}) {
        add(name, static_cast<double>(value), source, more);
    }

    // A family without metrics would have a head only.
    std::string text() {
        std::erase_if(families_, [](const MetricFamily& family) { return family.metric.empty(); });
        return prometheus::TextSerializer().Serialize(families_);
    }

  private:
    std::vector<MetricFamily> families_;
};

using Labels = std::vector<Label>;

void add_totals(Families& families, const SourceState& state, const Labels& source) {
    const Tallies& tallies = state.tallies;
    families.add("zvprobe_up", state.up ? 1.0 : 0.0, source);
    if (state.last_packet_unix_s > 0)
        families.add("zvprobe_last_packet_timestamp_seconds", state.last_packet_unix_s, source);
    families.add("zvprobe_ts_packets_total", tallies.packets.sum(), source);
    families.add("zvprobe_ts_bytes_total", tallies.bytes, source);
    families.add("zvprobe_ts_null_packets_total", tallies.null_packets.sum(), source);
    families.add("zvprobe_sync_losses_total", tallies.sync_losses.sum(), source);
    families.add("zvprobe_transport_errors_total", tallies.transport_errors.sum(), source);
    families.add("zvprobe_rtp_packets_lost_total", tallies.rtp_packets_lost.sum(), source);
    families.add("zvprobe_receive_drops_total", tallies.receive_drops, source);
    families.add("zvprobe_reconnects_total", tallies.reconnects, source);
    families.add("zvprobe_pids_left_out", state.pids_left_out, source);
}

// The priority is the first number of an id.
void add_indicators(Families& families, const SourceState& state, const Labels& source) {
    for (const auto& [id, count] : state.tallies.indicators)
        families.add("zvprobe_tr101290_errors_total", count.sum(), source,
                     {{"priority", id.substr(0, 1)}, {"indicator", id}});
}

void add_pid(Families& families, uint16_t number, const SourceState::Pid& pid,
             const Labels& source) {
    const Label label = {"pid", pid_text(number)};
    families.add("zvprobe_pid_packets_total", pid.tallies.packets.sum(), source, {label});
    families.add("zvprobe_continuity_errors_total", pid.tallies.continuity_errors.sum(), source,
                 {label});
    families.add("zvprobe_packets_lost_total", pid.tallies.packets_lost.sum(), source, {label});
    if (pid.pcr_interval_max_s)
        families.add("zvprobe_pcr_interval_max_seconds", *pid.pcr_interval_max_s, source, {label});
    if (!pid.use.empty())
        families.add("zvprobe_pid_info", 1.0, source,
                     {label, {"use", pid.use}, {"codec", pid.codec}, {"language", pid.languages}});
}

void add_source(Families& families, const WatchedSource& watched) {
    const SourceState state = watched.state();
    Labels source = {{"source", watched.settings().name}};
    for (const auto& [name, value] : watched.settings().labels)
        source.push_back({name, value});
    add_totals(families, state, source);
    add_indicators(families, state, source);
    for (const auto& [number, pid] : state.pids)
        add_pid(families, number, pid, source);
    for (const SourceState::Table& table : state.tables)
        families.add("zvprobe_table_interval_seconds", table.interval_s, source,
                     {{"pid", pid_text(table.pid)}, {"table_id", hex_byte(table.table_id)}});
    for (const SourceState::Service& service : state.services)
        families.add("zvprobe_service_info", 1.0, source,
                     {{"program_number", std::to_string(service.program_number)},
                      {"name", service.name},
                      {"provider", service.provider}});
}

}  // namespace

std::string metrics_text(const Watch& watch) {
    Families families;
    for (const auto& source : watch.sources())
        add_source(families, *source);
    return families.text();
}

}  // namespace zvprobe
