// SPDX-License-Identifier: MIT
// The reports about FLV and MPEG audio.

function trackLabel({kind}) { return kind === "video" ? "video" : "audio"; }

function mediaPlots({history, findings, timestamps: hasStamps}, timeline) {
    const {tracks} = history;
    const rates = (bytes) => bytes.map((n, i) => (n * 8) / timeline.lengthOf(i));
    const series = (figure) =>
        tracks.filter((track) => track[figure])
            .map(
                (track) => (
                    {label: trackLabel(track), lows: track[figure].min, highs: track[figure].max}));
    const plans = [
        {
            id: "rate",
            title: "Bit rate",
            stacked: true,
            text: rateText,
            range: fromZero,
            height: 220,
            note: "Stacked, frames only.",
            series: tracks.map((track) => ({label: trackLabel(track), highs: rates(track.bytes)}))
        },
        {
            id: "frame-size",
            title: "Frame sizes",
            text: bytesText,
            range: fromZero,
            note: "Smallest and largest frame.",
            series: series("size")
        },
        {
            id: "interval",
            title: "From one time stamp to the next",
            text: msText,
            range: aroundZero,
            note: "Shortest and longest step. A gap is a peak; below 0 the time goes back.",
            series: hasStamps ? series("interval_ms") : []
        },
    ];
    const plots =
        plans.filter((plan) => plan.series.length > 0).map((plan) => new Plot(timeline, plan));
    plots.splice(1, 0, mediaStrip(tracks, findings, timeline));
    return plots;
}

function mediaStrip(tracks, findings, timeline) {
    const found = new Array(timeline.steps).fill(0);
    findings.list.forEach(({time_s: time}) => {
        ++found[timeline.stepAt(time)];
    });
    const rows = [{label: "faults", short: "faults", counts: found}];
    const video = tracks.find((track) => track.kind === "video");
    if (video) rows.push({label: "key frames", short: "key", counts: video.key_frames});
    return new EventStrip(timeline, {
        title: "Events",
        rows,
        note: "A click on a mark zooms in on it.",
        onPick: (row, step) =>
            timeline.zoomTo((timeline.starts[step] + timeline.starts[step + 1]) / 2),
    });
}

function mediaVerdict({findings}) {
    if (findings.total === 0) return {level: "good", text: "No fault found."};
    const first = findings.list.length > 0 ? `: ${findings.list[0].message}` : "";
    const more = findings.total > 1 ? `, and ${grouped(findings.total - 1)} more` : "";
    return {level: "bad", text: `${counted(findings.total, "fault", "faults")}${first}${more}.`};
}

function findingTable({findings}, goTo) {
    if (findings.total === 0) return make("p", {}, "Nothing is wrong.");
    return [
        dataTable(
            "Faults",
            [
                {
                    title: "Time",
                    value: (row) => row.time_s,
                    cell: (row) => timeLink(row.time_s, goTo)
                },
                {
                    title: "Byte",
                    value: (row) => row.offset,
                    cell: (row) => grouped(row.offset),
                    right: true
                },
                {title: "What", value: (row) => row.message, cell: (row) => quoted(row.message)},
            ],
            findings.list),
        leftOut(findings.total - findings.list.length, "further faults")
    ];
}

// Names and values, as a table of two columns.
function pairTable(caption, pairs) {
    return scrollable(
        caption,
        make(
            "table", {}, make("caption", {}, caption),
            make(
                "tbody", {},
                pairs.map(
                    ([name, value]) => make(
                        "tr", {}, make("th", {scope: "row"}, quoted(name)),
                        make("td", {}, quoted(value)))))));
}

// What is in a value of script data, down to lists and objects of it.
function shortValue(value) {
    if (Array.isArray(value)) return counted(value.length, "value", "values");
    if (value && typeof value === "object") return `{${Object.keys(value).join(", ")}}`;
    return String(value);
}

function scriptTables(scripts) {
    return scripts.map(
        ({name, offset, values}) => pairTable(
            `${name} at byte ${grouped(offset)}`,
            values.flatMap(
                (value) =>
                    (value && typeof value === "object" && !Array.isArray(value) ?
                         Object.entries(value).map(([key, inner]) => [key, shortValue(inner)]) :
                         [["", shortValue(value)]]))));
}

function flvVideoText(video) {
    if (!video) return null;
    const {picture, size} = video;
    const details = {...(picture || {}), ...(size || {}), frame_rate: video.frame_rate || null};
    return `${video.codec} ${videoText(details)}, ${rateText(video.data_rate_bps)}, ` +
        `${counted(video.frames, "frame", "frames")}, ${
               grouped(video.key_frames)} of them key frames`;
}

function flvAudioText(audio) {
    if (!audio) return null;
    return `${audio.codec} ${
               audioText({sample_rate: audio.sample_rate, channels: audio.channels})}, ` +
        `${rateText(audio.data_rate_bps)}, ${counted(audio.frames, "frame", "frames")}`;
}

function flvFacts(report) {
    const {timestamps: times, checks} = report;
    const wrong = checks.metadata_differences.filter((one) => one.error).map((one) => one.key);
    return facts([
        ["Duration", timeText(report.duration_s)],
        [
            "Bit rate",
            report.duration_s > 0 ? rateText((report.bytes * 8) / report.duration_s) : null
        ],
        ["Size", `${bytesText(report.bytes)}, ${counted(report.tags.total, "tag", "tags")}`],
        ["Video", flvVideoText(report.video)],
        ["Audio", flvAudioText(report.audio)],
        [
            "Time stamps",
            isKnown(times.first_ms) ?
                `${msText(times.first_ms)} to ${timeText(times.last_ms / 1000)}, ` +
                    `${grouped(times.steps_back)} back, ${counted(times.jumps, "jump", "jumps")}` :
                null
        ],
        ["Wrong in onMetaData", wrong.length ? quoted(wrong.join(", ")) : null],
        ["Encrypted", report.tags.encrypted ? counted(report.tags.encrypted, "tag", "tags") : null],
        [
            "Cut off",
            report.truncated_tag ? `the last tag, at byte ${grouped(report.truncated_tag.offset)}` :
                                   null
        ],
    ]);
}

function audioFacts(report) {
    const {first_frame: first, bit_rate_bps: rate, texts} = report;
    const range = rate.variable ?
        `, variable from ${rateText(rate.lowest)} to ${rateText(rate.highest)}` :
        ", constant";
    return facts([
        ["Duration", timeText(report.duration_s)],
        ["Bit rate", rateText(rate.average) + range],
        ["Size", `${bytesText(report.bytes)}, ${counted(report.frames, "frame", "frames")}`],
        [
            "Sound",
            `${first.version} layer ${first.layer}, ${first.sample_rate / 1000} kHz, ${
                first.channel_mode}`
        ],
        ["Title", texts.title ? quoted(texts.title) : null],
        ["Artist", texts.artist ? quoted(texts.artist) : null],
        ["Album", texts.album ? quoted(texts.album) : null],
        ["Encoder", report.info && report.info.encoder ? quoted(report.info.encoder) : null],
        ["Stray bytes", report.stray.bytes ? counted(report.stray.bytes, "byte", "bytes") : null],
        ["Wrong CRC", report.crc.wrong ? counted(report.crc.wrong, "frame", "frames") : null],
    ]);
}

function mediaReport(head, report, more = []) {
    const {history} = report;
    const timeline = history && history.steps > 0 ?
        new Timeline(history, report.duration_s + history.start_s) :
        null;
    const goTo = timeline ? (seconds) => timeline.zoomTo(seconds) : null;
    const time = timeline ?
        [timeline.controls, mediaPlots(report, timeline).map((plot) => plot.element)] :
        make("p", {}, "There is no frame to plot.");
    return {
        timeline,
        elements: [
            head, section("Over time", time), section("Faults", findingTable(report, goTo)), ...more
        ]
    };
}

function flvReport(report) {
    const scripts = report.script_data;
    return mediaReport(
        flvFacts(report), report,
        scripts.length ? [section("Script data", scriptTables(scripts))] : []);
}

function audioReport(report) { return mediaReport(audioFacts(report), report); }
