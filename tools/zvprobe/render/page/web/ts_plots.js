// SPDX-License-Identifier: MIT
// The plots of a transport stream, out of its history.

const kPacketBits = 1504; // of 188 bytes, whatever else a file puts around them
const kNullPid = 0x1fff;

function fromZero(min, max) { return [0, max * 1.08]; }

function aroundZero(min, max) {
    const room = (Math.max(max, 0) - Math.min(min, 0)) * 0.06;
    return [Math.min(min, 0) - (min < 0 ? room : 0), Math.max(max, 0) + room];
}

// A logarithmic axis is labelled at powers of ten.
function wholeDecades(min, max) {
    const low = Math.floor(Math.log10(Math.max(min, 0.001)));
    return [10 ** low, 10 ** Math.max(Math.ceil(Math.log10(Math.max(max, 0.001))), low + 1)];
}

function pidLabel(pids, pid) {
    const known = pids.find((one) => one.pid === pid);
    const what = known ? known.codec || known.use : "";
    return `${pidText(pid)} ${what}`.trim();
}

function sumOf(values) { return values.reduce((sum, value) => sum + (value || 0), 0); }

// The largest at the bottom; other PIDs and null packets on top.
function rateSeries(history, timeline, pids) {
    const rates = (packets) =>
        packets.map((n, i) => ((n || 0) * kPacketBits) / timeline.lengthOf(i));
    const named =
        history.packets.filter(({pid}) => pid !== kNullPid)
            .sort((a, b) => sumOf(b.packets) - sumOf(a.packets))
            .map(({pid, packets}) => ({label: pidLabel(pids, pid), highs: rates(packets)}));
    if (history.other_packets)
        named.push({label: "other PIDs", highs: rates(history.other_packets), colour: "rest"});
    const nulls = history.packets.find(({pid}) => pid === kNullPid);
    if (nulls) named.push({label: "null packets", highs: rates(nulls.packets), colour: "quiet"});
    return named;
}

function ratePlot(history, timeline, pids) {
    return {
        id: "rate",
        title: "Bit rate by PID",
        stacked: true,
        text: rateText,
        range: fromZero,
        note: "Stacked: the top of all areas is the rate of the whole stream.",
        height: 260,
        series: rateSeries(history, timeline, pids)
    };
}

// entries  of the history; figure: the member that holds {min, max}
function extremes(entries, figure, pids) {
    return entries.filter((entry) => entry[figure] && entry[figure].max.some(isKnown))
        .map((entry) => ({
                 label: pidLabel(pids, entry.pid),
                 lows: entry[figure].min,
                 highs: entry[figure].max
             }));
}

function pcrPlots(history, pids, limits) {
    return [
        {
            id: "pcr-interval",
            title: "PCR interval",
            text: msText,
            range: fromZero,
            note:
                "Shortest and longest step between two PCRs. Too long, and receivers lock slowly.",
            lines:
                [{value: limits.pcr_interval_ms, text: `limit ${msText(limits.pcr_interval_ms)}`}],
            series: extremes(history.pcr, "interval_ms", pids)
        },
        {
            id: "pcr-accuracy",
            title: "PCR accuracy",
            text: nsText,
            range: aroundZero,
            note: "How far PCRs are from where a constant rate would have them.",
            lines: [1, -1].map((sign) => ({
                                   value: sign * limits.pcr_accuracy_ns,
                                   text: `limit ${nsText(sign * limits.pcr_accuracy_ns)}`
                               })),
            series: extremes(history.pcr, "accuracy_ns", pids)
        },
    ];
}

function ptsPlot(history, pids) {
    return {
        id: "pts-ahead",
        title: "Time stamps ahead of the clock",
        text: msText,
        range: aroundZero,
        note: "How long before its decoding each unit comes (DTS, or PTS, less the PCR). At 0 it " +
            "is too late: the picture stands. Streams that part from each other drift.",
        lines: [{value: 0, text: "too late"}],
        series: extremes(history.pts, "ahead_ms", pids)
    };
}

function tablePlot(history, tables) {
    const nameOf = ({pid, table_id: id}) => {
        const known = tables.find((one) => one.pid === pid && one.table_id === id);
        return `${pidText(pid)} ${known ? known.name : "table " + pidText(id)}`;
    };
    return {
        id: "table-interval",
        title: "Table intervals",
        text: msText,
        log: true,
        note: "Longest wait for each table. The axis is logarithmic.",
        range: wholeDecades,
        series: history.tables.filter((one) => one.interval_ms && one.interval_ms.max.some(isKnown))
                    .map((one) => ({label: nameOf(one), highs: one.interval_ms.max, joins: true}))
    };
}

// Counts by priority: the first digit of an indicator's number.
function priorityRows(history) {
    const rows = [1, 2, 3].map(() => new Array(history.steps).fill(0));
    history.events.forEach(({number, counts}) => counts.forEach((count, i) => {
        rows[number[0] - 1][i] += count || 0;
    }));
    return rows;
}

// Where exactly the first event of that priority and step was, or else the middle of the step.
function momentOf(timeline, events, priority, step) {
    const [from, to] = [timeline.starts[step], timeline.starts[step + 1]];
    const found = events.find(
        (event) => event.indicator && Number(event.indicator[0]) === priority &&
            event.time_s >= from && event.time_s < to);
    return found ? found.time_s : (from + to) / 2;
}

function tsPlots(report, timeline) {
    const {history, pids, tables, limits} = report;
    const plans = [
        ratePlot(history, timeline, pids), ...pcrPlots(history, pids, limits),
        ptsPlot(history, pids), tablePlot(history, tables)
    ];
    const plots =
        plans.filter((plan) => plan.series.length > 0).map((plan) => new Plot(timeline, plan));
    plots.splice(1, 0, priorityStrip(report, timeline));
    return plots;
}

function priorityStrip({history, events}, timeline) {
    const names = ["first", "second", "third"];
    const rows = priorityRows(history).map(
        (counts, i) => ({label: `${names[i]} priority`, short: names[i], counts}));
    return new EventStrip(timeline, {
        title: "Events",
        rows,
        note: "One row for each priority of TR 101 290. A click on a mark zooms in; so do times " +
            "in the tables below.",
        onPick: (row, step) => timeline.zoomTo(momentOf(timeline, events.list, row + 1, step)),
    });
}
